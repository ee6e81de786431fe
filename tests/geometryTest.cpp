#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "trelCube.h"
#include "trelCylinder.h"
#include "trelEllipse.h"
#include "trelEllipsoid.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelRectangle.h"

static const double nan_ = std::numeric_limits<double>::quiet_NaN();
static const double huge_ = 1e30;
static const double e = GeometryTolerance;
/** A component of a normal as the caller has it before a ray is asked. */
static const double unwritten = 7.0;

/** What IntersectRay wrote; the initial values are none that it writes itself. */
struct RayAnswer
{
  bool Found = false;
  double Distance = 0.0;
  int Face = -7;
  double Normal[3] = {unwritten, unwritten, unwritten};
};

static RayAnswer Ask(const trelShapeObject& shape, const double p[3], const double d[3], int side,
                     double furthest = huge_)
{
  RayAnswer a;
  a.Distance = furthest;
  a.Found = shape.IntersectRay(p[0], p[1], p[2], d[0], d[1], d[2], &a.Distance, &a.Face,
                               &a.Normal[0], &a.Normal[1], &a.Normal[2], side);
  return a;
}

static std::unique_ptr<trelShapeObject> MakeShape(ShapeType type)
{
  if (type == ShapeCube) return std::make_unique<trelCube>();
  if (type == ShapeCylinder) return std::make_unique<trelCylinder>();
  if (type == ShapeRectangle) return std::make_unique<trelRectangle>();
  if (type == ShapeEllipse) return std::make_unique<trelEllipse>();
  return std::make_unique<trelEllipsoid>();
}

static const ShapeType analyticTypes[] = {ShapeRectangle, ShapeEllipse, ShapeEllipsoid,
                                          ShapeCylinder, ShapeCube};

/** How many coordinates a shape looks at; planar ones ignore z, and write none. */
static int DimensionsOf(ShapeType type)
{
  return type < ShapeEllipsoid ? 2 : 3;
}

TEST(Shape, KeepsItsBoxUpToDateInEitherOrder)
{
  trelCube a, b;
  const double center[3] = {1, 2, 3}, half[3] = {2, 6, 12};
  a.SetCenter(1, 2, 3);
  a.SetHalfAxes(2, 6, 12);
  b.SetHalfAxes(half);
  b.SetCenter(center);
  const std::vector<double> box = {-1, 3, -4, 8, -9, 15};
  std::vector<double> got(6);
  for (const trelCube* cube : {&a, &b}) {
    cube->GetBoundingBox(got.data());
    EXPECT_EQ(got, box);
    cube->GetBoundingBox(&got[5], &got[4], &got[3], &got[2], &got[1], &got[0]);
    EXPECT_EQ(got, std::vector<double>(box.rbegin(), box.rend()));
    cube->GetCenter(got.data());
    cube->GetHalfAxes(&got[3], &got[4], &got[5]);
    EXPECT_EQ(got, (std::vector<double>{1, 2, 3, 2, 6, 12}));
  }
}

