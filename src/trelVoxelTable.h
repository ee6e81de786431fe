#ifndef trelVoxelTable_h
#define trelVoxelTable_h

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "trelInlining.h"
#include "trelMeshPredicates.h"
#include "trelShapeObject.h"

/** A ray as the walk through the voxels takes it. */
struct trelVoxelRay
{
  double Origin[3];
  double Direction[3];
};

/** A voxel with triangles, by its ranges in two arrays of triangle numbers. */
struct VoxelCell
{
  /** Those that overlap the voxel, ascending. */
  std::uint32_t First, Last;
  /** Those that overlap it or a voxel of its row between it and the border that its ray makes for,
   *  each once. */
  std::uint32_t RowFirst, RowLast;
  RayAxis Axis;
};

/** What the parity count looks at first: the box of a triangle, and the regions that it bounds. */
struct trelTriangleBounds
{
  /** x, y, z, mm, rounded away from the triangle. */
  float Low[3], High[3];
  std::int16_t Regions[2];

  bool Bounds(std::int32_t region) const { return Regions[0] == region || Regions[1] == region; }
};

/** A box of voxels: first and last index along x, y, z. */
struct trelVoxelRange
{
  int First[3];
  int Last[3];
};

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
 * The voxels are cubes of the smallest edge in the series 0.084 mm, times 1.05, times 1.05^2, ...
 * of which 2,000,000 or less cover the box. Each has a byte that answers most questions, two of
 * state and a number of four, in arrays apart; lists exist for surface voxels only.
 */
class trelVoxelTable
{
public:
  /** State of a voxel in no region, and of one with triangles. Others are numbers of regions. */
  static constexpr std::int16_t NoRegion = -1;
  static constexpr std::int16_t Surface = -2;
  /** As many regions as a state can name. */
  static constexpr std::int32_t MaximumRegions = 32767;
  static constexpr std::int64_t MaximumVoxels = 2000000;

  /** What becomes of a voxel without triangles whose centre lies on one of its row: it counts as a
   *  surface voxel with an empty list, or as one outside of the regions concerned. */
  enum CenterRule
  {
    CenterMakesSurface,
    CenterMakesNothing
  };

  /**
   * Builds the table over @p bounds (xmin, xmax, ymin, ...) for @p triangles, which it takes over,
   * with @p threads threads. False, and empty, if memory runs out or the box is not finite.
   */
  bool Build(std::vector<trelTracedTriangle>&& triangles, const double bounds[6], CenterRule rule,
             int threads);
  /** Makes what the calling thread needs for questions to any table built so far, which then
   *  allocate nothing. False without memory. */
  static bool PrepareThread();
  /** A box as xmin, xmax, ymin, ... */
  using Box = std::array<double, 6>;
  /** Lets IsSettledIn() answer for the regions from 0 on, whose points lie within @p boxes. */
  void Settle(const std::vector<Box>& boxes);
  void Release();
  bool IsBuilt() const { return Built; }

  /** True if the mesh is flat: the grid then has no voxels. */
  bool IsEmpty() const { return States.empty(); }
  double GetVoxelSize() const { return VoxelSize; }
  int GetSize(int axis) const { return Size[axis]; }
  trelVoxelRange GetWholeRange() const;

  /** Index of the voxel along @p axis, clamped into the grid; 0 for not-a-number. */
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
  std::int16_t GetState(std::size_t cell) const { return States[cell]; }
  /** Lists and direction of a surface voxel; for another voxel one with empty lists. */
  const VoxelCell& GetCell(std::size_t cell) const { return SurfaceVoxels[Numbers[cell]]; }
  int GetRayAxis(std::size_t cell) const { return GetCell(cell).Axis; }
  /** The triangles of a voxel, ascending. */
  const std::uint32_t* BeginOf(std::size_t cell) const
  {
    return Entries.data() + GetCell(cell).First;
  }
  const std::uint32_t* EndOf(std::size_t cell) const { return Entries.data() + GetCell(cell).Last; }
  const trelTracedTriangle& GetTriangle(std::uint32_t t) const { return Triangles[t]; }

  /**
   * Half the length, mm, along @p axis of the box that a triangle must overlap to be listed: half a
   * voxel and a billionth of it, and what rounding makes of positions far from the origin. The
   * overlap test takes touching for overlap within 1e-12, but of products with edges and normals
   * that are not of unit length: of faces of several mm along the border of a voxel, rounding alone
   * would make it miss some, and the body would be open there.
   */
  double GetReach(int axis) const;
  /** Corners and centre of the voxel (@p i, @p j, @p k). */
  void GetCorners(const int index[3], double min[3], double max[3]) const;
  void GetCenter(const int index[3], double center[3]) const;

  /** The voxel that holds the point, or is nearest to it. Not for an empty grid. */
  std::size_t CellAt(double x, double y, double z) const
  {
    return CellOf(IndexOf(0, x), IndexOf(1, y), IndexOf(2, z));
  }

