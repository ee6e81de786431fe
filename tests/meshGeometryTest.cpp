#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>

#include "meshSamples.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"

static const double nan_ = std::numeric_limits<double>::quiet_NaN();
static const double infinite_ = std::numeric_limits<double>::infinity();

static Point PointAt(const trelRay& ray, double t)
{
  const trelVector p = ray.At(t);
  return {p.X, p.Y, p.Z};
}

static trelVector VectorOf(const Point& p)
{
  return {p[0], p[1], p[2]};
}

static SurfacePointer Box(double x, double y, double z)
{
  return MovedCube(1, [&](const Point& p) {
    return Point{(p[0] + 1) / 2 * x, (p[1] + 1) / 2 * y, (p[2] + 1) / 2 * z};
  });
}

static std::unique_ptr<trelMCTriangleMesh> Trace(const SurfacePointer& surface)
{
  auto traced = std::make_unique<trelMCTriangleMesh>();
  EXPECT_TRUE(traced->ImportMesh(surface.get()) && traced->BuildVoxelTable(2));
  return traced;
}

/** The cube [0, n]^3; [from, to)^3 is region 1, the rest region 0. The unit of length is
 * @p edge. */
static std::unique_ptr<trelMCTetrahedron> CubeInCube(int n, int from, int to, float edge = 1)
{
  CubeGrid grid({{n, n, n}});
  for (int i = 0; i < 6 * grid.Mesh.GetNumberOfVertices(); ++i)
    grid.Mesh.GetVertexData()[i] *= edge;
  auto traced = std::make_unique<trelMCTetrahedron>();
  EXPECT_TRUE(grid.BuildCore(n, from, to) && traced->ImportMesh(&grid.Mesh) &&
              traced->BuildVoxelTable(2));
  return traced;
}

/** Points and rays in and around a mesh, every other one in a special place. */
class Queries
{
public:
  Queries(const trelTraceableMesh& mesh, unsigned seed) : Mesh(mesh), Random(seed) {}

  double Uniform(double a, double b) { return std::uniform_real_distribution<>(a, b)(Random); }
  int Pick(int n) { return std::uniform_int_distribution<>(0, n - 1)(Random); }

  trelRay Ray()
  {
    const Point p = Position(), d = Direction(p);
    const double length = std::hypot(d[0], d[1], d[2]);
    if (length == 0) return {VectorOf(p), {0, 0, 1}};
    return {VectorOf(p), VectorOf(d) / length};
  }

private:
  /** A corner, the middle of an edge or a point of a triangle. */
  Point OnSurface()
  {
    static const double weights[3][3] = {{1, 0, 0}, {0.5, 0.5, 0}, {0.25, 0.5, 0.25}};
    const auto& t = Mesh.GetTriangleArray()[Pick(int(Mesh.GetNumberOfTriangles()))];
    const int kind = Pick(3);
    Point p = {0, 0, 0};
    for (int c = 0; c < 3; ++c) {
      const trelTraceableVertex& v = Mesh.GetVertexArray()[t.Vertices[c]];
      const double w = weights[kind][c];
      p = {p[0] + w * v.X, p[1] + w * v.Y, p[2] + w * v.Z};
    }
    return p;
  }
  /** Some coordinates are those of a special place, so that axis rays go through edges. */
  Point Position()
  {
    double box[6];
    Mesh.GetBoundingBox(box);
    Point p = OnSurface();
    const int kept = Pick(16);
    for (int a = 0; a < 3; ++a) {
      const double beyond = 0.1 * (box[2 * a + 1] - box[2 * a]);
      const double anywhere = Uniform(box[2 * a] - beyond, box[2 * a + 1] + beyond);
      if (!(kept & 8 >> a)) p[a] = anywhere;
    }
    return p;
  }
  Point Direction(const Point& from)
  {
    const int kind = Pick(4);
    if (kind == 0) return {Uniform(-1, 1), Uniform(-1, 1), Uniform(-1, 1)};
    if (kind == 1)  // along axes and diagonals
      return {double(Pick(3) - 1), double(Pick(3) - 1), double(Pick(3) - 1)};
    if (kind == 2) {  // at a special place, or along the plane of a triangle
      const Point q = OnSurface();
      return {q[0] - from[0], q[1] - from[1], q[2] - from[2]};
    }
    // nearly along an axis
    Point d = {Uniform(-1, 1), Uniform(-1, 1) * 1e-11, Uniform(-1, 1) * 1e-11};
    std::rotate(d.begin(), d.begin() + Pick(3), d.end());
    return d;
  }

