#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "modelFixtures.h"
#include "testModel.h"
#include "testTools.h"
#include "trelLaunchContext.h"
#include "trelLightSource.h"
#include "trelMCTetrahedron.h"
#include "trelPhoton.h"
#include "trelShapeFactory.h"
#include "trelSpectrum.h"
#include "trelTetrahedron.h"

/** Gives numbers written in a test, then those of a fixed stream; counts what is taken. */
class TestContext final : public trelLaunchContext
{
public:
  explicit TestContext(std::vector<double> script = {}) : Script(std::move(script)) {}

  double NextRandom() override
  {
    const std::size_t i = Taken++;
    return i < Script.size() ? Script[i] : std::uniform_real_distribution<>(0, 1)(Generator);
  }
  trelMedium* GetMedium() override { return &Medium; }

  trelMedium Medium;
  std::size_t Taken = 0;

private:
  std::vector<double> Script;
  std::mt19937_64 Generator{1};
};

/** A source that shines into the medium, in @p shape or in one of a kind at (1, 2, 3) with the
 *  half-axes 10, 20 and 40. */
class Lamp
{
public:
  explicit Lamp(trelShapeObject* shape)
  {
    Source.SetShape(shape);
    Source.SetLuminousType(LuminousDiffuse);
  }
  explicit Lamp(ShapeType kind) : Lamp(Place(MakeShape(kind), 1, 2, 3, 10, 20, 40)) {}

  bool Launch(TestContext& context) { return Source.LaunchPhoton(&context, &Photon, &Spectrum); }

  trelLightSource Source;
  trelSpectrum Spectrum;
  trelPhoton Photon;
};

TEST(LightSource, DrawsTheAzimuthThenTheDeflection)
{
  const double half = std::sqrt(0.5);
  for (const ShapeType kind : {ShapeRectangle, ShapeEllipse, ShapeEllipsoid, ShapeCylinder,
                               ShapeTriangleMesh, ShapeCube}) {
    const bool planar = kind < ShapeEllipsoid;
    TestContext context({0.5, 0.25});
    Lamp lamp(kind);
    lamp.Source.SetAzimuthRange(45, 135);
    lamp.Source.SetDeflectionRange(0, 180);
    EXPECT_TRUE(lamp.Source.SampleDirection(&context, &lamp.Photon));
    EXPECT_EQ(context.Taken, planar ? 1u : 2u) << kind;
    EXPECT_NEAR(lamp.Photon.DirectionX, 0, 1e-15);
    EXPECT_NEAR(lamp.Photon.DirectionY, planar ? 1 : half, 1e-15);
    EXPECT_NEAR(lamp.Photon.DirectionZ, planar ? 0 : half, 1e-15);
  }
}

/** The deflection is uniform in the angle: the mean of its squared cosine is 1/2. An isotropic
 * source has 1/3, and one that stops at 178 degrees 0.4944: both are told apart. */
TEST(LightSource, PrefersThePoles)
{
  TestContext context;
  Lamp lamp(ShapeCube);
  const trelPhoton& photon = lamp.Photon;
  std::vector<double> cosine, square, x;
  for (int n = 0; n < 200000; ++n) {
    ASSERT_TRUE(lamp.Source.SampleDirection(&context, &lamp.Photon));
    cosine.push_back(photon.DirectionZ);
    square.push_back(photon.DirectionZ * photon.DirectionZ);
    x.push_back(photon.DirectionX * photon.DirectionX);
  }
  EXPECT_TRUE(IsMean(0.0, cosine));
  EXPECT_TRUE(IsMean(0.5, square));
  EXPECT_TRUE(IsMean(0.25, x));
  EXPECT_FALSE(IsMean(0.4944, square));
}

TEST(LightSource, DrawsSurfacePointsInAFixedOrder)
{
  for (std::istringstream& row : ReadTable("surface-points.txt")) {
    SCOPED_TRACE(row.str());
    int kind = 0;
    double x, y, z;
    ASSERT_TRUE(row >> kind >> x >> y >> z);
    const std::vector<double> draws(std::istream_iterator<double>(row), {});
    TestContext context(draws);
    Lamp lamp(static_cast<ShapeType>(kind));
    ASSERT_TRUE(lamp.Source.SampleSurface(&context, &lamp.Photon));
    EXPECT_EQ(context.Taken, draws.size());
    EXPECT_NEAR(lamp.Photon.PositionX, 1 + 10 * x, 1e-13);
    EXPECT_NEAR(lamp.Photon.PositionY, 2 + 20 * y, 1e-13);
    EXPECT_NEAR(lamp.Photon.PositionZ, kind < ShapeEllipsoid ? 0 : 3 + 40 * z, 1e-13);
  }
}

TEST(LightSource, KeepsTheRimOfAnEllipsoidANumber)
{
  Lamp lamp(ShapeEllipsoid);
  for (int n = 0; n <= 1000; ++n) {
    TestContext context({0.0, n / 1000.0, 0.0});
    ASSERT_TRUE(lamp.Source.SampleSurface(&context, &lamp.Photon));
    EXPECT_NEAR(lamp.Photon.PositionZ, 3.0, 1e-5) << n;
  }
}

