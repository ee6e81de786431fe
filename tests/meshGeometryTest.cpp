#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelTetrahedron.h"
#include "trelTriangleMesh.h"

static const double nan_ = std::numeric_limits<double>::quiet_NaN();
using Point = std::array<double, 3>;
using Face = std::array<std::uint32_t, 3>;

/** A surface as lists; made exactly, since files hold floats. */
struct Surface
{
  std::vector<Point> Vertices;
  std::vector<Face> Faces;

  std::unique_ptr<trelTriangleMesh> Make() const
  {
    auto mesh = std::make_unique<trelTriangleMesh>();
    for (const Point& p : Vertices) {
      const float record[6] = {float(p[0]), float(p[1]), float(p[2]), 0, 0, 0};
      mesh->AddVertex(record);
    }
    for (const Face& face : Faces)
      mesh->AddFace(face.data());
    return mesh;
  }
  std::unique_ptr<trelMCTriangleMesh> Trace() const
  {
    auto traced = std::make_unique<trelMCTriangleMesh>();
    EXPECT_TRUE(traced->ImportMesh(Make().get()));
    return traced;
  }
};

static Surface Box(double x, double y, double z)
{
  Surface box;
  for (int v = 0; v < 8; ++v)
    box.Vertices.push_back({v & 1 ? x : 0, v & 2 ? y : 0, v & 4 ? z : 0});
  box.Faces = {{0, 2, 3}, {0, 3, 1}, {4, 5, 7}, {4, 7, 6}, {0, 1, 5}, {0, 5, 4},
               {2, 6, 7}, {2, 7, 3}, {0, 4, 6}, {0, 6, 2}, {1, 3, 7}, {1, 7, 5}};
  return box;
}

/** A sphere of 20 * 4^level triangles about (0, 0, 0), from an icosahedron. */
static Surface Sphere(double radius, int level)
{
  const double t = (1 + std::sqrt(5.0)) / 2;
  Surface s;
  s.Vertices = {{-1, t, 0},  {1, t, 0},  {-1, -t, 0}, {1, -t, 0}, {0, -1, t},  {0, 1, t},
                {0, -1, -t}, {0, 1, -t}, {t, 0, -1},  {t, 0, 1},  {-t, 0, -1}, {-t, 0, 1}};
  s.Faces = {{0, 11, 5},  {0, 5, 1},  {0, 1, 7},  {0, 7, 10}, {0, 10, 11}, {1, 5, 9}, {5, 11, 4},
             {11, 10, 2}, {10, 7, 6}, {7, 1, 8},  {3, 9, 4},  {3, 4, 2},   {3, 2, 6}, {3, 6, 8},
             {3, 8, 9},   {4, 9, 5},  {2, 4, 11}, {6, 2, 10}, {8, 6, 7},   {9, 8, 1}};
  for (int n = 0; n < level; ++n) {
    std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> middles;
    const auto middle = [&](std::uint32_t a, std::uint32_t b) {
      const auto added = middles.insert({std::minmax(a, b), std::uint32_t(s.Vertices.size())});
      if (added.second) {
        const Point p = s.Vertices[a], q = s.Vertices[b];
        s.Vertices.push_back({p[0] + q[0], p[1] + q[1], p[2] + q[2]});
      }
      return added.first->second;
    };
    std::vector<Face> finer;
    for (const auto& [a, b, c] : s.Faces) {
      const std::uint32_t ab = middle(a, b), bc = middle(b, c), ca = middle(c, a);
      finer.insert(finer.end(), {{a, ab, ca}, {b, bc, ab}, {c, ca, bc}, {ab, bc, ca}});
    }
    s.Faces = std::move(finer);
    for (Point& p : s.Vertices) {
      const double scale = radius / std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
      for (double& x : p)
        x = float(x * scale);
    }
  }
  return s;
}

/** The cube [0, n]^3 of unit cells, five tetrahedra each; cells with all of i, j, k within
 *  [from, to) are region 1, the others 0. */
