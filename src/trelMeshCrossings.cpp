#include "trelMeshCrossings.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "trelChord.h"
#include "trelFreeWalk.h"
#include "trelMemory.h"
#include "trelTriangleCrossing.h"

/** The box of the grid and a little more, so that rounding loses no voxel at its border. */
static trelBox WidenedBox(const trelVoxelGrid& grid)
{
  constexpr double margin = 1e-6;  // of a voxel
  const int first[3] = {0, 0, 0};
  const int last[3] = {grid.GetSize(0) - 1, grid.GetSize(1) - 1, grid.GetSize(2) - 1};
  const double wide = margin * grid.GetVoxelSize();
  return {grid.GetBox(first).Low - trelVector{wide, wide, wide},
          grid.GetBox(last).High + trelVector{wide, wide, wide}};
}

/** The stretch of a ray in a box, cut out of the stretch from @p first to @p last. */
static bool ClipToBox(const trelRay& ray, const trelBox& box, double* first, double* last)
{
  for (int a = 0; a < 3; ++a) {
    const double o = ray.Origin[a], d = ray.Direction[a];
    if (d == 0.0) {
      if (!(o >= box.Low[a] && o <= box.High[a])) return false;
      continue;
    }
    const double low = (box.Low[a] - o) / d, high = (box.High[a] - o) / d;
    *first = std::max(*first, std::min(low, high));
    *last = std::min(*last, std::max(low, high));
  }
  return *first <= *last;
}

/** Calls @p visit with each voxel along the stretch of the ray, some free ones left out, and the
 *  distance at which the ray leaves it, until that answers true. */
template <class Visit>
void trelMeshCrossings::Walk(const trelRay& ray, double after, double limit, Visit visit) const
{
  if (Table->IsEmpty() || !ClipToBox(ray, Around, &after, &limit)) return;
  trelFreeWalk walk(*Table, ray, after);
  for (;;) {
    const std::size_t cell = Table->CellOf(walk.Index[0], walk.Index[1], walk.Index[2]);
    const int free = GetFreeVoxels(cell);
    int axis = 0;
    const double exit = walk.FindExit(free, &axis);
    if (visit(cell, exit) || !(exit < limit) || !walk.Pass(free, axis, exit)) return;
  }
}

/** The crossings of a walk so far, each triangle once, by distance; of very many the nearest. */
struct trelCrossingList
{
  static constexpr int Capacity = 64;

  const trelVoxelTable& Table;
  const trelShearedRay Ray;
  const double After, Limit;
  const trelTestedStretch Stretch;
  trelMeshCrossing Items[Capacity];
  int Count = 0;

  /** For crossings above @p after and up to @p limit. */
  trelCrossingList(const trelVoxelTable& table, const trelRay& ray, double after, double limit,
                   double size)
      : Table(table), Ray(ray), After(after), Limit(limit), Stretch(ray, after, limit, size)
  {
  }

  void Test(std::uint32_t t)
  {
    if (Stretch.Misses(Table.GetTriangle(t))) return;
    double distance = 0.0;
    const int side = CrossTriangle(Ray, Table.GetTriangle(t), &distance);
    if (side != 0 && distance > After && distance <= Limit) Add({distance, t, side});
  }
  void Add(const trelMeshCrossing& crossing)
  {
    for (int i = 0; i < Count; ++i)
      if (Items[i].Triangle == crossing.Triangle) return;
    if (Count == Capacity && !(crossing.Distance < Items[Count - 1].Distance)) return;
    if (Count < Capacity) ++Count;
    int place = Count - 1;
    for (; place > 0 && crossing.Distance < Items[place - 1].Distance; --place)
      Items[place] = Items[place - 1];
    Items[place] = crossing;
  }
};