TEST(Shape, LocatesPointsWithinTheTolerance)
{
  const double in = 2e-12, skin = 1e-13, off = 2e-12;
  const struct
  {
    ShapeType type;
    double p[3];
    PointRelation expected;
  } cases[] = {
      // Half-lengths 1, 2, 3 about the origin.
      {ShapeCube, {1 - in, 2 - in, 3 - in}, PointInside},
      {ShapeCube, {1, 2, 3}, PointOnBoundary},
      {ShapeCube, {1 + skin, 0, 0}, PointOnBoundary},
      {ShapeCube, {1 + off, 0, 0}, PointOutside},
      {ShapeCube, {0, 0, -3 - off}, PointOutside},
      {ShapeCylinder, {0, 0, 3 - in}, PointInside},
      {ShapeCylinder, {0, 0, 3 + skin}, PointOnBoundary},
      {ShapeCylinder, {0.6, 1.6, 0}, PointOnBoundary},
      {ShapeCylinder, {1 + off, 0, 0}, PointOutside},
      {ShapeEllipsoid, {0, 0, 3 - 3 * in}, PointInside},
      {ShapeEllipsoid, {0.6, 0, 2.4}, PointOnBoundary},
      {ShapeEllipsoid, {0.6, 1.6, 1e-5}, PointOutside},
      {ShapeRectangle, {1 - in, in - 2, 9}, PointInside},
      {ShapeRectangle, {1, 2, 9}, PointOnBoundary},
      {ShapeRectangle, {-1, 2, 0}, PointOnBoundary},
      {ShapeRectangle, {-1, -2 - skin, 0}, PointOnBoundary},
      {ShapeRectangle, {1 + skin, -2, 0}, PointOnBoundary},
      {ShapeRectangle, {1, 2 + off, 0}, PointOutside},
      {ShapeEllipse, {0, 2 - 2 * in, 9}, PointInside},
      {ShapeEllipse, {-0.6, 1.6, 9}, PointOnBoundary},
      {ShapeEllipse, {1 + off, 0, 0}, PointOutside},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.p));
    const auto shape = MakeShape(c.type);
    shape->SetHalfAxes(1, 2, 3);
    EXPECT_EQ(shape->GetShapeType(), c.type);
    EXPECT_EQ(shape->LocatePoint(c.p[0], c.p[1], c.p[2]), c.expected);
  }
}

/** Gives a test what nothing in the program has: angles. */
class TurnedProbe final : public trelShapeObject
{
public:
  ShapeType GetShapeType() const override { return ShapeCube; }
  PointRelation LocatePoint(double, double, double) const override { return PointOutside; }
  bool IntersectRay(double, double, double, double, double, double, double*, int*, double*, double*,
                    double*, int) const override
  {
    return false;
  }
  void TurnPoint(const double angles[3], double local[3], double localInPlane[2])
  {
    std::copy_n(angles, 3, Rotation);
    SetCenter(10, 20, 30);
    ToLocal(11, 22, 33, local);
    ToLocalInPlane(11, 22, localInPlane);
  }
};

TEST(Shape, TurnsPointsByItsOddMatrix)
{
  const double right = Pi / 2;
  const struct
  {
    double angles[3], expected[3], inPlane[2];
  } cases[] = {{{0, 0, 0}, {1, 2, 3}, {1, 2}},
               {{right, 0, 0}, {1, 0, -2}, {-2, 1}},
               {{0, right, 0}, {-3, 6, 1}, {1, 2}},
               {{0, 0, right}, {5, -1, 3}, {1, 2}},
               {{right, right, right}, {1, 3, -2}, {-2, 1}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.angles));
    TurnedProbe probe;
    double local[3], inPlane[2];
    probe.TurnPoint(c.angles, local, inPlane);
    for (int i = 0; i < 3; ++i)
      EXPECT_NEAR(local[i], c.expected[i], 1e-14) << "axis " << i;
    for (int i = 0; i < 2; ++i)
      EXPECT_NEAR(inPlane[i], c.inPlane[i], 1e-14) << "axis " << i;
  }
}

/** A ray, asked of a shape about the origin, and what is to come of it. */
struct RayRow
{
  const char* What;
  double Half[3], P[3], D[3];
  int Side;
  double Furthest;
  bool Found = false;
  double Distance = 0.0;
  /** -7: not written. */
  int Face = -7;
  /** Axis of the normal, 1 to 3, with its sign; 0: not written. */
  int Normal = 0;
};