static std::unique_ptr<trelMCTetrahedron> CubeInCube(int n, int from, int to)
{
  trelTetrahedron mesh;
  const auto vertex = [&](int i, int j, int k) {
    return std::uint32_t((i * (n + 1) + j) * (n + 1) + k);
  };
  for (int v = 0; v < (n + 1) * (n + 1) * (n + 1); ++v) {
    const float record[6] = {float(v / ((n + 1) * (n + 1))), float(v / (n + 1) % (n + 1)),
                             float(v % (n + 1))};
    mesh.AddVertex(record);
  }
  // Neighbouring cells are mirrored so that the diagonals of their common side agree.
  static const int corners[5][4] = {
      {0, 1, 2, 4}, {1, 2, 3, 7}, {1, 4, 5, 7}, {2, 4, 6, 7}, {1, 2, 4, 7}};
  mesh.SetNumberOfTetrahedra(5 * n * n * n);
  mesh.SetNumberOfRegions(from < to ? 2 : 1);
  std::uint32_t* corner = mesh.GetTetrahedronData();
  std::int32_t* region = mesh.GetRegionData();
  const auto within = [&](int i) { return i >= from && i < to; };
  for (int c = 0; c < n * n * n; ++c) {
    const int i = c / (n * n), j = c / n % n, k = c % n, mirror = (i + j + k) % 2;
    for (const auto& tetrahedron : corners) {
      for (const int v : tetrahedron)
        *corner++ = vertex(i + ((v & 1) ^ mirror), j + (v >> 1 & 1), k + (v >> 2));
      *region++ = within(i) && within(j) && within(k);
    }
  }
  EXPECT_TRUE(mesh.BuildFaces());
  auto traced = std::make_unique<trelMCTetrahedron>();
  EXPECT_TRUE(traced->ImportMesh(&mesh));
  return traced;
}

/** The look-up in its plain form: every voxel is visited, what was seen is searched for. */
class PlainLookUp
{
public:
  explicit PlainLookUp(const trelVoxelTable& table) : Table(table) {}

  int Classify(const Point& p, const int voxel[3], int axis, int region) const
  {
    trelVoxelRange run = {{voxel[0], voxel[1], voxel[2]}, {voxel[0], voxel[1], voxel[2]}};
    const int along = 2 - axis / 2;
    if (axis % 2 == 1)
      run.First[along] = 0;
    else
      run.Last[along] = Table.GetSize(along) - 1;
    std::vector<std::uint32_t> seen;
    int crossings = 0;
    bool on = false;
    Visit(run, [&](const int* cell) {
      for (const std::uint32_t t : List(cell)) {
        if (!Table.GetTriangle(t).Bounds(region) || !IsNew(t, &seen)) continue;
        const int answer = AxisRayTriangleTest(p[0], p[1], p[2], Table.GetTriangle(t), axis);
        on = on || answer == AxisRayStartsOn;
        crossings += answer == AxisRayCrosses;
      }
    });
    return on ? PointOnBoundary : crossings % 2 ? PointInside : PointOutside;
  }

  int FindNearest(const trelVoxelRay& ray, int region, int side, double* distance) const
  {
    trelVoxelRange walk;
    int cells = 1;
    bool boxTest = true;
    for (int a = 0; a < 3; ++a) {
      const int p = Table.IndexOf(a, ray.Origin[a]);
      const int q = Table.IndexOf(a, ray.Origin[a] + *distance * ray.Direction[a]);
      walk.First[a] = std::min(p, q);
      walk.Last[a] = std::max(p, q);
      cells *= walk.Last[a] - walk.First[a] + 1;
      boxTest = boxTest && std::fabs(ray.Direction[a]) >= 1e-12;
    }
    boxTest = boxTest && cells > 4;
    double best = 1e99;
    int found = -1, zero = -1;
    std::vector<std::uint32_t> seen;
    Visit(walk, [&](const int* cell) {
      double min[3], max[3];
      Table.GetCorners(cell, min, max);
      if (boxTest && !RayBoxOverlap(min, max, ray.Origin, ray.Direction)) return;
      for (const std::uint32_t t : List(cell)) {
        if (!Table.GetTriangle(t).Bounds(region) || !IsNew(t, &seen)) continue;
        const double d = RayTriangleDistance(ray.Origin, ray.Direction, Table.GetTriangle(t));
        if (d < -1e-12) continue;
        if (std::fabs(d) < 1e-12) {
          zero = int(t);
          if (side != RayEnters) continue;
          found = -1;
          return;
        }
        if (!(d - *distance < -1e-12 && d - best < -1e-12)) continue;
        best = d;
        found = int(t);
      }
    });
    if (found >= 0)
      *distance = best;
    else if (zero >= 0)
      *distance = 0;
    return found >= 0 ? found : zero;
  }

  template <class F>
  static void Visit(const trelVoxelRange& range, F f)
  {
    int c[3];
    for (c[0] = range.First[0]; c[0] <= range.Last[0]; ++c[0])
      for (c[1] = range.First[1]; c[1] <= range.Last[1]; ++c[1])
        for (c[2] = range.First[2]; c[2] <= range.Last[2]; ++c[2])
          f(c);
  }
  std::vector<std::uint32_t> List(const int* c) const
  {
    const std::size_t cell = Table.CellOf(c[0], c[1], c[2]);
    return {Table.BeginOf(cell), Table.EndOf(cell)};
  }

private:
  static bool IsNew(std::uint32_t t, std::vector<std::uint32_t>* seen)
  {
    if (std::find(seen->begin(), seen->end(), t) != seen->end()) return false;
    seen->push_back(t);
    return true;
  }