/** The regions on both sides of a triangle, in the order of a ray that crosses it that way. */
trelMeshCrossings::Passage trelMeshCrossings::PassageOf(const trelMeshCrossing& crossing) const
{
  const std::int32_t* regions = Table->GetTriangle(crossing.Triangle).Regions;
  const bool outwards = crossing.Side == Turns[crossing.Triangle];
  return {regions[outwards ? 0 : 1], regions[outwards ? 1 : 0]};
}

/**
 * Of crossings at one place, the order of which is a matter of rounding, one that leads out of the
 * region from which all together lead; -1 if they lead nowhere, as where a ray touches an edge.
 */
template <class RegionOf>
int trelMeshCrossings::FindNetCrossing(const trelMeshCrossing* first, int count,
                                       const RegionOf& regionOf) const
{
  for (int i = 0; i < count; ++i) {
    const std::int32_t region = regionOf(PassageOf(first[i]).From);
    int balance = 0;
    for (int j = 0; j < count; ++j) {
      const Passage passage = PassageOf(first[j]);
      balance += (regionOf(passage.From) == region) - (regionOf(passage.To) == region);
    }
    if (balance > 0) return i;
  }
  return -1;
}

/** Up to where crossings, parted by rounding, count as lying at the place of the one at
 *  @p distance. */
static double EndOfPlace(const trelRay& ray, double distance)
{
  // Of the size of the coordinates.
  constexpr double rounding = 1e-14;
  const trelVector at = ray.At(distance);
  return distance +
         rounding * (std::fabs(at.X) + std::fabs(at.Y) + std::fabs(at.Z) + std::fabs(distance));
}

/** Lists the crossings ahead and returns how many of them, from the first on, lie at one place. */
int trelMeshCrossings::ListFirstPlace(const trelRay& ray, Surfaces surfaces,
                                      trelCrossingList& list) const
{
  double end = 0.0;
  Walk(ray, list.After, list.Limit, [&](std::size_t cell, double exit) {
    for (const std::uint32_t* t = Table->BeginOf(cell); t < Table->EndOf(cell); ++t)
      if (surfaces == AllSurfaces || Table->GetTriangle(*t).Regions[1] < 0) list.Test(*t);
    if (list.Count == 0) return false;
    end = EndOfPlace(ray, list.Items[0].Distance);
    return end <= exit;
  });
  int count = 0;
  while (count < list.Count && list.Items[count].Distance <= end)
    ++count;
  return count;
}

bool trelMeshCrossings::FindCrossing(const trelRay& ray, double after, double limit,
                                     Surfaces surfaces, trelHit* hit, std::int32_t* behind) const
{
  const auto regionOf = [&](std::int32_t region) {
    return surfaces == OuterSurface && region > 0 ? 0 : region;
  };
  for (;;) {
    trelCrossingList list(*Table, ray, after, limit, Size);
    const int count = ListFirstPlace(ray, surfaces, list);
    if (count == 0) return false;
    after = list.Items[count - 1].Distance;
    const int net = FindNetCrossing(list.Items, count, regionOf);
    if (net < 0) continue;
    const trelMeshCrossing& crossing = list.Items[net];
    const int turn = GetTurn(crossing.Triangle);
    const trelVector& normal = Table->GetTriangle(crossing.Triangle).Normal;
    *hit = {after, static_cast<int>(crossing.Triangle),
            NormalOnSide(turn < 0 ? -normal : normal, ray.Direction, crossing.Side == turn)};
    if (behind) *behind = count == 1 ? PassageOf(crossing).To : NotKnown;
    return true;
  }
}

/** The region at the distance @p at on the ray by the crossings up to the first free voxel behind
 *  it. A long triangle may be crossed behind that, too, where it counts for nothing. */
