#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <vector>

#include "trelCube.h"
#include "trelCylinder.h"
#include "trelEllipse.h"
#include "trelEllipsoid.h"
#include "trelRectangle.h"

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
                     double furthest = 1e30)
{
  RayAnswer a;
  a.Distance = furthest;
  a.Found = shape.IntersectRay(p[0], p[1], p[2], d[0], d[1], d[2], &a.Distance, &a.Face,
                               &a.Normal[0], &a.Normal[1], &a.Normal[2], side);
  return a;
}

static int Locate(const trelShapeObject& shape, const double p[3])
{
  return shape.LocatePoint(p[0], p[1], p[2]);
}

static const char* const shapeNames[] = {"rectangle", "ellipse", "ellipsoid", "cylinder", "cube"};

static std::unique_ptr<trelShapeObject> MakeShape(const std::string& name)
{
  if (name == "cube") return std::make_unique<trelCube>();
  if (name == "cylinder") return std::make_unique<trelCylinder>();
  if (name == "rectangle") return std::make_unique<trelRectangle>();
  if (name == "ellipse") return std::make_unique<trelEllipse>();
  return std::make_unique<trelEllipsoid>();
}

/** How many coordinates a shape looks at; planar ones ignore z, and write none. */
static int DimensionsOf(const trelShapeObject& shape)
{
  return shape.GetShapeType() < ShapeEllipsoid ? 2 : 3;
}

/** A line of a file in tests/shapes: "shape | text | numbers", bars between the numbers as well. */
struct ShapeRow
{
  std::string Line;
  std::unique_ptr<trelShapeObject> Shape;
  std::string Text;
  std::istringstream Numbers;
};

static std::vector<ShapeRow> ReadRows(const std::string& file)
{
  std::ifstream stream(TREL_SOURCE_DIR "/tests/shapes/" + file);
  std::vector<ShapeRow> rows;
  for (std::string line; std::getline(stream, line);) {
    const std::size_t first = line.find(" | "), second = line.find(" | ", first + 3);
    if (second == std::string::npos || line.find(' ') != first) continue;
    std::string numbers = line.substr(second + 3);
    std::replace(numbers.begin(), numbers.end(), '|', ' ');
    rows.push_back({line, MakeShape(line.substr(0, first)),
                    line.substr(first + 3, second - first - 3), std::istringstream(numbers)});
  }
  return rows;
}

TEST(Shape, LocatesPointsWithinTheTolerance)
{
  const std::map<std::string, int> relations = {
      {"inside", PointInside}, {"on it", PointOnBoundary}, {"outside", PointOutside}};
  std::vector<ShapeRow> rows = ReadRows("points.txt");
  ASSERT_EQ(rows.size(), 21u);
  for (ShapeRow& row : rows) {
    double p[3];
    row.Numbers >> p[0] >> p[1] >> p[2];
    row.Shape->SetHalfAxes(1, 2, 3);
    EXPECT_EQ(Locate(*row.Shape, p), relations.at(row.Text)) << row.Line;
  }
}

TEST(Ray, AnswersTheKnownCases)
{
  std::vector<ShapeRow> rows = ReadRows("rays.txt");
  ASSERT_EQ(rows.size(), 46u);
  for (ShapeRow& row : rows) {
    SCOPED_TRACE(row.Line);
    double v[9], furthest, distance;
    int side, face, normal;
    std::string found;
    for (double& value : v)
      row.Numbers >> value;
    ASSERT_TRUE(row.Numbers >> side >> furthest >> found >> distance >> face >> normal);
    row.Shape->SetHalfAxes(v);
    const RayAnswer got = Ask(*row.Shape, v + 3, v + 6, side, furthest);
    EXPECT_EQ(got.Found, found == "hit");
    EXPECT_NEAR(got.Distance, distance, std::fabs(distance) > 0.1 ? 1e-13 : 0.0);
    EXPECT_EQ(got.Face, face);
    for (int i = 0; i < 3; ++i) {
      const double along = std::abs(normal) == i + 1 ? std::copysign(1.0, normal) : 0.0;
      const bool written = normal != 0 && i < DimensionsOf(*row.Shape);
      EXPECT_NEAR(got.Normal[i], written ? along : unwritten, 1e-15) << "axis " << i;
    }
  }
}