  const trelVoxelTable& Table;
};

/** Points and rays in and around a mesh, every other one in a special place. */
class Queries
{
public:
  Queries(const trelTraceableMesh& mesh, unsigned seed) : Mesh(mesh), Random(seed)
  {
    mesh.GetBoundingBox(Bounds);
  }

  double Uniform(double a, double b) { return std::uniform_real_distribution<>(a, b)(Random); }
  int Pick(int n) { return std::uniform_int_distribution<>(0, n - 1)(Random); }

  /** A corner, the middle of an edge or a point of a triangle. */
  Point OnSurface()
  {
    const auto& t = Mesh.GetTriangleArray()[Pick(int(Mesh.GetNumberOfTriangles()))];
    double weights[3] = {1, 0, 0};
    const int kind = Pick(3);
    if (kind == 1) weights[0] = weights[1] = 0.5;
    if (kind == 2) weights[0] = 0.25, weights[1] = 0.5, weights[2] = 0.25;
    Point p = {0, 0, 0};
    for (int c = 0; c < 3; ++c) {
      const trelTraceableVertex& v = Mesh.GetVertexArray()[t.Vertices[c]];
      p = {p[0] + weights[c] * v.X, p[1] + weights[c] * v.Y, p[2] + weights[c] * v.Z};
    }
    return p;
  }
  Point Anywhere(double beyond)
  {
    Point p;
    for (int a = 0; a < 3; ++a) {
      const double width = Bounds[2 * a + 1] - Bounds[2 * a];
      p[a] = Uniform(Bounds[2 * a] - beyond * width, Bounds[2 * a + 1] + beyond * width);
    }
    return p;
  }
  /** Some coordinates are those of a special place, so that axis rays go through edges. */
  Point Position()
  {
    Point p = Anywhere(0.1);
    const Point q = OnSurface();
    const int kept = Pick(16);
    for (int a = 0; a < 3; ++a)
      if (kept & 8 >> a) p[a] = q[a];
    return p;
  }
  Point Direction(const Point& from)
  {
    Point d;
    switch (Pick(4)) {
      case 0:
        d = {Uniform(-1, 1), Uniform(-1, 1), Uniform(-1, 1)};
        break;
      case 1:  // along axes and diagonals
        d = {double(Pick(3) - 1), double(Pick(3) - 1), double(Pick(3) - 1)};
        break;
      case 2: {  // at a special place, or along the plane of a triangle
        const Point q = OnSurface();
        d = {q[0] - from[0], q[1] - from[1], q[2] - from[2]};
        break;
      }
      default:  // nearly along an axis
        d = {Uniform(-1, 1), Uniform(-1, 1) * 1e-11, Uniform(-1, 1) * 1e-11};
        std::rotate(d.begin(), d.begin() + Pick(3), d.end());
    }
    const double length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    if (length == 0) return {0, 0, 1};
    return {d[0] / length, d[1] / length, d[2] / length};
  }
  trelVoxelRay Ray()
  {
    const Point p = Position(), d = Direction(p);
    return {{p[0], p[1], p[2]}, {d[0], d[1], d[2]}};
  }

private:
  const trelTraceableMesh& Mesh;
  double Bounds[6];
  std::mt19937 Random;
};

/** 10^5 rays each: distance and triangle agree to the last bit, ties included. */
TEST(VoxelTable, WalksLikeThePlainForm)
{
  std::vector<std::unique_ptr<trelTraceableMesh>> meshes;
  meshes.push_back(Sphere(0.5, 2).Trace());
  meshes.push_back(Box(0.7, 0.42, 0.9).Trace());
  for (const auto& mesh : meshes) {
    ASSERT_TRUE(mesh->BuildVoxelTable());
    const auto& surface = static_cast<const trelMCTriangleMesh&>(*mesh);
    const PlainLookUp plain(mesh->GetVoxelTable());
    Queries next(*mesh, 1);
    int hits = 0, zeros = 0;
    for (int n = 0; n < 100000; ++n) {
      const trelVoxelRay ray = next.Ray();
      const double *p = ray.Origin, *d = ray.Direction;
      const double limit = n % 3 ? 1000.0 : next.Uniform(0, 0.3);
      const int side = n % 2 ? RayLeaves : RayEnters;
      double fast = limit, slow = limit;
      const int got = surface.FindNearestTriangle(p[0], p[1], p[2], d[0], d[1], d[2], &fast, side);
      ASSERT_EQ(got, plain.FindNearest(ray, 0, side, &slow)) << "ray " << n;
      ASSERT_EQ(fast, slow) << "ray " << n;
      hits += got >= 0;
      zeros += got >= 0 && fast == 0;
    }
    EXPECT_GT(hits, 40000);
    EXPECT_GT(zeros, 100);
  }
}

