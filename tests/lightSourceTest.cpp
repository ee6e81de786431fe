#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "modelFixtures.h"
#include "trelLaunchContext.h"
#include "trelLightSource.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelPhoton.h"
#include "trelSpectrum.h"
#include "trelTetrahedron.h"
#include "trelTriangleMesh.h"

/** Gives numbers written in a test, then those of a seeded generator; counts what is taken. */
class TestContext final : public trelLaunchContext
{
public:
  explicit TestContext(unsigned seed) : Generator(seed) {}
  explicit TestContext(std::vector<double> script) : Script(std::move(script)) {}

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
  std::mt19937_64 Generator;
};

/** The mean of samples, against its expected value in units of its own standard error. */
class Mean
{
public:
  void Add(double value)
  {
    ++Count;
    Sum += value;
    SumOfSquares += value * value;
  }
  double Value() const { return Sum / Count; }
  double Error() const
  {
    return std::sqrt((SumOfSquares / Count - Value() * Value()) / (Count - 1));
  }
  /** True in all but one of 1.7 million right cases. */
  bool IsWithin5Sigma(double expected) const { return std::fabs(Value() - expected) < 5 * Error(); }

private:
  double Count = 0, Sum = 0, SumOfSquares = 0;
};

/** A new shape of a kind at (1, 2, 3) with the half-axes 10, 20 and 40. */
static trelShapeObject* NewShape(ShapeType kind)
{
  switch (kind) {
    case ShapeEllipsoid:
      return Place(new trelEllipsoid, 1, 2, 3, 10, 20, 40);
    case ShapeCylinder:
      return Place(new trelCylinder, 1, 2, 3, 10, 20, 40);
    case ShapeCube:
      return Place(new trelCube, 1, 2, 3, 10, 20, 40);
    default:
      return Place(new BoxOfKind(kind), 1, 2, 3, 10, 20, 40);
  }
}

TEST(LightSource, DrawsTheAzimuthThenTheDeflection)
{
  const double half = std::sqrt(0.5);
  const struct
  {
    ShapeType kind;
    std::size_t taken;
    double x, y, z;
  } cases[] = {{ShapeRectangle, 1, 0, 1, 0},          {ShapeEllipse, 1, 0, 1, 0},
               {ShapeEllipsoid, 2, 0, half, half},    {ShapeCylinder, 2, 0, half, half},
               {ShapeTriangleMesh, 2, 0, half, half}, {ShapeCube, 2, 0, half, half}};
  for (const auto& c : cases) {
    TestContext context({0.5, 0.25});
    trelLightSource source;
    source.SetShape(NewShape(c.kind));
    source.SetAzimuthRange(45, 135);
    source.SetDeflectionRange(0, 180);
    trelPhoton photon;
    EXPECT_TRUE(source.SampleDirection(&context, &photon));
    EXPECT_EQ(context.Taken, c.taken) << c.kind;
    EXPECT_NEAR(photon.DirectionX, c.x, 1e-15);
    EXPECT_NEAR(photon.DirectionY, c.y, 1e-15);
    EXPECT_NEAR(photon.DirectionZ, c.z, 1e-15);
  }
  double min, max;
  trelLightSource source;
  source.GetAzimuthRange(&min, &max);
  EXPECT_EQ(max, 2 * Pi);
  source.GetDeflectionRange(&min, &max);
  EXPECT_EQ(max, Pi);
}

/** The deflection is uniform in the angle: the mean of its squared cosine is 1/2. An isotropic
 * source has 1/3, and one that stops at 178 degrees 0.4944: both are told apart. */
TEST(LightSource, PrefersThePoles)
{
  TestContext context(1);
  trelLightSource source;
  source.SetShape(NewShape(ShapeCube));
  trelPhoton photon;
  Mean cosine, square, x;
  for (int n = 0; n < 200000; ++n) {
    ASSERT_TRUE(source.SampleDirection(&context, &photon));
    cosine.Add(photon.DirectionZ);
    square.Add(photon.DirectionZ * photon.DirectionZ);
    x.Add(photon.DirectionX * photon.DirectionX);
  }
  EXPECT_TRUE(cosine.IsWithin5Sigma(0.0)) << cosine.Value() << " +- " << cosine.Error();
  EXPECT_TRUE(square.IsWithin5Sigma(0.5)) << square.Value() << " +- " << square.Error();
  EXPECT_TRUE(x.IsWithin5Sigma(0.25)) << x.Value() << " +- " << x.Error();
  EXPECT_FALSE(square.IsWithin5Sigma(0.4944));
}

