#include "trelVoxelTable.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "trelAxisRay.h"
#include "trelThreads.h"

/**
 * The triangles that a question has come upon. Each thread has one, with a mark for each triangle:
 * the number of the question that came upon it last. It grows to the largest mesh that the thread
 * has met and allocates nothing after that.
 */
class trelSeenTriangles
{
public:
  /** The thread's own, ready for a question about @p count triangles; null without memory. */
  static trelSeenTriangles* Begin(std::size_t count)
  {
    static thread_local trelSeenTriangles seen;
    return seen.Start(count) ? &seen : nullptr;
  }

  /** True for the first time in this question. */
  bool Add(std::uint32_t triangle)
  {
    if (Marks[triangle] == Question) return false;
    Marks[triangle] = Question;
    return true;
  }

private:
  bool Start(std::size_t count)
  {
    if (Marks.size() < count) {
      try {
        Marks.resize(count, 0);
      } catch (const std::bad_alloc&) {
        return false;
      }
    }
    if (++Question == 0) {
      std::fill(Marks.begin(), Marks.end(), 0u);
      Question = 1;
    }
    return true;
  }

  std::vector<std::uint32_t> Marks;
  std::uint32_t Question = 0;
};

/** Triangles of the largest mesh that this process has built a table for. */
static std::size_t LargestMesh = 0;

void trelVoxelTable::Release()
{
  *this = trelVoxelTable();
}

bool trelVoxelTable::Build(std::vector<trelTracedTriangle>&& triangles, const double bounds[6],
                           CenterRule rule, int threads)
{
  Release();
  Triangles = std::move(triangles);
  threads = StartableThreads(threads);
  if (!AllocateVoxelTable(bounds) || !RegisterTrianglesInVoxels()) {
    Release();
    return false;
  }
  ChooseVoxelRayDirections(threads);
  if (!ClassifyEmptyVoxels(rule, threads) || !ListRows() || !BoundTriangles()) {
    Release();
    return false;
  }
  Built = true;
  LargestMesh = std::max(LargestMesh, Triangles.size());
  return true;
}

bool trelVoxelTable::PrepareThread()
{
  return LargestMesh == 0 || trelSeenTriangles::Begin(LargestMesh);
}

bool trelVoxelTable::LayOutVoxels(const double bounds[6])
{
  double extent[3];
  for (int a = 0; a < 3; ++a) {
    extent[a] = bounds[2 * a + 1] - bounds[2 * a];
    if (!std::isfinite(extent[a])) return false;
    extent[a] = std::max(extent[a], 0.0);  // turned inside out by its half-lengths, it is flat
    Origin[a] = bounds[2 * a];
  }
  double cells[3], total = 0.0;
  VoxelSize = 0.08;
  do {
    VoxelSize *= 1.05;
    InverseVoxelSize = 1.0 / VoxelSize;
    for (int a = 0; a < 3; ++a)
      cells[a] = std::ceil(extent[a] * InverseVoxelSize);
    // In double precision no product wraps around, and all up to the limit are exact.
    total = cells[0] * cells[1] * cells[2];
  } while (!(total <= static_cast<double>(MaximumVoxels)));
  for (int a = 0; a < 3; ++a) {
    // Above the limit only in a flat grid, which is never indexed.
    Size[a] = static_cast<int>(std::min(cells[a], static_cast<double>(MaximumVoxels)));
    LastIndex[a] = Size[a] - 1.0;
    EndIndex[a] = Size[a];
  }
  return true;
}