  const trelTraceableMesh& Mesh;
  std::mt19937 Random;
};

/** True for a direction nearly along an axis: such a ray may pass beside a voxel by less than the
 *  tolerance, and the walk then leaves out a triangle whose edge it would hit within it. */
static bool PassesBeside(const trelRay& ray)
{
  const auto isSmall = [](double d) { return d != 0 && std::fabs(d) < 1e-9; };
  return isSmall(ray.Direction.X) || isSmall(ray.Direction.Y) || isSmall(ray.Direction.Z);
}

/** What a ray meets of a region's triangles, each of which is asked. */
struct BruteAnswer
{
  double Nearest = 1000;
  bool StartsOn = false;
  int Crossings = 0;

  BruteAnswer(const trelTraceableMesh& mesh, int region, const trelRay& ray)
  {
    for (std::uint32_t t = 0; t < mesh.GetNumberOfTriangles(); ++t) {
      const trelTracedTriangle& triangle = mesh.GetVoxelTable().GetTriangle(t);
      if (!triangle.Bounds(region)) continue;
      const double ahead = RayTriangleDistance(ray, triangle);
      StartsOn = StartsOn || std::fabs(ahead) < 1e-12;
      if (!(ahead > 1e-12 && ahead < 1000)) continue;
      Nearest = std::min(Nearest, ahead);
      ++Crossings;
    }
  }
};

/** True for a place on an edge of the mesh's box, which a ray from outside may graze: the voxels
 * have no tolerance there. */
static bool IsOnBoxEdge(const trelTraceableMesh& mesh, const Point& p)
{
  double box[6];
  mesh.GetBoundingBox(box);
  int sides = 0;
  for (int a = 0; a < 3; ++a)
    sides += std::fabs(p[a] - box[2 * a]) < 1e-11 || std::fabs(p[a] - box[2 * a + 1]) < 1e-11;
  return sides > 1;
}

/** The relation of a point to what bounds a region. An odd direction misses edges, so that the
 *  number of crossings tells the side. */
static int BruteRelation(const trelTraceableMesh& mesh, int region, const trelVector& p)
{
  const BruteAnswer skew(mesh, region, {p, {0.36123, 0.47987, 0.79951}});
  if (skew.StartsOn) return PointOnBoundary;
  return skew.Crossings % 2 ? PointInside : PointOutside;
}

/** The triangle that was found lies as far as was told, and is the nearest of a region's. */
static void CheckNearest(const trelTraceableMesh& mesh, int region, const trelRay& ray, int found,
                         double distance, double limit)
{
  const trelVoxelTable& table = mesh.GetVoxelTable();
  if (found >= 0 && distance != 0) {
    ASSERT_EQ(distance, RayTriangleDistance(ray, table.GetTriangle(found)));
  }
  const BruteAnswer ahead(mesh, region, ray);
  if (found >= 0 && distance == 0) {
    ASSERT_TRUE(ahead.StartsOn);
  } else if (!PassesBeside(ray) &&
             (found >= 0 || !IsOnBoxEdge(mesh, PointAt(ray, ahead.Nearest)))) {
    ASSERT_NEAR(distance, std::min(ahead.Nearest, limit), 1e-11);
  }
}