  /** The voxel that holds the point. False beside the grid, and before it has been laid out. */
  bool FindCell(double x, double y, double z, std::size_t* cell) const
  {
    // As in IndexOf(), where a point in the grid needs no clamp.
    const double u = (x - Origin[0]) * InverseVoxelSize;
    const double v = (y - Origin[1]) * InverseVoxelSize;
    const double w = (z - Origin[2]) * InverseVoxelSize;
    if (!(u >= 0.0 && v >= 0.0 && w >= 0.0)) return false;
    if (!(u < EndIndex[0] && v < EndIndex[1] && w < EndIndex[2])) return false;
    *cell = CellOf(static_cast<int>(u), static_cast<int>(v), static_cast<int>(w));
    return true;
  }

  /** True if all points of the voxel are known to lie in @p region. With this question most steps
   *  are done. */
  bool IsSettledIn(std::size_t cell, std::int32_t region) const
  {
    return Settled[cell] == region && region != Unsettled;
  }

  /**
   * Counts the crossings of the point's ray with triangles that bound @p region, 0 or above, in the
   * voxels from @p cell, the point's own, to the border of the grid: where the point lies in
   * relation to the region.
   */
  TREL_RARE PointRelation ClassifyPointInVoxel(double x, double y, double z, std::size_t cell,
                                               std::int32_t region) const;

  /**
   * The nearest triangle ahead that bounds @p region and lies nearer than @p distance by more than
   * 1e-12, or -1; @p distance receives how far it is. Among those equally far within 1e-12 the
   * first in the order of the voxels wins. Only voxels in @p range are searched.
   *
   * A triangle that the ray starts on is the answer if none lies ahead, at distance 0. A ray that
   * enters (@p raySide RayEnters) and comes upon such a triangle forgets what it has found so far
   * and passes to the next voxel; only a nearer hit after that takes its place.
   */
  int FindNearest(const trelVoxelRay& ray, std::int32_t region, int raySide,
                  const trelVoxelRange& range, double* distance) const;

private:
  struct Search;
  /** A stretch of a ray, in lengths of its direction. */
  struct RayInterval
  {
    double First;
    double Last;
  };

  bool LayOutVoxels(const double bounds[6]);
  bool AllocateVoxelTable(const double bounds[6]);
  void CollectCells(std::uint32_t t, std::vector<std::uint32_t>* cells) const;
  bool RegisterTrianglesInVoxels();
  RayAxis ChooseRayAxis(int i, int j, int k) const;
  void ChooseVoxelRayDirections(int threads);
  template <int axis>
  PointRelation CountCrossings(const VoxelCell& voxel, const double point[3],
                               std::int32_t region) const;
  bool ListRows();
  void ListRow(RayAxis axis, const int start[3]);
  bool BoundTriangles();
  trelVoxelRange FindVoxelsWithin(const Box& box) const;
  bool SweepRows(int j, CenterRule rule);
  bool ClassifyEmptyVoxels(CenterRule rule, int threads);

  trelVoxelRange FindEndVoxels(const trelVoxelRay& ray, double distance,
                               const trelVoxelRange& range) const;
  static bool IsBoxTestUsed(const trelVoxelRay& ray, const trelVoxelRange& cells);
  bool CanWalkSlabs(const trelVoxelRay& ray) const;
  RayInterval CrossSlab(const trelVoxelRay& ray, int axis, int index) const;
  void NarrowRange(const trelVoxelRay& ray, int axis, const RayInterval& interval,
                   const trelVoxelRange& cells, trelVoxelRange* range) const;
  void WalkAll(const trelVoxelRange& cells, Search* search) const;
  void WalkSlabs(const trelVoxelRange& cells, Search* search) const;
  void TestVoxel(const int index[3], Search* search) const;

  bool Built = false;
  double Origin[3] = {0.0, 0.0, 0.0};
  double VoxelSize = 0.1;
  double InverseVoxelSize = 10.0;
  int Size[3] = {0, 0, 0};
  double LastIndex[3] = {0.0, 0.0, 0.0};

  /** In Settled: a region beyond the byte, or a voxel that is not wholly in one and in its box. */
  static constexpr std::uint8_t Unsettled = 255;
  /** Size, for FindCell(). */
  double EndIndex[3] = {0.0, 0.0, 0.0};

  /** By voxel, z fastest. */
  std::vector<std::uint8_t> Settled;
  std::vector<std::int16_t> States;
  /** By voxel: where its lists are among the surface voxels, 0 if it has none. */
  std::vector<std::uint32_t> Numbers;
  std::vector<VoxelCell> SurfaceVoxels;
  std::vector<std::uint32_t> Entries;
  std::vector<std::uint32_t> RowEntries;
  std::vector<trelTracedTriangle> Triangles;
  std::vector<trelTriangleBounds> TriangleBounds;
};

#endif
