#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "meshSamples.h"
#include "modelFixtures.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelPacketNumbers.h"
#include "trelShapeFactory.h"
#include "trelTissueMap.h"

static trelPacketNumbers numbers_;

static double Uniform(double low, double high)
{
  return low + (high - low) * numbers_.NextRandom();
}

static trelVector PointIn(const trelBox& box)
{
  return {Uniform(box.Low.X, box.High.X), Uniform(box.Low.Y, box.High.Y),
          Uniform(box.Low.Z, box.High.Z)};
}

/** Every fourth along an axis or a diagonal of two; in the plane without z. */
static trelVector Direction(bool planar)
{
  trelVector d = {Uniform(-1, 1), Uniform(-1, 1), planar ? 0.0 : Uniform(-1, 1)};
  if (Uniform(0, 4) < 1)
    for (int a = 0; a < 3; ++a)
      d[a] = std::round(d[a] * 0.99);
  return Dot(d, d) > 1e-4 ? Normalized(d) : trelVector{0, 1, 0};
}

/** A bar of a square section that is bent to three quarters of a ring. */
static SurfacePointer Horseshoe(int n)
{
  return MovedCube(n, [](const Point& p) {
    const double r = 3 + p[1], angle = 2.4 * p[0];
    return Point{r * std::cos(angle), r * std::sin(angle), p[2] + 0.3};
  });
}

static trelMCTriangleMesh* Trace(SurfacePointer surface, bool shuffled = false)
{
  for (int f = 0; shuffled && f < surface->GetNumberOfFaces(); f += 1 + f % 3)
    std::swap(surface->GetFaceData()[3 * f], surface->GetFaceData()[3 * f + 1]);
  auto* mesh = new trelMCTriangleMesh;
  EXPECT_TRUE(mesh->ImportMesh(surface.get()) && mesh->PrepareCrossings(2));
  return mesh;
}

static SurfacePointer BoxSurface(const trelVector& center, const trelVector& half, int n = 2)
{
  return MovedCube(n, [&](const Point& p) {
    return Point{center.X + p[0] * half.X, center.Y + p[1] * half.Y, center.Z + p[2] * half.Z};
  });
}

/** A ball with a hollow, as one surface. */
static SurfacePointer HollowBall()
{
  SurfacePointer outer = Sphere(2, 8), inner = Sphere(1.2, 6);
  const auto first = static_cast<std::uint32_t>(outer->GetNumberOfVertices());
  for (int v = 0; v < inner->GetNumberOfVertices(); ++v)
    outer->AddVertex(inner->GetVertexData() + 6 * v);
  for (int f = 0; f < inner->GetNumberOfFaces(); ++f) {
    const std::uint32_t* c = inner->GetFaceData() + 3 * f;
    const std::uint32_t face[3] = {c[0] + first, c[1] + first, c[2] + first};
    outer->AddFace(face);
  }
  return outer;
}

static trelShapeObject* Make(ShapeType type, const trelVector& c, const trelVector& h)
{
  trelShapeObject* shape = MakeShape(type);
  shape->SetCenter(c.X, c.Y, c.Z);
  shape->SetHalfAxes(h.X, h.Y, h.Z);
  return shape;
}

/** The cube [0, n]^3 of tetrahedra; [from, to)^3 is region 1, the rest region 0. */
static trelMCTetrahedron* CubeInCube(int n, int from, int to)
{
  CubeGrid grid({{n, n, n}});
  auto* traced = new trelMCTetrahedron;
  EXPECT_TRUE(grid.BuildCore(n, from, to) && traced->ImportMesh(&grid.Mesh));
  return traced;
}

struct NamedShape
{
  std::string Name;
  trelShapeObject* Shape;
  double Measure, Tolerance;
};

