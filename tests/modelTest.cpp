#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "modelFixtures.h"
#include "trelMCTetrahedron.h"
#include "trelPhoton.h"
#include "trelSpectrum.h"

using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

static constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
static constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(Spectrum, TakesTheReflectanceOffTheEnergyOnce)
{
  const struct
  {
    double energy;
    std::uint32_t number;
    bool specular;
    double outside, inside;
    double reflectance, weight;
  } cases[] = {{1.0, 1000, false, 1.0, 1.5, 0.0, 1e-3},
               {1.0, 1000, true, 1.0, 1.5, 0.04, 0.96e-3},
               {2.0, 10, true, 1.0, 1.5, 0.04, 0.196},
               {1.0, 1000, true, 1.37, 1.37, 0.0, 1e-3},
               {1.0, 4000000000u, false, 1.0, 1.5, 0.0, 0.25e-9},
               {1.0, 0, false, 1.0, 1.5, 0.0, infinity}};
  for (const auto& c : cases) {
    trelMedium medium;
    AddTissue(medium, nullptr)->GetOpticalParameter(0)->SetRefractiveIndex(c.inside);
    medium.SetAmbientRefractiveIndex(c.outside);
    trelSpectrum spectrum;
    spectrum.SetEnergy(c.energy);
    spectrum.SetPhotonNumber(c.number);
    EXPECT_DOUBLE_EQ(spectrum.GetPhotonWeight(c.specular, &medium), c.weight);
    EXPECT_DOUBLE_EQ(spectrum.GetSpecularReflectance(!c.specular, nullptr), c.reflectance);
    spectrum.SetEnergy(77.0);
    EXPECT_DOUBLE_EQ(spectrum.GetPhotonWeight(!c.specular, &medium), c.weight) << "computed once";
  }
}

TEST(Tissue, FindsTheFirstEntryOfAWavelengthOrTheLast)
{
  trelTissue tissue;
  EXPECT_EQ(tissue.GetOpticalParameterByWavelength(600), nullptr);
  for (const std::uint32_t wavelength : {600u, 700u, 600u, 800u}) {
    auto* optics = new trelOpticalParameter;
    optics->Register();
    optics->SetWavelength(wavelength);
    tissue.GetOpticalParameters()->Append(optics);
  }
  EXPECT_EQ(tissue.GetOpticalParameterByWavelength(600), tissue.GetOpticalParameter(0));
  EXPECT_EQ(tissue.GetOpticalParameterByWavelength(700), tissue.GetOpticalParameter(1));
  EXPECT_EQ(tissue.GetOpticalParameterByWavelength(123), tissue.GetOpticalParameter(3));
  EXPECT_EQ(tissue.GetName(), "unNamed");
}

TEST(Tissue, LetsGoOfWhatItHolds)
{
  trelCube cube;
  cube.Register();
  trelEllipsoid ellipsoid;
  ellipsoid.Register();
  {
    trelTissue tissue;
    tissue.SetShape(&cube);
    tissue.SetShape(nullptr);
    EXPECT_EQ(tissue.GetShape(), &cube);
    tissue.SetShape(&ellipsoid);
    EXPECT_EQ(cube.GetReferenceCount(), 1);
    EXPECT_EQ(ellipsoid.GetReferenceCount(), 2);
    tissue.ClearModel();
    EXPECT_EQ(tissue.GetShape(), nullptr);
    EXPECT_EQ(tissue.GetOpticalParameter(0), nullptr);
    EXPECT_EQ(ellipsoid.GetReferenceCount(), 1);
    tissue.SetShape(&cube);
  }
  EXPECT_EQ(cube.GetReferenceCount(), 1);
}

TEST(Medium, WithOneTissueAsksTheOutermostShape)
{
  trelMedium medium;
  AddTissue(medium, Place(new trelEllipsoid, 1, 2, 3, 10, 20, 30));
  const struct
  {
    double x, y, z;
    int tissue;
  } cases[] = {{1, 2, 3, 0},          {-9, 2, 3, 0},          {11, 2, 3, 0},
               {11 + 1e-13, 2, 3, 0}, {11 + 1e-11, 2, 3, -1}, {1, 2, 33, 0},
               {1, 2, -27, 0},        {10.9, 21.9, 3, -1},  // in the box, not in the ellipsoid
               {1000, 2, 3, -1},      {-1e300, 2, 3, -1},     {infinity, 2, 3, -1},
               {1, -infinity, 3, -1}, {notANumber, 2, 3, -1}, {1, 2, notANumber, -1}};
  for (const auto& c : cases) {
    EXPECT_EQ(medium.GetTissueIndex(c.x, c.y, c.z), c.tissue) << c.x << " " << c.y << " " << c.z;
    EXPECT_EQ(medium.ConfirmTissueIndex(c.x, c.y, c.z), c.tissue);
  }
}

