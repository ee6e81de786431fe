#include "trelVoxelTable.h"

#include <algorithm>
#include <cmath>

#include "trelMemory.h"
#include "trelSeenTriangles.h"

/** Triangles of the largest mesh that this process has built a table for. */
static std::size_t LargestMesh = 0;

void trelVoxelTable::Release()
{
  *this = trelVoxelTable();
}

bool trelVoxelTable::Build(std::vector<trelTracedTriangle>&& triangles, const trelBox& bounds,
                           VoxelCenterRule rule, int threads)
{
  Release();
  Lists.Triangles = std::move(triangles);
  if (!trelVoxelTableBuilder(this, &Lists).Build(bounds, rule, threads)) {
    Release();
    return false;
  }
  Built = true;
  LargestMesh = std::max(LargestMesh, Lists.Triangles.size());
  return true;
}

bool trelVoxelTable::PrepareThread()
{
  return LargestMesh == 0 || trelSeenTriangles::Begin(LargestMesh);
}

/** True if the voxel lies in the range. */
static bool IsIn(const trelVoxelRange& range, const int index[3])
{
  for (int a = 0; a < 3; ++a)
    if (index[a] < range.First[a] || index[a] > range.Last[a]) return false;
  return true;
}

void trelVoxelTable::Settle(const std::vector<trelBox>& boxes)
{
  if (IsEmpty() || !IsNearOrigin()) return;
  std::vector<trelVoxelRange> ranges;
  // Without the memory for it the table answers all the same, if slower.
  if (!FitsInMemory([&] { ranges.reserve(boxes.size()); })) return;
  for (const trelBox& box : boxes)
    ranges.push_back(FindVoxelsWithin(box));
  const auto regions = std::min<std::size_t>(ranges.size(), trelVoxelLists::Unsettled);
  std::size_t cell = 0;
  VisitVoxels(GetWholeRange(), [&](const int index[3]) {
    const std::int16_t state = Lists.States[cell];
    const auto region = static_cast<std::size_t>(state);
    if (state >= 0 && region < regions && IsIn(ranges[region], index))
      Lists.Settled[cell] = static_cast<std::uint8_t>(region);
    ++cell;
  });
}

/** Where an axis-parallel ray starts, in single precision. Rounding keeps the order: a float beyond
 *  a bound was a double beyond it. */
template <int axis>
struct trelAxisRayStart
{
  static constexpr int along = AxisAlong(axis), u = FirstAcross(axis), w = SecondAcross(axis);
  float U, W, Along;

  explicit trelAxisRayStart(const trelVector& point)
      : U(static_cast<float>(point[u])),
        W(static_cast<float>(point[w])),
        Along(static_cast<float>(point[along]))
  {
  }

  /** True if the ray passes by what is in the bounds, or has it behind. */
  bool Misses(const trelTriangleBounds& bounds) const
  {
    if (U < bounds.Low[u] || U > bounds.High[u]) return true;
    if (W < bounds.Low[w] || W > bounds.High[w]) return true;
    return IsTowardsMin(axis) ? Along < bounds.Low[along] : Along > bounds.High[along];
  }
};

template <int axis>
PointRelation trelVoxelTable::CountCrossings(const VoxelCell& voxel, const trelVector& point,
                                             std::int32_t region) const
{
  const trelAxisRayStart<axis> start(point);
  bool odd = false;
  for (std::uint32_t entry = voxel.RowFirst; entry < voxel.RowLast; ++entry) {
    const std::uint32_t t = Lists.RowEntries[entry];
    const trelTriangleBounds& bounds = Lists.TriangleBounds[t];
    if (!bounds.Bounds(region) || start.Misses(bounds)) continue;
    const AxisRayAnswer answer = TestAxisRay<axis>(point, Lists.Triangles[t]);
    if (answer == AxisRayStartsOn) return PointOnBoundary;
    if (answer == AxisRayCrosses) odd = !odd;
  }
  return odd ? PointInside : PointOutside;
}

PointRelation trelVoxelTable::ClassifyPointInVoxel(double x, double y, double z, std::size_t cell,
                                                   std::int32_t region) const
{
  const trelVector point = {x, y, z};
  const VoxelCell& voxel = Lists.GetCell(cell);
  return VisitAxis(voxel.Axis, [&](auto direction) {
    return CountCrossings<decltype(direction)::value>(voxel, point, region);
  });
}

/** A stretch of a ray, in lengths of its direction. */
struct trelRayInterval
{
  double First;
  double Last;
};

/** The search for the nearest triangle of a region along a ray: what is looked for, and what has
 *  been found. */
struct trelVoxelWalk
{
  const trelVoxelGrid& Grid;
  const trelVoxelLists& Lists;
  const trelRay& Ray;
  std::int32_t Region;
  RaySide Side;
  /** Hits must be nearer. */
  double Limit;
  trelSeenTriangles& Seen;
  /** Whether voxels that the ray passes by are left out. */
  bool BoxTest = false;

  double NearestDistance = 1e99;
  /** Whether Nearest counts; the distance bounds later hits in any case. */
  bool Found = false;
  int Nearest = -1;
  /** The last triangle that the ray starts on. */
  int ZeroHit = -1;