/** The voxels' lists, directions and states against their definitions. */
TEST(VoxelTable, IsBuiltAsDefined)
{
  const auto sphere = Sphere(0.6, 2).Trace();
  const auto cubes = CubeInCube(3, 1, 2);
  for (const trelTraceableMesh* mesh :
       {(trelTraceableMesh*)sphere.get(), (trelTraceableMesh*)cubes.get()}) {
    ASSERT_TRUE(mesh->BuildVoxelTable(2));
    const trelVoxelTable& table = mesh->GetVoxelTable();
    const PlainLookUp plain(table);
    const double h = table.GetVoxelSize() / 2, half[3] = {h, h, h};
    int lists = 0, insides = 0;
    PlainLookUp::Visit(table.GetWholeRange(), [&](const int* c) {
      Point center;
      table.GetCenter(c, center.data());
      const std::size_t cell = table.CellOf(c[0], c[1], c[2]);
      const auto list = plain.List(c);
      if (c[0] % 3 == 0) {
        std::vector<std::uint32_t> expected;
        for (std::uint32_t t = 0; t < mesh->GetNumberOfTriangles(); ++t) {
          if (TriangleBoxOverlap(center.data(), half, table.GetTriangle(t).Corners))
            expected.push_back(t);
        }
        ASSERT_EQ(list, expected);
      }
      if (!list.empty()) {
        ++lists;
        const int ways[6] = {table.GetSize(2) - 1 - c[2], c[2], table.GetSize(1) - 1 - c[1], c[1],
                             table.GetSize(0) - 1 - c[0], c[0]};
        int axis = RayAxisXMin;
        for (const int a : {RayAxisYMin, RayAxisZMin, RayAxisXMax, RayAxisYMax, RayAxisZMax})
          if (ways[a] < ways[axis]) axis = a;
        ASSERT_EQ(table.GetRayAxis(cell), axis);
        ASSERT_EQ(table.GetState(cell), trelVoxelTable::Surface);
        return;
      }
      int state = trelVoxelTable::NoRegion;
      for (const int region : {0, 1}) {
        const int answer = plain.Classify(center, c, RayAxisXMin, region);
        if (answer == PointInside) state = region;
        if (answer == PointOnBoundary && mesh == sphere.get()) state = trelVoxelTable::Surface;
      }
      ASSERT_EQ(table.GetState(cell), state);
      insides += state >= 0;
    });
    EXPECT_GT(lists, 100);
    EXPECT_GT(insides, 100);
  }
}

TEST(MCTriangleMesh, LocatesLikeThePlainForm)
{
  const auto mesh = Sphere(0.5, 2).Trace();
  ASSERT_TRUE(mesh->BuildVoxelTable());
  const trelVoxelTable& table = mesh->GetVoxelTable();
  const PlainLookUp plain(table);
  Queries next(*mesh, 2);
  int counts[4] = {};
  for (int n = 0; n < 100000; ++n) {
    const Point p = next.Position();
    const int got = mesh->LocatePoint(p[0], p[1], p[2]);
    ++counts[got];
    double b[6];
    mesh->GetBoundingBox(b);
    int expected = PointOutside;
    const int c[3] = {table.IndexOf(0, p[0]), table.IndexOf(1, p[1]), table.IndexOf(2, p[2])};
    bool within = true;
    for (int a = 0; a < 3; ++a)
      within = within && p[a] - b[2 * a] >= -1e-12 && p[a] - b[2 * a + 1] <= 1e-12;
    const std::size_t cell = table.CellOf(c[0], c[1], c[2]);
    if (within && table.GetState(cell) == 0) expected = PointInside;
    if (within && table.GetState(cell) == trelVoxelTable::Surface)
      expected = plain.Classify(p, c, table.GetRayAxis(cell), 0);
    ASSERT_EQ(got, expected) << p[0] << " " << p[1] << " " << p[2];
  }
  for (const int relation : {PointInside, PointOnBoundary, PointOutside})
    EXPECT_GT(counts[relation], 1000);
}