bool trelVoxelTable::AllocateVoxelTable(const double bounds[6])
{
  if (!LayOutVoxels(bounds)) return false;
  const bool flat = Size[0] == 0 || Size[1] == 0 || Size[2] == 0;
  const std::size_t voxels = flat ? 0 : CellOf(Size[0] - 1, Size[1] - 1, Size[2] - 1) + 1;
  try {
    Settled.assign(voxels, Unsettled);
    States.assign(voxels, NoRegion);
    Numbers.assign(voxels, 0);
    SurfaceVoxels.assign(1, {0, 0, 0, 0, RayAxisXMin});
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

trelVoxelRange trelVoxelTable::GetWholeRange() const
{
  return {{0, 0, 0}, {Size[0] - 1, Size[1] - 1, Size[2] - 1}};
}

void trelVoxelTable::GetCorners(const int index[3], double min[3], double max[3]) const
{
  for (int a = 0; a < 3; ++a) {
    min[a] = Origin[a] + index[a] * VoxelSize;
    max[a] = Origin[a] + (index[a] + 1) * VoxelSize;
  }
}

void trelVoxelTable::GetCenter(const int index[3], double center[3]) const
{
  for (int a = 0; a < 3; ++a)
    center[a] = index[a] * VoxelSize + VoxelSize / 2 + Origin[a];
}

/** Calls @p visit with i, j, k of each voxel of the range, k fastest. */
template <class Visit>
static void VisitVoxels(const trelVoxelRange& range, Visit visit)
{
  int index[3];
  for (index[0] = range.First[0]; index[0] <= range.Last[0]; ++index[0])
    for (index[1] = range.First[1]; index[1] <= range.Last[1]; ++index[1])
      for (index[2] = range.First[2]; index[2] <= range.Last[2]; ++index[2])
        visit(index);
}

double trelVoxelTable::GetReach(int axis) const
{
  constexpr double relative = 1e-9;
  constexpr double rounding = 1e-15;
  const double farthest = std::fabs(Origin[axis]) + Size[axis] * VoxelSize;
  return VoxelSize / 2 * (1.0 + relative) + farthest * rounding;
}

/** Appends the voxels that triangle @p t overlaps. May throw std::bad_alloc. */
void trelVoxelTable::CollectCells(std::uint32_t t, std::vector<std::uint32_t>* cells) const
{
  const auto& corners = Triangles[t].Corners;
  trelVoxelRange range;
  for (int a = 0; a < 3; ++a) {
    const auto ends = std::minmax({corners[0][a], corners[1][a], corners[2][a]});
    range.First[a] = IndexOf(a, ends.first);
    range.Last[a] = IndexOf(a, ends.second);
  }
  const double half[3] = {GetReach(0), GetReach(1), GetReach(2)};
  VisitVoxels(range, [&](const int index[3]) {
    double center[3];
    GetCenter(index, center);
    if (!TriangleBoxOverlap(center, half, corners)) return;
    cells->push_back(static_cast<std::uint32_t>(CellOf(index[0], index[1], index[2])));
  });
}

/** A gigabyte of lists of either kind. Only a crowd of triangles of which each spans the whole box
 * asks for more. */
static constexpr std::size_t maximumEntries = std::size_t{1} << 28;

bool trelVoxelTable::RegisterTrianglesInVoxels()
try {
  if (IsEmpty()) return true;
  std::vector<std::uint32_t> cells;
  std::vector<std::uint32_t> ends(Triangles.size());
  for (std::size_t t = 0; t < Triangles.size(); ++t) {
    CollectCells(static_cast<std::uint32_t>(t), &cells);
    if (cells.size() > maximumEntries) return false;
    ends[t] = static_cast<std::uint32_t>(cells.size());
  }
  for (const std::uint32_t cell : cells) {
    if (Numbers[cell] == 0) {
      Numbers[cell] = static_cast<std::uint32_t>(SurfaceVoxels.size());
      SurfaceVoxels.push_back({0, 0, 0, 0, RayAxisXMin});
      States[cell] = Surface;
    }
    ++SurfaceVoxels[Numbers[cell]].Last;
  }
  // From lengths to the places of the lists, which are then filled one by one.
  std::uint32_t place = 0;
  for (VoxelCell& voxel : SurfaceVoxels) {
    voxel.First = place;
    place += voxel.Last;
    voxel.Last = voxel.First;
  }
  Entries.resize(cells.size());
  std::size_t entry = 0;
  for (std::size_t t = 0; t < Triangles.size(); ++t) {
    for (; entry < ends[t]; ++entry)
      Entries[SurfaceVoxels[Numbers[cells[entry]]].Last++] = static_cast<std::uint32_t>(t);
  }
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

/** The shortest way out of the grid, the low sides first on a tie. */
RayAxis trelVoxelTable::ChooseRayAxis(int i, int j, int k) const
{
  static constexpr RayAxis sides[] = {RayAxisXMin, RayAxisYMin, RayAxisZMin,
                                      RayAxisXMax, RayAxisYMax, RayAxisZMax};
  const int ways[] = {i, j, k, Size[0] - 1 - i, Size[1] - 1 - j, Size[2] - 1 - k};
  return sides[std::min_element(std::begin(ways), std::end(ways)) - std::begin(ways)];
}

void trelVoxelTable::ChooseVoxelRayDirections(int threads)
{
  if (IsEmpty()) return;
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
  for (int i = 0; i < Size[0]; ++i) {
    const trelVoxelRange slab = {{i, 0, 0}, {i, Size[1] - 1, Size[2] - 1}};
    VisitVoxels(slab, [&](const int index[3]) {
      const std::size_t cell = CellOf(index[0], index[1], index[2]);
      if (States[cell] != Surface) return;
      SurfaceVoxels[Numbers[cell]].Axis = ChooseRayAxis(index[0], index[1], index[2]);
    });
  }
}

/** What a row of voxels along x is classified with. Each thread has one. */
struct trelVoxelRow
{
  enum Mark : std::uint8_t
  {
    OddCrossings = 1,
    OnSurface = 2
  };

  /** The triangles of the voxels passed so far, each once. */
  std::vector<std::uint32_t> Triangles;
  /** The regions whose marks are not 0, perhaps several times. */
  std::vector<std::int32_t> Touched;
  std::vector<std::uint8_t> MarksOfRegion;

  /** Enters that the ray crosses, or starts on, a triangle that bounds @p region. */
  void Enter(std::int32_t region, int answer)
  {
    if (region < 0) return;
    Touched.push_back(region);  // may throw: before a mark that nobody would clear
    if (answer == AxisRayCrosses) MarksOfRegion[static_cast<std::size_t>(region)] ^= OddCrossings;
    if (answer == AxisRayStartsOn) MarksOfRegion[static_cast<std::size_t>(region)] |= OnSurface;
  }

  /** The highest region that holds the point, and clears the marks. */
  std::int16_t TakeState(trelVoxelTable::CenterRule rule)
  {
    std::int32_t state = trelVoxelTable::NoRegion;
    bool onSurface = false;
    for (const std::int32_t region : Touched) {
      const std::uint8_t marks = MarksOfRegion[static_cast<std::size_t>(region)];
      if (marks == OddCrossings) state = std::max(state, region);
      if (marks & OnSurface) onSurface = true;
    }
    for (const std::int32_t region : Touched)
      MarksOfRegion[static_cast<std::size_t>(region)] = 0;
    Touched.clear();
    if (onSurface && rule == trelVoxelTable::CenterMakesSurface) return trelVoxelTable::Surface;
    return static_cast<std::int16_t>(state);
  }
};

/**
 * Voxels without triangles all look along -x. So one pass along each row, which collects the
 * triangles of the voxels behind, does what a walk from each voxel would.
 */
bool trelVoxelTable::SweepRows(int j, CenterRule rule)
try {
  static thread_local trelVoxelRow row;
  row.MarksOfRegion.resize(MaximumRegions, 0);
  for (int k = 0; k < Size[2]; ++k) {
    row.Triangles.clear();
    trelSeenTriangles* seen = trelSeenTriangles::Begin(Triangles.size());
    if (!seen) return false;
    for (int i = 0; i < Size[0]; ++i) {
      const std::size_t cell = CellOf(i, j, k);
      for (const std::uint32_t* t = BeginOf(cell); t < EndOf(cell); ++t)
        if (seen->Add(*t)) row.Triangles.push_back(*t);
      if (States[cell] == Surface || row.Triangles.empty()) continue;
      const int index[3] = {i, j, k};
      double center[3];
      GetCenter(index, center);
      for (const std::uint32_t t : row.Triangles) {
        const trelTracedTriangle& triangle = Triangles[t];
        const int answer = TestAxisRay<RayAxisXMin>(center, triangle);
        if (answer == AxisRayMisses) continue;
        row.Enter(triangle.Regions[0], answer);
        // A triangle with the same region on both sides bounds it once.
        if (triangle.Regions[1] != triangle.Regions[0]) row.Enter(triangle.Regions[1], answer);
      }
      States[cell] = row.TakeState(rule);
    }
  }
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool trelVoxelTable::ClassifyEmptyVoxels(CenterRule rule, int threads)
{
  if (IsEmpty()) return true;
  bool enough = true;
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads) reduction(&& : enough)
  for (int j = 0; j < Size[1]; ++j)
    enough = SweepRows(j, rule) && enough;
  return enough;
}

/**
 * Lists the triangles that the parity rays of surface voxels may meet. The voxels of a row whose
 * rays make for the same border share one list, which starts at that border: each has a part of it
 * from the start, the longer the farther it lies from there.
 */
bool trelVoxelTable::ListRows()
try {
  if (IsEmpty()) return true;
  for (std::size_t cell = 0; cell < States.size(); ++cell) {
    if (States[cell] != Surface || Numbers[cell] != 0) continue;
    // One whose centre lies on a triangle of its row.
    Numbers[cell] = static_cast<std::uint32_t>(SurfaceVoxels.size());
    SurfaceVoxels.push_back({0, 0, 0, 0, RayAxisXMin});
  }
  for (int axis = RayAxisZMax; axis <= RayAxisXMin; ++axis) {
    const int along = AxisAlong(axis);
    trelVoxelRange border = GetWholeRange();
    border.First[along] = border.Last[along] = IsTowardsMin(axis) ? 0 : Size[along] - 1;
    VisitVoxels(border, [&](const int index[3]) { ListRow(static_cast<RayAxis>(axis), index); });
  }
  RowEntries.shrink_to_fit();
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

/** Lists the row that starts at the border voxel @p start for those of its surface voxels whose
 * rays run along @p axis. May throw std::bad_alloc. */
void trelVoxelTable::ListRow(RayAxis axis, const int start[3])
{
  const int along = AxisAlong(axis);
  const int inwards = IsTowardsMin(axis) ? 1 : -1;
  const auto first = static_cast<std::uint32_t>(RowEntries.size());
  trelSeenTriangles* seen = trelSeenTriangles::Begin(Triangles.size());
  if (!seen) throw std::bad_alloc();
  std::uint32_t used = first;
  int index[3] = {start[0], start[1], start[2]};
  // A ray makes for the nearest border; only voxels that became surface by their centre all look
  // along -x.
  const int reach = axis == RayAxisXMin ? Size[along] : (Size[along] + 1) / 2;
  for (int n = 0; n < reach; ++n, index[along] += inwards) {
    const std::size_t cell = CellOf(index[0], index[1], index[2]);
    if (States[cell] != Surface) continue;
    for (const std::uint32_t* t = BeginOf(cell); t < EndOf(cell); ++t)
      if (seen->Add(*t)) RowEntries.push_back(*t);
    VoxelCell& voxel = SurfaceVoxels[Numbers[cell]];
    if (voxel.Axis != axis) continue;
    used = static_cast<std::uint32_t>(RowEntries.size());
    voxel.RowFirst = first;
    voxel.RowLast = used;
  }
  RowEntries.resize(used);
  if (used > maximumEntries) throw std::bad_alloc();
}

bool trelVoxelTable::BoundTriangles()
try {
  constexpr float all = std::numeric_limits<float>::infinity();
  TriangleBounds.resize(Triangles.size());
  for (std::size_t t = 0; t < Triangles.size(); ++t) {
    trelTriangleBounds& bounds = TriangleBounds[t];
    for (int a = 0; a < 3; ++a) {
      const auto& corners = Triangles[t].Corners;
      const auto ends = std::minmax({corners[0][a], corners[1][a], corners[2][a]});
      bounds.Low[a] = std::nextafter(static_cast<float>(ends.first), -all);
      bounds.High[a] = std::nextafter(static_cast<float>(ends.second), all);
    }
    for (int side = 0; side < 2; ++side)
      bounds.Regions[side] = static_cast<std::int16_t>(Triangles[t].Regions[side]);
  }
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

/** The voxels wholly within @p box. */
trelVoxelRange trelVoxelTable::FindVoxelsWithin(const Box& box) const
{
  constexpr double margin = 1e-6;  // the rounding of an index, of which Settle() makes sure
  trelVoxelRange range;
  for (int a = 0; a < 3; ++a) {
    const auto index = [&](double coordinate, double shift) {
      const double cell = (coordinate - Origin[a]) * InverseVoxelSize + shift;
      return std::clamp(cell, 0.0, static_cast<double>(Size[a]));
    };
    range.First[a] = static_cast<int>(std::ceil(index(box[2 * a], margin)));
    range.Last[a] = static_cast<int>(index(box[2 * a + 1], -margin)) - 1;
  }
  return range;
}

void trelVoxelTable::Settle(const std::vector<Box>& boxes)
try {
  if (IsEmpty()) return;
  for (int a = 0; a < 3; ++a)
    if (!(std::fabs(Origin[a]) * InverseVoxelSize + Size[a] < 1e8)) return;
  std::vector<trelVoxelRange> ranges;
  for (const Box& box : boxes)
    ranges.push_back(FindVoxelsWithin(box));
  const auto regions = static_cast<std::int16_t>(std::min<std::size_t>(ranges.size(), Unsettled));
  std::size_t cell = 0;
  VisitVoxels(GetWholeRange(), [&](const int index[3]) {
    const std::int16_t region = States[cell++];
    if (region < 0 || region >= regions) return;
    const trelVoxelRange& within = ranges[static_cast<std::size_t>(region)];
    for (int a = 0; a < 3; ++a)
      if (index[a] < within.First[a] || index[a] > within.Last[a]) return;
    Settled[cell - 1] = static_cast<std::uint8_t>(region);
  });
} catch (const std::bad_alloc&) {
  return;  // The table answers without it, if slower.
}

template <int axis>
PointRelation trelVoxelTable::CountCrossings(const VoxelCell& voxel, const double point[3],
                                             std::int32_t region) const
{
  constexpr int along = AxisAlong(axis), u = FirstAcross(axis), w = SecondAcross(axis);
  // Rounding keeps the order: a float beyond a bound was a double beyond it.
  const auto atU = static_cast<float>(point[u]), atW = static_cast<float>(point[w]);
  const auto start = static_cast<float>(point[along]);
  bool odd = false;
  for (std::uint32_t entry = voxel.RowFirst; entry < voxel.RowLast; ++entry) {
    const std::uint32_t t = RowEntries[entry];
    const trelTriangleBounds& bounds = TriangleBounds[t];
    if (!bounds.Bounds(region)) continue;
    // A triangle that the ray passes by, or has behind it, is neither crossed nor started on.
    if (atU < bounds.Low[u] || atU > bounds.High[u]) continue;
    if (atW < bounds.Low[w] || atW > bounds.High[w]) continue;
    if (IsTowardsMin(axis) ? start < bounds.Low[along] : start > bounds.High[along]) continue;
    const int answer = TestAxisRay<axis>(point, Triangles[t]);
    if (answer == AxisRayStartsOn) return PointOnBoundary;
    if (answer == AxisRayCrosses) odd = !odd;
  }
  return odd ? PointInside : PointOutside;
}

PointRelation trelVoxelTable::ClassifyPointInVoxel(double x, double y, double z, std::size_t cell,
                                                   std::int32_t region) const
{
  const VoxelCell& voxel = GetCell(cell);
  const double point[3] = {x, y, z};
  return VisitAxis(voxel.Axis, [&](auto direction) {
    return CountCrossings<decltype(direction)::value>(voxel, point, region);
  });
}

/** A walk in progress: what is looked for, and what has been found. */
struct trelVoxelTable::Search
{
  const trelVoxelRay& Ray;
  std::int32_t Region;
  int RaySide;
  double Distance;
  trelSeenTriangles* Seen;
  bool BoxTest = false;
  double Best = 1e99;
  bool Found = false;
  int Nearest = -1;
  int ZeroHit = -1;
};

int trelVoxelTable::FindNearest(const trelVoxelRay& ray, std::int32_t region, int raySide,
                                const trelVoxelRange& range, double* distance) const
{
  if (IsEmpty()) return -1;
  Search search{ray, region, raySide, *distance, trelSeenTriangles::Begin(Triangles.size())};
  if (!search.Seen) return -1;
  const trelVoxelRange cells = FindEndVoxels(ray, *distance, range);
  search.BoxTest = IsBoxTestUsed(ray, cells);
  if (search.BoxTest && CanWalkSlabs(ray)) {
    WalkSlabs(cells, &search);
  } else {
    WalkAll(cells, &search);
  }
  if (!search.Found && search.ZeroHit < 0) return -1;
  *distance = search.Found ? search.Best : 0.0;
  return search.Found ? search.Nearest : search.ZeroHit;
}

/** The box of voxels between the two ends of the ray. */
trelVoxelRange trelVoxelTable::FindEndVoxels(const trelVoxelRay& ray, double distance,
                                             const trelVoxelRange& range) const
{
  trelVoxelRange cells;
  for (int a = 0; a < 3; ++a) {
    const int start = IndexOf(a, ray.Origin[a]);
    const int end = IndexOf(a, ray.Origin[a] + distance * ray.Direction[a]);
    cells.First[a] = std::clamp(std::min(start, end), range.First[a], range.Last[a]);
    cells.Last[a] = std::clamp(std::max(start, end), range.First[a], range.Last[a]);
  }
  return cells;
}

/** Whether voxels that the ray passes by are left out. Not worth it for a few, and not possible
 *  where a component of the direction has no useful inverse. */
bool trelVoxelTable::IsBoxTestUsed(const trelVoxelRay& ray, const trelVoxelRange& cells)
{
  std::int64_t number = 1;
  for (int a = 0; a < 3; ++a) {
    if (!(std::fabs(ray.Direction[a]) >= GeometryTolerance)) return false;
    number *= cells.Last[a] - cells.First[a] + 1;
  }
  return number > 4;
}

/** Whether a position along the ray tells its voxel to within one. From far away rounding errors
 *  are larger than voxels, and each voxel has to be looked at. */
bool trelVoxelTable::CanWalkSlabs(const trelVoxelRay& ray) const
{
  for (int a = 0; a < 3; ++a)
    if (!((std::fabs(ray.Origin[a]) + std::fabs(Origin[a])) * InverseVoxelSize < 1e9)) return false;
  return true;
}

void trelVoxelTable::WalkAll(const trelVoxelRange& cells, Search* search) const
{
  VisitVoxels(cells, [&](const int index[3]) { TestVoxel(index, search); });
}

trelVoxelTable::RayInterval trelVoxelTable::CrossSlab(const trelVoxelRay& ray, int axis,
                                                      int index) const
{
  const double inverse = 1.0 / ray.Direction[axis];
  const double a = (Origin[axis] + index * VoxelSize - ray.Origin[axis]) * inverse;
  const double b = (Origin[axis] + (index + 1) * VoxelSize - ray.Origin[axis]) * inverse;
  return {std::min(a, b), std::max(a, b)};
}

void trelVoxelTable::NarrowRange(const trelVoxelRay& ray, int axis, const RayInterval& interval,
                                 const trelVoxelRange& cells, trelVoxelRange* range) const
{
  const double a = ray.Origin[axis] + interval.First * ray.Direction[axis];
  const double b = ray.Origin[axis] + interval.Last * ray.Direction[axis];
  range->First[axis] = std::max(IndexOf(axis, std::min(a, b)) - 1, cells.First[axis]);
  range->Last[axis] = std::min(IndexOf(axis, std::max(a, b)) + 1, cells.Last[axis]);
}

/**
 * Visits the same voxels in the same order as WalkAll() would after its box test: for each slab of
 * x the stretch of the ray in it, which spans a few j, and for each of these a few k. One voxel
 * more on each side makes up for rounding; the box test still decides.
 */
void trelVoxelTable::WalkSlabs(const trelVoxelRange& cells, Search* search) const
{
  const trelVoxelRay& ray = search->Ray;
  trelVoxelRange range = cells;
  int index[3];
  for (index[0] = cells.First[0]; index[0] <= cells.Last[0]; ++index[0]) {
    const RayInterval inX = CrossSlab(ray, 0, index[0]);
    NarrowRange(ray, 1, inX, cells, &range);
    for (index[1] = range.First[1]; index[1] <= range.Last[1]; ++index[1]) {
      const RayInterval inY = CrossSlab(ray, 1, index[1]);
      const RayInterval both = {std::max(inX.First, inY.First), std::min(inX.Last, inY.Last)};
      if (both.First > both.Last) continue;
      NarrowRange(ray, 2, both, cells, &range);
      for (index[2] = range.First[2]; index[2] <= range.Last[2]; ++index[2])
        TestVoxel(index, search);
    }
  }
}

void trelVoxelTable::TestVoxel(const int index[3], Search* search) const
{
  const std::size_t cell = CellOf(index[0], index[1], index[2]);
  if (States[cell] != Surface) return;
  const trelVoxelRay& ray = search->Ray;
  if (search->BoxTest) {
    double min[3], max[3];
    GetCorners(index, min, max);
    if (!RayBoxOverlap(min, max, ray.Origin, ray.Direction)) return;
  }
  for (const std::uint32_t* entry = BeginOf(cell); entry < EndOf(cell); ++entry) {
    const trelTracedTriangle& triangle = Triangles[*entry];
    if (!triangle.Bounds(search->Region) || !search->Seen->Add(*entry)) continue;
    const double t = RayTriangleDistance(ray.Origin, ray.Direction, triangle);
    if (t < -GeometryTolerance) continue;
    if (std::fabs(t) < GeometryTolerance) {
      search->ZeroHit = static_cast<int>(*entry);
      if (search->RaySide != RayEnters) continue;
      // The packet goes into the surface that it stands on. Best stays: only a nearer hit counts.
      search->Found = false;
      return;
    }
    if (t - search->Distance < -GeometryTolerance && t - search->Best < -GeometryTolerance) {
      search->Best = t;
      search->Found = true;
      search->Nearest = static_cast<int>(*entry);
    }
  }
}
