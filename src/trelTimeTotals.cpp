#include "trelTimeTotals.h"

#include <array>

/** The totals over all of @p kind: in two dimensions, then in three. */
static std::array<trelGridTotal, 2> OverallTotals(trelGridKind kind)
{
  if (kind == GridAbsorption) return {TotalOfAbsorption2D, TotalOfAbsorption3D};
  return {TotalOfTransmittance2D, TotalOfTransmittance3D};
}

/** Puts a zeroed array of @p count bins in the place of @p array. */
static bool AllocateArray(std::unique_ptr<trelGrid>& array, std::int32_t count)
{
  array.reset(trelGrid::Allocate({count}));
  return array != nullptr;
}

bool trelTimeTotals::Allocate(trelGridKind kind, std::int32_t count)
{
  for (int k = 0; k < NumberOfTotals; ++k) {
    if (GetTotalKind(static_cast<trelGridTotal>(k)) != kind) continue;
    if (!AllocateArray(Totals[k], count)) return false;
  }
  for (const trelGridTotal overall : OverallTotals(kind)) {
    if (!AllocateExtremes(overall, count)) return false;
  }
  return true;
}

bool trelTimeTotals::AllocateExtremes(trelGridTotal overall, std::int32_t count)
{
  const int k = overall - NumberOfSurfaceTotals;
  return AllocateArray(Maxima[k], count) && AllocateArray(Minima[k], count);
}

void trelTimeTotals::Release(trelGridKind kind)
{
  for (int k = 0; k < NumberOfTotals; ++k) {
    if (GetTotalKind(static_cast<trelGridTotal>(k)) == kind) Totals[k].reset();
  }
  for (const trelGridTotal overall : OverallTotals(kind)) {
    Maxima[overall - NumberOfSurfaceTotals].reset();
    Minima[overall - NumberOfSurfaceTotals].reset();
    Sums[overall - NumberOfSurfaceTotals] = 0.0;
  }
}

void trelTimeTotals::Sum(trelGridKind kind, const trelGridSet& grids)
{
  for (const trelGridId id : GetGridIds(kind)) {
    const trelGridTotal total = GetGridDescription(id).Total;
    if (!grids.Get(id) || total == TotalOfNothing) continue;
    for (std::int32_t bin = 0; bin < grids.GetLayout(id).Bins; ++bin) {
      AddBin(total, bin, grids.SumBin(id, bin));
    }
  }
}

void trelTimeTotals::AddBin(trelGridTotal total, std::int32_t bin, double sum)
{
  const trelGridTotal overall = GetOverallTotal(total);
  GetTotals(total)[bin] += sum;
  if (overall != total) GetTotals(overall)[bin] += sum;
  Sums[overall - NumberOfSurfaceTotals] += sum;
}

/** The range of the cells of one time bin over the grids that end in the total @p overall. */
static trelGridRange RangeOfBin(trelGridTotal overall, std::int32_t bin, const trelGridSet& grids)
{
  trelGridRange range;
  for (const trelGridId id : GetGridIds(GetTotalKind(overall))) {
    if (!grids.Get(id) || GetGridDescription(id).Dimension != GetTotalDimension(overall)) continue;
    range.Include(grids.GetBin(id, bin), grids.GetLayout(id).GetCellsPerBin());
  }
  return range;
}

void trelTimeTotals::ComputeRanges(trelGridKind kind, const trelGridSet& grids)
{
  for (const trelGridTotal overall : OverallTotals(kind)) {
    const std::unique_ptr<trelGrid>& array = Totals[overall];
    const std::size_t bins = array ? array->GetNumberOfCells() : 0;
    for (std::size_t bin = 0; bin < bins; ++bin) {
      const trelGridRange range = RangeOfBin(overall, static_cast<std::int32_t>(bin), grids);
      GetMaxima(overall)[bin] = range.Maximum;
      GetMinima(overall)[bin] = range.Minimum;
    }
  }
}
