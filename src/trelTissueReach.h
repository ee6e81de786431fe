#ifndef trelTissueReach_h
#define trelTissueReach_h

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trelTissueClaims.h"

/**
 * @class   trelTissueReach
 * @brief   the tissues that can hold a point, by the cell of the look-up grid in which it lies
 *
 * The tissues that reach into a block of 2^n cells along each axis stand in one list, ascending,
 * and all lists in one array. n is the smallest that keeps the array within a thousand entries a
 * tissue and 64 MB in all: the finer the blocks, the shorter the lists.
 *
 * Build() may throw std::bad_alloc.
 */
class trelTissueReach
{
public:
  /** A list of tissues, for a loop. */
  struct List
  {
    const std::int32_t* Begin;
    const std::int32_t* End;
    const std::int32_t* begin() const { return Begin; }
    const std::int32_t* end() const { return End; }
  };

  /** Lists the tissues anew. @p ranges are the cells that each reaches, in a grid of @p size cells
   *  along each axis; an empty range stands for a tissue that is nowhere. */
  void Build(const std::ptrdiff_t size[3], const std::vector<trelCellRange>& ranges);

  /** Those that reach into the block of the cell (i, j, k), perhaps more than into the cell. */
  List GetTissues(std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t k) const
  {
    const std::size_t block = BlockOffset(i >> Shift, j >> Shift, k >> Shift);
    return {Tissues.data() + Starts[block], Tissues.data() + Starts[block + 1]};
  }

  /** How many tissues are visited if every cell is asked about those that reach into its block. */
  double CountVisits() const
  {
    const double side = static_cast<double>(std::ptrdiff_t{1} << Shift);
    return side * side * side * static_cast<double>(Tissues.size());
  }

private:
  std::size_t BlockOffset(std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t k) const
  {
    return static_cast<std::size_t>((i * Blocks[1] + j) * Blocks[2] + k);
  }
  template <class Visit>
  void VisitBlocks(const trelCellRange& range, Visit visit) const;

  int Shift = 0;
  std::ptrdiff_t Blocks[3] = {};
  /** For each block where its list starts, and where the last one ends. */
  std::vector<std::uint32_t> Starts;
  std::vector<std::int32_t> Tissues;
};

#endif
