#ifndef trelVoxelGrid_h
#define trelVoxelGrid_h

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "trelVector.h"

/** A box of voxels: first and last index along x, y, z. */
struct trelVoxelRange
{
  int First[3];
  int Last[3];
};

/** Calls @p visit with i, j, k of each voxel of the range, k fastest. */
template <class Visit>
void VisitVoxels(const trelVoxelRange& range, Visit visit)
{
  int index[3];
  for (index[0] = range.First[0]; index[0] <= range.Last[0]; ++index[0])
    for (index[1] = range.First[1]; index[1] <= range.Last[1]; ++index[1])
      for (index[2] = range.First[2]; index[2] <= range.Last[2]; ++index[2])
        visit(index);
}

/**
 * @class   trelVoxelGrid
 * @brief   a box cut into cubes: which voxel holds a point, which ones a ray passes
 *
 * The voxels are cubes of the smallest edge in the series 0.084 mm, times 1.05, times 1.05^2, ...
 * of which 2,000,000 or less cover the box. They are numbered with z fastest.
 */
class trelVoxelGrid
{
public:
  /** The most voxels of a grid, by which their size is chosen. */
  static constexpr std::int64_t MaximumVoxels = 2000000;

  /** Covers @p box. An axis whose maximum lies below its minimum is flat. False if the box is not
   *  finite. */
  bool LayOut(const trelBox& box);

  /** The edge of a voxel, mm, and the number of voxels along @p axis (0, 1, 2 for x, y, z). */
  double GetVoxelSize() const { return VoxelSize; }
  int GetSize(int axis) const { return Size[axis]; }
  /** 0 if the box is flat. */
  std::size_t GetNumberOfVoxels() const;
  trelVoxelRange GetWholeRange() const;

  /** Index of the voxel along @p axis, clamped into the grid; 0 for NaN. */
  int IndexOf(int axis, double coordinate) const
  {
    double index = (coordinate - Origin[axis]) * InverseVoxelSize;
    index = index > 0.0 ? index : 0.0;
    index = index < LastIndex[axis] ? index : LastIndex[axis];
    return static_cast<int>(index);
  }
  std::size_t CellOf(int i, int j, int k) const
  {
    return (static_cast<std::size_t>(i) * static_cast<std::size_t>(Size[1]) +
            static_cast<std::size_t>(j)) *
               static_cast<std::size_t>(Size[2]) +
           static_cast<std::size_t>(k);
  }
  /** The voxel that holds the point, or is nearest to it. Not for an empty grid. */
  std::size_t CellAt(const trelVector& point) const
  {
    return CellOf(IndexOf(0, point.X), IndexOf(1, point.Y), IndexOf(2, point.Z));
  }
  /** The voxel that holds the point. False beside the grid, and before it has been laid out. */
  bool FindCell(const trelVector& point, std::size_t* cell) const
  {
    int voxel[3];
    if (!FindVoxel(point, voxel)) return false;
    *cell = CellOf(voxel[0], voxel[1], voxel[2]);
    return true;
  }
  /** The same, by its three indices. */
  bool FindVoxel(const trelVector& point, int voxel[3]) const
  {
    // As in IndexOf(), where a point in the grid needs no clamp.
    const double u = (point.X - Origin.X) * InverseVoxelSize;
    const double v = (point.Y - Origin.Y) * InverseVoxelSize;
    const double w = (point.Z - Origin.Z) * InverseVoxelSize;
    if (!(u >= 0.0 && v >= 0.0 && w >= 0.0)) return false;
    if (!(u < EndIndex.X && v < EndIndex.Y && w < EndIndex.Z)) return false;
    voxel[0] = static_cast<int>(u);
    voxel[1] = static_cast<int>(v);
    voxel[2] = static_cast<int>(w);
    return true;
  }

  /**
   * Half the edges, mm, of the box that a triangle must overlap to be listed: half a voxel and a
   * billionth of it, and what rounding makes of positions far from the origin. The overlap test
   * takes touching for overlap within 1e-12, but of products with edges and normals that are not of
   * unit length: of faces of several mm along the border of a voxel, rounding alone would make it
   * miss some, which would leave a gap in the surface.
   */
  trelVector GetReach() const;
  /** Where voxel @p index along @p axis starts, and the one before ends. */
  double BorderOf(int axis, int index) const { return Origin[axis] + index * VoxelSize; }
  /** The voxel of the three indices, and its centre. */
  trelBox GetBox(const int index[3]) const
  {
    return {{BorderOf(0, index[0]), BorderOf(1, index[1]), BorderOf(2, index[2])},
            {BorderOf(0, index[0] + 1), BorderOf(1, index[1] + 1), BorderOf(2, index[2] + 1)}};
  }
  trelVector GetCenter(const int index[3]) const;
  /** The voxel of the number. */
  trelBox GetBox(std::size_t cell) const
  {
    const auto ny = static_cast<std::size_t>(Size[1]), nz = static_cast<std::size_t>(Size[2]);
    const int index[3] = {static_cast<int>(cell / nz / ny), static_cast<int>(cell / nz % ny),
                          static_cast<int>(cell % nz)};
    return GetBox(index);
  }

  /** The voxels wholly within @p box. Needs a grid that IsNearOrigin(). */
  trelVoxelRange FindVoxelsWithin(const trelBox& box) const;
  /** The voxels from that of one point to that of another, clamped into @p range. */
  trelVoxelRange FindVoxelsBetween(const trelVector& from, const trelVector& to,
                                   const trelVoxelRange& range) const
  {
    trelVoxelRange cells;
    for (int a = 0; a < 3; ++a) {
      const int start = IndexOf(a, from[a]), end = IndexOf(a, to[a]);
      cells.First[a] = std::clamp(std::min(start, end), range.First[a], range.Last[a]);
      cells.Last[a] = std::clamp(std::max(start, end), range.First[a], range.Last[a]);
    }
    return cells;
  }

  /** Whether indices are rounded by less than a millionth. */
  bool IsNearOrigin() const;
  /** Whether the indices of positions on a ray from @p start are off by at most one. From far away
   *  rounding errors are larger than voxels. */
  bool CanTellVoxels(const trelVector& start) const;

private:
  trelVector Origin;
  double VoxelSize = 0.1;
  double InverseVoxelSize = 10.0;
  int Size[3] = {0, 0, 0};
  trelVector LastIndex;
  /** Size, for FindCell(). */
  trelVector EndIndex;
};

#endif