TEST(Ray, MissesOnWhatIsNotANumber)
{
  for (const char* name : shapeNames) {
    const auto shape = MakeShape(name);
    shape->SetHalfAxes(1, 2, 3);
    for (int bad = 0; bad < 6; ++bad) {
      for (const bool enters : {false, true}) {
        SCOPED_TRACE(std::string(name) + (enters ? " entered" : " left") + std::to_string(bad));
        double values[6] = {enters ? 5.0 : 0.0, 0.1, 0.2, enters ? -1.0 : 1.0, 0.01, 0.02};
        values[bad] = std::numeric_limits<double>::quiet_NaN();
        const bool isIgnored = bad % 3 >= DimensionsOf(*shape);
        const RayAnswer got = Ask(*shape, values, values + 3, enters ? RayEnters : RayLeaves);
        EXPECT_EQ(got.Found, isIgnored);
        EXPECT_EQ(got.Distance == 1e30, !isIgnored);
        EXPECT_TRUE(bad >= 3 || isIgnored || Locate(*shape, values) == PointOutside);
      }
    }
  }
}

/** A shape and, written apart from its class, a convex function that is negative inside of it. */
struct Solid
{
  std::unique_ptr<trelShapeObject> Shape;
  double Center[3], Half[3];

  /** The function at the place @p t along a ray. */
  double Value(const double p[3], const double d[3], double t) const
  {
    double q[3];
    for (int i = 0; i < 3; ++i)
      q[i] = (p[i] + t * d[i] - Center[i]) / Half[i];
    const double x = std::fabs(q[0]), y = std::fabs(q[1]), z = std::fabs(q[2]);
    const double r2 = q[0] * q[0] + q[1] * q[1];
    switch (Shape->GetShapeType()) {
      case ShapeRectangle:
        return std::max(x, y) - 1;
      case ShapeEllipse:
        return r2 - 1;
      case ShapeCube:
        return std::max({x, y, z}) - 1;
      case ShapeCylinder:
        return std::max(r2, z) - 1;
      default:
        return r2 + q[2] * q[2] - 1;
    }
  }

  /** The least value ahead on the ray. */
  double FindLeast(const double p[3], const double d[3]) const
  {
    double a = 0, b = 100;
    for (int i = 0; i < 100; ++i) {
      const double left = a + (b - a) / 3, right = b - (b - a) / 3;
      const bool isLeft = Value(p, d, left) < Value(p, d, right);
      (isLeft ? b : a) = isLeft ? right : left;
    }
    return Value(p, d, a);
  }

  /** Checks the normal at the place @p t by the function's gradient. A cube keeps the normal
   * that the caller has if it is @p touched. */
  void CheckNormal(const RayAnswer& got, const double p[3], const double d[3], bool touched) const
  {
    double n[3];
    for (int i = 0; i < 3; ++i) {
      const double hit[3] = {p[0] + got.Distance * d[0], p[1] + got.Distance * d[1],
                             p[2] + got.Distance * d[2]};
      const double axis[3] = {double(i == 0), double(i == 1), double(i == 2)};
      n[i] = Value(hit, axis, 1e-6) - Value(hit, axis, -1e-6);
    }
    const double length = std::hypot(n[0], n[1], n[2]);
    for (int i = 0; i < 3; ++i) {
      n[i] /= length;
      const bool written =
          i < DimensionsOf(*Shape) && !(touched && Shape->GetShapeType() == ShapeCube);
      EXPECT_NEAR(got.Normal[i], written ? n[i] : unwritten, 1e-5);
    }
  }
};

/** Random shapes about random centres, and rays about them, every fourth of which is parallel to a
 * plane or an axis. */
