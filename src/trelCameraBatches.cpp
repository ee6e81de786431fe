#include "trelCameraBatches.h"

#include "trelMediumResult.h"
#include "trelSimulationResult.h"
#include "trelStandardErrors.h"
#include "trelStateArchive.h"

void trelCameraBatches::Prepare(std::vector<trelCameraCells> cameras, std::size_t spectra)
{
  Cameras = std::move(cameras);
  NumberOfSpectra = spectra;
  Rows.clear();
}

static double SumUp(const std::vector<trelSeenCell>& cells, const trelMediumResult& record)
{
  double sum = 0.0;
  for (const trelSeenCell& seen : cells)
    sum += seen.Weight * record.GetGrid(GridCW, seen.Grid)->GetCells()[seen.Cell];
  return sum;
}

void trelCameraBatches::Take(const trelSimulationResult& batch)
{
  std::vector<double> row;
  row.reserve(NumberOfSpectra * Cameras.size());
  for (std::size_t i = 0; i < NumberOfSpectra; ++i)
    for (const trelCameraCells& camera : Cameras)
      row.push_back(SumUp(camera.Cells, *batch.GetMediumResult(static_cast<int>(i))));
  Rows.push_back(std::move(row));
}

void trelCameraBatches::PassState(std::int64_t batches, trelStateArchive& archive)
{
  if (Cameras.empty()) return;
  archive.PassRows(StateOfRows, batches, NumberOfSpectra * Cameras.size(), Rows);
}

std::vector<double> trelCameraBatches::List(std::size_t spectrum, int detector) const
{
  std::vector<double> totals;
  for (std::size_t i = 0; i < Cameras.size(); ++i) {
    if (Cameras[i].Detector != detector) continue;
    for (const std::vector<double>& row : Rows)
      totals.push_back(row[spectrum * Cameras.size() + i]);
  }
  return totals;
}

double trelCameraBatches::FindError(std::size_t spectrum, int detector) const
{
  return FindErrorOfMean(List(spectrum, detector));
}