/** True for a direction nearly along an axis: such a ray may pass beside a voxel by less than the
 *  tolerance, and the walk then leaves out a triangle whose edge it would hit within it. */
static bool PassesBeside(const trelVoxelRay& ray)
{
  return std::any_of(ray.Direction, ray.Direction + 3,
                     [](double d) { return d != 0 && std::fabs(d) < 1e-9; });
}

/** The number of times that the surface winds around the point: the sum of its solid angles over
 *  4 pi (A. van Oosterom and J. Strackee, IEEE Trans. Biomed. Eng. 30, 1983). */
static double WindingNumber(const trelVoxelTable& table, std::uint32_t triangles, const Point& p)
{
  double sum = 0;
  for (std::uint32_t t = 0; t < triangles; ++t) {
    double v[3][3], length[3];
    for (int c = 0; c < 3; ++c) {
      for (int a = 0; a < 3; ++a)
        v[c][a] = table.GetTriangle(t).Corners[c][a] - p[a];
      length[c] = std::hypot(v[c][0], v[c][1], v[c][2]);
    }
    const auto dot = [&](int a, int b) {
      return v[a][0] * v[b][0] + v[a][1] * v[b][1] + v[a][2] * v[b][2];
    };
    const double volume = v[0][0] * (v[1][1] * v[2][2] - v[1][2] * v[2][1]) +
                          v[0][1] * (v[1][2] * v[2][0] - v[1][0] * v[2][2]) +
                          v[0][2] * (v[1][0] * v[2][1] - v[1][1] * v[2][0]);
    sum += std::atan2(volume, length[0] * length[1] * length[2] + dot(0, 1) * length[2] +
                                  dot(1, 2) * length[0] + dot(2, 0) * length[1]);
  }
  return sum / (2 * Pi);
}

/** Points and rays in a sphere of 20,480 triangles and a box, against all triangles. The rows of
 *  many points go through vertices and edges. From two threads, since that is how they are asked.
 */
TEST(MCTriangleMesh, AgreesWithBruteForce)
{
  std::vector<std::unique_ptr<trelMCTriangleMesh>> meshes;
  meshes.push_back(Sphere(10, 5).Trace());
  meshes.push_back(Box(3, 4, 5).Trace());
  for (const auto& mesh : meshes) {
    ASSERT_TRUE(mesh->BuildVoxelTable(2));
    const std::uint32_t triangles = mesh->GetNumberOfTriangles();
    const trelVoxelTable& table = mesh->GetVoxelTable();
    Queries next(*mesh, 3);
    std::vector<trelVoxelRay> rays(400);
    for (trelVoxelRay& ray : rays) {
      do
        ray = next.Ray();
      while (PassesBeside(ray));
    }
    int wrongPoints = 0, wrongRays = 0, insides = 0, hits = 0;
#pragma omp parallel for num_threads(2) reduction(+ : wrongPoints, wrongRays, insides, hits)
    for (int n = 0; n < int(rays.size()); ++n) {
      const double *p = rays[n].Origin, *d = rays[n].Direction;
      const int relation = mesh->LocatePoint(p[0], p[1], p[2]);
      const double winding = WindingNumber(table, triangles, {p[0], p[1], p[2]});
      insides += relation == PointInside;
      if (relation != PointOnBoundary)
        wrongPoints += std::fabs(winding - (relation == PointInside ? 1 : 0)) > 0.1;
      double nearest = 1000, distance = 1000;
      for (std::uint32_t t = 0; t < triangles; ++t) {
        const double ahead = RayTriangleDistance(p, d, table.GetTriangle(t));
        if (ahead > 1e-12 && ahead < nearest) nearest = ahead;
      }
      const int got =
          mesh->FindNearestTriangle(p[0], p[1], p[2], d[0], d[1], d[2], &distance, RayLeaves);
      hits += got >= 0;
      if (got < 0 || distance > 0) wrongRays += !(std::fabs(distance - nearest) <= 1e-11);
    }
    EXPECT_EQ(wrongPoints, 0);
    EXPECT_EQ(wrongRays, 0);
    EXPECT_GT(insides, 80);
    EXPECT_GT(hits, 200);
  }
}

