#include "trelBatchProjections.h"

#include <algorithm>
#include <numeric>

#include "trelMemory.h"

static bool IsOfMesh(trelGridId grid)
{
  return GetGridDescription(grid).Axes[0] >= GridMeshFace;
}

std::size_t trelBatchProjections::CountAlong(const Grid& grid, int axis)
{
  if (IsOfMesh(grid.Id)) return 0;
  const std::int32_t counts[] = {grid.Layout.Rows, grid.Layout.Columns, grid.Layout.Depth};
  return static_cast<std::size_t>(counts[axis]);
}

void trelBatchProjections::Prepare(const trelSimulationResult& result)
{
  Clear();
  VisitRecords(result,
               [&](auto& record, const trelRecordOwner& owner) { ListTotals(record, owner); });
  VisitRecords(result,
               [&](auto& record, const trelRecordOwner& owner) { ListGrids(record, owner); });
}

template <class Record>
void trelBatchProjections::ListTotals(Record& record, const trelRecordOwner& owner)
{
  Totals totals{owner, Length, {}, 0};
  for (int i = 0; i < NumberOfTotals; ++i) {
    const auto total = static_cast<trelGridTotal>(i);
    if (record.GetTimeTotals().GetTotals(total)) totals.ByTime.push_back(total);
  }
  totals.Gates = static_cast<std::size_t>(record.GetCountTD());
  record.VisitTotals([&](const double*, std::size_t number) { Length += number; });
  TotalTable.push_back(totals);
}

/** Vertices repeat what the faces of a mesh have. */
template <class Record>
void trelBatchProjections::ListGrids(const Record& record, const trelRecordOwner& owner)
{
  for (const trelGridDomain domain : SummedDomains) {
    for (int i = 0; i < TransmittanceMeshVertex; ++i) {
      const auto id = static_cast<trelGridId>(i);
      if (!record.GetGrid(domain, id)) continue;
      const Grid grid{owner, domain, id, record.GetGrids(domain).GetLayout(id), Length};
      Length += static_cast<std::size_t>(grid.Layout.Bins);
      for (int axis = 0; axis < 3; ++axis)
        Length += CountAlong(grid, axis);
      GridTable.push_back(grid);
    }
  }
}

/** Adds a row of cells to @p along; their sum. */
static double AddCells(const double* cells, std::int32_t number, double* along)
{
  double sum = 0.0;
  for (std::int32_t k = 0; k < number; ++k) {
    sum += cells[k];
    along[k] += cells[k];
  }
  return sum;
}

void trelBatchProjections::SumGrid(const Grid& grid, const double* cells, double* sums)
{
  const trelGridLayout& layout = grid.Layout;
  const std::size_t number = layout.GetCellsPerBin();
  if (IsOfMesh(grid.Id)) {
    for (std::int32_t bin = 0; bin < layout.Bins; ++bin, cells += number)
      sums[bin] = std::accumulate(cells, cells + number, 0.0);
    return;
  }
  double* const rows = sums + layout.Bins;
  double* const columns = rows + layout.Rows;
  double* const depths = columns + layout.Columns;
  for (std::int32_t bin = 0; bin < layout.Bins; ++bin) {
    for (std::int32_t i = 0; i < layout.Rows; ++i) {
      double ofRow = 0.0;
      for (std::int32_t j = 0; j < layout.Columns; ++j, cells += layout.Depth) {
        const double sum = AddCells(cells, layout.Depth, depths);
        columns[j] += sum;
        ofRow += sum;
      }
      rows[i] += ofRow;
      sums[bin] += ofRow;
    }
  }
}

void trelBatchProjections::Take(const trelSimulationResult& batch)
{
  std::vector<double> row(Length, 0.0);
  std::size_t next = 0;
  VisitRecords(batch, [&](auto& record, const trelRecordOwner&) {
    record.VisitTotals([&](const double* totals, std::size_t number) {
      std::copy_n(totals, number, row.data() + next);
      next += number;
    });
  });
  auto grid = GridTable.begin();
  VisitRecords(batch, [&](const auto& record, const trelRecordOwner& owner) {
    for (; grid != GridTable.end() && grid->Owner == owner; ++grid)
      SumGrid(*grid, record.GetGrid(grid->Domain, grid->Id)->GetCells(), row.data() + grid->First);
  });
  Rows.push_back(std::move(row));
}

std::int64_t trelBatchProjections::GetMostBatches() const
{
  const std::size_t bytes = Length * sizeof(double) + sizeof(std::vector<double>);
  return static_cast<std::int64_t>(std::min(GetMemoryOfMachine(), SIZE_MAX / 2) / 4 / bytes);
}

trelBatchSlice trelBatchProjections::FindTotal(const trelRecordOwner& owner, bool isByTime,
                                               trelGridTotal total) const
{
  for (const Totals& totals : TotalTable) {
    if (!(totals.Owner == owner)) continue;
    if (!isByTime) return {totals.First + total, 1};
    const auto at = std::find(totals.ByTime.begin(), totals.ByTime.end(), total);
    if (at == totals.ByTime.end()) return {};
    const auto before = static_cast<std::size_t>(at - totals.ByTime.begin()) * totals.Gates;
    return {totals.First + NumberOfTotals + before, totals.Gates};
  }
  return {};
}

const trelBatchProjections::Grid* trelBatchProjections::FindGrid(const trelRecordOwner& owner,
                                                                 trelGridDomain domain,
                                                                 trelGridId id) const
{
  for (const Grid& grid : GridTable)
    if (grid.Owner == owner && grid.Domain == domain && grid.Id == id) return &grid;
  return nullptr;
}

trelBatchSlice trelBatchProjections::FindProjection(const trelRecordOwner& owner,
                                                    trelGridDomain domain, trelGridId id,
                                                    int axis) const
{
  const Grid* grid = FindGrid(owner, domain, id);
  if (!grid) return {};
  std::size_t first = grid->First + static_cast<std::size_t>(grid->Layout.Bins);
  for (int i = 0; i < axis; ++i)
    first += CountAlong(*grid, i);
  return {first, CountAlong(*grid, axis)};
}

trelBatchSlice trelBatchProjections::FindSums(const trelRecordOwner& owner, trelGridDomain domain,
                                              trelGridId id) const
{
  const Grid* grid = FindGrid(owner, domain, id);
  if (!grid) return {};
  return {grid->First, static_cast<std::size_t>(grid->Layout.Bins)};
}

double trelBatchProjections::FindMean(std::size_t number) const
{
  double sum = 0.0;
  for (const std::vector<double>& row : Rows)
    sum += row[number];
  return Rows.empty() ? 0.0 : sum / static_cast<double>(Rows.size());
}

std::vector<double> trelBatchProjections::ListNumbers(std::size_t number) const
{
  std::vector<double> numbers;
  numbers.reserve(Rows.size());
  for (const std::vector<double>& row : Rows)
    numbers.push_back(row[number]);
  return numbers;
}

trelComplexSums trelBatchProjections::SumComplex(std::size_t real, std::size_t imag) const
{
  trelComplexSums sums{};
  for (const std::vector<double>& row : Rows) {
    const double re = row[real], im = row[imag];
    sums.Real += re;
    sums.Imag += im;
    sums.RealSquares += re * re;
    sums.ImagSquares += im * im;
    sums.Products += re * im;
  }
  return sums;
}