class Shapes
{
public:
  Shapes()
  {
    Add("cube", Make(ShapeCube, {1, -2, 3}, {2, 1, 0.5}), 8);
    Add("cylinder", Make(ShapeCylinder, {10, 20, -5}, {2, 0.7, 1}), 2 * Pi * 2 * 0.7);
    Add("ellipsoid", Make(ShapeEllipsoid, {-30, 4, 7}, {3, 1, 0.4}), Pi * 1.6);
    Add("rectangle", Make(ShapeRectangle, {3, 1, 0}, {2, 0.3, 0}), 2.4);
    Add("ellipse", Make(ShapeEllipse, {3, 1, 0}, {2, 0.3, 0}), Pi * 0.6);
    Add("box of triangles", Trace(BoxSurface({1, 2, 3}, {2, 1, 0.5})), 8);
    Add("horseshoe", Trace(Horseshoe(12), true), 4.8 * 3 * 4, 0.3);
    Add("hollow ball", Trace(HollowBall(), true), Pi * 4 / 3 * (8 - 1.728), 1);
    Add("needles", Trace(BoxSurface({1, 1, 1}, {3, 1e-3, 2e-3}, 6)), 4.8e-5, 1e-4);
    Add("tetrahedra", CubeInCube(4, 1, 3), 64);
  }
  ~Shapes()
  {
    for (const NamedShape& named : All)
      named.Shape->UnRegister();
  }

  std::vector<NamedShape> All;

private:
  void Add(const char* name, trelShapeObject* shape, double measure, double tolerance = 1e-5)
  {
    shape->Register();
    All.push_back({name, shape, measure, tolerance});
  }
};

static trelBox Widened(const trelShapeObject& shape)
{
  const trelBox box = shape.GetBox();
  const trelVector more = 0.2 * (box.High - box.Low);
  return {box.Low - more, box.High + more};
}

/** How often the triangles wind around the point, by their solid angles (A. van Oosterom and
 *  J. Strackee, IEEE Trans. Biomed. Eng. 30 (1983) 125), up to the sign of each. */
static bool IsEnclosed(const trelTraceableMesh& mesh, const trelVector& point)
{
  double sum = 0.0;
  const trelMeshCrossings& crossings = mesh.GetCrossings();
  for (std::uint32_t t = 0; t < mesh.GetNumberOfTriangles(); ++t) {
    const trelTracedTriangle& triangle = crossings.GetTable().GetTriangle(t);
    if (triangle.Regions[1] >= 0) continue;
    const trelVector a = triangle.Corners[0] - point, b = triangle.Corners[1] - point,
                     c = triangle.Corners[2] - point;
    const double la = Length(a), lb = Length(b), lc = Length(c);
    sum +=
        crossings.GetTurn(t) * std::atan2(Dot(a, Cross(b, c)), la * lb * lc + Dot(a, b) * lc +
                                                                   Dot(a, c) * lb + Dot(b, c) * la);
  }
  return sum > Pi;
}

static bool HoldsPlainly(const trelShapeObject& shape, const trelVector& point)
{
  if (shape.GetTraits().IsMesh())
    return IsEnclosed(static_cast<const trelTraceableMesh&>(shape), point);
  return shape.LocatePoint(point) != PointOutside;
}

/** All crossings of the line, from afar. */
static std::vector<trelHit> CrossingsOf(const trelShapeObject& shape, const trelRay& ray)
{
  std::vector<trelHit> hits;
  trelHit hit;
  for (double after = -1e3; shape.FindCrossing(ray, after, HUGE_VAL, &hit); after = hit.Distance) {
    hits.push_back(hit);
    if (hits.size() > 1000) break;
  }
  return hits;
}

TEST(ExactGeometry, MeasuresAndPlacesAreTrue)
{
  numbers_.Start(1, 0, 0);
  for (const NamedShape& named : Shapes().All) {
    EXPECT_NEAR(named.Shape->ComputeMeasure(), named.Measure, named.Tolerance * named.Measure)
        << named.Name;
    for (int i = 0; i < 1000; ++i) {
      const trelVector point = PointIn(Widened(*named.Shape));
      EXPECT_EQ(named.Shape->Holds(point), HoldsPlainly(*named.Shape, point))
          << named.Name << " " << point.X << " " << point.Y << " " << point.Z;
    }
  }
}