TEST(MCTriangleMesh, ChoosesTheVoxelSize)
{
  const struct
  {
    double x, y, z;
    double size;  ///< 0: any of the series
  } cases[] = {{1, 1, 1, 0.084},      {10, 10, 10, 0.084},   {12, 10, 10, 0.0882},
               {1000, 1000, 1000, 0}, {1e30, 1e30, 1e30, 0}, {1e30, 1, 1e-3, 0}};
  for (const auto& c : cases) {
    trelVoxelTable table;
    const double bounds[6] = {0, c.x, 0, c.y, 0, c.z};
    ASSERT_TRUE(table.Build({}, bounds, trelVoxelTable::CenterMakesSurface, 1));
    double voxels = 1, finer = 1;
    for (int a = 0; a < 3; ++a) {
      voxels *= table.GetSize(a);
      finer *= std::ceil(bounds[2 * a + 1] / table.GetVoxelSize() * 1.05);
    }
    EXPECT_LE(voxels, 2e6);
    if (c.size > 0) {
      EXPECT_NEAR(table.GetVoxelSize(), c.size, 1e-12);
    }
    if (table.GetVoxelSize() > 0.085) {
      EXPECT_GT(finer, 2e6) << "a step finer would do";
    }
  }
  trelVoxelTable table;
  for (const double extent : {std::numeric_limits<double>::infinity(), nan_, -1.0}) {
    const double bounds[6] = {0, 1, 0, extent, 0, 1};
    EXPECT_FALSE(table.Build({}, bounds, trelVoxelTable::CenterMakesSurface, 1));
  }
}

TEST(MCTriangleMesh, AnswersAtTheSurface)
{
  const auto box = Box(1, 1, 1).Trace();
  const struct
  {
    Point p;
    PointRelation relation;
  } points[] = {{{0.5, 0.5, 0.5}, PointInside},     {{0.5, 0.5, 0.01}, PointInside},
                {{0.25, 0.75, 0.999}, PointInside}, {{0.5, 0.5, 0}, PointOnBoundary},
                {{1, 1, 1}, PointOnBoundary},       {{0, 0.3, 0.3}, PointOnBoundary},
                {{0.5, 0.5, -1e-9}, PointOutside},  {{nan_, 0.5, 0.5}, PointOutside},
                {{0.5, 1e300, 0.5}, PointOutside}};
  for (const auto& c : points)
    EXPECT_EQ(box->LocatePoint(c.p[0], c.p[1], c.p[2]), c.relation) << c.p[0] << " " << c.p[2];
  const struct
  {
    Point p;
    double dz;
    int side;
    double limit;
    double distance;  ///< -1: no hit
  } rays[] = {{{0.3, 0.4, 0.5}, 1, RayLeaves, 9, 0.5}, {{0.3, 0.4, 0.5}, 1, RayLeaves, 0.5, -1},
              {{0.3, 0.4, 0}, 1, RayLeaves, 9, 1},     {{0.3, 0.4, 0}, 1, RayEnters, 9, 1},
              {{0.3, 0.4, 0}, -1, RayLeaves, 9, 0},    {{0.3, 0.4, 0}, 1, RayEnters, 0.5, 0},
              {{0.3, 0.4, 1}, -1, RayEnters, 9, 0},    {{0.3, 0.4, 1}, -1, RayLeaves, 9, 1},
              {{0.3, 0.4, -2}, 1, RayEnters, 1e30, 2}, {{0.3, 0.4, -2}, -1, RayEnters, 9, -1},
              {{0.5, 0.5, -2}, 1, RayEnters, 1000, 2}, {{nan_, 0.4, 0}, 1, RayLeaves, 9, -1}};
  for (const auto& c : rays) {
    double distance = c.limit, n[3] = {7, 7, 7};
    int face = 7;
    const bool found = box->IntersectRay(c.p[0], c.p[1], c.p[2], 0, 0, c.dz, &distance, &face,
                                         &n[0], &n[1], &n[2], c.side);
    EXPECT_EQ(found, c.distance >= 0) << c.p[2] << " " << c.dz;
    EXPECT_EQ(distance, found ? c.distance : c.limit) << c.p[2] << " " << c.dz << " " << c.side;
    EXPECT_EQ(face >= 0, found);
    EXPECT_EQ(std::fabs(n[2]), found ? 1 : 7);
  }
}