TEST(LightSource, DrawsSurfacePointsInAFixedOrder)
{
  const double chord = std::sqrt(0.75);  // at half the half-axis
  const struct
  {
    ShapeType kind;
    std::vector<double> draws;
    double x, y, z;  // from the centre, in half-axes; planar shapes end at z = 0
  } cases[] = {{ShapeRectangle, {0.4, 0.4, 0.75}, 1, 0.5, 0},
               {ShapeRectangle, {0.4, 0.5, 0.75}, -1, 0.5, 0},
               {ShapeRectangle, {0.5, 0.4, 0.75}, 0.5, 1, 0},
               {ShapeRectangle, {0.5, 0.5, 0.75}, 0.5, -1, 0},
               {ShapeEllipse, {0.4, 0.4, 0.75}, 0.5, chord, 0},
               {ShapeEllipse, {0.4, 0.5, 0.25}, -0.5, -chord, 0},
               {ShapeEllipse, {0.5, 0.4, 0.75}, chord, 0.5, 0},
               {ShapeEllipse, {0.5, 0.5, 0.75}, -chord, 0.5, 0},
               {ShapeEllipsoid, {0.4, 0.75, 0.5}, 0.5, 0, chord},
               {ShapeEllipsoid, {0.5, 0.75, 0.75}, 0.5, 0.5 * chord, -0.75},
               {ShapeCylinder, {0.4, 0.4, 0.4, 0.75, 0.75}, 0.5, 0.5 * chord, 1},
               {ShapeCylinder, {0.4, 0.4, 0.5, 0.75, 0.25}, 0.5, -0.5 * chord, -1},
               {ShapeCylinder, {0.4, 0.5, 0.4, 0.75, 0.25}, -0.5 * chord, 0.5, 1},
               {ShapeCylinder, {0.5, 0.4, 0.4, 0.75, 0.25}, 0.5, chord, -0.5},
               {ShapeCylinder, {0.5, 0.4, 0.5, 0.75, 0.25}, 0.5, -chord, -0.5},
               {ShapeCylinder, {0.5, 0.5, 0.4, 0.75, 0.25}, chord, 0.5, -0.5},
               {ShapeCylinder, {0.5, 0.5, 0.5, 0.75, 0.25}, -chord, 0.5, -0.5},
               {ShapeCube, {0.4, 0.4, 0.75, 0.25}, 0.5, -0.5, 1},
               {ShapeCube, {0.9, 0.5, 0.75, 0.25}, 0.5, -0.5, -1}};
  int row = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(row++);
    TestContext context(c.draws);
    trelLightSource source;
    source.SetShape(NewShape(c.kind));
    trelPhoton photon;
    ASSERT_TRUE(source.SampleSurface(&context, &photon));
    EXPECT_EQ(context.Taken, c.draws.size());
    EXPECT_NEAR(photon.PositionX, 1 + 10 * c.x, 1e-13);
    EXPECT_NEAR(photon.PositionY, 2 + 20 * c.y, 1e-13);
    EXPECT_NEAR(photon.PositionZ, c.kind < ShapeEllipsoid ? 0 : 3 + 40 * c.z, 1e-13);
  }
}

TEST(LightSource, KeepsTheRimOfAnEllipsoidANumber)
{
  trelLightSource source;
  source.SetShape(NewShape(ShapeEllipsoid));
  for (int n = 0; n <= 1000; ++n) {
    TestContext context({0.0, n / 1000.0, 0.0});
    trelPhoton photon;
    ASSERT_TRUE(source.SampleSurface(&context, &photon));
    EXPECT_NEAR(photon.PositionZ, 3.0, 1e-5) << n;
  }
}

TEST(LightSource, FillsTheShape)
{
  TestContext scripted({0.99, 0.99, 0.99, 0.5, 0.75, 0.25});
  trelLightSource source;
  source.SetShape(NewShape(ShapeEllipsoid));
  trelPhoton photon;
  ASSERT_TRUE(source.SampleVolume(&scripted, &photon));
  EXPECT_EQ(scripted.Taken, 6u) << "the first point lies outside";
  EXPECT_DOUBLE_EQ(photon.PositionY, 12.0);
  EXPECT_DOUBLE_EQ(photon.PositionZ, -17.0);

  // Uniform in a ball of radius 1: the mean of the squared radius is 3/5.
  TestContext context(2);
  Mean square;
  for (int n = 0; n < 100000; ++n) {
    ASSERT_TRUE(source.SampleVolume(&context, &photon));
    const double x = (photon.PositionX - 1) / 10;
    const double y = (photon.PositionY - 2) / 20;
    const double z = (photon.PositionZ - 3) / 40;
    square.Add(x * x + y * y + z * z);
  }
  EXPECT_TRUE(square.IsWithin5Sigma(0.6)) << square.Value() << " +- " << square.Error();
  EXPECT_FALSE(square.IsWithin5Sigma(0.6 * 1.01));

  TestContext planar({0.75, 0.25});
  source.SetShape(NewShape(ShapeRectangle));
  ASSERT_TRUE(source.SampleVolume(&planar, &photon));
  EXPECT_EQ(planar.Taken, 2u);
  EXPECT_DOUBLE_EQ(photon.PositionX, 6.0);
  EXPECT_EQ(photon.PositionZ, 0.0);
}