/** Uniform in a ball of radius 1: the mean of the squared radius is 3/5. */
TEST(LightSource, FillsTheShape)
{
  Lamp ball(Place(new trelEllipsoid, 1, 2, 3, 10, 20, 40));
  TestContext context({0.99, 0.99, 0.99, 0.5, 0.75, 0.25});
  ASSERT_TRUE(ball.Source.SampleVolume(&context, &ball.Photon));
  EXPECT_EQ(context.Taken, 6u) << "the first point lies outside";
  EXPECT_DOUBLE_EQ(ball.Photon.PositionY, 12.0);
  EXPECT_DOUBLE_EQ(ball.Photon.PositionZ, -17.0);
  std::vector<double> square;
  for (int n = 0; n < 100000; ++n) {
    ASSERT_TRUE(ball.Source.SampleVolume(&context, &ball.Photon));
    const double x = (ball.Photon.PositionX - 1) / 10;
    const double y = (ball.Photon.PositionY - 2) / 20;
    const double z = (ball.Photon.PositionZ - 3) / 40;
    square.push_back(x * x + y * y + z * z);
  }
  EXPECT_TRUE(IsMean(0.6, square));
  EXPECT_FALSE(IsMean(0.6 * 1.01, square));

  TestContext planar({0.75, 0.25});
  Lamp panel(ShapeRectangle);
  ASSERT_TRUE(panel.Source.SampleVolume(&planar, &panel.Photon));
  EXPECT_EQ(planar.Taken, 2u);
  EXPECT_DOUBLE_EQ(panel.Photon.PositionX, 6.0);
  EXPECT_EQ(panel.Photon.PositionZ, 0.0);
}

static const char* WhereIs(const trelPhoton& photon, const trelShapeObject& skin,
                           const trelShapeObject& shape)
{
  const double x = photon.PositionX, y = photon.PositionY, z = photon.PositionZ;
  if (skin.LocatePoint(x, y, z) == PointOnBoundary) return "skin";
  return shape.LocatePoint(x, y, z) == PointOnBoundary ? "surface" : "inside";
}

TEST(LightSource, LaunchesByItsKind)
{
  for (std::istringstream& row : ReadTable("launches.txt")) {
    SCOPED_TRACE(row.str());
    int type = 0;
    bool internal, solid, launchable;
    std::string place;
    ASSERT_TRUE(row >> type >> internal >> solid >> launchable >> place);
    TestContext context;
    trelShapeObject* skin = Place(new trelCube, 0, 0, 0, 50, 50, 50);
    AddTissue(context.Medium, skin);
    Lamp lamp(ShapeCube);
    lamp.Source.SetLuminousType(static_cast<LuminousType>(type));
    lamp.Source.SetInternal(internal);
    lamp.Source.SetSolid(solid);
    lamp.Source.SetLaunchable(launchable);
    lamp.Spectrum.SetEnergy(1);
    lamp.Spectrum.SetPhotonNumber(4);
    lamp.Spectrum.SetWavelength(650);
    lamp.Spectrum.SetWavelengthIndex(1);
    lamp.Photon.StepCount = 5;
    ASSERT_EQ(lamp.Launch(context), place != "none");
    EXPECT_EQ(lamp.Photon.StepCount, 0u);
    if (place == "none") continue;
    EXPECT_EQ(WhereIs(lamp.Photon, *skin, *lamp.Source.GetShape()), place);
    EXPECT_EQ(lamp.Photon.TissueIndex, place == "skin" ? 0 : -1) << "only the skin tells";
    EXPECT_EQ(lamp.Photon.Weight, 0.25);
    EXPECT_EQ(lamp.Photon.Wavelength, 650);
    EXPECT_EQ(lamp.Photon.WavelengthIndex, 1);
  }
}

/** A point-like source that shines along +x, at different places about a cube of half-edge 10. */
TEST(LightSource, EntersTheMediumAlongItsDirection)
{
  const struct
  {
    double x, y;
    bool enters;
    double atX;
  } cases[] = {{-15, 1, true, -10},   // in front
               {3, 1, true, -10},     // inside: back out of it, then in
               {-10, 1, true, -10},   // on the near skin: stays
               {10, 1, true, 10},     // on the far skin: stays
               {-31, 1, false, 0},    // farther than a whole width
               {15, 1, false, 0},     // beyond it
               {-15, 11, false, 0}};  // beside it
  for (const auto& c : cases) {
    TestContext context;
    AddTissue(context.Medium, nullptr);
    AddTissue(context.Medium, Place(new trelCube, 0, 0, 0, 10, 10, 10));
    context.Medium.SetOutermostTissueIndex(1);
    Lamp lamp(Place(new trelCube, c.x, c.y, 0, 0, 0, 0));
    lamp.Source.SetAzimuthRange(0, 0);
    lamp.Source.SetDeflectionRange(90, 90);
    lamp.Source.SetInternal(false);
    EXPECT_EQ(lamp.Launch(context), c.enters) << c.x << " " << c.y;
    EXPECT_EQ(lamp.Photon.TissueIndex, c.enters ? 1 : -1);
    if (!c.enters) continue;
    EXPECT_NEAR(lamp.Photon.PositionX, c.atX, 1e-12);
    EXPECT_NEAR(lamp.Photon.PositionY, c.y, 1e-12);
  }
}