TEST(MCTriangleMesh, TakesOrRefusesWhatItIsGiven)
{
  const Surface box = Box(1, 1, 1);
  Surface flat = Box(1, 1, 0), open = box, unmerged, wrong = box, infinite = box;
  open.Faces.pop_back();
  wrong.Faces[3][1] = 8;
  infinite.Vertices[5][0] = std::numeric_limits<double>::infinity();
  for (const Face& face : box.Faces) {
    const auto first = std::uint32_t(unmerged.Vertices.size());
    for (const std::uint32_t v : face)
      unmerged.Vertices.push_back(box.Vertices[v]);
    unmerged.Faces.push_back({first, first + 1, first + 2});
  }
  const struct
  {
    const Surface& surface;
    bool taken;
    std::string warning;
    PointRelation relation;
  } cases[] = {{box, true, "", PointInside},
               {unmerged, true, "", PointInside},
               {flat, true, "", PointOutside},
               {open, true, "is not closed: 3 edges", PointInside},
               {wrong, false, "", PointUndetermined},
               {infinite, false, "", PointUndetermined},
               {Surface(), false, "", PointUndetermined}};
  for (const auto& c : cases) {
    trelMCTriangleMesh mesh;
    testing::internal::CaptureStderr();
    EXPECT_EQ(mesh.ImportMesh(c.surface.Make().get()), c.taken) << &c - cases;
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.empty(), c.warning.empty()) << said;
    EXPECT_NE(said.find(c.warning), std::string::npos) << said;
    EXPECT_EQ(mesh.LocatePoint(0.5, 0.4, c.surface.Vertices == flat.Vertices ? 0 : 0.3), c.relation)
        << &c - cases;
  }
}

TEST(MeshPredicates, GiveUpTheNudgeAtLargeCoordinates)
{
  trelTracedTriangle triangle = {{{1e9, 0, 0}, {1e9, 2, 0}, {1e9 + 2, 1, 0}}, {0, 0, 1}, {0, -1}};
  EXPECT_EQ(ProjectedCrossingTest(1e9, 1, triangle, RayAxisZMax, 1), 2);
  EXPECT_EQ(ProjectedCrossingTest(1e9 + 0.5, 1, triangle, RayAxisZMax, 1), 0);
  EXPECT_EQ(AxisRayTriangleTest(0, 0, 0, triangle, 6), AxisRayUnknown);
  const double p[3] = {0, 1, 0}, d[3] = {1, 0, 0};
  const double inPlane = RayTriangleDistance(p, d, triangle);
  EXPECT_TRUE(inPlane == -1 || std::isnan(inPlane));
}

/** How far the point lies outside of the cube |x - 3| <= half, negative inside. */
static double Beyond(const Point& p, double half)
{
  return std::max({std::fabs(p[0] - 3), std::fabs(p[1] - 3), std::fabs(p[2] - 3)}) - half;
}

static bool IsOnOuterEdge(const Point& p)
{
  return std::count_if(p.begin(), p.end(),
                       [](double x) { return std::fabs(std::fabs(x - 3) - 3) < 1e-11; }) > 1;
}

/** Region 1 is [2, 4]^3 within the cube [0, 6]^3 of region 0. */
TEST(MCTetrahedron, KnowsItsRegions)
{
  const auto mesh = CubeInCube(6, 2, 4);
  EXPECT_EQ(mesh->GetNumberOfTetrahedra(), 1080u);
  ASSERT_TRUE(mesh->BuildVoxelTable(2));
  const trelVoxelTable& table = mesh->GetVoxelTable();
  Queries next(*mesh, 4);
  int counts[2][3] = {}, crossings[3][3] = {};
  for (int n = 0; n < 100000; ++n) {
    const trelVoxelRay ray = next.Ray();
    const double *o = ray.Origin, *d = ray.Direction;
    const Point p = {o[0], o[1], o[2]};
    int lowest = -1;
    for (const int region : {1, 0}) {
      const double depth = region == 1 ? Beyond(p, 1) : std::max(Beyond(p, 3), -Beyond(p, 1));
      const int expected = depth < 0 ? PointInside : depth > 0 ? PointOutside : PointOnBoundary;
      ASSERT_EQ(mesh->LocatePointInRegion(p[0], p[1], p[2], region), expected)
          << region << ": " << p[0] << " " << p[1] << " " << p[2];
      ++counts[region][expected];
      if (expected != PointOutside) lowest = region;
    }
    ASSERT_EQ(mesh->FindRegion(p[0], p[1], p[2]), lowest);
    if (n % 5 || PassesBeside(ray)) continue;

    double distance = 1000, expected = 1000, normal[3];
    int triangle = 7, behind = 7;
    bool starts = false;
    for (std::uint32_t t = 0; t < mesh->GetNumberOfTriangles(); ++t) {
      if (!table.GetTriangle(t).Bounds(lowest)) continue;
      const double ahead = RayTriangleDistance(o, d, table.GetTriangle(t));
      if (ahead > 1e-12) expected = std::min(expected, ahead);
      starts = starts || std::fabs(ahead) < 1e-12;
    }
    const bool found =
        mesh->IntersectRayInRegion(p[0], p[1], p[2], d[0], d[1], d[2], lowest, &distance, &triangle,
                                   &normal[0], &normal[1], &normal[2], &behind);
    const bool meets = starts || expected < 1000;
    const Point at = {p[0] + expected * d[0], p[1] + expected * d[1], p[2] + expected * d[2]};
    // The voxels have no tolerance where a ray only grazes an edge of the outer cube.
    if (!found && meets && lowest < 0 && IsOnOuterEdge(at)) continue;
    ASSERT_EQ(found, meets);
    ASSERT_EQ(triangle >= 0, found);
    if (!found) continue;
    ASSERT_NEAR(distance, expected < 1000 ? expected : 0, 1e-11);
    const Point hit = {p[0] + distance * d[0], p[1] + distance * d[1], p[2] + distance * d[2]};
    const bool inner = Beyond(hit, 1) < 1e-9;
    ASSERT_EQ(behind, inner ? 1 - lowest : lowest < 0 ? 0 : -1);
    ++crossings[lowest + 1][behind + 1];
  }
  for (const auto& region : counts)
    for (const int count : region)
      EXPECT_GT(count, 500);
  for (const auto& [from, to] : {std::pair{0, 1}, {1, 0}, {1, 2}, {2, 1}})
    EXPECT_GT(crossings[from][to], 100) << from - 1 << " to " << to - 1;
  EXPECT_EQ(mesh->LocatePointInRegion(3, 3, 3, 2), PointOutside);
  EXPECT_EQ(mesh->LocatePointInRegion(3, 3, 3, -1), PointOutside);
  EXPECT_EQ(mesh->LocatePoint(3, 3, 3), PointUndetermined) << "there is no whole";
  for (const Point& p : {Point{nan_, 3, 3}, Point{3, 3, 1e300}, Point{-1, 3, 3}})
    EXPECT_EQ(mesh->FindRegion(p[0], p[1], p[2]), -1);
}

