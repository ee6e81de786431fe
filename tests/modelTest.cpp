#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <vector>

#include "modelFixtures.h"
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
    double inside;
    double reflectance, weight;
  } cases[] = {{1.0, 1000, false, 1.5, 0.0, 1e-3},
               {2.0, 10, true, 1.5, 0.04, 0.196},
               {1.0, 1000, true, 1.0, 0.0, 1e-3},
               {1.0, 4000000000u, false, 1.5, 0.0, 0.25e-9},
               {1.0, 0, false, 1.5, 0.0, infinity}};
  for (const auto& c : cases) {
    trelMedium medium;
    AddTissue(medium, nullptr)->GetOpticalParameter(0)->SetRefractiveIndex(c.inside);
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
}

// Single points in simple media stand in tests/models/sound.txt.

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

/** The tissues whose shape has the point, or else the outermost one, by asking all of them. */
static std::vector<int> FindHolders(const trelMedium& medium, double x, double y, double z)
{
  std::vector<int> holders;
  for (int i = 0; i < medium.GetNumberOfTissues(); ++i) {
    const trelShapeObject* shape = medium.GetTissue(i)->GetShape();
    if (i == medium.GetOutermostTissueIndex() || !shape) continue;
    if (shape->LocatePoint(x, y, z) != PointOutside) holders.push_back(i);
  }
  if (holders.empty()) holders.push_back(medium.GetOutermostTissueIndex());
  return holders;
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
    const double min = Box[2 * axis];
    const double extent = Box[2 * axis + 1] - min;
    const double u = std::uniform_real_distribution<>(-0.02, 1.02)(Generator);
    const double border = min + std::floor(99 * u) * (extent / 99);
    const auto choice = Generator() % 6;
    if (choice > 1) return min + u * extent;
    return choice == 0 ? border : std::nextafter(border, -infinity);
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
  for (const ShapeType kind : {ShapeCube, ShapeRectangle, ShapeTriangleMesh}) {
    const int needed = kind == ShapeTriangleMesh ? 1 : 0;
    auto* outer = Place(new BoxOfKind(kind), 0, 0, 0, 10, 10, 10);
    auto* inner = Place(new BoxOfKind(kind), 5, 5, 5, 2, 2, 2);
    trelMedium medium;
    AddTissue(medium, outer);
    AddTissue(medium, inner);
    ASSERT_TRUE(medium.BuildTissueGrid());
    outer->Questions = inner->Questions = 0;
    EXPECT_EQ(medium.GetTissueIndex(-1, -2, 3), 0);
    EXPECT_EQ(medium.GetTissueIndex(5, 5, 5), 1);
    EXPECT_EQ(outer->Questions, needed) << kind;
    EXPECT_EQ(inner->Questions, needed) << kind;
    medium.GetTissueIndex(9.999, 0, 0);
    EXPECT_EQ(outer->Questions, needed + 1) << "at the rim";
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

TEST(Medium, ReportsATissueThatSticksOutAtEachLookUp)
{
  for (const ShapeType kind : {ShapeCube, ShapeEllipse}) {
    const std::string report = std::string("):  tissue shape is outside the ") +
                               (kind == ShapeCube ? "outermost tissue shape" : "Medium shape") +
                               ", initial model error!\n\n";
    trelMedium medium;
    AddTissue(medium, Place(new BoxOfKind(kind), 0, 0, 0, 10, 10, 10));
    AddTissue(medium, Place(new BoxOfKind(kind), 5, 5, 5, 1, 1, 1));
    trelTissue* out = AddTissue(medium, Place(new BoxOfKind(kind), 9, 0, 0, 2, 1, 1));
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
  CaptureStderr();
  for (const double half : {0.0, -1.0, 1e308, infinity, notANumber}) {
    trelMedium medium;
    AddTissue(medium, Place(new trelEllipsoid, 0, 0, 0, half, 1, half));
    AddTissue(medium, Place(new trelCube, 0, 0, 0, 0, 0, 0));
    medium.BuildTissueGrid();
    for (const double x : {0.0, 1.0, 1e300, infinity, notANumber})
      EXPECT_EQ(medium.GetTissueIndex(x, 0, x), medium.ConfirmTissueIndex(x, 0, x)) << half;
  }
  GetCapturedStderr();
  for (const int outermost : {0, -1, 99}) {
    trelMedium medium;
    AddTissue(medium, nullptr);
    medium.SetOutermostTissueIndex(outermost);
    CaptureStderr();
    EXPECT_EQ(medium.GetTissueIndex(0, 0, 0), -1);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("): initial model error!\n\n"));
  }
}
