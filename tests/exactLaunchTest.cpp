#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "modelFixtures.h"
#include "testModel.h"
#include "testTools.h"
#include "trelElementary.h"
#include "trelExactLaunch.h"
#include "trelFresnel.h"
#include "trelPacketNumbers.h"
#include "trelTransportModel.h"

TEST(ExactInterface, AgreesWithTheAnglesAndIsExactAtTheEnds)
{
  for (const auto& [n1, n2] : {std::pair{1.0, 1.4}, {1.4, 1.0}, {1.37, 1.38}, {1.0, 4.0}}) {
    const double normal = (n1 - n2) / (n1 + n2);
    EXPECT_DOUBLE_EQ(MeetInterface(n1, n2, 1.0).Reflectance, normal * normal);
    EXPECT_EQ(MeetInterface(n1, n2, 1.0).CosTransmit, 1.0);
    EXPECT_EQ(MeetInterface(n1, n2, 0.0).Reflectance, 1.0);
    for (double cosA = 0.01; cosA < 0.999; cosA += 0.01) {
      const trelInterface met = MeetInterface(n1, n2, cosA);
      const double sinB = n1 / n2 * std::sqrt(1.0 - cosA * cosA);
      if (sinB >= 1.0) {
        EXPECT_EQ(met.Reflectance, 1.0);
        EXPECT_EQ(met.CosTransmit, 0.0);
        continue;
      }
      // Fresnel's forms in sines and tangents of the angles.
      const double a = std::acos(cosA), b = std::asin(sinB);
      const double s = std::sin(a - b) / std::sin(a + b), p = std::tan(a - b) / std::tan(a + b);
      EXPECT_NEAR(met.Reflectance, (s * s + p * p) / 2.0, 1e-13) << n1 << " " << n2 << " " << cosA;
      const trelVector u = {std::sin(a), 0.0, -cosA}, n = {0.0, 0.0, -1.0};
      const trelVector v = RefractByCosines(u, n, n1 / n2, cosA, met.CosTransmit);
      EXPECT_NEAR(v.X, sinB, 1e-14);
      EXPECT_NEAR(v.Z, -std::cos(b), 1e-14);
    }
  }
  EXPECT_EQ(MeetInterface(1.4, 1.4, 0.3).Reflectance, 0.0);
  EXPECT_EQ(MeetInterface(1.4, 1.4, 0.3).CosTransmit, 0.3);
  EXPECT_EQ(MeetInterface(1.0, 1.5, 1.0 + 1e-15).CosTransmit, 1.0);
}

/** Against the library's in extended precision, in all quarters of the turn and of all sizes. */
TEST(ExactElementary, FunctionsAreWithinOneUnitInTheLastPlace)
{
  std::mt19937_64 random(3);
  const auto isNear = [](double got, long double exact) {
    const double size = std::fabs(static_cast<double>(exact));
    return std::fabs(got - exact) <= std::nextafter(size, HUGE_VAL) - size;
  };
  const double ends[] = {0.0, 0.125, 0.25, 0.375, 0.5, 0.625, 0.75, 0.875, 1.0, 0x1p-53};
  for (int i = 0; i < 300000; ++i) {
    const double u = std::uniform_real_distribution<>(0.0, 1.0)(random);
    const double x = i % 2 ? std::ldexp(1.0 + u, i % 2000 - 1000) : 1.0 + std::ldexp(u, -i % 50);
    ASSERT_TRUE(isNear(NaturalLogarithm(x), std::log(static_cast<long double>(x)))) << x;
    const double turn = i < 10 ? ends[i] : i % 3 ? u : (i % 5) * 0.25 * std::ldexp(u, -i % 40);
    const auto quarter = static_cast<int>(std::lround(4.0 * turn));
    const long double angle = 2.0L * std::acos(-1.0L) * (turn - 0.25 * quarter);
    const long double c = std::cos(angle), s = std::sin(angle);
    const long double cosines[] = {c, -s, -c, s}, sines[] = {s, c, -s, -c};
    const trelUnitCircle point = PointOfTurn(turn);
    ASSERT_TRUE(isNear(point.Cosine, cosines[quarter % 4])) << turn;
    ASSERT_TRUE(isNear(point.Sine, sines[quarter % 4])) << turn;
  }
}

