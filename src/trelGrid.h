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
 * what the machine has (see Allocate), so that a run is refused before its first packet and not
 * killed in its last.
 */
class trelGrid
{
public:
  /**
   * A zeroed grid of the given extents, or null: if an extent is negative or its row alone exceeds
   * 32 bits of bytes, or if the grids of the process would together exceed the memory available
   * when the first of them was made. An extent of 0 gives a grid without cells.
   */
  static trelGrid* Allocate(const std::vector<std::int32_t>& extents);
  ~trelGrid();
  trelGrid(const trelGrid&) = delete;
  trelGrid& operator=(const trelGrid&) = delete;

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

/**
 * A zeroed block of @p bytes that costs no memory until it is written, whatever its size; null if
 * not even the addresses are to be had. For tables whose length is a limit that a run hardly
 * reaches. FreeUntouchedBlock() takes the same size.
 */
void* AllocateUntouchedBlock(std::size_t bytes);
void FreeUntouchedBlock(void* block, std::size_t bytes);

/**
 * Such a block for a table of @p rows rows of @p rowSize bytes that a run may well fill: it is held
 * to the memory of the machine together with all grids, and null beyond it or for a negative number
 * of rows. FreeTable() takes the same numbers.
 */
void* AllocateTable(std::int64_t rows, std::size_t rowSize);
void FreeTable(void* table, std::int64_t rows, std::size_t rowSize);

#endif