  void Walk(const trelVoxelRange& cells);

private:
  bool IsBoxTestUsed(const trelVoxelRange& cells) const;
  trelRayInterval CrossSlab(int axis, int index) const;
  void NarrowRange(int axis, const trelRayInterval& interval, const trelVoxelRange& cells,
                   trelVoxelRange* range) const;
  void WalkSlabs(const trelVoxelRange& cells);
  void TestVoxel(const int index[3]);
  bool TestTriangle(std::uint32_t t);
};

int trelVoxelTable::FindNearest(const trelRay& ray, std::int32_t region, RaySide side,
                                const trelVoxelRange& range, double* distance) const
{
  if (IsEmpty()) return -1;
  trelSeenTriangles* seen = trelSeenTriangles::Begin(Lists.Triangles.size());
  if (!seen) return -1;
  trelVoxelWalk walk{*this, Lists, ray, region, side, *distance, *seen};
  walk.Walk(FindVoxelsBetween(ray.Origin, ray.At(*distance), range));
  if (!walk.Found && walk.ZeroHit < 0) return -1;
  *distance = walk.Found ? walk.NearestDistance : 0.0;
  return walk.Found ? walk.Nearest : walk.ZeroHit;
}

void trelVoxelWalk::Walk(const trelVoxelRange& cells)
{
  BoxTest = IsBoxTestUsed(cells);
  if (BoxTest && Grid.CanTellVoxels(Ray.Origin))
    WalkSlabs(cells);
  else
    VisitVoxels(cells, [&](const int index[3]) { TestVoxel(index); });
}

/** Not worth it for a few voxels, and not possible where a component of the direction has no useful
 *  inverse. */
bool trelVoxelWalk::IsBoxTestUsed(const trelVoxelRange& cells) const
{
  std::int64_t number = 1;
  for (int a = 0; a < 3; ++a) {
    if (!(std::fabs(Ray.Direction[a]) >= GeometryTolerance)) return false;
    number *= cells.Last[a] - cells.First[a] + 1;
  }
  return number > 4;
}

trelRayInterval trelVoxelWalk::CrossSlab(int axis, int index) const
{
  const double inverse = 1.0 / Ray.Direction[axis];
  const double a = (Grid.BorderOf(axis, index) - Ray.Origin[axis]) * inverse;
  const double b = (Grid.BorderOf(axis, index + 1) - Ray.Origin[axis]) * inverse;
  return {std::min(a, b), std::max(a, b)};
}

void trelVoxelWalk::NarrowRange(int axis, const trelRayInterval& interval,
                                const trelVoxelRange& cells, trelVoxelRange* range) const
{
  const double a = Ray.Origin[axis] + interval.First * Ray.Direction[axis];
  const double b = Ray.Origin[axis] + interval.Last * Ray.Direction[axis];
  range->First[axis] = std::max(Grid.IndexOf(axis, std::min(a, b)) - 1, cells.First[axis]);
  range->Last[axis] = std::min(Grid.IndexOf(axis, std::max(a, b)) + 1, cells.Last[axis]);
}

/**
 * Visits the same voxels in the same order as VisitVoxels() would after the box test: for each slab
 * of x the stretch of the ray in it, which spans a few j, and for each of these a few k. One voxel
 * more on each side makes up for rounding; the box test still decides.
 */
void trelVoxelWalk::WalkSlabs(const trelVoxelRange& cells)
{
  trelVoxelRange range = cells;
  int index[3];
  for (index[0] = cells.First[0]; index[0] <= cells.Last[0]; ++index[0]) {
    const trelRayInterval inX = CrossSlab(0, index[0]);
    NarrowRange(1, inX, cells, &range);
    for (index[1] = range.First[1]; index[1] <= range.Last[1]; ++index[1]) {
      const trelRayInterval inY = CrossSlab(1, index[1]);
      const trelRayInterval both = {std::max(inX.First, inY.First), std::min(inX.Last, inY.Last)};
      if (both.First > both.Last) continue;
      NarrowRange(2, both, cells, &range);
      for (index[2] = range.First[2]; index[2] <= range.Last[2]; ++index[2])
        TestVoxel(index);
    }
  }
}

void trelVoxelWalk::TestVoxel(const int index[3])
{
  const std::size_t cell = Grid.CellOf(index[0], index[1], index[2]);
  if (Lists.States[cell] != trelVoxelLists::Surface) return;
  if (BoxTest && !RayBoxOverlap(Grid.GetBox(index), Ray)) return;
  for (const std::uint32_t* entry = Lists.BeginOf(cell); entry < Lists.EndOf(cell); ++entry)
    if (!TestTriangle(*entry)) return;
}

/** False if the rest of the voxel does not count. */
bool trelVoxelWalk::TestTriangle(std::uint32_t t)
{
  const trelTracedTriangle& triangle = Lists.Triangles[t];
  if (!triangle.Bounds(Region) || !Seen.Add(t)) return true;
  const double distance = RayTriangleDistance(Ray, triangle);
  if (distance < -GeometryTolerance) return true;
  if (std::fabs(distance) < GeometryTolerance) {
    ZeroHit = static_cast<int>(t);
    if (Side != RayEnters) return true;
    // The packet goes into the surface that it stands on. The hits so far do not count, but their
    // distance still bounds those to come.
    Found = false;
    return false;
  }
  if (distance - Limit < -GeometryTolerance && distance - NearestDistance < -GeometryTolerance) {
    NearestDistance = distance;
    Found = true;
    Nearest = static_cast<int>(t);
  }
  return true;
}