static const std::pair<ShapeType, std::vector<RayRow>> rayTables[] = {
    {ShapeRectangle,
     {
         {"to the corner +x+y", {1, 1}, {0, 0}, {1, 1}, 0, 9, true, 1, 3, 1},
         {"to the corner +x-y", {1, 1}, {0, 0}, {1, -1}, 0, 9, true, 1, 3, 1},
         {"to the corner -x+y", {1, 1}, {0, 0}, {-1, 1}, 0, 9, true, 1, 0, 2},
         {"to the corner -x-y", {1, 1}, {0, 0}, {-1, -1}, 0, 9, true, 1, 2, -1},
         {"too far, but written", {1, 1}, {0, 0}, {0, 1}, 0, 0.9, false, 0, 0, 2},
         {"no crossing is 1000 away", {5e3, 1}, {0, 0}, {1, 0}, 0, huge_, true, 1e3, 0, 2},
         {"in an edge", {1, 1}, {-3, 1}, {1, 0}, 2, 9, true, 2, 0, 2},
         {"beside, no tolerance", {1, 1}, {-3, 1 + 1e-13}, {1, 0}, 2, 9},
         {"on the corner -x+y", {1, 1}, {-1, 1}, {1, -1}, 2, 9, true, 0, 0, 2},
         {"on the corner +x-y", {1, 1}, {1, -1}, {-1, 1}, 2, 9, true, 0, 1, -2},
         {"on +x, but 0 is too far", {1, 1}, {1, 0}, {-1, 0}, 2, -1, false, 0, 3, 1},
     }},
    {ShapeEllipse,
     {
         {"behind as if ahead", {1, 2}, {0, 5}, {0, 1}, 2, 9, true, 3, -7, 2},
         {"on it, leaving: not 0", {1, 2}, {1, 0}, {1, 0}, 0, 9, true, e, -7, 1},
         {"D a little below 0", {1, 1}, {-3, 1 + 1e-13}, {1, 0}, 2, 9},
     }},
    {ShapeCube,
     {
         {"to the edge +x+y", {1, 1, 3}, {0, 0, 0}, {1, 1, 0}, 0, 9, true, 1, 0, 1},
         {"to the edge -x+y", {1, 1, 3}, {0, 0, 0}, {-1, 1, 0}, 0, 9, true, 1, 3, 2},
         {"to the edge -x-y", {1, 1, 3}, {0, 0, 0}, {-1, -1, 0}, 0, 9, true, 1, 1, -1},
         {"to the edge -y+z", {1, 1, 1}, {0, 0, 0}, {0, -1, 1}, 0, 9, true, 1, 2, -2},
         {"too far, but written", {1, 1, 1}, {0, 0, 0}, {0, 0, 1}, 0, 0.9, false, 0, 4, 3},
         {"no crossing is 1000 away", {5e3, 1, 1}, {0, 0, 0}, {1, 0, 0}, 0, huge_, true, 1e3, 3, 2},
         {"in a side", {1, 1, 1}, {-3, 1, 0}, {1, 0, 0}, 2, 9, true, 2, 3, 2},
         {"beside, no tolerance", {1, 1, 1}, {-3, 1 + 1e-13, 0}, {1, 0, 0}, 2, 9},
         {"on the edge -y+z", {1, 1, 1}, {0, -1, 1}, {0, 1, 0}, 2, 9, true, 0, 2},
         {"on +z, y off, |z| is hy", {1, e, e}, {0, 2 * e, e}, {0, -1, 0}, 2, 9, true, 0, 4},
         {"on +z, y off, |z| isn't", {1, e, 4 * e}, {0, 2 * e, 4 * e}, {0, -1, 0}, 2, 9, true},
         {"on +x, but 0 is too far", {1, 1, 1}, {1, 0, 0}, {-1, 0, 0}, 2, -1, false, 0, 0},
     }},
    {ShapeCylinder,
     {
         {"up the axis", {1, 2, 3}, {0, 0, 1}, {0, 0, 1}, 0, 9, true, 2, 0, 3},
         {"down the axis", {1, 2, 3}, {0, 0, 1}, {0, 0, -1}, 0, 9, true, 4, 1, -3},
         {"too far, but written", {1, 2, 3}, {0, 0, 0}, {0, 1, 0}, 0, 1, false, 0, 2},
         {"to the rim", {1, 1, 1}, {0, 0, 0}, {1, 0, 1}, 0, 9, true, 1, 0, 3},
         {"inside, said to enter", {1, 2, 3}, {0, 0, 0}, {1, 0, 0}, 2, 9, true, 1, 2, 1},
         {"on the wall, leaving: not 0", {1, 1, 3}, {1, 0, 0}, {1, 0, 0}, 0, 9, true, e, 2, 1},
         {"on the rim, entering", {1, 1, 3}, {-1, 0, -3}, {1, 0, 0}, 2, 9, true, 0, 1, -3},
         {"on the wall, neither", {1, 1, 3}, {1, 0, 0}, {1, 0, 0}, 1, 9},
         {"outside, said to leave", {1, 1, 3}, {3, 0, 0}, {-1, 0, 0}, 0, 9, true, 2, 2, 1},
         {"enters along the axis", {1, 1, 3}, {0, 0, -5}, {0, 0, 1}, 2, 9, true, 2, 1, -3},
         {"axis, behind as if ahead", {1, 1, 3}, {0, 0, 5}, {0, 0, 1}, 2, 9, true, 8, 1, -3},
         {"cap, behind as if ahead", {4, 4, 3}, {0, 0, 5}, {.6, 0, .8}, 2, 9, true, 2.5, 0, 3},
         {"top's plane, not the disc", {1, 1, 3}, {3, 0, 3.5}, {-1, 0, -.1}, 2, 9, true, 5, 0, 3},
         {"tube behind", {1, 1, 3}, {3, 0, 0}, {1, 0, 0}, 2, 9},
         {"beside the tube", {1, 1, 3}, {3, 2, 0}, {1, 0, 0}, 2, 9},
         {"D a little below 0", {1, 1, 3}, {-3, 1 + 1e-13, 0}, {1, 0, 0}, 2, 9},
         {"above by just the tolerance", {1, 1, e}, {0, 0, 2 * e}, {1, 0, 0}, 2, 9, true, 1},
     }},
    {ShapeEllipsoid,
     {
         {"on it, leaving: not 0", {1, 2, 3}, {1, 0, 0}, {1, 0, 0}, 0, 9, true, e, -7, 1},
         {"D a little below 0", {1, 1, 1}, {-3, 1 + 1e-13, 0}, {1, 0, 0}, 2, 9},
     }},
};

