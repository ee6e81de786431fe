#include "trelGrid.h"

#include <cstdlib>
#include <limits>

#include "trelMemory.h"

/** The product of the extents in bytes; false if it is no size of a grid. */
static bool SizeInBytes(const std::vector<std::int32_t>& extents, std::size_t* bytes)
{
  constexpr std::size_t rowLimit = std::numeric_limits<std::uint32_t>::max();
  std::size_t size = sizeof(double);
  for (const std::int32_t extent : extents) {
    if (extent < 0 || static_cast<std::size_t>(extent) > rowLimit / sizeof(double)) return false;
    if (extent > 0 && size > std::numeric_limits<std::size_t>::max() / extent) return false;
    size *= static_cast<std::size_t>(extent);
  }
  *bytes = size;
  return true;
}

trelGrid* trelGrid::Allocate(const std::vector<std::int32_t>& extents)
{
  std::size_t bytes = 0;
  if (!SizeInBytes(extents, &bytes) || !TakeMemory(bytes)) return nullptr;
  auto* cells = static_cast<double*>(std::calloc(bytes ? bytes : 1, 1));
  trelGrid* grid = nullptr;
  FitsInMemory([&] {
    if (cells) grid = new trelGrid(cells, bytes / sizeof(double), extents);
  });
  if (!grid) {
    std::free(cells);
    ReturnMemory(bytes);
  }
  return grid;
}

trelGrid::~trelGrid()
{
  ReturnMemory(NumberOfCells * sizeof(double));
  std::free(Cells);
}
