#include <cstdlib>
#include <string>
#include <vector>

#include "exactShapes.h"
#include "trelTissueMap.h"
#include "trelTissueOverlap.h"

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
  double boundSum = 0;
  for (int i = 0; i < points; ++i) {
    const trelVector point = PointIn(outer.GetBox());
    const std::int32_t tissue = model.Map.FindTissue(point);
    ASSERT_EQ(tissue, model.Locate(point)) << name;
    const double safe = model.Map.GetSafeDistance(point);
    const double bound = model.Map.BoundDistance(point);
    boundSum += bound;
    for (int n = 0; n < 8; ++n) {
      const trelVector d = Direction(planar);
      const bool stays = tissue >= 0 && model.Map.StaysWithin(point + safe * d);
      const double clear = stays ? std::max(safe, bound) : bound;
      ASSERT_EQ(model.Locate(point + bound * d), tissue) << name << " " << bound;
      ASSERT_EQ(model.Locate(point + clear * d), tissue) << name << " " << clear;
      trelTissueChange change;
      ASSERT_FALSE(tissue >= 0 && model.Map.FindChange({point, d}, tissue, 0, clear, &change))
          << name;
    }
  }
  EXPECT_GT(boundSum, 0) << name;
}

/** TREL_POINTS points in all media together, 10^4 unless set. */
TEST(ExactTissueMap, TissuesChangeWhereTheirPointsDo)
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

/** Among many bodies a long way is asked about piece by piece. A map of one cell asks about every
 * body at once: both must agree to the last bit, where bodies are equal, touch or overlap, too. */
TEST(ExactTissueMap, LongWaysAmongManyBodiesMeetWhatIsThere)
{
  numbers_.Start(6, 1, 0);
  MapCase many = {"two thousand", {Make(ShapeCube, {0, 0, 0}, {5, 5, 5})}};
  const trelBox places = {{-5, -5, -5}, {5, 5, 5}};
  for (int i = 0; i < 2000; ++i) {
    const double radius = Uniform(0.02, 0.15);
    trelVector center = PointIn(places);
    for (int a = 0; i % 4 == 0 && a < 3; ++a)
      center[a] = std::round(4 * center[a]) / 4;
    many.Shapes.push_back(i % 4 == 0 ? Make(ShapeCube, center, {0.125, 0.125, 0.125})
                                     : Make(ShapeEllipsoid, center, {radius, radius, radius}));
  }
  const MappedMedium model(many);
  trelTissueMap plain;
  ASSERT_TRUE(plain.Build(*model.Medium, 1.0));
  int changes = 0, clear = 0;
  for (int i = 0; i < 20000; ++i) {
    trelRay ray = {PointIn(places), Direction(false)};
    for (int a = 0; i % 5 == 0 && a < 3; ++a)
      ray.Origin[a] = std::round(8 * ray.Origin[a]) / 8;
    const double length = std::pow(10, Uniform(-2, 1));
    const std::int32_t tissue = plain.FindTissueAhead(ray);
    ASSERT_EQ(model.Map.FindTissueAhead(ray), tissue);
    trelTissueChange change, expected;
    const bool changed = plain.FindChange(ray, tissue, 0, length, &expected);
    ASSERT_EQ(model.Map.FindChange(ray, tissue, 0, length, &change), changed);
    if (changed) {
      ASSERT_EQ(change.Hit.Distance, expected.Hit.Distance);
      ASSERT_EQ(change.Tissue, expected.Tissue);
      ASSERT_EQ(change.Reach, expected.Reach);
    }
    changes += changed;
    trelClearance clearance;
    const trelWay way = {ray.Origin, ray.At(length), length, plain.GetMargin()};
    const bool plainlyClear = plain.IsClear(way, tissue, &clearance);
    const bool isClear = model.Map.IsClear(way, tissue, &clearance);
    ASSERT_TRUE(isClear || !plainlyClear);
    ASSERT_FALSE(isClear && changed) << length;
    clear += isClear;
  }
  EXPECT_GT(changes, 4000);
  EXPECT_GT(clear, 2000);
}

/** A box of 10 mm: what is within 1e-9 of its diagonal, 1.7e-8 mm, is one place. */
TEST(ExactTissueMap, FlushSurfacesAreOne)
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

TEST(ExactTissueMap, ARayThatOnlyTouchesABodyDoesNotEnterIt)
{
  const MappedMedium model(
      {"bodies",
       {Make(ShapeCube, {0, 0, 0}, {9, 9, 9}), Make(ShapeEllipsoid, {1, 0, 0}, {3, 2, 1}),
        Make(ShapeCylinder, {-5, 0, 0}, {2, 2, 4})}});
  const double slant = std::sqrt(0.5);
  const struct
  {
    trelVector start, direction;
    std::int32_t tissue;
  } cases[] = {{{1, 0, 1}, {1, 0, 0}, 0},      {{1, 2, 0}, {slant, 0, slant}, 0},
               {{4, 0, 0}, {0, 0, 1}, 0},      {{1, 0, 1}, {0.8, 0, -0.6}, 1},
               {{1, 0, 1}, {0.8, 0, 0.6}, 0},  {{-5, 2, 1}, {1, 0, 0}, 0},
               {{-5, 2, 1}, {0.8, 0, 0.6}, 0}, {{-5, 2, 1}, {0, -1, 0}, 2},
               {{9, 1, 1}, {1, 0, 0}, -1}};
  for (const auto& c : cases) {
    EXPECT_EQ(model.Map.FindTissueAhead({c.start, c.direction}), c.tissue) << (&c - cases);
  }
}

TEST(ExactTissueMap, OverlapsAreThoseInPart)
{
  const auto ball = [](double x, double r) { return Make(ShapeEllipsoid, {x, 0, 0}, {r, r, r}); };
  const MappedMedium model(
      {"overlaps",
       {Make(ShapeCube, {0, 0, 0}, {9, 9, 9}), ball(0, 3), ball(0, 1), ball(4, 2),
        Make(ShapeCube, {0, 0, -6}, {9, 9, 3}), Make(ShapeCube, {0, 0, 8}, {1, 1, 2})}});
  std::string text;
  std::int64_t looked = 0;
  for (const auto& overlap : model.Map.FindOverlaps(&looked))
    text += std::to_string(overlap.First) + std::to_string(overlap.Second) + ":" +
            std::to_string(overlap.Winner) + " ";
  EXPECT_EQ(text, "05:5 13:3 ");
  // No pair of bodies is left out.
  for (const MapCase& c : MakeMapCases()) {
    const MappedMedium mapped(c);  // which holds the shapes
    if (c.Mesh || c.Shapes.size() > 50) continue;
    std::size_t pairs = 0;
    for (const trelShapeObject* a : c.Shapes)
      for (const trelShapeObject* b : c.Shapes)
        if (a < b && OverlapInPart(*a, *b, a->GetTraits().Dimension, 1e-5)) ++pairs;
    EXPECT_EQ(mapped.Map.FindOverlaps(&looked).size(), pairs) << c.Name;
  }
  EXPECT_LT(looked, 0);
}