TEST(Ray, AnswersTheKnownCases)
{
  for (const auto& [type, rows] : rayTables) {
    for (const RayRow& row : rows) {
      const auto shape = MakeShape(type);
      shape->SetHalfAxes(row.Half);
      const RayAnswer got = Ask(*shape, row.P, row.D, row.Side, row.Furthest);
      SCOPED_TRACE(std::string(shape->GetClassName()) + ": " + row.What);
      EXPECT_EQ(got.Found, row.Found);
      const double expected = row.Found ? row.Distance : row.Furthest;
      EXPECT_NEAR(got.Distance, expected, std::fabs(expected) > 0.1 ? 1e-13 : 0.0);
      EXPECT_EQ(got.Face, row.Face);
      for (int i = 0; i < 3; ++i) {
        const double along = std::abs(row.Normal) == i + 1 ? std::copysign(1.0, row.Normal) : 0.0;
        const bool written = row.Normal != 0 && i < DimensionsOf(type);
        EXPECT_NEAR(got.Normal[i], written ? along : unwritten, 1e-15) << "axis " << i;
      }
    }
  }
}

TEST(Ray, MissesOnWhatIsNotANumber)
{
  for (const ShapeType type : analyticTypes) {
    const auto shape = MakeShape(type);
    shape->SetHalfAxes(1, 2, 3);
    for (int bad = 0; bad < 6; ++bad) {
      const bool ignored = bad % 3 >= DimensionsOf(type);
      for (const double start : {0.0, 5.0}) {
        SCOPED_TRACE(shape->GetClassName() + std::string(", value ") + std::to_string(bad));
        double values[6] = {start, 0.1, 0.2, start > 0.0 ? -1.0 : 1.0, 0.01, 0.02};
        values[bad] = nan_;
        const RayAnswer got = Ask(*shape, values, values + 3, start > 0.0 ? RayEnters : RayLeaves);
        EXPECT_EQ(got.Found, ignored) << start;
        EXPECT_EQ(got.Distance == huge_, !ignored);
        if (bad < 3 && !ignored) {
          EXPECT_EQ(shape->LocatePoint(values[0], values[1], values[2]), PointOutside);
        }
      }
    }
  }
}

