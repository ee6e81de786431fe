#include "trelTissueReach.h"

#include <algorithm>

static constexpr std::size_t entriesPerTissue = 1000;
static constexpr std::size_t maximumOfEntries = std::size_t{1} << 24;

/** How many blocks of 2^shift cells all ranges touch, one by one. */
static std::size_t CountEntries(const std::vector<trelCellRange>& ranges, int shift)
{
  std::size_t entries = 0;
  for (const trelCellRange& range : ranges) {
    std::size_t blocks = 1;
    for (int axis = 0; axis < 3; ++axis) {
      const std::ptrdiff_t count = (range.Last[axis] >> shift) - (range.First[axis] >> shift) + 1;
      blocks *= static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0));
    }
    entries += blocks;
  }
  return entries;
}

/** Calls @p visit with the offset of each block that the range touches. */
template <class Visit>
void trelTissueReach::VisitBlocks(const trelCellRange& range, Visit visit) const
{
  for (std::ptrdiff_t i = range.First[0] >> Shift; i <= range.Last[0] >> Shift; ++i)
    for (std::ptrdiff_t j = range.First[1] >> Shift; j <= range.Last[1] >> Shift; ++j)
      for (std::ptrdiff_t k = range.First[2] >> Shift; k <= range.Last[2] >> Shift; ++k)
        visit(BlockOffset(i, j, k));
}

void trelTissueReach::Build(const std::ptrdiff_t size[3], const std::vector<trelCellRange>& ranges)
{
  const std::size_t most = std::min(ranges.size() * entriesPerTissue, maximumOfEntries);
  const std::ptrdiff_t longest = *std::max_element(size, size + 3);
  Shift = 0;
  while (CountEntries(ranges, Shift) > most && longest >> Shift > 0)
    ++Shift;
  for (int axis = 0; axis < 3; ++axis)
    Blocks[axis] = ((size[axis] - 1) >> Shift) + 1;

  // The lists are filled from their ends, so that each start is counted down to its place.
  Starts.assign(BlockOffset(Blocks[0], 0, 0) + 1, 0);
  for (const trelCellRange& range : ranges)
    VisitBlocks(range, [&](std::size_t block) { ++Starts[block]; });
  for (std::size_t block = 1; block < Starts.size(); ++block)
    Starts[block] += Starts[block - 1];
  Tissues.resize(Starts.back());
  for (std::size_t tissue = ranges.size(); tissue-- > 0;) {
    VisitBlocks(ranges[tissue], [&](std::size_t block) {
      Tissues[--Starts[block]] = static_cast<std::int32_t>(tissue);
    });
  }
}