TEST(ExactGeometry, CrossingsPartTheInsideFromTheOutside)
{
  numbers_.Start(2, 0, 0);
  for (const NamedShape& named : Shapes().All) {
    const trelShapeObject& shape = *named.Shape;
    int wrongNormals = 0, seen = 0;
    for (int i = 0; i < 3000; ++i) {
      const trelRay ray = {PointIn(Widened(shape)), Direction(shape.GetTraits().IsPlanar())};
      const std::vector<trelHit> hits = CrossingsOf(shape, ray);
      ASSERT_EQ(hits.size() % 2, 0u) << named.Name;
      for (std::size_t h = 0; h < hits.size(); ++h) {
        const double cosine = Dot(hits[h].Normal, ray.Direction);
        ASSERT_EQ(cosine > 0, h % 2 == 1) << named.Name << " crossing " << h;
        ASSERT_NEAR(Length(hits[h].Normal), 1, 1e-12);
        const trelVector at = ray.At(hits[h].Distance), off = 1e-7 * hits[h].Normal;
        wrongNormals += shape.Holds(at + off) || !shape.Holds(at - off);
        ++seen;
      }
      for (std::size_t h = 0; h <= hits.size(); ++h) {
        const double low = h > 0 ? hits[h - 1].Distance + 1e-7 : -20;
        const double high = h < hits.size() ? hits[h].Distance - 1e-7 : 20;
        for (const double t : {low, high, Uniform(low, high), Uniform(low, high)}) {
          if (low >= high) continue;
          ASSERT_EQ(shape.Holds(ray.At(t)), h % 2 == 1) << named.Name << " at " << t;
        }
      }
    }
    EXPECT_LE(wrongNormals, seen / 1000) << named.Name;  // points at an edge
    EXPECT_GT(seen, 100) << named.Name;
  }
}

/** The chord of a ball from a point of its surface, as far as it can be told from the angle. */
TEST(ExactGeometry, AStartOnABallFindsTheFarSide)
{
  numbers_.Start(3, 0, 0);
  trelShapeObject* ball = Make(ShapeEllipsoid, {0, 0, 0}, {5, 5, 5});
  ball->Register();
  int seen = 0;
  for (int i = 0; i < 10000; ++i) {
    const trelVector n = Direction(false), d = Direction(false);
    const double cosine = -Dot(n, d);
    if (cosine < 1e-3) continue;
    trelHit hit;
    ASSERT_TRUE(ball->FindCrossing({5.0 * n, d}, 1e-9, HUGE_VAL, &hit));
    EXPECT_NEAR(hit.Distance, 10 * cosine, 1e-14 / cosine);
    ++seen;
  }
  EXPECT_GT(seen, 3000);
  ball->UnRegister();
}

/** Through corners, through points of edges, along edges and in faces: exactly one way out of a
 *  star-shaped mesh, and as many crossings inwards as outwards of any line. */
TEST(ExactGeometry, NoRayIsLostAtEdgesAndVertices)
{
  numbers_.Start(4, 0, 0);
  for (const bool shuffled : {false, true}) {
    for (const bool isBox : {true, false}) {
      trelMCTriangleMesh* mesh =
          Trace(isBox ? BoxSurface({0, 0, 0}, {1, 2, 0.5}, 4) : Sphere(1, 5), shuffled);
      mesh->Register();
      for (std::uint32_t t = 0; t < mesh->GetNumberOfTriangles(); ++t) {
        const trelTracedTriangle& triangle = mesh->GetVoxelTable().GetTriangle(t);
        for (int c = 0; c < 3; ++c) {
          const trelVector a = triangle.Corners[c], b = triangle.Corners[(c + 1) % 3];
          for (const trelVector& target : {a, 0.5 * (a + b), 0.75 * a + 0.25 * b}) {
            const trelRay out = {{0, 0, 0}, Normalized(target)};
            trelHit hit;
            ASSERT_TRUE(mesh->FindCrossing(out, 0, HUGE_VAL, &hit));
            EXPECT_NEAR(hit.Distance, Length(target), 1e-14);
            EXPECT_FALSE(mesh->FindCrossing(out, hit.Distance, HUGE_VAL, &hit));
            const trelVector beside = {1.5, Uniform(-3, 3), Uniform(-3, 3)};
            for (const trelVector& d : {target - beside, b - a, trelVector{0, 0, 1}}) {
              const auto hits = CrossingsOf(*mesh, {target - 2.0 * Normalized(d), Normalized(d)});
              int balance = 0;
              for (const trelHit& h : hits) {
                balance += Dot(h.Normal, d) < 0 ? 1 : -1;
                EXPECT_TRUE(balance == 0 || balance == 1);
              }
              EXPECT_EQ(balance, 0);
            }
          }
        }
      }
      mesh->UnRegister();
    }
  }
}