/** A part of a surface: a convex function that is negative on its inner side, face and gradient. */
struct SurfacePart
{
  long double Value;
  int Face;
  double Normal[3];
};

/** A shape, written apart from the classes: the points where all parts of its surface are negative.
 */
struct Solid
{
  ShapeType Type;
  double Center[3], Half[3];

  std::unique_ptr<trelShapeObject> Make() const
  {
    auto shape = MakeShape(Type);
    shape->SetCenter(Center);
    shape->SetHalfAxes(Half);
    return shape;
  }

  /** The parts as seen from a point of a ray, the outermost first. */
  std::vector<SurfacePart> PartsAt(const double p[3], const double d[3], long double t) const
  {
    long double q[3];
    for (int i = 0; i < 3; ++i)
      q[i] = (p[i] + t * d[i] - Center[i]) / Half[i];
    const auto flat = [&](int axis, int below, int above) {
      SurfacePart part = {std::fabs(q[axis]) - 1, q[axis] > 0 ? above : below, {0, 0, 0}};
      part.Normal[axis] = q[axis] > 0 ? 1 : -1;
      return part;
    };
    const auto round = [&](int axes, int face) {
      SurfacePart part = {-1, face, {0, 0, 0}};
      for (int i = 0; i < axes; ++i) {
        part.Value += q[i] * q[i];
        part.Normal[i] = static_cast<double>(q[i]) / Half[i];
      }
      return part;
    };
    std::vector<SurfacePart> parts = {round(DimensionsOf(Type), -7)};
    if (Type == ShapeRectangle) parts = {flat(0, 2, 3), flat(1, 1, 0)};
    if (Type == ShapeCube) parts = {flat(0, 1, 0), flat(1, 2, 3), flat(2, 5, 4)};
    if (Type == ShapeCylinder) parts = {round(2, 2), flat(2, 1, 0)};
    std::sort(parts.begin(), parts.end(),
              [](const SurfacePart& a, const SurfacePart& b) { return a.Value > b.Value; });
    return parts;
  }

  long double Value(const double p[3], const double d[3], long double t) const
  {
    return PartsAt(p, d, t)[0].Value;
  }

  /** The distance in [0, @p to] at which the sign of the function changes. */
  double Bisect(const double p[3], const double d[3], long double to) const
  {
    long double a = 0, b = to;
    const bool startsInside = Value(p, d, a) < 0;
    for (int i = 0; i < 70; ++i) {
      const long double middle = (a + b) / 2;
      ((Value(p, d, middle) < 0) == startsInside ? a : b) = middle;
    }
    return static_cast<double>(a);
  }

  /** Where ahead on the ray the value is least. */
  long double FindDeepest(const double p[3], const double d[3]) const
  {
    long double a = 0, b = 100;
    for (int i = 0; i < 100; ++i) {
      const long double left = a + (b - a) / 3, right = b - (b - a) / 3;
      const bool isLeft = Value(p, d, left) < Value(p, d, right);
      (isLeft ? b : a) = isLeft ? right : left;
    }
    return a;
  }
};