/** Nested and overlapping tissues of all analytic kinds, one without a shape. */
static void BuildCrowd(trelMedium& medium, trelShapeObject* outer)
{
  medium.SetOutermostTissueIndex(2);
  AddTissue(medium, Place(new trelEllipsoid, 5, 5, 5, 12, 9, 7));
  AddTissue(medium, nullptr);
  AddTissue(medium, outer);
  AddTissue(medium, Place(new trelCube, 8, 5, 4, 7, 6, 5));
  AddTissue(medium, Place(new trelCylinder, -9, -8, 0, 4, 6, 11));
  AddTissue(medium, Place(new trelEllipsoid, 6, 6, 5, 2, 2, 2));
  AddTissue(medium, Place(new trelCube, 17, 0, 0, 3, 3, 3));  // touches the bound at x = 20
}

/** A tissue whose shape has the point, or the outermost one, by asking all of them. */
static std::vector<int> FindHolders(const trelMedium& medium, double x, double y, double z)
{
  std::vector<int> holders;
  for (int i = 0; i < medium.GetNumberOfTissues(); ++i) {
    const trelShapeObject* shape = medium.GetTissue(i)->GetShape();
    if (i == medium.GetOutermostTissueIndex() || !shape) continue;
    if (shape->LocatePoint(x, y, z) != PointOutside) holders.push_back(i);
  }
  if (!holders.empty()) return holders;
  const bool outside = medium.GetOuterShape()->LocatePoint(x, y, z) == PointOutside;
  return {outside ? -1 : medium.GetOutermostTissueIndex()};
}

/** Points all over a box somewhat larger than the medium, a third of them on borders of cells. */
class PointsInAndAround
{
public:
  PointsInAndAround(const trelShapeObject& outer, unsigned seed) : Generator(seed)
  {
    outer.GetBoundingBox(Box);
  }
  double operator()(int axis)
  {
    const double extent = Box[2 * axis + 1] - Box[2 * axis];
    const double u = std::uniform_real_distribution<>(-0.02, 1.02)(Generator);
    const double cell = std::floor(99 * u);
    switch (Generator() % 6) {
      case 0:
        return Box[2 * axis] + cell * (extent / 99);
      case 1:
        return std::nextafter(Box[2 * axis] + cell * (extent / 99), -infinity);
      default:
        return Box[2 * axis] + u * extent;
    }
  }

private:
  std::mt19937 Generator;
  double Box[6];
};

TEST(Medium, AgreesWithAskingEveryShape)
{
  trelShapeObject* const outers[] = {Place(new trelCube, 0, 0, 0, 20, 20, 20),
                                     Place(new trelCylinder, 0, 0, 0, 20, 18, 16),
                                     Place(new trelEllipsoid, 0, 0, 0, 25, 18, 16)};
  for (trelShapeObject* outer : outers) {
    SCOPED_TRACE(outer->GetClassName());
    trelMedium medium;
    BuildCrowd(medium, outer);
    ASSERT_TRUE(medium.BuildTissueGrid());
    PointsInAndAround next(*outer, 1);
    int inside = 0;
    for (int n = 0; n < 100000; ++n) {
      const double x = next(0), y = next(1), z = next(2);
      const int found = medium.GetTissueIndex(x, y, z);
      ASSERT_EQ(found, medium.ConfirmTissueIndex(x, y, z)) << x << " " << y << " " << z;
      inside += found >= 0;
      // Holders outside of the outermost shape count only where their own cells say so.
      if (outer->LocatePoint(x, y, z) == PointOutside) continue;
      ASSERT_THAT(FindHolders(medium, x, y, z), testing::Contains(found))
          << x << " " << y << " " << z;
    }
    EXPECT_GT(inside, 30000);
  }
}