std::int32_t trelMeshCrossings::FindRegionByCrossings(const trelRay& ray, double at) const
{
  trelCrossingList list(*Table, ray, at, HUGE_VAL, Size);
  std::int32_t region = -1;
  double end = HUGE_VAL, passed = at;
  bool first = true;
  Walk(ray, at, HUGE_VAL, [&](std::size_t cell, double exit) {
    if (IsFree(cell) && !first) {
      region = Regions[cell];
      end = passed;
      return true;
    }
    first = false;
    passed = exit;
    for (const std::uint32_t* t = Table->BeginOf(cell); t < Table->EndOf(cell); ++t)
      list.Test(*t);
    return false;
  });
  int count = 0;
  while (count < list.Count && list.Items[count].Distance <= end)
    ++count;
  const int net = FindNetCrossing(list.Items, count, [](std::int32_t r) { return r; });
  return net < 0 ? region : PassageOf(list.Items[net]).From;
}

std::int32_t trelMeshCrossings::FindRegion(const trelVector& point) const
{
  if (Table->IsEmpty()) return -1;
  std::size_t cell = 0;
  if (!Table->FindCell(point, &cell)) return -1;
  if (IsFree(cell)) return Regions[cell];
  const int axis = Table->GetRayAxis(cell);
  trelRay ray = {point, {}};
  ray.Direction[AxisAlong(axis)] = IsTowardsMin(axis) ? -1.0 : 1.0;
  return FindRegionByCrossings(ray, 0.0);
}

std::int32_t trelMeshCrossings::FindRegionOn(const trelRay& ray, double at) const
{
  std::size_t cell = 0;
  if (Table->IsEmpty() || !Table->FindCell(ray.At(at), &cell)) return -1;
  return IsFree(cell) ? Regions[cell] : FindRegionByCrossings(ray, at);
}

/** A lower bound of the distance from a triangle: that from its plane or from its box. */
static double BoundDistanceFrom(const trelTracedTriangle& triangle,
                                const trelTriangleBounds& bounds, const trelVector& point)
{
  double bound = std::fabs(Dot(triangle.Normal, point - triangle.Corners[0]));
  for (int a = 0; a < 3; ++a)
    bound = std::max({bound, static_cast<double>(bounds.Low[a]) - point[a],
                      point[a] - static_cast<double>(bounds.High[a])});
  return bound;
}

/** The voxels that come within @p near, half an edge at most, of a point in the voxel @p index;
 *  @p border gets how far it is from any other at least. */
trelVoxelRange trelMeshCrossings::FindNearVoxels(const trelVector& point, const int index[3],
                                                 double near, double* border) const
{
  const double size = Table->GetVoxelSize();
  const trelBox voxel = Table->GetBox(index);
  trelVoxelRange range;
  *border = HUGE_VAL;
  for (int a = 0; a < 3; ++a) {
    const double toLow = point[a] - voxel.Low[a], toHigh = voxel.High[a] - point[a];
    const int low = toLow < near ? 1 : 0, high = toHigh < near ? 1 : 0;
    range.First[a] = std::max(index[a] - low, 0);
    range.Last[a] = std::min(index[a] + high, Table->GetSize(a) - 1);
    *border = std::min({*border, toLow + low * size, toHigh + high * size});
  }
  return range;
}

/**
 * A lower bound for a point with triangles in its voxel or beside it. All triangles of the voxels
 * that lie near are looked at; others are farther away than the borders of these. Near is what is
 * wanted and some more, which later steps may use.
 */
double trelMeshCrossings::BoundNearTriangles(const trelVector& point, const int index[3],
                                             double wanted) const
{
  constexpr double more = 1.5;
  const double half = 0.5 * Table->GetVoxelSize();
  const double near = wanted > 0.0 ? std::min(half, more * wanted) : half;
  double bound = 0.0;
  const trelVoxelRange range = FindNearVoxels(point, index, near, &bound);
  if (!(bound > wanted)) return 0.0;
  VisitVoxels(range, [&](const int other[3]) {
    const std::size_t cell = Table->CellOf(other[0], other[1], other[2]);
    if (IsFree(cell) || !(bound > wanted)) return;
    for (const std::uint32_t* t = Table->BeginOf(cell); t < Table->EndOf(cell); ++t)
      bound =
          std::min(bound, BoundDistanceFrom(Table->GetTriangle(*t), Table->GetBounds(*t), point));
  });
  return bound > wanted ? bound : 0.0;
}