TEST(LightSource, LaunchesByItsKind)
{
  const struct
  {
    LuminousType type;
    bool internal, solid, launchable;
    bool launched, onSurface, onSkin;
  } cases[] = {{LuminousBioluminescence, true, true, true, true, false, false},
               {LuminousBioluminescence, false, true, true, true, false, false},
               {LuminousBioluminescence, true, false, true, true, true, false},
               {LuminousDiffuse, true, false, true, true, true, false},
               {LuminousExcitation, true, true, true, true, false, false},
               {LuminousDiffuse, false, true, true, true, false, true},
               {LuminousExcitation, false, false, true, true, false, true},
               {LuminousEmission, true, true, true, false, false, false},
               {LuminousDiffuse, true, true, false, false, false, false},
               {LuminousExcitation, false, true, false, false, false, false}};
  int row = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(row++);
    TestContext context(3);
    trelShapeObject* skin = Place(new trelCube, 0, 0, 0, 50, 50, 50);
    AddTissue(context.Medium, skin);
    trelLightSource source;
    source.SetShape(NewShape(ShapeCylinder));
    source.SetLuminousType(c.type);
    source.SetInternal(c.internal);
    source.SetSolid(c.solid);
    source.SetLaunchable(c.launchable);
    trelSpectrum spectrum;
    spectrum.SetEnergy(1);
    spectrum.SetPhotonNumber(4);
    spectrum.SetWavelength(650);
    spectrum.SetWavelengthIndex(1);
    trelPhoton photon;
    photon.StepCount = 5;
    ASSERT_EQ(source.LaunchPhoton(&context, &photon, &spectrum), c.launched);
    EXPECT_EQ(photon.StepCount, 0u);
    if (!c.launched) continue;
    EXPECT_EQ(photon.Weight, 0.25);
    EXPECT_EQ(photon.Wavelength, 650);
    EXPECT_EQ(photon.WavelengthIndex, 1);
    const double x = photon.PositionX, y = photon.PositionY, z = photon.PositionZ;
    EXPECT_EQ(skin->LocatePoint(x, y, z) == PointOnBoundary, c.onSkin);
    EXPECT_EQ(photon.TissueIndex, c.onSkin ? 0 : -1) << "only an external launch knows the tissue";
    EXPECT_EQ(source.GetShape()->LocatePoint(x, y, z) == PointOnBoundary, c.onSurface);
  }
}

TEST(LightSource, EntersTheMediumAlongItsDirection)
{
  // A point-like source that shines along +x, at different places about a cube of half-edge 10.
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
    TestContext context(4);
    AddTissue(context.Medium, nullptr);
    AddTissue(context.Medium, Place(new trelCube, 0, 0, 0, 10, 10, 10));
    context.Medium.SetOutermostTissueIndex(1);
    trelLightSource source;
    source.SetShape(Place(new trelCube, c.x, c.y, 0, 0, 0, 0));
    source.SetAzimuthRange(0, 0);
    source.SetDeflectionRange(90, 90);
    source.SetInternal(false);
    source.SetLuminousType(LuminousDiffuse);
    trelSpectrum spectrum;
    trelPhoton photon;
    EXPECT_EQ(source.LaunchPhoton(&context, &photon, &spectrum), c.enters) << c.x << " " << c.y;
    EXPECT_EQ(photon.TissueIndex, c.enters ? 1 : -1);
    if (c.enters) {
      EXPECT_NEAR(photon.PositionX, c.atX, 1e-12);
      EXPECT_NEAR(photon.PositionY, c.y, 1e-12);
    }
  }
}

/** The tetrahedron of the origin and the ends of the unit vectors, as a mesh of either kind. */
template <class Mesh>
static Mesh* FillCorner(Mesh* mesh)
{
  for (int v = 0; v < 4; ++v) {
    const float record[6] = {float(v == 1), float(v == 2), float(v == 3), 0, 0, 0};
    mesh->AddVertex(record);
  }
  return mesh;
}