TEST(Medium, AsksNoShapeInASettledCell)
{
  const struct
  {
    ShapeType kind;
    int outerQuestions, innerQuestions;
  } cases[] = {{ShapeCube, 0, 0}, {ShapeRectangle, 0, 0}, {ShapeTriangleMesh, 1, 1}};
  for (const auto& c : cases) {
    auto* outer = Place(new BoxOfKind(c.kind), 0, 0, 0, 10, 10, 10);
    auto* inner = Place(new BoxOfKind(c.kind), 5, 5, 5, 2, 2, 2);
    trelMedium medium;
    AddTissue(medium, outer);
    AddTissue(medium, inner);
    ASSERT_TRUE(medium.BuildTissueGrid());
    outer->Questions = inner->Questions = 0;
    EXPECT_EQ(medium.GetTissueIndex(-1, -2, 3), 0);
    EXPECT_EQ(medium.GetTissueIndex(5, 5, 5), 1);
    EXPECT_EQ(outer->Questions, c.outerQuestions) << c.kind;
    EXPECT_EQ(inner->Questions, c.innerQuestions) << c.kind;
    medium.GetTissueIndex(9.999, 0, 0);
    EXPECT_EQ(outer->Questions, c.outerQuestions + 1) << "at the rim";
  }
}

TEST(Medium, SettledCellsDoNotChangeAnAnswerFarFromTheOrigin)
{
  // At 1e9 a double resolves 1e-7, a fifth of a cell: no margin can be sure, no cell is settled.
  for (const double offset : {0.0, 1e3, 1e6, 1e9}) {
    trelMedium medium;
    trelShapeObject* outer = Place(new trelEllipsoid, offset, -offset, 0, 3e-5, 2e-5, 1e-5);
    AddTissue(medium, outer);
    AddTissue(medium, Place(new trelCube, offset, -offset, 0, 1e-5, 1e-5, 5e-6));
    medium.BuildTissueGrid();
    PointsInAndAround next(*outer, 2);
    for (int n = 0; n < 20000; ++n) {
      const double x = next(0), y = next(1), z = next(2);
      ASSERT_EQ(medium.GetTissueIndex(x, y, z), medium.ConfirmTissueIndex(x, y, z))
          << offset << ": " << x - offset << " " << y + offset << " " << z;
    }
  }
}

TEST(Medium, GivesACellToTheSmallerOfTwoTissues)
{
  // Both hold the origin. Solids are compared by volume; of planar shapes the narrower wins,
  // whatever its height; the first keeps the cell when they are equal.
  const struct
  {
    double first[3], second[3];
    int solid, planar;
  } cases[] = {{{3, 3, 3}, {2, 2, 2}, 2, 2}, {{2, 2, 2}, {3, 3, 3}, 1, 1},
               {{3, 1, 1}, {2, 8, 8}, 1, 2}, {{2, 8, 8}, {3, 1, 1}, 2, 1},
               {{2, 4, 1}, {4, 2, 1}, 1, 1}, {{4, 2, 1}, {2, 4, 1}, 1, 2}};
  for (const auto& c : cases) {
    for (const bool planar : {false, true}) {
      const ShapeType kind = planar ? ShapeRectangle : ShapeTriangleMesh;
      trelMedium medium;
      AddTissue(medium, Place(new BoxOfKind(kind), 0, 0, 0, 10, 10, 10));
      AddTissue(medium, Place(new BoxOfKind(kind), 0, 0, 0, c.first[0], c.first[1], c.first[2]));
      AddTissue(medium, Place(new BoxOfKind(kind), 0, 0, 0, c.second[0], c.second[1], c.second[2]));
      EXPECT_EQ(medium.GetTissueIndex(0, 0, 0), planar ? c.planar : c.solid)
          << (planar ? "planar " : "solid ") << c.first[0] << " against " << c.second[0];
    }
  }
}

TEST(Medium, AsksRelatedTissuesFirstAndAllAtLast)
{
  // The ball does not fill the corner of its box, where the larger cube behind it has the point.
  trelMedium medium;
  AddTissue(medium, Place(new trelCube, 0, 0, 0, 10, 10, 10));
  AddTissue(medium, Place(new trelCube, 0, 0, 0, 6, 6, 6));
  AddTissue(medium, Place(new trelEllipsoid, 0, 0, 0, 4, 4, 4));
  EXPECT_EQ(medium.GetTissueIndex(0, 0, 0), 2);
  EXPECT_EQ(medium.GetTissueIndex(3.9, 3.9, 3.9), 1);
  EXPECT_EQ(medium.GetTissueIndex(7, 7, 7), 0);
  EXPECT_EQ(medium.GetTissueShape(2), medium.GetTissue(2)->GetShape());
}