/** A source in a medium of one tissue of index 1.5, and its stream. */
class ExactLamp
{
public:
  explicit ExactLamp(trelShapeObject* shape, bool solid = true)
  {
    Source.SetShape(shape);
    Source.SetLuminousType(LuminousDiffuse);
    Source.SetSolid(solid);
    Spectrum.SetEnergy(3.0);
    Spectrum.SetPhotonNumber(4);
    Numbers.Start(1, 2, 3);
    Model.NumberOfSpectra = Model.NumberOfTissues = 1;
    Model.Coefficients = {{0.1, 1.0, 1.1, 0.9, 1.5}};
  }

  bool Prepare() { return Launch.Prepare(Source, Spectrum, Spectrum.GetPhotonNumber(), Model); }
  /** A value of each of @p number rays. */
  std::vector<double> Sample(int number, const std::function<double(const trelRay&)>& value)
  {
    std::vector<double> sample;
    EXPECT_TRUE(Prepare());
    for (trelRay ray; number > 0; --number) {
      EXPECT_TRUE(Launch.DrawRay(Numbers, &ray));
      sample.push_back(value(ray));
    }
    return sample;
  }

  trelLightSource Source;
  trelSpectrum Spectrum;
  trelTransportModel Model;
  trelExactLaunch Launch;
  trelPacketNumbers Numbers;
};

static constexpr int numberOfRays = 40000;

/** Chi square of the classes 0, 1, ... of a sample against their shares, less its mean, in its own
 *  standard deviations: above 5 in one of a million right cases. */
static double Deviation(const std::vector<double>& classes, const std::vector<double>& shares)
{
  std::vector<double> counts(shares.size(), 0.0);
  for (const double c : classes)
    ++counts.at(static_cast<std::size_t>(c));
  double total = 0.0, chiSquare = 0.0;
  for (const double share : shares)
    total += share;
  for (std::size_t i = 0; i < shares.size(); ++i) {
    const double expected = shares[i] / total * static_cast<double>(classes.size());
    chiSquare += (counts[i] - expected) * (counts[i] - expected) / expected;
  }
  const double freedom = static_cast<double>(shares.size()) - 1.0;
  return (chiSquare - freedom) / std::sqrt(2.0 * freedom);
}

/** Which of eight equal belts about the axis @p a, and which of its two sides of @p b. */
static int ClassOf(const trelVector& u, const trelVector& a, const trelVector& b)
{
  return std::min(static_cast<int>(4.0 * (Dot(u, a) + 1.0)), 7) * 2 + (Dot(u, b) > 0.0);
}

TEST(ExactLaunch, FillsTheSolidAngleAlike)
{
  for (const trelVector& axis : {trelVector{0.0, 0.0, 1.0}, {0.6, 0.0, -0.8}, {0.0, 0.0, -1.0}}) {
    ExactLamp lamp(Place(new trelCube, 0, 0, 0, 1, 1, 1));
    lamp.Source.SetDirection(axis);
    const auto classes = lamp.Sample(numberOfRays, [](const trelRay& ray) {
      EXPECT_NEAR(Length(ray.Direction), 1.0, 1e-14);
      return ClassOf(ray.Direction, {0.0, 0.0, 1.0}, {0.0, 1.0, 0.0});
    });
    EXPECT_LT(Deviation(classes, std::vector<double>(16, 1.0)), 5.0);
    // Uniform in the deflection: the belts at the poles hold arccos(3/4) / pi of it.
    std::vector<double> polar(16, 1.0);
    polar[0] = polar[1] = polar[14] = polar[15] = 1.84;
    EXPECT_GT(Deviation(classes, polar), 5.0);
  }
}

/** One number for all. */
class FixedNumbers final : public trelUniformNumbers
{
public:
  explicit FixedNumbers(double number) : Number(number) {}
  double NextRandom() override { return Number; }

private:
  double Number;
};

