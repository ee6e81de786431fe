#include "trelScoreTable.h"

#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelMediumResult.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"

/** The cells of the grid @p id in @p domain; null if it was not allocated. */
static double* CellsOf(trelMediumResult& result, trelGridDomain domain, trelGridId id)
{
  trelGrid* grid = result.GetGrid(domain, id);
  return grid ? grid->GetCells() : nullptr;
}

/** The number of cells of a grid with the axes of @p row, in one time bin. */
static std::size_t CountCells(const trelGridDescription& row, const trelGridWindow& window)
{
  std::size_t cells = 1;
  for (int k = 0; k < row.NumberOfAxes; ++k) {
    cells *= static_cast<std::size_t>(window.Bins[row.Axes[k]].Count);
  }
  return cells;
}

static trelScoreTarget MakeTarget(trelMediumResult& result, trelGridId id)
{
  const trelGridDescription& row = GetGridDescription(id);
  trelScoreTarget target;
  target.Locate = row.Locate;
  target.CW = CellsOf(result, GridCW, id);
  target.TD = CellsOf(result, GridTD, id);
  target.FDReal = CellsOf(result, GridFDReal, id);
  target.FDImag = CellsOf(result, GridFDImag, id);
  target.NumberOfCells = CountCells(row, result.GetWindow());
  return target;
}

/** Whether the grid belongs to a model of this dimension. */
static bool HasDimension(trelGridId id, SimulationDimension dimension)
{
  const int axes = GetGridDescription(id).Dimension;
  return axes == 2 ? dimension == Dimension2D : dimension == Dimension3D;
}

trelScoreTable MakeScoreTable(trelMediumResult& result, const trelSimulationParameter& parameter,
                              ShapeType shape)
{
  const SimulationDimension dimension = parameter.GetDimension();
  trelScoreTable table;
  table.Window = result.GetWindow();
  for (const trelGridUse& use : GetAbsorptionUses(shape, parameter.GetAbsorptionCoordinate())) {
    if (HasDimension(use.Grid, dimension)) table.Absorption = MakeTarget(result, use.Grid);
  }
  for (const trelGridUse& use :
       GetTransmittanceUses(shape, parameter.GetTransmittanceCoordinate())) {
    if (use.Grid == TransmittanceMeshVertex) continue;  // filled from the faces after the run
    if (!HasDimension(use.Grid, dimension)) continue;
    table.FaceSelects = use.Face != AnyFace;
    table.Transmittance[table.FaceSelects ? use.Face : 0] = MakeTarget(result, use.Grid);
  }
  return table;
}

trelScoreTable MakeFiberScoreTable(const trelDetectorResult& result)
{
  trelScoreTable table;
  table.Window = result.GetWindow();
  for (const trelGridUse& use : result.GetUses()) {
    table.FaceSelects = use.Face != AnyFace;
    trelScoreTarget& target = table.Transmittance[table.FaceSelects ? use.Face : 0];
    const trelGridDescription& row = GetGridDescription(use.Grid);
    trelGrid* grid = result.GetGrid(use.Grid);
    target.Locate = row.Locate;
    target.CW = grid ? grid->GetCells() : nullptr;
    target.NumberOfCells = CountCells(row, table.Window);
  }
  return table;
}

/** One table for each detector; that of a plane detector takes nothing. */
static std::vector<trelScoreTable> MakeFiberScoreTables(const trelDetectorArrayResult* records)
{
  std::vector<trelScoreTable> tables;
  if (!records) return tables;
  for (int i = 0; const trelDetectorResult* record = records->GetDetectorResult(i); ++i)
    tables.push_back(MakeFiberScoreTable(*record));
  return tables;
}

void trelScoreTables::Resolve(const trelSimulationResult& result,
                              const trelSimulationParameter& parameter, ShapeType shape)
{
  Media.clear();
  Fibers.clear();
  for (int spectrum = 0; spectrum < parameter.GetNumberOfWavelengths(); ++spectrum) {
    Media.push_back(MakeScoreTable(*result.GetMediumResult(spectrum), parameter, shape));
    Fibers.push_back(MakeFiberScoreTables(result.GetDetectorArrayResult(spectrum)));
  }
}