class RandomRays
{
public:
  Solid DrawSolid(int n)
  {
    Solid s = {MakeShape(shapeNames[n % 5]), {}, {}};
    for (int i = 0; i < 3; ++i) {
      s.Center[i] = Uniform(-20, 20);
      s.Half[i] = Uniform(0.3, 8);
    }
    s.Shape->SetCenter(s.Center);
    s.Shape->SetHalfAxes(s.Half);
    return s;
  }
  /** In the plane the direction @p d has length 1 in x and y, and any z. */
  void DrawRay(const Solid& solid, double p[3], double d[3])
  {
    const int dimensions = DimensionsOf(*solid.Shape), axis = static_cast<int>(Uniform(0, 3));
    const double kind = Uniform(0, 8), back = Uniform(-2, 25);
    for (int i = 0; i < 3; ++i)
      d[i] = std::normal_distribution<double>()(Engine);
    if (kind < 2) d[axis % dimensions] = 0;
    if (kind < 1 && dimensions == 3) d[(axis + 1) % 3] = 0;
    const double length = std::hypot(d[0], d[1], dimensions == 3 ? d[2] : 0.0);
    for (int i = 0; i < 3; ++i) {
      d[i] /= length;
      p[i] = solid.Center[i] + solid.Half[i] * Uniform(-1.5, 1.5) - back * d[i];
    }
  }

private:
  double Uniform(double a, double b)
  {
    return std::uniform_real_distribution<double>(a, b)(Engine);
  }

  std::mt19937_64 Engine{20240607};
};

/** The ray hits the surface where the sign of the function changes as @p side says, and not if that
 * is too far. A cylinder, unlike the others, does not ask whether the side is right. */
static double CheckHit(const Solid& solid, const double p[3], const double d[3], int side)
{
  const trelShapeObject& shape = *solid.Shape;
  const RayAnswer got = Ask(shape, p, d, side);
  EXPECT_TRUE(got.Found);
  // Cancellation in the discriminant and under its root, at a grazing angle, costs some six digits.
  EXPECT_EQ(solid.Value(p, d, got.Distance - 1e-9) < 0, side == RayLeaves);
  EXPECT_EQ(solid.Value(p, d, got.Distance + 1e-9) < 0, side == RayEnters);
  solid.CheckNormal(got, p, d, false);
  EXPECT_TRUE(Ask(shape, p, d, side, got.Distance).Found);
  EXPECT_FALSE(Ask(shape, p, d, side, std::nextafter(got.Distance, 0.0)).Found);
  const bool starts = Locate(shape, p) == PointOnBoundary;
  const int otherSide = RayLeaves + RayEnters - side;
  EXPECT_TRUE(starts || shape.GetShapeType() == ShapeCylinder ||
              !Ask(shape, p, d, otherSide).Found);
  return got.Distance;
}

TEST(RandomRay, HitsWhatItCrosses)
{
  RandomRays draw;
  std::map<std::string, int> hits, misses, chords;
  for (int n = 0; n < 10000 && !HasFailure(); ++n) {
    SCOPED_TRACE(n);
    const std::string name = shapeNames[n % 5];
    const Solid solid = draw.DrawSolid(n);
    double p[3], d[3];
    draw.DrawRay(solid, p, d);
    const double start = solid.Value(p, d, 0), least = solid.FindLeast(p, d);
    if (std::fabs(start) < 1e-6 || std::fabs(least) < 1e-6) continue;
    EXPECT_EQ(Locate(*solid.Shape, p), start < 0 ? PointInside : PointOutside);
    if (least > 0) {
      // A ray said to enter is taken to cross a cylinder; an ellipse behind is hit as one ahead.
      if (name == "cylinder" || name == "ellipse") continue;
      ++misses[name];
      EXPECT_FALSE(Ask(*solid.Shape, p, d, RayEnters).Found);
      continue;
    }
    ++hits[name];
    const double distance = CheckHit(solid, p, d, start < 0 ? RayLeaves : RayEnters);
    for (int i = 0; i < 3; ++i)
      p[i] += distance * d[i];
    // At a grazing angle that point may miss the surface's thin skin.
    if (start < 0 || Locate(*solid.Shape, p) != PointOnBoundary) continue;
    ++chords[name];
    const RayAnswer touching = Ask(*solid.Shape, p, d, RayEnters);
    EXPECT_TRUE(touching.Found);
    EXPECT_EQ(touching.Distance, 0.0);
    solid.CheckNormal(touching, p, d, true);
    CheckHit(solid, p, d, RayLeaves);
  }
  for (const std::string name : shapeNames) {
    SCOPED_TRACE(name);
    EXPECT_GT(hits[name], 600);
    EXPECT_GT(chords[name], hits[name] / 2);
    EXPECT_TRUE(misses[name] > 200 || name == "cylinder" || name == "ellipse");
  }
}