/** Relation of the start, distance and triangle agree with an answer from all triangles. */
static void CheckQueries(const trelMCTriangleMesh& mesh, int rays)
{
  Queries next(mesh, 1);
  int hits = 0, zeros = 0, relations[3] = {};
  for (int n = 0; n < rays; ++n) {
    SCOPED_TRACE(n);
    const trelRay ray = next.Ray();
    const trelShapeObject& shape = mesh;
    const int relation = shape.LocatePoint(ray.Origin);
    const RaySide raySide = n % 2 ? RayLeaves : RayEnters;
    ASSERT_EQ(relation, BruteRelation(mesh, 0, ray.Origin));
    const double limit = n % 3 ? 1000.0 : next.Uniform(0, 0.3);
    double distance = limit;
    const int got = mesh.FindNearestTriangle(ray, raySide, &distance);
    ASSERT_NO_FATAL_FAILURE(CheckNearest(mesh, 0, ray, got, distance, limit));
    ++relations[relation];
    hits += got >= 0;
    zeros += got >= 0 && distance == 0;
  }
  EXPECT_GT(hits, rays / 3);
  EXPECT_GT(zeros, rays / 1000);
  EXPECT_GT(*std::min_element(relations, relations + 3), rays / 100);
}

TEST(VoxelTable, AnswersLikeAllTriangles)
{
  CheckQueries(*Trace(Sphere(0.5, 5)), 20000);
  CheckQueries(*Trace(Box(0.7, 0.42, 0.9)), 50000);
  CheckQueries(*Trace(Sphere(10, 41)), 300);
}

TEST(VoxelTable, ChoosesTheVoxelSize)
{
  const struct
  {
    double x, y, z;
    double size;  ///< 0: any of the series; -1: no table
  } cases[] = {{1, 1, 1, 0.084},      {10, 10, 10, 0.084},   {12, 10, 10, 0.0882},
               {1000, 1000, 1000, 0}, {1e30, 1e30, 1e30, 0}, {1e30, 1, 1e-3, 0},
               {1, infinite_, 1, -1}, {1, nan_, 1, -1},      {1, -1, 1, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.y);
    trelVoxelTable table;
    const trelVector extent = {c.x, c.y, c.z};
    const bool built = table.Build({}, {{}, extent}, CenterMakesSurface, 1);
    EXPECT_EQ(built, c.size >= 0);
    if (!built) continue;
    double voxels = 1, finer = 1;
    for (int a = 0; a < 3; ++a) {
      voxels *= table.GetSize(a);
      finer *= std::ceil(extent[a] / table.GetVoxelSize() * 1.05);
    }
    EXPECT_LE(voxels, 2e6);
    EXPECT_TRUE(c.size == 0 || std::fabs(table.GetVoxelSize() - c.size) < 1e-12);
    EXPECT_TRUE(table.GetVoxelSize() < 0.085 || finer > 2e6) << "a step finer would do";
  }
}