TEST(ExactGeometry, BoundsAreBelowTheDistanceAndNearIt)
{
  numbers_.Start(5, 0, 0);
  for (const NamedShape& named : Shapes().All) {
    const trelShapeObject& shape = *named.Shape;
    const bool planar = shape.GetTraits().IsPlanar(), isMesh = shape.GetTraits().IsMesh();
    std::vector<trelHit> surface;
    std::vector<trelVector> places;
    while (places.size() < 3000) {
      const trelRay ray = {PointIn(Widened(shape)), Direction(planar)};
      for (const trelHit& hit : CrossingsOf(shape, ray)) {
        surface.push_back(hit);
        places.push_back(ray.At(hit.Distance));
      }
    }
    for (int i = 0; i < 2000; ++i) {
      const trelVector point = PointIn(Widened(shape));
      const double bound = shape.BoundDistance(point);
      for (const trelVector& place : places) {
        trelVector way = place - point;
        if (planar) way.Z = 0;
        ASSERT_LE(bound, Length(way) + 1e-12) << named.Name;
      }
      const double height = std::exp(Uniform(std::log(1e-6), std::log(0.05)));
      const trelVector near = places[i] + height * surface[i].Normal;
      ASSERT_LE(shape.BoundDistance(near), height + 1e-12) << named.Name;
      const double least = isMesh ? 0.0 : 0.4 * height - 1e-12;
      EXPECT_GE(shape.BoundDistance(near), least) << named.Name;
    }
    if (!isMesh) continue;
    // Of a mesh to within a voxel or two.
    const double voxel =
        static_cast<const trelTraceableMesh&>(shape).GetVoxelTable().GetVoxelSize();
    for (std::size_t i = 0; i < places.size(); ++i) {
      const trelVector far = places[i] + 0.5 * surface[i].Normal;
      EXPECT_LE(shape.BoundDistance(far), 0.5 + 1e-12);
    }
    const trelBox box = shape.GetBox();
    const trelVector beside = {box.High.X + 10 * voxel, 0.5 * (box.Low.Y + box.High.Y), box.Low.Z};
    EXPECT_NEAR(shape.BoundDistance(beside), 10 * voxel, 1.01 * voxel) << named.Name;
  }
}

/** A medium whose tissues are given as shapes, the first the outermost, or as a mesh. */
struct MapCase
{
  std::string Name;
  std::vector<trelShapeObject*> Shapes;
  trelMCTetrahedron* Mesh = nullptr;
};

class MappedMedium
{
public:
  explicit MappedMedium(const MapCase& c) : Medium(new trelMedium)
  {
    Medium->Register();
    for (trelShapeObject* shape : c.Shapes)
      AddTissue(*Medium, shape);
    Medium->SetShapeIsTetrahedron(c.Mesh != nullptr);
    Medium->SetTetrahedron(c.Mesh);
    EXPECT_TRUE(Map.Build(*Medium)) << c.Name;
  }
  ~MappedMedium() { Medium->UnRegister(); }

  /** Of those that hold the point the one of the smallest measure, in plain form. */
  std::int32_t Locate(const trelVector& point) const
  {
    if (Medium->GetShapeIsTetrahedron()) return Medium->GetTetrahedron()->FindRegion(point);
    if (!Medium->GetTissue(0)->GetShape()->Holds(point)) return -1;
    std::int32_t best = 0;
    for (std::int32_t i = 1; i < Medium->GetNumberOfTissues(); ++i) {
      const trelShapeObject& shape = *Medium->GetTissue(i)->GetShape();
      if (!shape.Holds(point)) continue;
      if (best == 0 || Map.GetMeasure(i) < (1 - 1e-6) * Map.GetMeasure(best)) best = i;
    }
    return best;
  }