TEST(ExactLaunch, CountsAnglesFromItsDirection)
{
  const double h = std::sqrt(0.5), s = std::sqrt(3.0) / 2.0;
  const struct
  {
    trelVector axis;
    double azimuth, min, max;
    trelVector expected;  // of half the range
  } cases[] = {{{0, 0, 1}, 0, 0, 0, {0, 0, 1}},
               {{0, 0, 1}, 90, 180, 180, {0, 0, -1}},
               {{0, 0, 1}, 90, 90, 90, {0, 1, 0}},
               {{0, 0, 1}, 0, 0, 90, {s, 0, 0.5}},
               // Half of a cone that is given on both sides of its axis is the axis.
               {{0, 0, 1}, 0, -40, 40, {0, 0, 1}},
               {{0, 0, 1}, 0, 180, 270, {-s, 0, -0.5}},
               // The x axis goes to -z about y, and stays about x.
               {{1, 0, 0}, 0, 90, 90, {0, 0, -1}},
               {{1, 0, 0}, 90, 90, 90, {0, 1, 0}},
               {{0, 1, 0}, 0, 90, 90, {1, 0, 0}},
               {{0, -1, 0}, 90, 90, 90, {0, 0, 1}},
               {{h, h, 0}, 0, 0, 0, {h, h, 0}},
               {{h, h, 0}, 45, 90, 90, {0, 0, -1}},
               {{0, 0, -1}, 0, 90, 90, {-1, 0, 0}},
               {{0, 0, -1}, 90, 90, 90, {0, 1, 0}},
               {{1e-9, 0, -1}, 90, 90, 90, {0, 1, 0}},
               {{1e-9, 0, -1}, 0, 90, 90, {-1, 0, -1e-9}}};
  for (const auto& c : cases) {
    ExactLamp lamp(Place(new trelCube, 0, 0, 0, 1, 1, 1));
    lamp.Source.SetDirection(c.axis);
    lamp.Source.SetAzimuthRange(c.azimuth, c.azimuth);
    lamp.Source.SetDeflectionRange(c.min, c.max);
    ASSERT_TRUE(lamp.Prepare());
    FixedNumbers half(0.5);
    trelRay ray;
    ASSERT_TRUE(lamp.Launch.DrawRay(half, &ray));
    // The sine of an angle near 0 is the root of a difference.
    EXPECT_LT(Length(ray.Direction - c.expected), c.min < 0 ? 1e-8 : 1e-15)
        << c.axis.X << " " << c.axis.Y << " " << c.axis.Z << " at " << c.azimuth << " " << c.max;
  }
}

/** Faces of a surface, by their area: the true shares, and wrong ones that are refused. */
TEST(ExactLaunch, SpreadsFaceSourcesByArea)
{
  const auto boxFace = [](const trelRay& ray) {
    const trelVector p = ray.Origin - trelVector{1, 2, 3};
    const double beyond[3] = {std::fabs(p.X) - 1, std::fabs(p.Y) - 2, std::fabs(p.Z) - 4};
    for (int i = 0; i < 3; ++i)
      if (std::fabs(beyond[i]) < 1e-12) return 2.0 * i + (p[i] > 0.0);
    return 6.0;
  };
  const auto cylinderPart = [](const trelRay& ray) {
    const double z = ray.Origin.Z - 3;
    return std::fabs(z) > 4.0 - 1e-12 ? z > 0.0 : 2.0 + (z > 0.0);
  };
  const auto cornerFace = [](const trelRay& ray) {
    for (int i = 0; i < 3; ++i)
      if (ray.Origin[i] == 0.0) return static_cast<double>(i);
    return 3.0;
  };
  // Perimeter of the ellipse of half-axes 1 and 2.
  const double side = 9.688448220547675 * 4.0, cap = Pi * 2.0;
  const double slope = std::sqrt(3.0);
  auto corner = std::make_unique<trelMCTriangleMesh>();
  ASSERT_TRUE(ImportCorner(*corner, 1));
  const struct
  {
    trelShapeObject* shape;
    std::function<double(const trelRay&)> face;
    std::vector<double> shares;
  } cases[] = {{Place(new trelCube, 1, 2, 3, 1, 2, 4), boxFace, {8, 8, 4, 4, 2, 2}},
               {Place(new trelCylinder, 1, 2, 3, 1, 2, 4), cylinderPart, {cap, cap, side, side}},
               {corner.release(), cornerFace, {1, 1, 1, slope}}};
  for (const auto& c : cases) {
    ExactLamp lamp(c.shape, false);
    const auto faces = lamp.Sample(numberOfRays, c.face);
    EXPECT_LT(Deviation(faces, c.shares), 5.0) << c.shape->GetClassName();
    std::vector<double> wrong = c.shares;
    wrong.back() *= 1.1;
    EXPECT_GT(Deviation(faces, wrong), 5.0) << c.shape->GetClassName();
  }
}

