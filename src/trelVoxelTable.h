#ifndef trelVoxelTable_h
#define trelVoxelTable_h

#include <vector>

#include "trelInlining.h"
#include "trelShapeObject.h"
#include "trelVoxelGrid.h"
#include "trelVoxelLists.h"
#include "trelVoxelTableBuilder.h"

/**
 * @class   trelVoxelTable
 * @brief   a regular grid over a mesh that answers where points lie and what rays meet
 *
 * Each voxel lists the triangles that overlap it and has a state: the region that it lies in
 * wholly, none, or surface. A point in a voxel without triangles is located by one read. In a
 * surface voxel a ray parallel to an axis, along which the border of the grid is nearest, counts
 * the triangles that it crosses: an odd number puts the point inside. A ray visits the voxels
 * between its ends and tests what they list.
 *
 * Triangles bound one or two regions, and each question names a region: only its triangles count.
 * The region -1 is what lies around the mesh. A closed surface alone is region 0.
 *
 * @sa trelVoxelTableBuilder
 */
class trelVoxelTable : public trelVoxelGrid
{
public:
  /** The states of trelVoxelLists, for users of the table. */
  static constexpr std::int16_t NoRegion = trelVoxelLists::NoRegion;
  static constexpr std::int16_t Surface = trelVoxelLists::Surface;
  static constexpr std::int32_t MaximumRegions = trelVoxelLists::MaximumRegions;

  /**
   * Builds the table over @p bounds for @p triangles, which it takes over, with @p threads threads.
   * False, and empty, if memory runs out or the box is not finite.
   */
  bool Build(std::vector<trelTracedTriangle>&& triangles, const trelBox& bounds,
             VoxelCenterRule rule, int threads);
  /** Makes what the calling thread needs for questions to any table built so far, which then
   *  allocate nothing. False without memory. */
  static bool PrepareThread();
  /** Lets IsSettledIn() answer for the regions from 0 on, whose points lie within @p boxes. */
  void Settle(const std::vector<trelBox>& boxes);
  void Release();
  bool IsBuilt() const { return Built; }

  /** True if the mesh is flat: the grid then has no voxels. */
  bool IsEmpty() const { return Lists.States.empty(); }
  std::int16_t GetState(std::size_t cell) const { return Lists.States[cell]; }
  int GetRayAxis(std::size_t cell) const { return Lists.GetCell(cell).Axis; }
  /** The triangles of a voxel, ascending. */
  const std::uint32_t* BeginOf(std::size_t cell) const { return Lists.BeginOf(cell); }
  const std::uint32_t* EndOf(std::size_t cell) const { return Lists.EndOf(cell); }
  const trelTracedTriangle& GetTriangle(std::uint32_t t) const { return Lists.Triangles[t]; }
  const trelTriangleBounds& GetBounds(std::uint32_t t) const { return Lists.TriangleBounds[t]; }

  /** True if all points of the voxel are known to lie in @p region. Most steps need no other
   *  answer. */
  bool IsSettledIn(std::size_t cell, std::int32_t region) const
  {
    return Lists.Settled[cell] == region && region != trelVoxelLists::Unsettled;
  }

  /**
   * Counts the crossings of the point's ray with triangles that bound @p region, 0 or above, in the
   * voxels from @p cell, the point's own, to the border of the grid: where the point lies in
   * relation to the region. Separate coordinates are passed in registers, a vector is not.
   */
  TREL_RARE PointRelation ClassifyPointInVoxel(double x, double y, double z, std::size_t cell,
                                               std::int32_t region) const;

  /**
   * The nearest triangle ahead that bounds @p region and lies nearer than @p distance by more than
   * 1e-12, or -1; @p distance receives how far it is. Among those equally far within 1e-12 the
   * first in the order of the voxels wins. Only voxels in @p range are searched.
   *
   * If none lies ahead, a triangle that the ray starts on is the answer, at distance 0. Where a ray
   * that enters meets such a triangle, what was found before and the rest of that voxel do not
   * count; hits in later voxels count only if they are nearer than those found before.
   */
  int FindNearest(const trelRay& ray, std::int32_t region, RaySide side,
                  const trelVoxelRange& range, double* distance) const;

private:
  template <int axis>
  PointRelation CountCrossings(const VoxelCell& voxel, const trelVector& point,
                               std::int32_t region) const;

  bool Built = false;
  trelVoxelLists Lists;
};

#endif