  trelMedium* Medium;
  trelTissueMap Map;
};

static std::vector<MapCase> MakeMapCases()
{
  const auto cube = [](const trelVector& c, const trelVector& h) { return Make(ShapeCube, c, h); };
  const trelVector unit = {5, 5, 5};
  const auto outer = [&] { return cube({0, 0, 0}, unit); };
  std::vector<MapCase> cases = {
      {"nested three deep",
       {outer(), Make(ShapeEllipsoid, {0, 0, 0}, {4, 4, 4}),
        Make(ShapeCylinder, {0, 0, 1}, {2, 1, 2}), cube({0.2, 0, 1}, {0.5, 0.5, 1})}},
      {"overlapping",
       {outer(), Make(ShapeEllipsoid, {-1, 0, 0}, {3, 3, 3}), cube({1, 0, 0}, {2.5, 2, 2}),
        Make(ShapeCylinder, {0, 0, 0}, {1, 1, 4.5})}},
      {"sticking out",
       {outer(), Make(ShapeEllipsoid, {5, 0, 0}, {2, 3, 1}), cube({0, 5, 5}, unit)}},
      {"equal measures",
       {outer(), cube({0, 0, 0}, {1, 2, 3}), cube({0.5, 0, 0}, {3, 2, 1}),
        Trace(BoxSurface({0, 0, 0}, {3, 2, 1}))}},
      {"meshes",
       {cube({0, 0, 0.3}, unit), Trace(Horseshoe(16), true), Trace(Sphere(2.5, 6)),
        Make(ShapeEllipsoid, {-2, 1, 0}, {0.5, 2, 1})}},
      {"a concave body", {Trace(Horseshoe(16)), Trace(Sphere(2.5, 6))}},
      {"in the plane",
       {Make(ShapeRectangle, {2, 3, 0}, {4, 2, 0}), Make(ShapeEllipse, {2, 3, 0}, {3, 1.5, 0}),
        Make(ShapeRectangle, {3, 3, 0}, {3, 0.5, 0}),
        Make(ShapeEllipse, {2, 3, 0}, {0.3, 0.3, 0})}},
      {"tetrahedra", {}, CubeInCube(6, 2, 4)}};
  // Wider than the block, at a pitch that is no number of the machine.
  MapCase layers = {"thirty layers", {cube({7.3, 0, 11.5}, {4, 4, 1.5})}};
  MapCase flush = {"flush layers as meshes", {cube({0, 0, 1.5}, {1, 1, 1.5})}};
  for (int i = 0; i < 30; ++i) {
    layers.Shapes.push_back(cube({7.3, 0, 10.0 + (i + 0.5) * 0.1}, {4.0 + i % 3, 4, 0.05}));
    flush.Shapes.push_back(Trace(BoxSurface({0, 0, (i + 0.5) * 0.1}, {1, 1, 0.05}, 1)));
  }
  MapCase many = {"two hundred", {outer()}};
  for (int i = 0; i < 200; ++i)
    many.Shapes.push_back(Make(i % 2 ? ShapeEllipsoid : ShapeCylinder, PointIn({-unit, unit}),
                               PointIn({{0.1, 0.1, 0.1}, {1, 1, 1}})));
  for (const MapCase& c : {layers, flush, many})
    cases.push_back(c);
  return cases;
}

/** From the entry to the exit of a line: between the changes lies what they say, and nothing is
 *  lost. */
