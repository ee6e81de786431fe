#include "trelVoxelTableBuilder.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include "trelMemory.h"
#include "trelSeenTriangles.h"
#include "trelThreads.h"

/** A gigabyte of lists of either kind. Only a crowd of triangles of which each spans the whole box
 * asks for more. */
static constexpr std::size_t maximumEntries = std::size_t{1} << 28;

bool trelVoxelTableBuilder::Build(const trelBox& bounds, VoxelCenterRule rule, int threads)
{
  bool complete = false;
  const bool fits =
      FitsInMemory([&] { complete = RunPasses(bounds, rule, StartableThreads(threads)); });
  return fits && complete;
}

/** The passes. May throw std::bad_alloc. */
bool trelVoxelTableBuilder::RunPasses(const trelBox& bounds, VoxelCenterRule rule, int threads)
{
  if (!AllocateVoxelTable(bounds)) return false;
  if (!Lists.States.empty()) {
    if (!RegisterTrianglesInVoxels()) return false;
    ChooseVoxelRayDirections(threads);
    if (!ClassifyEmptyVoxels(rule, threads) || !ListRows()) return false;
  }
  BoundTriangles();
  return true;
}

bool trelVoxelTableBuilder::AllocateVoxelTable(const trelBox& bounds)
{
  if (!Grid.LayOut(bounds)) return false;
  const std::size_t voxels = Grid.GetNumberOfVoxels();
  Lists.Settled.assign(voxels, trelVoxelLists::Unsettled);
  Lists.States.assign(voxels, trelVoxelLists::NoRegion);
  Lists.Numbers.assign(voxels, 0);
  Lists.SurfaceVoxels.assign(1, {});
  return true;
}

/** Appends the voxels that the triangle overlaps. May throw std::bad_alloc. */
void trelVoxelTableBuilder::CollectCells(const trelTracedTriangle& triangle,
                                         std::vector<std::uint32_t>* cells) const
{
  const trelBox box = triangle.GetBox();
  const trelVector half = Grid.GetReach();
  VisitVoxels(Grid.FindVoxelsBetween(box.Low, box.High, Grid.GetWholeRange()),
              [&](const int index[3]) {
                if (!TriangleBoxOverlap(Grid.GetCenter(index), half, triangle.Corners)) return;
                cells->push_back(static_cast<std::uint32_t>(CellOf(index)));
              });
}

/** Gives the voxel lists, which are empty. May throw std::bad_alloc. */
void trelVoxelTableBuilder::MakeSurfaceVoxel(std::size_t cell)
{
  Lists.Numbers[cell] = static_cast<std::uint32_t>(Lists.SurfaceVoxels.size());
  Lists.SurfaceVoxels.emplace_back();
  Lists.States[cell] = trelVoxelLists::Surface;
}

/** Leaves in Last of each surface voxel how often it occurs in @p cells. May throw. */
void trelVoxelTableBuilder::CountEntries(const std::vector<std::uint32_t>& cells)
{
  for (const std::uint32_t cell : cells) {
    if (Lists.Numbers[cell] == 0) MakeSurfaceVoxel(cell);
    ++Lists.SurfaceVoxels[Lists.Numbers[cell]].Last;
  }
}

/** From lengths in Last to the places of the lists, which are empty then. */
void trelVoxelTableBuilder::PlaceLists()
{
  std::uint32_t place = 0;
  for (VoxelCell& voxel : Lists.SurfaceVoxels) {
    voxel.First = place;
    place += voxel.Last;
    voxel.Last = voxel.First;
  }
}

bool trelVoxelTableBuilder::RegisterTrianglesInVoxels()
{
  std::vector<std::uint32_t> cells;
  std::vector<std::uint32_t> ends;
  ends.reserve(Lists.Triangles.size());
  for (const trelTracedTriangle& triangle : Lists.Triangles) {
    CollectCells(triangle, &cells);
    if (cells.size() > maximumEntries) return false;
    ends.push_back(static_cast<std::uint32_t>(cells.size()));
  }
  CountEntries(cells);
  PlaceLists();
  Lists.Entries.resize(cells.size());
  std::size_t entry = 0;
  for (std::size_t t = 0; t < ends.size(); ++t) {
    for (; entry < ends[t]; ++entry) {
      VoxelCell& voxel = Lists.SurfaceVoxels[Lists.Numbers[cells[entry]]];
      Lists.Entries[voxel.Last++] = static_cast<std::uint32_t>(t);
    }
  }
  return true;
}