/** The mean of z^2 / c^2 over the area of an ellipsoid of revolution with half-axes a and c, by
 *  Simpson's rule in u = z / c: dA is sqrt(a^2 u^2 + c^2 (1 - u^2)) du, times a constant. */
static double MeanSquareOnEllipsoid(double a, double c)
{
  double sums[2] = {0.0, 0.0};
  for (int i = 0; i <= 2000; ++i) {
    const double u = i / 2000.0, weight = i == 0 || i == 2000 ? 1 : i % 2 == 1 ? 4 : 2;
    const double area = weight * std::sqrt(a * a * u * u + c * c * (1.0 - u * u));
    sums[0] += area;
    sums[1] += area * u * u;
  }
  return sums[1] / sums[0];
}

/** Means over areas, lengths and volumes that are not uniform in a simpler way; each refuses a
 * value that is off by 2 percent. */
TEST(ExactLaunch, DrawsFromAreasAndVolumesAsTheyAre)
{
  const auto squareOf = [](int axis, double half) {
    return [=](const trelRay& ray) { return ray.Origin[axis] * ray.Origin[axis] / (half * half); };
  };
  auto corner = std::make_unique<trelMCTriangleMesh>();
  ASSERT_TRUE(ImportCorner(*corner, 1));
  const struct
  {
    trelShapeObject* shape;
    bool solid;
    std::function<double(const trelRay&)> value;
    double mean;
  } cases[] = {
      {Place(new trelEllipsoid, 0, 0, 0, 1, 1, 5), false, squareOf(2, 5),
       MeanSquareOnEllipsoid(1, 5)},
      {Place(new trelEllipsoid, 0, 0, 0, 5, 5, 1), false, squareOf(2, 1),
       MeanSquareOnEllipsoid(5, 1)},
      {Place(new trelEllipsoid, 0, 0, 0, 1, 2, 3), true, squareOf(1, 2), 0.2},
      {Place(new trelCylinder, 0, 0, 0, 1, 2, 0), true, squareOf(1, 2), 0.25},
      {Place(new trelEllipse, 0, 0, 0, 1, 2, 0), true, squareOf(0, 1), 0.25},
      // By length: of x^2 + y^2 / 4 = 1 the mean x^2, by quadrature; half of it by the angle.
      {Place(new trelEllipse, 0, 0, 0, 1, 2, 0), false, squareOf(0, 1), 0.5799233},
      {Place(new trelRectangle, 0, 0, 0, 1, 3, 0), false, squareOf(0, 1), 1.0 / 12.0 + 0.75},
      {Place(new trelCube, 0, 0, 0, 2, 0, 0), false, squareOf(0, 2), 1.0 / 3.0},
      // The corner x + y + z < 1: the mean of x is 1/4.
      {corner.release(), true, [](const trelRay& ray) { return ray.Origin.X; }, 0.25}};
  for (const auto& c : cases) {
    ExactLamp lamp(c.shape, c.solid);
    const auto sample = lamp.Sample(numberOfRays, c.value);
    EXPECT_TRUE(IsMean(c.mean, sample)) << &c - cases;
    EXPECT_FALSE(IsMean(1.04 * c.mean, sample)) << c.mean;
  }
}

