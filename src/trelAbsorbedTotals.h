#ifndef trelAbsorbedTotals_h
#define trelAbsorbedTotals_h

#include <memory>

#include "trelGrid.h"

/**
 * @class   trelAbsorbedTotals
 * @brief   what is absorbed in the cells of a grid that itself takes fluence
 *
 * Under the exact rules fluence is scored by itself, and the totals of absorption have no grid to
 * be summed from. All threads add: the continuous-wave total is kept in stripes, chosen by the
 * cell, so that they meet in one place no more often than in a grid.
 */
class trelAbsorbedTotals
{
public:
  /** Zeroed totals, by time gate those of @p gates gates; false if memory is short. */
  bool Allocate(std::int32_t gates)
  {
    Stripes.reset(trelGrid::Allocate({NumberOfStripes * StripeLength}));
    Gates.reset(trelGrid::Allocate({gates}));
    return Stripes && Gates;
  }
  void Release()
  {
    Stripes.reset();
    Gates.reset();
  }

  /** The first stripe, and the first gate; null if not allocated. */
  double* GetStripes() const { return Stripes ? Stripes->GetCells() : nullptr; }
  double* GetGates() const { return Gates ? Gates->GetCells() : nullptr; }
  /** Where the stripe of a cell lies. */
  static std::size_t GetOffset(std::size_t cell) { return cell % NumberOfStripes * StripeLength; }

  /** Calls @p visit with the first cell and the number of cells of each of the two. */
  template <class Visit>
  void VisitCells(Visit visit) const
  {
    for (trelGrid* sums : {Stripes.get(), Gates.get()})
      if (sums) visit(sums->GetCells(), sums->GetNumberOfCells());
  }

  /** The continuous-wave total. */
  double Sum() const
  {
    double sum = 0.0;
    for (std::size_t k = 0; Stripes && k < Stripes->GetNumberOfCells(); ++k)
      sum += Stripes->GetCells()[k];
    return sum;
  }

private:
  static constexpr std::int32_t NumberOfStripes = 64;
  static constexpr std::int32_t StripeLength = 8;  ///< doubles of a cache line

  std::unique_ptr<trelGrid> Stripes;
  std::unique_ptr<trelGrid> Gates;
};

#endif