TEST(LightSource, DrawsFacePointsOfAMesh)
{
  static const std::uint32_t faces[4][3] = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
  trelTriangleMesh corner;
  FillCorner(&corner);
  for (const auto& face : faces)
    corner.AddFace(face);
  auto* mesh = new trelMCTriangleMesh;
  ASSERT_TRUE(mesh->ImportMesh(&corner));
  trelLightSource source;
  source.SetShape(mesh);
  trelPhoton photon;
  // Upright faces and points beside the face cost an attempt of three numbers each; an edge is in.
  TestContext context({0.3, 0.5, 0.5, 0.6, 0.5, 0.5, 0.8, 0.7, 0.7, 0.8, 0.25, 0.5, 0.1, 0.5, 0.5});
  EXPECT_TRUE(source.SampleSurface(&context, &photon));
  EXPECT_EQ(context.Taken, 12u);
  EXPECT_NEAR(photon.PositionX + photon.PositionY + photon.PositionZ, 1.0, 1e-15);
  EXPECT_NEAR(photon.PositionZ, 0.25, 1e-15);
  EXPECT_TRUE(source.SampleSurface(&context, &photon));
  EXPECT_EQ(context.Taken, 15u);
  EXPECT_EQ(photon.PositionZ, 0.0);
}

TEST(LightSource, EntersATetrahedralMedium)
{
  trelTetrahedron corner;
  FillCorner(&corner)->SetNumberOfTetrahedra(1);
  for (std::uint32_t v = 0; v < 4; ++v)
    corner.GetTetrahedronData()[v] = v;
  corner.SetNumberOfRegions(1);
  ASSERT_TRUE(corner.BuildFaces());
  auto* mesh = new trelMCTetrahedron;
  ASSERT_TRUE(mesh->ImportMesh(&corner));
  TestContext context(6);
  context.Medium.SetShapeIsTetrahedron(true);
  context.Medium.SetTetrahedron(mesh);
  trelLightSource source;
  source.SetInternal(false);
  source.SetLuminousType(LuminousDiffuse);
  // Within the mesh, and below it: half the width of the mesh is the longest way in.
  const struct
  {
    double z;
    bool enters;
  } cases[] = {{0.3, true}, {-0.3, true}, {-1.3, false}, {2, false}};
  for (const auto& c : cases) {
    source.SetShape(Place(new trelCube, 0.2, 0.2, c.z, 1e-6, 1e-6, 1e-6));
    trelPhoton photon;
    photon.DirectionZ = 1;
    EXPECT_EQ(source.SampleExternalEntry(&context, &photon), c.enters) << c.z;
    if (!c.enters) continue;
    EXPECT_NEAR(photon.PositionZ, 0, 1e-12);
    EXPECT_EQ(photon.TissueIndex, 0);
  }
}

/** Each ends, and says that it failed. */
TEST(LightSource, GivesUpWhereThereIsNoPoint)
{
  trelPhoton photon;
  trelSpectrum spectrum;
  TestContext context(5);
  trelLightSource source;
  EXPECT_FALSE(source.LaunchPhoton(&context, &photon, &spectrum)) << "no shape";
  EXPECT_FALSE(source.SampleVolume(&context, &photon));
  EXPECT_FALSE(source.SampleSurface(&context, &photon));

  source.SetShape(NewShape(ShapeTetrahedron));
  EXPECT_FALSE(source.SampleDirection(&context, &photon));
  EXPECT_FALSE(source.SampleVolume(&context, &photon));
  EXPECT_FALSE(source.SampleSurface(&context, &photon));
  EXPECT_EQ(context.Taken, 0u);

  source.SetShape(Place(new trelEllipsoid, 0, 0, 0, 0, 0, 0));
  EXPECT_FALSE(source.LaunchPhoton(&context, &photon, &spectrum)) << "no point is inside";
  EXPECT_EQ(context.Taken, 2u) << "a flat ball is not searched";
  source.SetSolid(false);
  EXPECT_TRUE(source.LaunchPhoton(&context, &photon, &spectrum));

  source.SetShape(Place(new trelCube, 0, 0, 0, 1, 1, 1));
  source.SetInternal(false);
  source.SetLuminousType(LuminousDiffuse);
  EXPECT_FALSE(source.LaunchPhoton(&context, &photon, &spectrum)) << "no medium to enter";
  AddTissue(context.Medium, Place(new trelCube, 0, 0, 0, 1e-9, 9, 9));
  source.SetAzimuthRange(90, 90);
  EXPECT_FALSE(source.LaunchPhoton(&context, &photon, &spectrum)) << "steps too small to get out";
  context.Medium.SetShapeIsTetrahedron(true);
  EXPECT_FALSE(source.LaunchPhoton(&context, &photon, &spectrum));
}