TEST(MCTriangleMesh, AnswersAtTheSurface)
{
  const auto box = Trace(Box(1, 1, 1));
  const std::pair<Point, PointRelation> points[] = {
      {{0.5, 0.5, 0.5}, PointInside},     {{0.5, 0.5, 0.01}, PointInside},
      {{0.25, 0.75, 0.999}, PointInside}, {{0.5, 0.5, 0}, PointOnBoundary},
      {{1, 1, 1}, PointOnBoundary},       {{0, 0.3, 0.3}, PointOnBoundary},
      {{0.5, 0.5, -1e-9}, PointOutside},  {{nan_, 0.5, 0.5}, PointOutside},
      {{0.5, 1e300, 0.5}, PointOutside}};
  for (const auto& [p, relation] : points)
    EXPECT_EQ(box->LocatePoint(p[0], p[1], p[2]), relation) << p[0] << " " << p[1] << " " << p[2];
  // Rays along z through (x, 0.4) from a height z; a distance of -1 means no hit.
  const struct
  {
    double x, z, dz;
    RaySide side;
    double limit, distance;
  } rays[] = {{0.3, 0.5, 1, RayLeaves, 9, 0.5}, {0.3, 0.5, 1, RayLeaves, 0.5, -1},
              {0.3, 0, 1, RayLeaves, 9, 1},     {0.3, 0, 1, RayEnters, 9, 1},
              {0.3, 0, -1, RayLeaves, 9, 0},    {0.3, 0, 1, RayEnters, 0.5, 0},
              {0.3, 1, -1, RayEnters, 9, 0},    {0.3, 1, -1, RayLeaves, 9, 1},
              {0.3, -2, 1, RayEnters, 1e30, 2}, {0.3, -2, -1, RayEnters, 9, -1},
              {0.4, -2, 1, RayEnters, 1000, 2}, {nan_, 0, 1, RayLeaves, 9, -1}};
  for (const auto& c : rays) {
    trelHit hit = {c.limit, 7, {7, 7, 7}};
    const bool found = box->FindHit({{c.x, 0.4, c.z}, {0, 0, c.dz}}, c.side, &hit);
    SCOPED_TRACE(&c - rays);
    EXPECT_EQ(found, c.distance >= 0);
    EXPECT_EQ(hit.Distance, found ? c.distance : c.limit);
    EXPECT_EQ(hit.Face >= 0, found);
    EXPECT_EQ(std::fabs(hit.Normal.Z), found ? 1 : 7);
  }
}

TEST(MCTriangleMesh, TakesOrRefusesWhatItIsGiven)
{
  const auto box = Box(1, 1, 1), flat = Box(1, 1, 0), open = Box(1, 1, 1), wrong = Box(1, 1, 1),
             infinite = Box(1, 1, 1), empty = std::make_unique<trelTriangleMesh>();
  open->SetNumberOfFaces(11);
  wrong->GetFaceData()[10] = 24;
  infinite->GetVertexData()[30] = infinite_;
  const struct
  {
    trelTriangleMesh* surface;
    double z;
    PointRelation relation;
    const char* warning = "";
  } cases[] = {{box.get(), 0.3, PointInside},
               {flat.get(), 0, PointOutside, "is not closed: 5 edges"},
               {open.get(), 0.3, PointInside, "is not closed: 3 edges"},
               {wrong.get(), 0.3, PointUndetermined},
               {infinite.get(), 0.3, PointUndetermined},
               {empty.get(), 0.3, PointUndetermined},
               {nullptr, 0.3, PointUndetermined}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    trelMCTriangleMesh mesh;
    testing::internal::CaptureStderr();
    EXPECT_EQ(mesh.ImportMesh(c.surface), c.relation != PointUndetermined);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.empty(), !*c.warning) << said;
    EXPECT_NE(said.find(c.warning), std::string::npos) << said;
    EXPECT_EQ(mesh.LocatePoint(0.5, 0.4, c.z), c.relation);
  }
}

/** Large faces that lie along the borders of voxels, at any rounding. */
TEST(MCTriangleMesh, BoxesAreClosedWhereverTheyStand)
{
  std::mt19937 random(7);
  const auto uniform = [&](double a, double b) {
    return std::uniform_real_distribution<>(a, b)(random);
  };
  for (int n = 0; n < 12; ++n) {
    SCOPED_TRACE(n);
    Point center, half;
    for (int a = 0; a < 3; ++a) {
      center[a] = static_cast<float>(uniform(-60, 60) * (n % 4 ? 1 : 20));
      half[a] = static_cast<float>(uniform(2, 60));
    }
    const auto mesh = Trace(MovedCube(1, [&](const Point& p) {
      return Point{center[0] + p[0] * half[0], center[1] + p[1] * half[1],
                   center[2] + p[2] * half[2]};
    }));
    double box[6];
    mesh->GetBoundingBox(box);
    for (int k = 0; k < 2000; ++k) {
      Point p;
      bool inside = true;
      for (int a = 0; a < 3; ++a) {
        p[a] = center[a] + uniform(-1.01, 1.01) * half[a];
        inside = inside && p[a] > box[2 * a] && p[a] < box[2 * a + 1];
      }
      ASSERT_EQ(mesh->LocatePoint(p[0], p[1], p[2]), inside ? PointInside : PointOutside);
    }
  }
}