/** r^2 under exp(-2 r^2 / W^2), cut at R: W^2 / 2 - R^2 / (exp(2 R^2 / W^2) - 1) in the mean. */
TEST(ExactLaunch, GivesADiscItsProfile)
{
  for (const auto& [width, radius] : {std::pair{1.0, 10.0}, {2.0, 2.5}, {2.0, 1.0}, {100.0, 1.0}}) {
    ExactLamp lamp(Place(new trelCylinder, 1, 2, 3, radius, radius, 0));
    lamp.Source.SetProfileWidth(width);
    const auto squares = lamp.Sample(numberOfRays, [r = radius](const trelRay& ray) {
      const trelVector p = ray.Origin - trelVector{1, 2, 3};
      EXPECT_EQ(p.Z, 0.0);
      EXPECT_LE(Length(p), r * (1.0 + 1e-15));
      return Dot(p, p);
    });
    const double edge = 2.0 * radius * radius / (width * width);
    const double mean = width * width / 2.0 - radius * radius / std::expm1(edge);
    EXPECT_TRUE(IsMean(mean, squares)) << width;
    EXPECT_FALSE(IsMean(1.05 * mean, squares)) << width;
  }
}

/** A beam along +x onto a surface whose normal it meets at a cosine. */
TEST(ExactLaunch, TakesOffWhatItsEntryReflects)
{
  ExactLamp lamp(Place(new trelCube, 0, 0, 0, 1, 1, 1));
  const struct
  {
    double ambient, cosine;
    std::int32_t tissue;
    trelLaunchOutcome outcome;
  } cases[] = {{1.0, 1.0, 0, LaunchDone},
               {1.0, 0.5, 0, LaunchDone},
               {1.0, 0.01, 0, LaunchDone},
               {1.0, 0.5, -1, LaunchNotMet},
               {1.5, 0.01, 0, LaunchDone},
               // The critical cosine from 2 into 1.5 is sqrt(7) / 4 = 0.66144.
               {2.0, 0.6615, 0, LaunchDone},
               {2.0, 0.6614, 0, LaunchReflected},
               {-1.5, 1.0, 0, LaunchReflected}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.ambient << " at " << c.cosine);
    lamp.Model.AmbientRefractiveIndex = c.ambient;
    trelTissueChange entry;
    entry.Hit = {-2.0, 0, {c.cosine, std::sqrt(1.0 - c.cosine * c.cosine), 0.0}};
    entry.Tissue = c.tissue;
    entry.Reach = 1e-7;
    entry.LongestReach = 1.0;
    for (const bool specular : {false, true}) {
      lamp.Source.SetSpecular(specular);
      ASSERT_TRUE(lamp.Prepare());
      trelLaunched start;
      ASSERT_EQ(lamp.Launch.Enter({{5, 6, 7}, {1, 0, 0}}, entry, &start), c.outcome);
      double cosT = 0.0;
      const double r = FresnelReflectance(c.ambient, 1.5, c.cosine, &cosT);
      const bool all = c.outcome == LaunchReflected;
      EXPECT_NEAR(start.Reflected, all || (specular && c.tissue == 0) ? (all ? 1.0 : r) : 0.0,
                  1e-12);
      if (c.outcome != LaunchDone) continue;
      EXPECT_EQ(start.Entering, 1.0 - start.Reflected);
      EXPECT_EQ(start.Position.X, 3.0);
      EXPECT_NEAR(Dot(start.Direction, entry.Hit.Normal), cosT, 1e-13);
      EXPECT_NEAR(start.Skip, 1e-7 / cosT, 1e-16);
    }
  }
  EXPECT_EQ(lamp.Launch.GetPacketWeight(), 0.75);
}

