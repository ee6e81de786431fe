#include <string>
#include <vector>

#include "exactShapes.h"

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

TEST(ExactGeometry, AWayThatIsToldToBeClearMeetsNoSurface)
{
  numbers_.Start(6, 0, 0);
  for (const NamedShape& named : Shapes().All) {
    const trelShapeObject& shape = *named.Shape;
    const bool planar = shape.GetTraits().IsPlanar();
    int told = 0, clear = 0;
    for (int i = 0; i < 5000; ++i) {
      trelRay ray = {PointIn(Widened(shape)), Direction(planar)};
      trelHit hit;
      // Half of the ways start near the surface, on either side.
      if (i % 2 == 0 && shape.FindCrossing(ray, 0, HUGE_VAL, &hit)) {
        ray.Origin = ray.At(hit.Distance) + Uniform(-0.1, 0.1) * hit.Normal;
        ray.Direction = Direction(planar);
      }
      const double length = std::exp(Uniform(std::log(1e-4), std::log(1.0)));
      double radius = HUGE_VAL;
      const bool isClear = shape.IsClear({ray.Origin, ray.At(length), length, 1e-12}, &radius);
      const bool meets = shape.FindCrossing(ray, 0, length, &hit);
      ASSERT_FALSE(isClear && meets) << named.Name;
      ASSERT_FALSE(shape.FindCrossing(ray, 0, radius - 1e-12, &hit)) << named.Name;
      told += isClear;
      clear += !meets;
    }
    EXPECT_GT(told, 0.5 * clear) << named.Name;
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
    const trelBox box = shape.GetBox();
    const trelVector beside = {box.High.X + 10 * voxel, 0.5 * (box.Low.Y + box.High.Y), box.Low.Z};
    EXPECT_NEAR(shape.BoundDistance(beside), 10 * voxel, 1.01 * voxel) << named.Name;
  }
}