TEST(MeshPredicates, GiveUpTheNudgeAtLargeCoordinates)
{
  trelTracedTriangle triangle = {{{1e9, 0, 0}, {1e9, 2, 0}, {1e9 + 2, 1, 0}}, {0, 0, 1}, {0, -1}};
  EXPECT_FALSE(ProjectedCrossingTest(1e9, 1, triangle, RayAxisZMax, true));
  EXPECT_TRUE(ProjectedCrossingTest(1e9 + 0.5, 1, triangle, RayAxisZMax, true));
  EXPECT_EQ(AxisRayTriangleTest({}, triangle, 6), AxisRayUnknown);
  const double inPlane = RayTriangleDistance({{0, 1, 0}, {1, 0, 0}}, triangle);
  EXPECT_TRUE(inPlane == -1 || std::isnan(inPlane));
}

/** How far the point lies outside of the cube |x - 3| <= half, negative inside. */
static double Beyond(const Point& p, double half)
{
  return std::max({std::fabs(p[0] - 3), std::fabs(p[1] - 3), std::fabs(p[2] - 3)}) - half;
}

/** Region 1 is [2, 4]^3 within the cube [0, 6]^3 of region 0. */
TEST(MCTetrahedron, KnowsItsRegions)
{
  const auto mesh = CubeInCube(6, 2, 4);
  EXPECT_EQ(mesh->GetNumberOfTetrahedra(), 1296u);
  Queries next(*mesh, 4);
  int counts[2][3] = {}, crossings[3][3] = {};
  for (int n = 0; n < 100000; ++n) {
    const trelRay ray = next.Ray();
    const Point p = PointAt(ray, 0);
    SCOPED_TRACE(n);
    int lowest = -1;
    for (const int region : {1, 0}) {
      const double depth = region == 1 ? Beyond(p, 1) : std::max(Beyond(p, 3), -Beyond(p, 1));
      const int expected = depth < 0 ? PointInside : depth > 0 ? PointOutside : PointOnBoundary;
      ASSERT_EQ(mesh->LocatePointInRegion(ray.Origin, region), expected) << region;
      ++counts[region][expected];
      if (expected != PointOutside) lowest = region;
    }
    ASSERT_EQ(mesh->FindRegion(ray.Origin), lowest);
    if (n % 5 || PassesBeside(ray)) continue;

    const BruteAnswer brute(*mesh, lowest, ray);
    trelHit hit = {1000, 7, {}};
    int behind = 7;
    const bool found = mesh->FindHitInRegion(ray, lowest, &hit, &behind);
    const bool meets = brute.StartsOn || brute.Crossings > 0;
    if (!found && lowest < 0 && IsOnBoxEdge(*mesh, PointAt(ray, brute.Nearest))) continue;
    ASSERT_EQ(found, meets);
    ASSERT_EQ(hit.Face >= 0, found);
    if (!found) continue;
    ASSERT_NEAR(hit.Distance, brute.Crossings > 0 ? brute.Nearest : 0, 1e-11);
    const bool inner = Beyond(PointAt(ray, hit.Distance), 1) < 1e-9;
    ASSERT_EQ(behind, inner ? 1 - lowest : lowest < 0 ? 0 : -1);
    ++crossings[lowest + 1][behind + 1];
  }
  for (const auto& region : counts)
    EXPECT_GT(*std::min_element(region, region + 3), 500);
  for (const auto& [from, to] : {std::pair{0, 1}, {1, 0}, {1, 2}, {2, 1}})
    EXPECT_GT(crossings[from][to], 100) << from - 1 << " to " << to - 1;
  for (const int region : {-1, 2})
    EXPECT_EQ(mesh->LocatePointInRegion(3, 3, 3, region), PointOutside);
  EXPECT_EQ(mesh->LocatePoint(3, 3, 3), PointUndetermined) << "there is no whole";
  for (const Point& p : {Point{nan_, 3, 3}, Point{3, 3, 1e300}, Point{-1, 3, 3}})
    EXPECT_EQ(mesh->FindRegion(p[0], p[1], p[2]), -1);
}