TEST(ExactLaunch, RefusesWhatCannotShine)
{
  const auto refuses = [](trelShapeObject* shape,
                          const std::function<void(trelLightSource&)>& set) {
    ExactLamp lamp(shape);
    if (set) set(lamp.Source);
    trelRay ray;
    return !lamp.Prepare() && !lamp.Launch.DrawRay(lamp.Numbers, &ray);
  };
  const auto box = [] { return Place(new trelCube, 0, 0, 0, 1, 1, 1); };
  EXPECT_FALSE(refuses(box(), nullptr));
  EXPECT_TRUE(refuses(nullptr, nullptr));
  EXPECT_TRUE(refuses(new trelMCTriangleMesh, nullptr));
  EXPECT_TRUE(refuses(Place(new trelEllipsoid, 0, 0, 0, 1, 1, 0), nullptr));
  EXPECT_TRUE(refuses(Place(new trelCube, 0, HUGE_VAL, 0, 1, 1, 1), nullptr));
  EXPECT_TRUE(refuses(box(), [](trelLightSource& s) { s.SetLuminousType(LuminousEmission); }));
  EXPECT_TRUE(refuses(box(), [](trelLightSource& s) { s.SetLaunchable(false); }));
  EXPECT_TRUE(refuses(box(), [](trelLightSource& s) { s.SetAzimuthRange(0.0, HUGE_VAL); }));
  EXPECT_TRUE(refuses(box(), [](trelLightSource& s) { s.SetDeflectionRange(-HUGE_VAL, 0.0); }));
}

/** A body of index 1.5: a ball, a corner of triangles, or a box whose half below x = 0 is taken by
 * a part of index 1.6 that is flush with it. */
class ExactBody
{
public:
  explicit ExactBody(ShapeType kind)
  {
    trelShapeObject* body = Place(MakeShape(kind), 0, 0, 0, 2, 2, 2);
    if (kind == ShapeTriangleMesh) {
      EXPECT_TRUE(ImportCorner(static_cast<trelMCTriangleMesh&>(*body), 1));
    }
    Model.AddTissue(body, {0.1, 1.0, 0.9, 1.5});
    if (kind == ShapeCube) {
      Model.AddTissue(Place(new trelCube, -1, 0, 0, 1, 2, 2), {0.1, 1.0, 0.9, 1.6});
    }
    Model->SetRules(RulesExact);
    Model->PrepareGeometry();
    EXPECT_TRUE(Map.Build(*Model->GetMedium()));
  }

  TestModel Model;
  trelTissueMap Map;
};

/** From a place on the skin, inward or outward. */
TEST(ExactLaunch, WhatStartsOnTheSkinOutwardIsGone)
{
  ExactBody ball(ShapeEllipsoid), box(ShapeCube), corner(ShapeTriangleMesh);
  const double third = 1.0 / std::sqrt(3.0);
  const struct
  {
    ExactBody& body;
    trelVector start, direction;
    trelLaunchOutcome outcome;
    std::int32_t tissue;
    trelVector normal;
  } cases[] = {{ball, {0, 0, 2}, {0.6, 0, 0.8}, LaunchEscaped, 0, {0, 0, 1}},
               {ball, {0, 0, 2}, {1, 0, 0}, LaunchEscaped, 0, {1, 0, 0}},
               {ball, {0, 0, 2}, {0.6, 0, -0.8}, LaunchDone, 0, {}},
               {ball, {0, 0, 2.001}, {0, 0, 1}, LaunchNotMet, 0, {}},
               {box, {-2, 1, 1}, {-0.8, 0, -0.6}, LaunchEscaped, 1, {-1, 0, 0}},
               {box, {2, 1, 1}, {0.8, 0, -0.6}, LaunchEscaped, 0, {1, 0, 0}},
               {box, {2, 1, 1}, {-0.8, 0, -0.6}, LaunchDone, 0, {}},
               {corner, {0.5, 0.25, 0.25}, {1, 0, 0}, LaunchEscaped, 0, {third, third, third}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << (&c - cases));
    ExactLamp lamp(Place(new trelCube, c.start.X, c.start.Y, c.start.Z, 0, 0, 0));
    lamp.Source.SetDirection(c.direction);
    lamp.Source.SetDeflectionRange(0, 0);
    lamp.Model.Resolve(*c.body.Model.Get());
    ASSERT_TRUE(lamp.Prepare());
    trelLaunched start;
    ASSERT_EQ(lamp.Launch.Launch(c.body.Map, lamp.Numbers, &start), c.outcome);
    if (c.outcome == LaunchNotMet) continue;
    EXPECT_EQ(start.Tissue, c.tissue);
    EXPECT_EQ(start.Entering, 1.0);
    EXPECT_LT(Length(start.Skin.Normal - c.normal), 1e-7);
  }
}

