#ifndef trelSurfaceSlabs_h
#define trelSurfaceSlabs_h

#include <algorithm>
#include <cstdint>
#include <vector>

#include "trelVoxelTable.h"

/** Two parallel planes between which all triangles of a surface near a block of voxels lie. */
struct trelSurfaceSlab
{
  /** The least and the largest of the scalar products of Normal with the triangles' points, mm;
   *  widened by what rounding may make of them. */
  double Low, High;
  /** A unit vector but for the single precision. */
  float Normal[3];
  /** Any triangle beside the slab is farther than this from all points of the block, mm. */
  float Reach;

  double HeightOf(const trelVector& point) const
  {
    return static_cast<double>(Normal[0]) * point.X + static_cast<double>(Normal[1]) * point.Y +
           static_cast<double>(Normal[2]) * point.Z;
  }
  /** How much of the way, which starts in the block, no triangle lies on, mm: all of it or what is
   *  within reach. 0 proves nothing. */
  double FindClearLength(const trelWay& way) const
  {
    const double reach = static_cast<double>(Reach) - 2.0 * way.Margin;
    const double start = HeightOf(way.From);
    double end = HeightOf(way.To);
    if (way.Length > reach) end = start + (end - start) * (reach / way.Length);
    const bool isBeside = (start > High && end > High) || (start < Low && end < Low);
    return isBeside ? std::min(way.Length, reach) : 0.0;
  }
  /** A lower bound of the distance, mm, of a point of the block from any triangle. */
  double BoundDistance(const trelVector& point) const
  {
    constexpr double shortened = 1.0 - 1e-6;  // pays for the single precision
    const double height = HeightOf(point);
    const double beyond = std::max({height - High, Low - height, 0.0});
    return std::min(shortened * beyond, static_cast<double>(Reach));
  }
};

/** The slabs of a block of voxels, one for each pair of regions that triangles part there. */
struct trelSlabStack
{
  const trelSurfaceSlab* First = nullptr;
  const trelSurfaceSlab* End = nullptr;

  bool IsEmpty() const { return First == End; }
  /** How much of the way, which starts in the block, no triangle lies on, mm. 0 proves nothing. */
  double FindClearLength(const trelWay& way) const
  {
    double length = way.Length;
    for (const trelSurfaceSlab* slab = First; slab != End; ++slab)
      length = std::min(length, slab->FindClearLength(way));
    return length;
  }
  /** A lower bound of the distance, mm, of a point of the block from any triangle. */
  double BoundDistance(const trelVector& point) const
  {
    double bound = First->Reach;
    for (const trelSurfaceSlab* slab = First; slab != End; ++slab)
      bound = std::min(bound, slab->BoundDistance(point));
    return bound;
  }
};

/**
 * @class   trelSurfaceSlabs
 * @brief   the slabs of those blocks of a voxel table that lie near triangles
 *
 * Where a surface is nearly flat, as most are at the size of a voxel, a slab tells for two scalar
 * products that a way beside it meets nothing, also of one that runs along the surface. A block is
 * a cube of 2 x 2 x 2 voxels.
 */
class trelSurfaceSlabs
{
public:
  /** Makes the slabs; @p clearance is the Chebyshev number of voxels to the nearest one with
   *  triangles, by voxel. May throw std::bad_alloc. */
  void Build(const trelVoxelTable& table, const std::vector<std::uint8_t>& clearance);
  /** Those of a voxel's block; empty if it has none. */
  trelSlabStack Find(const int voxel[3]) const
  {
    const std::int32_t place = Places[BlockOf(voxel[0] / 2, voxel[1] / 2, voxel[2] / 2)];
    if (place < 0) return {};
    const std::uint32_t* const start = &Starts[static_cast<std::size_t>(place)];
    return {Slabs.data() + start[0], Slabs.data() + start[1]};
  }

private:
  std::size_t BlockOf(int i, int j, int k) const
  {
    return (static_cast<std::size_t>(i) * Rows + static_cast<std::size_t>(j)) * Columns +
           static_cast<std::size_t>(k);
  }

  std::size_t Rows = 0, Columns = 0;
  std::vector<std::int32_t> Places;   ///< by block, the last axis fastest; -1 for none
  std::vector<std::uint32_t> Starts;  ///< of the stacks in Slabs, and their end
  std::vector<trelSurfaceSlab> Slabs;
};

#endif
