#ifndef trelGrid_h
#define trelGrid_h

#include <cstddef>
#include <cstdint>
#include <vector>

/**
 * @class   trelGrid
 * @brief   a table of doubles of one to four dimensions in one contiguous, zeroed allocation
 *
 * The first dimension is outermost; in the time domain it is the time bin. The pages of a fresh
 * grid cost no memory until they are written, but all grids of the process together are held to
 * what the machine has (TakeMemory).
 */
class trelGrid
{
public:
  /**
   * A zeroed grid of the given extents, or null: if an extent is negative or its row alone exceeds
   * 32 bits of bytes, or if memory is short. An extent of 0 gives a grid without cells.
   */
  static trelGrid* Allocate(const std::vector<std::int32_t>& extents);
  ~trelGrid();
  trelGrid(const trelGrid&) = delete;
  trelGrid& operator=(const trelGrid&) = delete;

  /** All cells, the last index fastest, and how many there are; the extents by dimension. */
  double* GetCells() { return Cells; }
  const double* GetCells() const { return Cells; }
  std::size_t GetNumberOfCells() const { return NumberOfCells; }
  const std::vector<std::int32_t>& GetExtents() const { return Extents; }

  /** Cell of the given indices, one for each dimension; not checked. */
  template <class... Index>
  double operator()(Index... indices) const
  {
    return Cells[Offset(indices...)];
  }
  template <class... Index>
  double& operator()(Index... indices)
  {
    return Cells[Offset(indices...)];
  }

private:
  trelGrid(double* cells, std::size_t numberOfCells, const std::vector<std::int32_t>& extents)
      : Cells(cells), NumberOfCells(numberOfCells), Extents(extents)
  {
  }

  template <class... Index>
  std::size_t Offset(Index... indices) const
  {
    std::size_t offset = 0;
    std::size_t dimension = 0;
    ((offset = offset * static_cast<std::size_t>(Extents[dimension++]) +
               static_cast<std::size_t>(indices)),
     ...);
    return offset;
  }

  double* Cells;
  std::size_t NumberOfCells;
  std::vector<std::int32_t> Extents;
};

#endif