/** A beam of no size at a body. */
TEST(ExactLaunch, MeetsTheMediumOnItsLine)
{
  const double third = std::sqrt(3.0);
  const trelVector intoBall = {third / 2.0, -0.5, 0.0}, intoBox = {1, 0, 0};
  const trelVector slant = {-1.0 / third, -1.0 / third, -1.0 / third};
  ExactBody ball(ShapeEllipsoid), box(ShapeCube), corner(ShapeTriangleMesh);
  const struct
  {
    ExactBody& body;
    trelVector start, direction;
    std::int32_t tissue;  // -1: not met
    trelVector entry, normal;
  } cases[] = {{ball, {-5, 1, 0}, {1, 0, 0}, 0, {-third, 1, 0}, intoBall},
               {ball, {0.5, 1, 0}, {1, 0, 0}, 0, {-third, 1, 0}, intoBall},
               {ball, {-1e5, 1, 0}, {1, 0, 0}, 0, {-third, 1, 0}, intoBall},
               {ball, {0, 0, 2}, {0, 0, -1}, 0, {0, 0, 2}, {0, 0, -1}},
               {ball, {5, 1, 0}, {1, 0, 0}, -1, {}, {}},
               {ball, {-5, 3, 0}, {1, 0, 0}, -1, {}, {}},
               {ball, {-5, 2, 0}, {1, 0, 0}, -1, {}, {}},
               {ball, {-2, 0, 0}, {1, 0, 0}, 0, {-2, 0, 0}, {1, 0, 0}},
               {ball, {2 + 1e-10, 0, 0}, {1, 0, 0}, 0, {-2, 0, 0}, {1, 0, 0}},
               {box, {-5, 1, 1}, {0.8, 0, -0.6}, 1, {-2, 1, -1.25}, intoBox},
               {box, {-1, 1, 1}, {0.8, 0, -0.6}, 1, {-2, 1, 1.75}, intoBox},
               {box, {-2, 1, 1}, {0.8, 0, -0.6}, 1, {-2, 1, 1}, intoBox},
               {box, {5, 1, 1}, {-0.8, 0, -0.6}, 0, {2, 1, -1.25}, {-1, 0, 0}},
               {box, {5, 1, 1}, {0.8, 0, -0.6}, -1, {}, {}},
               {corner, {5, 0.25, 0.25}, {-1, 0, 0}, 0, {0.5, 0.25, 0.25}, slant},
               {corner, {-5, 0.25, 0.25}, {-1, 0, 0}, -1, {}, {}}};
  for (const auto& c : cases) {
    ExactLamp lamp(Place(new trelCube, c.start.X, c.start.Y, c.start.Z, 0, 0, 0));
    lamp.Source.SetDirection(c.direction);
    lamp.Source.SetDeflectionRange(0, 0);
    lamp.Model.Resolve(*c.body.Model.Get());
    trelLaunched start;
    for (const bool internal : {false, true}) {
      SCOPED_TRACE(testing::Message() << (&c - cases) << (internal ? " internal" : ""));
      lamp.Source.SetInternal(internal);
      ASSERT_TRUE(lamp.Prepare());
      const std::int32_t tissue = internal ? c.body.Map.FindTissue(c.start) : c.tissue;
      const trelLaunchOutcome outcome = lamp.Launch.Launch(c.body.Map, lamp.Numbers, &start);
      ASSERT_EQ(outcome == LaunchDone, tissue >= 0);
      if (tissue < 0) continue;
      EXPECT_EQ(start.Tissue, tissue);
      EXPECT_LT(Length(start.Position - (internal ? c.start : c.entry)), 1e-10);
      // Snell: the part along the surface shrinks by the index.
      const double ratio = internal ? 1.0 : 1.0 / (c.tissue == 1 ? 1.6 : 1.5);
      const trelVector along = Cross(c.normal, start.Direction);
      EXPECT_LT(Length(along - ratio * Cross(c.normal, c.direction)), 1e-10);
      EXPECT_NEAR(Length(start.Direction), 1.0, 1e-14);
    }
  }
}