/** Random shapes, points in them and rays; every fourth ray is parallel to a plane or an axis. */
class RandomRays
{
public:
  double Uniform(double a, double b)
  {
    return std::uniform_real_distribution<double>(a, b)(Engine);
  }
  Solid DrawSolid(ShapeType type)
  {
    Solid s = {type, {}, {}};
    for (int i = 0; i < 3; ++i) {
      s.Center[i] = Uniform(-20, 20);
      s.Half[i] = Uniform(0.3, 8);
    }
    return s;
  }
  void DrawInside(const Solid& s, double p[3])
  {
    do {
      for (int i = 0; i < 3; ++i)
        p[i] = s.Center[i] + s.Half[i] * Uniform(-1, 1);
    } while (s.Value(p, p, 0) > -1e-3);
  }
  /** In the plane it has length 1 in x and y, and any z. */
  void DrawDirection(int dimensions, double d[3])
  {
    for (int i = 0; i < 3; ++i)
      d[i] = std::normal_distribution<double>()(Engine);
    const double kind = Uniform(0, 8);
    if (kind < 2) d[Count++ % dimensions] = 0;
    if (kind < 1 && dimensions == 3) d[Count % 3] = 0;
    const double length = std::hypot(d[0], d[1], dimensions == 3 ? d[2] : 0.0);
    for (int i = 0; i < 3; ++i)
      d[i] /= length;
  }

private:
  std::mt19937_64 Engine{20240607};
  int Count = 0;
};

static void MovePoint(double p[3], const double d[3], double t)
{
  for (int i = 0; i < 3; ++i)
    p[i] += t * d[i];
}

/** True if the face and the normal of @p got are those of the outermost part, or if an edge leaves
 * that open. */
static bool IsOnPart(const RayAnswer& got, const std::vector<SurfacePart>& parts, int dimensions)
{
  if (parts.size() > 1 && parts[1].Value > -1e-9) return true;
  const double* n = parts[0].Normal;
  double off = dimensions == 2 ? std::fabs(got.Normal[2] - unwritten) : 0.0;
  for (int i = 0; i < dimensions; ++i)
    off = std::max(off, std::fabs(got.Normal[i] - n[i] / std::hypot(n[0], n[1], n[2])));
  return got.Face == parts[0].Face && off < 1e-11;
}

/** Compares an answer with the bisected distance and moves @p p to the hit. A cylinder, unlike the
 * others, does not ask whether the side is right. */
static void CheckHit(const Solid& solid, const trelShapeObject& shape, double p[3],
                     const double d[3], int side, double expected)
{
  EXPECT_EQ(shape.LocatePoint(p[0], p[1], p[2]), side == RayLeaves ? PointInside : PointOutside);
  const int otherSide = RayLeaves + RayEnters - side;
  EXPECT_TRUE(solid.Type == ShapeCylinder || !Ask(shape, p, d, otherSide).Found);
  const RayAnswer got = Ask(shape, p, d, side);
  ASSERT_TRUE(got.Found);
  // Cancellation in the discriminant and under its root, at a grazing angle, costs some six digits.
  ASSERT_NEAR(got.Distance, expected, 1e-9);
  EXPECT_TRUE(Ask(shape, p, d, side, got.Distance).Found);
  EXPECT_FALSE(Ask(shape, p, d, side, std::nextafter(got.Distance, 0.0)).Found);
  const auto parts = solid.PartsAt(p, d, got.Distance);
  EXPECT_NEAR(static_cast<double>(parts[0].Value), 0.0, 1e-9);
  EXPECT_TRUE(IsOnPart(got, parts, DimensionsOf(solid.Type)));
  MovePoint(p, d, got.Distance);
}

/** A shape type each. */
class RandomRayTest : public testing::TestWithParam<ShapeType>
{
};