TEST(MCTetrahedron, RefusesNumbersThatPointNowhere)
{
  const char* const cases[] = {"none",   "vertex",         "owner",          "second owner",
                               "region", "skipped region", "negative region"};
  for (const std::string fault : cases) {
    trelTetrahedron source;
    for (int v = 0; v < 4; ++v) {
      const float record[6] = {float(v == 1), float(v == 2), float(v == 3), 0, 0, 0};
      source.AddVertex(record);
    }
    source.SetNumberOfTetrahedra(1);
    source.SetNumberOfRegions(fault == "skipped region" ? 2 : 1);
    std::iota(source.GetTetrahedronData(), source.GetTetrahedronData() + 4, 0u);
    source.GetRegionData()[0] = 0;
    ASSERT_TRUE(source.BuildFaces());
    if (fault == "vertex") source.GetTetrahedronData()[2] = 4;
    if (fault == "owner") source.GetFaceOwnerData()[2] = -1;
    if (fault == "second owner") source.GetFaceOwnerData()[3] = 1;
    if (fault == "region") source.GetRegionData()[0] = 1;
    if (fault == "negative region") source.GetRegionData()[0] = -1;
    trelMCTetrahedron mesh;
    EXPECT_EQ(mesh.ImportMesh(&source), fault == "none") << fault;
    EXPECT_EQ(mesh.FindRegion(0.1, 0.1, 0.1), fault == "none" ? 0 : 3);
    EXPECT_EQ(mesh.LocatePointInRegion(9, 9, 9, 0), fault == "none" ? 2 : 3);
  }
}

TEST(TraceableMesh, ChoosesItsReaderByTheEnd)
{
  const std::string directory = testing::TempDir();
  const std::string good = directory + "mesh.oFf", bad = directory + "mesh.offs";
  for (const std::string& path : {good, bad})
    std::ofstream(path) << "OFF\n4 4 0\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n"
                           "3 0 2 1\n3 0 1 3\n3 0 3 2\n3 1 2 3\n";
  trelMCTriangleMesh mesh;
  EXPECT_TRUE(mesh.LoadFromFile(good.c_str()));
  EXPECT_EQ(mesh.GetFilePath(), good);
  EXPECT_EQ(mesh.LocatePoint(0.2, 0.2, 0.2), PointInside);
  for (const std::string& path : {bad, std::string("off"), std::string()}) {
    testing::internal::CaptureStderr();
    EXPECT_FALSE(mesh.LoadFromFile(path.c_str()));
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find("Can't find \"" + path + "\", please check the file path!\n\n\n"),
              std::string::npos)
        << said;
    EXPECT_EQ(mesh.GetFilePath(), "");
    EXPECT_EQ(mesh.LocatePoint(0.2, 0.2, 0.2), PointUndetermined);
  }
}