TEST(Medium, LooksAtNoZInAPlanarModel)
{
  trelMedium medium;
  AddTissue(medium, Place(new BoxOfKind(ShapeRectangle), 0, 0, 0, 10, 5, 0));
  AddTissue(medium, Place(new BoxOfKind(ShapeEllipse), 1, 1, 0, 2, 2, 0));
  for (const double z : {0.0, 5.0, -1e300, infinity, notANumber}) {
    EXPECT_EQ(medium.GetTissueIndex(1, 1, z), 1) << z;
    EXPECT_EQ(medium.GetTissueIndex(-9, 4, z), 0) << z;
    EXPECT_EQ(medium.GetTissueIndex(10, 5, z), 0) << z;
    EXPECT_EQ(medium.GetTissueIndex(11, 0, z), -1) << z;
  }
}

TEST(Medium, ReportsATissueThatSticksOutAtEachLookUp)
{
  const struct
  {
    ShapeType kind;
    const char* report;
  } cases[] = {
      {ShapeCube,
       "): tissue shape is outside the outermost tissue shape, initial model error!\n\n"},
      {ShapeEllipse, "): tissue shape is outside the Medium shape, initial model error!\n\n"}};
  for (const auto& c : cases) {
    trelMedium medium;
    AddTissue(medium, Place(new BoxOfKind(c.kind), 0, 0, 0, 10, 10, 10));
    AddTissue(medium, Place(new BoxOfKind(c.kind), 5, 5, 5, 1, 1, 1));
    trelTissue* out = AddTissue(medium, Place(new BoxOfKind(c.kind), 9, 0, 0, 2, 1, 1));
    const std::string report = std::string(c.report).insert(2, " ");
    CaptureStderr();
    EXPECT_FALSE(medium.BuildTissueGrid());
    EXPECT_THAT(GetCapturedStderr(), HasSubstr(report));
    CaptureStderr();
    EXPECT_EQ(medium.GetTissueIndex(5, 5, 5), 1) << "the grid holds the tissues ahead";
    EXPECT_THAT(GetCapturedStderr(), HasSubstr(report));
    Place(out->GetShape(), 9, 0, 0, 1, 1, 1);
    CaptureStderr();
    EXPECT_EQ(medium.GetTissueIndex(9, 0, 0), 2);
    EXPECT_EQ(GetCapturedStderr(), "") << "built once the model is right";
  }
}

TEST(Medium, SurvivesModelsThatHoldNothing)
{
  const double points[][3] = {{0, 0, 0}, {1, 2, 3}, {notANumber, 0, 0}, {0, infinity, 1e300}};
  for (const double half : {0.0, -1.0, 1e308, infinity, notANumber}) {
    trelMedium medium;
    AddTissue(medium, Place(new trelEllipsoid, 0, 0, 0, half, 1, half));
    AddTissue(medium, Place(new trelCube, 0, 0, 0, 0, 0, 0));
    CaptureStderr();
    medium.BuildTissueGrid();
    for (const auto& p : points) {
      EXPECT_EQ(medium.GetTissueIndex(p[0], p[1], p[2]),
                medium.ConfirmTissueIndex(p[0], p[1], p[2]));
    }
    GetCapturedStderr();
  }
  for (const int outermost : {0, -1, 99}) {
    trelMedium medium;
    AddTissue(medium, nullptr);
    medium.SetOutermostTissueIndex(outermost);
    CaptureStderr();
    EXPECT_FALSE(medium.BuildTissueGrid());
    EXPECT_EQ(medium.GetTissueIndex(0, 0, 0), -1);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("): initial model error!\n\n"));
    EXPECT_EQ(medium.ConfirmTissueIndex(0, 0, 0), -1);
  }
}

TEST(Medium, OfTetrahedraAsksTheMesh)
{
  trelMedium medium;
  medium.SetShapeIsTetrahedron(true);
  EXPECT_EQ(medium.GetTissueIndex(0, 0, 0), 0);
  EXPECT_EQ(medium.GetOuterShape(), nullptr);
  medium.SetTetrahedron(new trelMCTetrahedron);
  EXPECT_EQ(medium.GetTissueIndex(0, 0, 0), 3) << "an empty mesh has no answer";
  EXPECT_EQ(medium.GetOuterShape(), medium.GetTetrahedron());
}

TEST(Photon, ResetsToAPacketOutsideOfTheMedium)
{
  trelPhoton photon;
  photon.PositionX = photon.DirectionX = photon.DirectionZ = photon.StepLeft = 5.0;
  photon.Dead = true;
  photon.TissueIndex = 3;
  photon.ResetPhoton();
  EXPECT_EQ(photon.PositionX + photon.DirectionX + photon.StepLeft, 0.0);
  EXPECT_EQ(photon.DirectionZ, 1.0);
  EXPECT_EQ(photon.TissueIndex, -1);
  EXPECT_FALSE(photon.Dead);
}