double trelMeshCrossings::BoundDistance(const trelVector& point, double wanted) const
{
  if (Table->IsEmpty()) return 0.0;
  const int index[3] = {Table->IndexOf(0, point.X), Table->IndexOf(1, point.Y),
                        Table->IndexOf(2, point.Z)};
  const trelBox voxel = Table->GetBox(index);
  double within = HUGE_VAL, beyond2 = 0.0;
  for (int a = 0; a < 3; ++a) {
    const double to = std::min(point[a] - voxel.Low[a], voxel.High[a] - point[a]);
    within = std::min(within, std::max(to, 0.0));
    if (to < 0.0) beyond2 += to * to;
  }
  // Beside the grid, or at its border within rounding.
  if (beyond2 > 0.0) return std::sqrt(beyond2);
  const std::size_t cell = Table->CellOf(index[0], index[1], index[2]);
  const int free = GetFreeVoxels(cell);
  if (free == 0) return BoundNearTriangles(point, index, wanted);
  return free * Table->GetVoxelSize() + within;
}

/** How much of the way, from its start, is known to meet no triangle, mm; 0 or less proves nothing.
 *  @p bound is one of the distance of its start from any. */
double trelMeshCrossings::FindClearLength(const trelWay& way, double* bound) const
{
  int voxel[3];
  const bool isInGrid = Table->FindVoxel(way.From, voxel);
  const trelSlabStack slabs = isInGrid ? Slabs.Find(voxel) : trelSlabStack{};
  if (!slabs.IsEmpty()) {
    const double length = slabs.FindClearLength(way);
    *bound = slabs.BoundDistance(way.From);
    // Of what lies near, only short ways are told to be clear for the triangles' asking.
    if (length > 0.0 || 2.0 * way.Length > Table->GetVoxelSize()) return length;
  }
  *bound = isInGrid && slabs.IsEmpty()
               ? Table->GetVoxelSize() * GetFreeVoxels(Table->CellOf(voxel[0], voxel[1], voxel[2]))
               : BoundDistance(way.From, way.Length + way.Margin);
  return *bound - way.Margin;
}

/** A long way piece by piece, each told by what is known where it starts. */
bool trelMeshCrossings::IsClear(const trelWay& way, double* radius) const
{
  constexpr int mostPieces = 8;
  double bound = 0.0;
  double length = FindClearLength(way, &bound);
  *radius = std::min(*radius, bound);
  if (length >= way.Length) return true;
  trelWay rest = way;
  for (int piece = 1; piece < mostPieces && length > way.Margin; ++piece) {
    rest.From += (length / rest.Length) * (rest.To - rest.From);
    rest.Length -= length;
    length = FindClearLength(rest, &bound);
    if (length >= rest.Length) return true;
  }
  return false;
}

std::ptrdiff_t trelMeshCrossings::CountBelow(std::uint32_t t, int axis) const
{
  const trelTracedTriangle& triangle = Table->GetTriangle(t);
  trelRay ray;
  ray.Origin = (triangle.Corners[0] + triangle.Corners[1] + triangle.Corners[2]) / 3.0;
  ray.Direction[axis] = 1.0;
  const trelShearedRay sheared(ray);
  std::vector<std::pair<double, std::uint32_t>> crossings;
  Walk(ray, -HUGE_VAL, HUGE_VAL, [&](std::size_t cell, double) {
    double distance = 0.0;
    for (const std::uint32_t* n = Table->BeginOf(cell); n < Table->EndOf(cell); ++n)
      if (CrossTriangle(sheared, Table->GetTriangle(*n), &distance) != 0)
        crossings.emplace_back(distance, *n);
    return false;
  });
  std::sort(crossings.begin(), crossings.end());
  crossings.erase(std::unique(crossings.begin(), crossings.end()), crossings.end());
  for (std::size_t i = 0; i < crossings.size(); ++i)
    if (crossings[i].second == t) return static_cast<std::ptrdiff_t>(i);
  return -1;
}