TEST_P(RandomRayTest, AgreesWithBisection)
{
  RandomRays draw;
  const int dimensions = DimensionsOf(GetParam());
  int chords = 0;
  for (int n = 0; n < 2000; ++n) {
    SCOPED_TRACE(n);
    const Solid solid = draw.DrawSolid(GetParam());
    const auto shape = solid.Make();
    double inside[3], d[3];
    draw.DrawInside(solid, inside);
    draw.DrawDirection(dimensions, d);
    const double backward[3] = {-d[0], -d[1], -d[2]};
    const double ahead = solid.Bisect(inside, d, 50), behind = solid.Bisect(inside, backward, 50);
    const double away = behind + draw.Uniform(0.01, 30);
    double p[3] = {inside[0], inside[1], inside[2]};
    MovePoint(p, d, -away);
    CheckHit(solid, *shape, inside, d, RayLeaves, ahead);
    CheckHit(solid, *shape, p, d, RayEnters, solid.Bisect(p, d, away));
    if (HasFailure()) return;
    // From the entry on through; at a grazing angle that point may miss the surface's thin skin.
    if (shape->LocatePoint(p[0], p[1], p[2]) != PointOnBoundary) continue;
    ++chords;
    const RayAnswer through = Ask(*shape, p, d, RayLeaves);
    EXPECT_TRUE(through.Found);
    EXPECT_NEAR(through.Distance, ahead + behind, 1e-9);
    // A ray that enters is at its hit. A cube keeps the normal that the caller has.
    RayAnswer touching = Ask(*shape, p, d, RayEnters);
    EXPECT_TRUE(touching.Found);
    EXPECT_EQ(touching.Distance, 0.0);
    const auto parts = solid.PartsAt(p, d, 0);
    if (GetParam() == ShapeCube) {
      EXPECT_EQ(std::count(touching.Normal, touching.Normal + 3, unwritten), 3);
      std::copy_n(parts[0].Normal, 3, touching.Normal);
    }
    EXPECT_TRUE(IsOnPart(touching, parts, dimensions));
  }
  EXPECT_GT(chords, 1950);
}

INSTANTIATE_TEST_SUITE_P(Shapes, RandomRayTest, testing::ValuesIn(analyticTypes));

/** An entering ray is taken to cross a cylinder, which is therefore not asked. An ellipse that lies
 * behind the start is hit as one ahead. */
TEST(RandomRay, HitsOnlyWhatItCrosses)
{
  const ShapeType types[] = {ShapeRectangle, ShapeEllipse, ShapeEllipsoid, ShapeCube};
  RandomRays draw;
  int misses = 0;
  for (int n = 0; n < 4000; ++n) {
    const Solid solid = draw.DrawSolid(types[n % 4]);
    double p[3], d[3], look[3];
    draw.DrawDirection(DimensionsOf(solid.Type), d);
    for (int i = 0; i < 3; ++i)
      p[i] = solid.Center[i] + draw.Uniform(-12, 12);
    const bool isBehind =
        solid.Type == ShapeEllipse && solid.Value(p, d, solid.FindDeepest(p, d)) > 0;
    for (int i = 0; i < 3; ++i)
      look[i] = isBehind ? -d[i] : d[i];
    const long double deepest = solid.FindDeepest(p, look), least = solid.Value(p, look, deepest);
    if (solid.Value(p, d, 0) < 1e-6 || std::fabs(least) < 1e-6) continue;
    misses += least > 0;
    const RayAnswer got = Ask(*solid.Make(), p, d, RayEnters);
    EXPECT_EQ(got.Found, least < 0) << "ray " << n;
    const double expected = got.Found ? solid.Bisect(p, look, deepest) : huge_;
    EXPECT_NEAR(got.Distance, expected, 1e-9) << "ray " << n;
  }
  EXPECT_GT(misses, 1250);
}

TEST(Mesh, SaysThatItCannotBeRead)
{
  trelMCTriangleMesh surface;
  trelMCTetrahedron medium;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(surface.LoadFromFile("skin.off"));
  EXPECT_FALSE(medium.LoadFromFile("head.am"));
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_NE(said.find("skin.off"), std::string::npos) << said;
  EXPECT_NE(said.find("head.am"), std::string::npos) << said;
  const double p[3] = {0, 0, 0}, d[3] = {1, 0, 0};
  EXPECT_EQ(surface.LocatePoint(0, 0, 0), PointUndetermined);
  EXPECT_FALSE(Ask(medium, p, d, RayLeaves).Found);
}