static void CheckChanges(const MappedMedium& model, const std::string& name, int rays)
{
  const trelShapeObject& outer = *model.Medium->GetOuterShape();
  const bool planar = outer.GetTraits().IsPlanar();
  int changes = 0;
  for (int i = 0; i < rays; ++i) {
    trelRay ray = {PointIn(Widened(outer)), Direction(planar)};
    // Some run through corners, along edges and in faces, where a point is in no one tissue.
    const bool special = i % 5 == 0;
    for (int a = 0; special && a < 3; ++a)
      ray.Origin[a] = std::round(2 * ray.Origin[a]) / 2;
    trelTissueChange change;
    if (!model.Map.FindEntry(ray, &change)) continue;
    for (int n = 0; change.Tissue >= 0; ++n, ++changes) {
      ASSERT_LT(n, 1000) << name;
      ASSERT_GT(Dot(change.Hit.Normal, ray.Direction), 0) << name;
      const std::int32_t tissue = change.Tissue;
      const double from = change.Hit.Distance;
      ASSERT_TRUE(model.Map.FindChange(ray, tissue, from + change.ReachAlong(ray.Direction),
                                       HUGE_VAL, &change))
          << name;
      const double to = change.Hit.Distance;
      ASSERT_NE(change.Tissue, tissue) << name;
      for (int k = 0; k < 5 && to - from > 1e-4 && !special; ++k) {
        const double t = Uniform(from + 2e-5, to - 2e-5);
        ASSERT_EQ(model.Locate(ray.At(t)), tissue) << name << " at " << t;
      }
    }
    ASSERT_FALSE(outer.Holds(ray.At(change.Hit.Distance + 1e-4)) &&
                 outer.Holds(ray.At(change.Hit.Distance + 1e-5)))
        << name;
  }
  EXPECT_GT(changes, rays / 3) << name;
}

static void CheckSafeDistances(const MappedMedium& model, const std::string& name, int points)
{
  const trelShapeObject& outer = *model.Medium->GetOuterShape();
  const bool planar = outer.GetTraits().IsPlanar();
  double safeSum = 0, boundSum = 0;
  for (int i = 0; i < points; ++i) {
    const trelVector point = PointIn(outer.GetBox());
    const std::int32_t tissue = model.Map.FindTissue(point);
    ASSERT_EQ(tissue, model.Locate(point)) << name;
    const double safe = model.Map.GetSafeDistance(point);
    const double bound = model.Map.BoundDistance(point);
    safeSum += safe;
    boundSum += bound;
    for (int n = 0; n < 8; ++n) {
      const trelVector d = Direction(planar);
      for (const double distance : {safe, bound})
        ASSERT_EQ(model.Locate(point + distance * d), tissue) << name << " " << distance;
      trelTissueChange change;
      ASSERT_FALSE(tissue >= 0 &&
                   model.Map.FindChange({point, d}, tissue, 0, std::max(safe, bound), &change))
          << name;
    }
  }
  EXPECT_GE(boundSum, 0.9 * safeSum) << name;
  EXPECT_GT(boundSum, 0) << name;
}

/** TREL_POINTS points in all media together, 10^4 unless set. */
TEST(ExactGeometry, TissuesChangeWhereTheirPointsDo)
{
  const char* text = std::getenv("TREL_POINTS");
  const int points = text ? std::atoi(text) : 10000;
  numbers_.Start(6, 0, 0);
  const std::vector<MapCase> cases = MakeMapCases();
  for (const MapCase& c : cases) {
    const MappedMedium model(c);
    CheckChanges(model, c.Name, 500);
    CheckSafeDistances(model, c.Name, points / static_cast<int>(cases.size()));
  }
}