/** Lowers the clearance of a voxel by those of its neighbours that the sweep has passed: the half
 * of them that lies behind in @p direction, 1 or -1. */
void trelMeshCrossings::LowerClearance(const int index[3], int direction)
{
  const std::size_t cell = Table->CellOf(index[0], index[1], index[2]);
  if (Clearance[cell] <= 1) return;
  for (int n = 0; n < 13; ++n) {
    const int steps[3] = {1 - n / 9, 1 - n / 3 % 3, 1 - n % 3};
    int other[3] = {};
    bool inside = true;
    for (int a = 0; a < 3; ++a) {
      other[a] = index[a] - direction * steps[a];
      inside = inside && other[a] >= 0 && other[a] < Table->GetSize(a);
    }
    if (!inside) continue;
    const int next = Clearance[Table->CellOf(other[0], other[1], other[2])] + 1;
    if (next < Clearance[cell]) Clearance[cell] = static_cast<std::uint8_t>(next);
  }
}

/** Two sweeps over the neighbours of each voxel, forwards and backwards, as distances by the
 *  chessboard are made (A. Rosenfeld and J. Pfaltz, J. ACM 13 (1966) 471). May throw. */
void trelMeshCrossings::MeasureClearance()
{
  const std::size_t cells = Table->GetNumberOfVoxels();
  Clearance.assign(cells, 255);
  for (std::size_t cell = 0; cell < cells; ++cell)
    if (Table->BeginOf(cell) < Table->EndOf(cell)) Clearance[cell] = 0;
  const trelVoxelRange whole = Table->GetWholeRange();
  VisitVoxels(whole, [&](const int index[3]) { LowerClearance(index, 1); });
  VisitVoxels(whole, [&](const int index[3]) {
    const int reversed[3] = {whole.Last[0] - index[0], whole.Last[1] - index[1],
                             whole.Last[2] - index[2]};
    LowerClearance(reversed, -1);
  });
}

/** A free voxel behind a free one lies in the same region; behind another, or at the border, its
 *  centre tells, by the voxels that are known by then. May throw. */
void trelMeshCrossings::FillRegions()
{
  Regions.assign(Table->GetNumberOfVoxels(), -1);
  const std::size_t row =
      static_cast<std::size_t>(Table->GetSize(1)) * static_cast<std::size_t>(Table->GetSize(2));
  VisitVoxels(Table->GetWholeRange(), [&](const int index[3]) {
    const std::size_t cell = Table->CellOf(index[0], index[1], index[2]);
    if (!IsFree(cell) || index[0] == 0) return;
    Regions[cell] = IsFree(cell - row) ? Regions[cell - row]
                                       : static_cast<std::int16_t>(FindRegionByCrossings(
                                             {Table->GetCenter(index), {-1.0, 0.0, 0.0}}, 0.0));
  });
}

void trelMeshCrossings::LookAround()
{
  if (Table->IsEmpty()) return;
  Around = WidenedBox(*Table);
  Size = 0.0;
  for (int a = 0; a < 3; ++a)
    Size = std::max({Size, std::fabs(Around.Low[a]), std::fabs(Around.High[a])});
}

bool trelMeshCrossings::Build(const trelVoxelTable& table, const Orientation& orient)
{
  Table = &table;
  const bool fits = FitsInMemory([&] {
    LookAround();
    MeasureClearance();
    Turns = orient(*this);
    FillRegions();
    Slabs.Build(*Table, Clearance);
  });
  if (!fits) *this = {};
  return fits;
}