/** The shortest way out of the grid, the low sides first on a tie. */
RayAxis trelVoxelTableBuilder::ChooseRayAxis(const int index[3]) const
{
  static constexpr RayAxis sides[] = {RayAxisXMin, RayAxisYMin, RayAxisZMin,
                                      RayAxisXMax, RayAxisYMax, RayAxisZMax};
  int ways[6];
  for (int a = 0; a < 3; ++a) {
    ways[a] = index[a];
    ways[a + 3] = Grid.GetSize(a) - 1 - index[a];
  }
  return sides[std::min_element(std::begin(ways), std::end(ways)) - std::begin(ways)];
}

void trelVoxelTableBuilder::ChooseVoxelRayDirections(int threads)
{
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
  for (int i = 0; i < Grid.GetSize(0); ++i) {
    trelVoxelRange slab = Grid.GetWholeRange();
    slab.First[0] = slab.Last[0] = i;
    VisitVoxels(slab, [&](const int index[3]) {
      const std::size_t cell = CellOf(index);
      if (!IsSurface(cell)) return;
      Lists.SurfaceVoxels[Lists.Numbers[cell]].Axis = ChooseRayAxis(index);
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
  void Enter(std::int32_t region, AxisRayAnswer answer)
  {
    if (region < 0) return;
    Touched.push_back(region);  // may throw: before a mark that nobody would clear
    if (answer == AxisRayCrosses) MarksOfRegion[static_cast<std::size_t>(region)] ^= OddCrossings;
    if (answer == AxisRayStartsOn) MarksOfRegion[static_cast<std::size_t>(region)] |= OnSurface;
  }

  /** The highest region that holds the point, and clears the marks. */
  std::int16_t TakeState(VoxelCenterRule rule)
  {
    std::int32_t state = trelVoxelLists::NoRegion;
    bool onSurface = false;
    for (const std::int32_t region : Touched) {
      const std::uint8_t marks = MarksOfRegion[static_cast<std::size_t>(region)];
      if (marks == OddCrossings) state = std::max(state, region);
      if (marks & OnSurface) onSurface = true;
    }
    for (const std::int32_t region : Touched)
      MarksOfRegion[static_cast<std::size_t>(region)] = 0;
    Touched.clear();
    if (onSurface && rule == CenterMakesSurface) return trelVoxelLists::Surface;
    return static_cast<std::int16_t>(state);
  }
};

bool trelVoxelTableBuilder::ClassifyEmptyVoxels(VoxelCenterRule rule, int threads)
{
  bool enough = true;
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads) reduction(&& : enough)
  for (int j = 0; j < Grid.GetSize(1); ++j)
    enough = SweepRows(j, rule) && enough;
  return enough;
}

/** Classifies the rows of one j. No exception leaves it: it runs on all threads. */
bool trelVoxelTableBuilder::SweepRows(int j, VoxelCenterRule rule)
{
  bool complete = true;
  const bool fits = FitsInMemory([&] {
    static thread_local trelVoxelRow row;
    row.MarksOfRegion.resize(trelVoxelLists::MaximumRegions, 0);
    for (int k = 0; k < Grid.GetSize(2) && complete; ++k)
      complete = SweepRow(j, k, rule, &row);
  });
  return fits && complete;
}

/**
 * Classifies the voxels of a row. Those without triangles all look along -x, so that one pass which
 * collects the triangles of the voxels behind does what a walk from each voxel would. May throw.
 */
bool trelVoxelTableBuilder::SweepRow(int j, int k, VoxelCenterRule rule, trelVoxelRow* row)
{
  trelSeenTriangles* seen = trelSeenTriangles::Begin(Lists.Triangles.size());
  if (!seen) return false;
  row->Triangles.clear();
  for (int i = 0; i < Grid.GetSize(0); ++i) {
    const int index[3] = {i, j, k};
    const std::size_t cell = CellOf(index);
    for (const std::uint32_t* t = Lists.BeginOf(cell); t < Lists.EndOf(cell); ++t)
      if (seen->Add(*t)) row->Triangles.push_back(*t);
    if (IsSurface(cell) || row->Triangles.empty()) continue;
    Lists.States[cell] = ClassifyCenter(Grid.GetCenter(index), rule, row);
  }
  return true;
}

/** The state of a voxel by the ray from its centre through the triangles of the row. May throw. */
std::int16_t trelVoxelTableBuilder::ClassifyCenter(const trelVector& center, VoxelCenterRule rule,
                                                   trelVoxelRow* row) const
{
  for (const std::uint32_t t : row->Triangles) {
    const trelTracedTriangle& triangle = Lists.Triangles[t];
    const AxisRayAnswer answer = TestAxisRay<RayAxisXMin>(center, triangle);
    if (answer == AxisRayMisses) continue;
    row->Enter(triangle.Regions[0], answer);
    // A triangle with the same region on both sides bounds it once.
    if (triangle.Regions[1] != triangle.Regions[0]) row->Enter(triangle.Regions[1], answer);
  }
  return row->TakeState(rule);
}

/**
 * Lists the triangles that the parity rays of surface voxels may meet. The voxels of a row whose
 * rays make for the same border share one list, which starts at that border: each has a part of it
 * from the start, the longer the farther it lies from there.
 */
bool trelVoxelTableBuilder::ListRows()
{
  // Those whose centre lies on a triangle of their row have no lists yet.
  for (std::size_t cell = 0; cell < Lists.States.size(); ++cell)
    if (IsSurface(cell) && Lists.Numbers[cell] == 0) MakeSurfaceVoxel(cell);
  bool enough = true;
  for (const RayAxis axis :
       {RayAxisZMax, RayAxisZMin, RayAxisYMax, RayAxisYMin, RayAxisXMax, RayAxisXMin}) {
    const int along = AxisAlong(axis);
    trelVoxelRange border = Grid.GetWholeRange();
    border.First[along] = border.Last[along] = IsTowardsMin(axis) ? 0 : Grid.GetSize(along) - 1;
    VisitVoxels(border, [&](const int index[3]) { enough = enough && ListRow(axis, index); });
  }
  Lists.RowEntries.shrink_to_fit();
  return enough;
}

/** Lists the row that starts at the border voxel @p start for those of its surface voxels whose
 * rays run along @p axis. False if that makes too many; may throw. */
bool trelVoxelTableBuilder::ListRow(RayAxis axis, const int start[3])
{
  const int along = AxisAlong(axis);
  const int inwards = IsTowardsMin(axis) ? 1 : -1;
  const auto first = static_cast<std::uint32_t>(Lists.RowEntries.size());
  trelSeenTriangles* seen = trelSeenTriangles::Begin(Lists.Triangles.size());
  if (!seen) return false;
  std::uint32_t used = first;
  int index[3] = {start[0], start[1], start[2]};
  // A ray makes for the nearest border; only voxels that became surface by their centre all look
  // along -x.
  const int size = Grid.GetSize(along);
  const int reach = axis == RayAxisXMin ? size : (size + 1) / 2;
  for (int n = 0; n < reach; ++n, index[along] += inwards) {
    const std::size_t cell = CellOf(index);
    if (!IsSurface(cell)) continue;
    for (const std::uint32_t* t = Lists.BeginOf(cell); t < Lists.EndOf(cell); ++t)
      if (seen->Add(*t)) Lists.RowEntries.push_back(*t);
    VoxelCell& voxel = Lists.SurfaceVoxels[Lists.Numbers[cell]];
    if (voxel.Axis != axis) continue;
    used = static_cast<std::uint32_t>(Lists.RowEntries.size());
    voxel.RowFirst = first;
    voxel.RowLast = used;
  }
  Lists.RowEntries.resize(used);
  return used <= maximumEntries;
}

/** The bounds of a triangle in single precision, rounded away from it. */
static trelTriangleBounds BoundsOf(const trelTracedTriangle& triangle)
{
  constexpr float all = std::numeric_limits<float>::infinity();
  const trelBox box = triangle.GetBox();
  trelTriangleBounds bounds;
  for (int a = 0; a < 3; ++a) {
    bounds.Low[a] = std::nextafter(static_cast<float>(box.Low[a]), -all);
    bounds.High[a] = std::nextafter(static_cast<float>(box.High[a]), all);
  }
  for (int side = 0; side < 2; ++side)
    bounds.Regions[side] = static_cast<std::int16_t>(triangle.Regions[side]);
  return bounds;
}

void trelVoxelTableBuilder::BoundTriangles()
{
  Lists.TriangleBounds.reserve(Lists.Triangles.size());
  for (const trelTracedTriangle& triangle : Lists.Triangles)
    Lists.TriangleBounds.push_back(BoundsOf(triangle));
}