/** A box of 10 mm: what is within 1e-9 of its diagonal, 1.7e-8 mm, is one place. */
TEST(ExactGeometry, FlushSurfacesAreOne)
{
  const auto layer = [](double low, double high) {
    return Make(ShapeCube, {0, 0, (low + high) / 2}, {5, 5, (high - low) / 2});
  };
  const auto outer = [] { return Make(ShapeCube, {0, 0, 0}, {5, 5, 5}); };
  struct
  {
    std::vector<trelShapeObject*> Shapes;
    std::vector<std::int32_t> Tissues;  ///< along z from -4.99
  } cases[] = {
      {{outer(), layer(-5, 0.1 + 0.2), layer(0.3, 5)}, {1, 2, -1}},
      {{outer(), layer(-5, 0), layer(1e-8, 5)}, {1, 2, -1}},
      {{outer(), layer(-5, 0), layer(1e-7, 5)}, {1, 0, 2, -1}},
      {{outer(), layer(0, 1e-8)}, {0, -1}},
      {{outer(), layer(0, 1e-6)}, {0, 1, 0, -1}},
      {{outer(), layer(0, 5 + 1e-8)}, {0, 1, -1}},
      {{outer(), layer(-5, 0), Trace(BoxSurface({0, 0, 2.5000005}, {5, 5, 2.5}))}, {1, 2, -1}}};
  for (const auto& c : cases) {
    const MappedMedium model({"flush", c.Shapes});
    std::int32_t tissue = model.Map.FindTissue({0.1, 0.2, -4.99});
    EXPECT_EQ(tissue, c.Tissues[0]);
    const trelRay ray = {{0.1, 0.2, -4.99}, {0, 0, 1}};
    trelTissueChange change;
    double after = 0;
    for (std::size_t i = 1; i < c.Tissues.size(); ++i) {
      ASSERT_TRUE(model.Map.FindChange(ray, tissue, after, HUGE_VAL, &change));
      tissue = change.Tissue;
      EXPECT_EQ(tissue, c.Tissues[i]);
      EXPECT_NEAR(change.Hit.Normal.Z, 1, 1e-12);
      after = change.Hit.Distance + change.ReachAlong(ray.Direction);
    }
    EXPECT_EQ(change.Hit.Face, CubeFaceZMax);
    EXPECT_NEAR(change.Hit.Distance, 9.99, 2e-8);
    // One that the caller has overlooked is told of at once.
    ASSERT_TRUE(model.Map.FindChange(ray, 7, 1, HUGE_VAL, &change));
    EXPECT_EQ(change.Hit.Distance, 1);
    EXPECT_EQ(change.Tissue, c.Tissues[0]);
  }
}

TEST(ExactGeometry, LightEntersWhereItsLineDoes)
{
  const MappedMedium model({"ball", {Make(ShapeEllipsoid, {0, 0, 0}, {1, 1, 1})}});
  const struct
  {
    double Z, X, Expected;  ///< from (X, 0, Z) upwards; 9 for a miss
  } cases[] = {{-3, 0, 2},
               {0, 0, -1},
               {3, 0, 9},
               {-1, 0, 0},
               {1, 0, -2},
               {-1 - 1e-10, 0, 1e-10},
               {1 + 1e-10, 0, -2 - 1e-10},
               {-3, 0.6, 2.2},
               {-3, 1, 9},
               {0, 1, 9},
               {-3, 1.1, 9}};
  for (const auto& c : cases) {
    trelTissueChange change;
    const bool found = model.Map.FindEntry({{c.X, 0, c.Z}, {0, 0, 1}}, &change);
    EXPECT_EQ(found, c.Expected != 9) << c.Z << " " << c.X;
    if (!found) continue;
    EXPECT_NEAR(change.Hit.Distance, c.Expected, 1e-14);
    EXPECT_NEAR(change.Hit.Normal.Z, std::sqrt(1 - c.X * c.X), 1e-14);
    EXPECT_EQ(change.Tissue, 0);
  }
}

TEST(ExactGeometry, OverlapsAreThoseInPart)
{
  const auto ball = [](double x, double r) { return Make(ShapeEllipsoid, {x, 0, 0}, {r, r, r}); };
  const MappedMedium model(
      {"overlaps",
       {Make(ShapeCube, {0, 0, 0}, {9, 9, 9}), ball(0, 3), ball(0, 1), ball(4, 2),
        Make(ShapeCube, {0, 0, -6}, {9, 9, 3}), Make(ShapeCube, {0, 0, 8}, {1, 1, 2})}});
  std::string text;
  for (const auto& overlap : model.Map.FindOverlaps())
    text += std::to_string(overlap.First) + std::to_string(overlap.Second) + ":" +
            std::to_string(overlap.Winner) + " ";
  EXPECT_EQ(text, "05:5 13:3 ");
}
