#ifndef trelTimeTotals_h
#define trelTimeTotals_h

#include "trelGridSet.h"

/**
 * @class   trelTimeTotals
 * @brief   sums and extremes of the grids of the time domain, by time bin
 *
 * An array of a double for each time bin, for each total of the table; the largest and the smallest
 * cell of each bin for each of the four totals over all; and these four summed over time.
 */
class trelTimeTotals
{
public:
  /** Allocates the zeroed arrays of the totals of @p kind with @p count bins each; false at the
   *  first allocation that fails. The array of TotalOfAbsorption2D is the first of its kind. */
  bool Allocate(trelGridKind kind, std::int32_t count);
  /** Frees the arrays of @p kind; their sums over time become 0. */
  void Release(trelGridKind kind);

  /** The sums by time bin; null if not allocated. */
  double* GetTotals(trelGridTotal total) const { return CellsOf(Totals[total]); }
  /** The sum of time bin @p bin; 0 if the array is not allocated. */
  double GetTotal(trelGridTotal total, std::int32_t bin) const
  {
    const double* sums = GetTotals(total);
    return sums ? sums[bin] : 0.0;
  }
  /** Calls @p visit with the first and the number of the sums of each total that has @p count. */
  template <class Visit>
  void VisitTotals(std::int32_t count, Visit visit)
  {
    for (const auto& total : Totals)
      if (total) visit(total->GetCells(), static_cast<std::size_t>(count));
  }
  /** The sum over all time bins of one of the four totals over all. */
  double GetSum(trelGridTotal overall) const { return Sums[overall - NumberOfSurfaceTotals]; }
  /** The extremes by time bin of one of the four totals over all; null if not allocated. */
  double* GetMaxima(trelGridTotal overall) const
  {
    return CellsOf(Maxima[overall - NumberOfSurfaceTotals]);
  }
  double* GetMinima(trelGridTotal overall) const
  {
    return CellsOf(Minima[overall - NumberOfSurfaceTotals]);
  }

  /** Adds the sums of the grids of @p kind in the time-domain set @p grids. They accumulate on what
   *  is there, which is 0 after allocation. */
  void Sum(trelGridKind kind, const trelGridSet& grids);
  /** Adds the sum of one time bin to @p total and to what is above it. */
  void AddBin(trelGridTotal total, std::int32_t bin, double sum);
  /** Takes the extremes of each time bin over the grids of @p kind. */
  void ComputeRanges(trelGridKind kind, const trelGridSet& grids);

private:
  static double* CellsOf(const std::unique_ptr<trelGrid>& array)
  {
    return array ? array->GetCells() : nullptr;
  }
  bool AllocateExtremes(trelGridTotal overall, std::int32_t count);

  std::unique_ptr<trelGrid> Totals[NumberOfTotals];
  std::unique_ptr<trelGrid> Maxima[NumberOfOverallTotals];
  std::unique_ptr<trelGrid> Minima[NumberOfOverallTotals];
  double Sums[NumberOfOverallTotals] = {};
};

#endif