TEST(MCTetrahedron, RefusesNumbersThatPointNowhere)
{
  using Mesh = trelTetrahedron;
  const std::pair<const char*, void (*)(Mesh&)> faults[] = {
      {"none", [](Mesh&) {}},
      {"vertex", [](Mesh& m) { m.GetTetrahedronData()[2] = 8; }},
      {"owner", [](Mesh& m) { m.GetFaceOwnerData()[2] = -1; }},
      {"second owner", [](Mesh& m) { m.GetFaceOwnerData()[3] = 6; }},
      {"region", [](Mesh& m) { m.GetRegionData()[0] = 1; }},
      {"skipped region", [](Mesh& m) { m.SetNumberOfRegions(2); }},
      {"negative region", [](Mesh& m) { m.GetRegionData()[0] = -1; }}};
  for (const auto& [name, spoil] : faults) {
    SCOPED_TRACE(name);
    CubeGrid grid({{1, 1, 1}});
    grid.Mesh.SetNumberOfRegions(1);
    ASSERT_TRUE(grid.Mesh.BuildFaces());
    spoil(grid.Mesh);
    const bool good = name == faults[0].first;
    trelMCTetrahedron mesh;
    EXPECT_EQ(mesh.ImportMesh(&grid.Mesh), good);
    EXPECT_EQ(mesh.FindRegion(0.1, 0.1, 0.1), good ? 0 : 3);
    EXPECT_EQ(mesh.LocatePointInRegion(9, 9, 9, 0), good ? 2 : 3);
  }
}

TEST(TraceableMesh, ChoosesItsReaderByTheEnd)
{
  for (const MeshSample& sample : ReadSamples("good.txt")) {
    SCOPED_TRACE(sample.name);
    std::unique_ptr<trelTraceableMesh> mesh = std::make_unique<trelMCTriangleMesh>();
    if (sample.IsVolume()) mesh = std::make_unique<trelMCTetrahedron>();
    std::string good = testing::TempDir() + "a mesh." + sample.GetEnding();
    good.back() = static_cast<char>(std::toupper(good.back()));
    const std::string bad = good + "s";
    for (const std::string& path : {good, bad})
      std::ofstream(path, std::ios::binary) << sample.bytes;
    EXPECT_TRUE(mesh->LoadFromFile(good.c_str()));
    EXPECT_EQ(mesh->GetFilePath(), good);
    EXPECT_GT(mesh->GetNumberOfTriangles(), 3u);
    for (const std::string& path : {bad, std::string("off"), std::string()}) {
      testing::internal::CaptureStderr();
      EXPECT_FALSE(mesh->LoadFromFile(path.c_str()));
      const std::string report = testing::internal::GetCapturedStderr();
      EXPECT_THAT(report, testing::StartsWith(StartOfError(mesh->GetClassName())));
      EXPECT_THAT(report, testing::EndsWith("): Can't find \"" + path +
                                            "\", please check the file path!\n\n\n"));
      EXPECT_EQ(mesh->GetFilePath(), "");
      EXPECT_EQ(mesh->GetNumberOfTriangles(), 0u);
      EXPECT_EQ(mesh->LocatePoint(0.2, 0.1, 0.2), PointUndetermined);
    }
  }
}