TEST(LightSource, DrawsFacePointsOfAMesh)
{
  auto* mesh = new trelMCTriangleMesh;
  ASSERT_TRUE(ImportCorner(*mesh, 1));
  Lamp lamp(mesh);
  const trelPhoton& photon = lamp.Photon;
  // Upright faces and points beside the face cost an attempt of three numbers each; an edge is in.
  TestContext context({0.3, 0.5, 0.5, 0.6, 0.5, 0.5, 0.8, 0.7, 0.7, 0.8, 0.25, 0.5, 0.1, 0.5, 0.5});
  EXPECT_TRUE(lamp.Source.SampleSurface(&context, &lamp.Photon));
  EXPECT_EQ(context.Taken, 12u);
  EXPECT_NEAR(photon.PositionX + photon.PositionY + photon.PositionZ, 1.0, 1e-15);
  EXPECT_NEAR(photon.PositionZ, 0.25, 1e-15);
  EXPECT_TRUE(lamp.Source.SampleSurface(&context, &lamp.Photon));
  EXPECT_EQ(context.Taken, 15u);
  EXPECT_EQ(photon.PositionZ, 0.0);
}

TEST(LightSource, EntersATetrahedralMedium)
{
  trelTetrahedron corner;
  AddCorner(corner, 1);
  corner.SetNumberOfTetrahedra(1);
  for (std::uint32_t v = 0; v < 4; ++v)
    corner.GetTetrahedronData()[v] = v;
  corner.SetNumberOfRegions(1);
  ASSERT_TRUE(corner.BuildFaces());
  auto* mesh = new trelMCTetrahedron;
  ASSERT_TRUE(mesh->ImportMesh(&corner));
  TestContext context;
  context.Medium.SetShapeIsTetrahedron(true);
  context.Medium.SetTetrahedron(mesh);
  // Within the mesh, below it, too far below and above: half its width is the longest way in.
  for (const double z : {0.3, -0.3, -1.3, 2.0}) {
    const bool enters = std::fabs(z) < 1;
    Lamp lamp(Place(new trelCube, 0.2, 0.2, z, 1e-6, 1e-6, 1e-6));
    lamp.Photon.DirectionZ = 1;
    EXPECT_EQ(lamp.Source.SampleExternalEntry(&context, &lamp.Photon), enters) << z;
    if (!enters) continue;
    EXPECT_NEAR(lamp.Photon.PositionZ, 0, 1e-12);
    EXPECT_EQ(lamp.Photon.TissueIndex, 0);
  }
}

TEST(LightSource, FillsADisc)
{
  TestContext context;
  Lamp disc(Place(new trelCylinder, 1, 2, 3, 10, 20, 0));
  for (int n = 0; n < 100; ++n) {
    ASSERT_TRUE(disc.Launch(context));
    EXPECT_EQ(disc.Photon.PositionZ, 3.0);
    EXPECT_LE(std::hypot((disc.Photon.PositionX - 1) / 10, (disc.Photon.PositionY - 2) / 20), 1.0);
  }
}

/** Each ends, and says that it failed. */
TEST(LightSource, GivesUpWhereThereIsNoPoint)
{
  TestContext context;
  for (trelShapeObject* shape :
       {static_cast<trelShapeObject*>(nullptr), MakeShape(ShapeTetrahedron)}) {
    Lamp dark(shape);
    EXPECT_FALSE(dark.Launch(context));
    EXPECT_FALSE(dark.Source.SampleVolume(&context, &dark.Photon));
    EXPECT_FALSE(dark.Source.SampleSurface(&context, &dark.Photon));
    EXPECT_EQ(context.Taken, 0u);
  }
  Lamp point(new trelEllipsoid);
  EXPECT_FALSE(point.Launch(context)) << "no point is inside";
  EXPECT_EQ(context.Taken, 2u) << "a flat ball is not searched";

  Lamp lamp(Place(new trelCube, 0, 0, 0, 1, 1, 1));
  lamp.Source.SetInternal(false);
  EXPECT_FALSE(lamp.Launch(context)) << "no medium to enter";
  AddTissue(context.Medium, Place(new trelCube, 0, 0, 0, 1e-9, 9, 9));
  lamp.Source.SetAzimuthRange(90, 90);
  EXPECT_FALSE(lamp.Launch(context)) << "steps too small to get out";
  context.Medium.SetShapeIsTetrahedron(true);
  EXPECT_FALSE(lamp.Launch(context));
}
