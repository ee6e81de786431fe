#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "modelFixtures.h"
#include "testModel.h"
#include "testTools.h"
#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelFreespacePinhole.h"
#include "trelMCTriangleMesh.h"
#include "trelPlaneDetector.h"
#include "trelSurfaceElement.h"

using testing::ElementsAre;

// One cell of the surface

/** Cells as the table of surface elements has them. */
static trelGridWindow MakeWindow(const trelVector& halfAxes)
{
  const trelGridBins bins[] = {{-2, 2, 1, 4},  {-1, 1, 0.5, 4}, {-3, 3, 2, 3},
                               {0, 2, 0.5, 4}, {0, 360, 90, 4}, {0, 180, 90, 2}};
  trelGridWindow window;
  std::copy_n(bins, 6, window.Bins);
  for (int k = 0; k < 3; ++k)
    window.HalfAxis[k] = halfAxes[k];
  return window;
}

static std::istream& operator>>(std::istream& row, trelVector& vector)
{
  return row >> vector.X >> vector.Y >> vector.Z;
}

TEST(SurfaceElement, IsTheCellOfThePoint)
{
  trelMCTriangleMesh mesh;
  ASSERT_TRUE(ImportCorner(mesh, 3));
  const trelEllipsoid ellipsoid;
  const trelCylinder cylinder;
  const trelCube cube;
  const std::map<std::string, const trelShapeObject*> shapes = {
      {"mesh", &mesh}, {"ellipsoid", &ellipsoid}, {"cylinder", &cylinder}, {"cube", &cube}};
  for (std::istringstream& row : ReadTable("surface-elements.txt")) {
    SCOPED_TRACE(row.str());
    std::string shape;
    int coordinate = 0, face = 0, index[2];
    trelVector halfAxes, hit, center, normal;
    double area = 0.0;
    row >> shape >> coordinate >> face >> halfAxes >> hit >> index[0] >> index[1] >> center;
    ASSERT_TRUE(row >> normal >> area);
    const trelGridWindow window = MakeWindow(halfAxes);
    SurfaceElement element;
    const bool isOff = shape == "ellipsoid" && area == 0.0;
    EXPECT_NE(shapes.at(shape)->MakeSurfaceElement(window, static_cast<CoordinateType>(coordinate),
                                                   hit, face, &element),
              isOff);
    EXPECT_THAT(element.Index, ElementsAre(index[0], index[1]));
    for (int k = 0; k < 3; ++k) {
      EXPECT_NEAR(element.Center[k], center[k], 1e-6);
      EXPECT_NEAR(element.Normal[k], normal[k], 1e-6);  // has the digits of 32-bit floats
    }
    EXPECT_NEAR(element.Area, area, 3e-7 * area);
  }
}

TEST(SurfaceElement, HasANormalOfSquaresIn32Bits)
{
  const double square[] = {0.009999999776482582, 0.09000000357627869};
  const trelEllipsoid ellipsoid;
  const trelCylinder cylinder;
  for (const trelShapeObject* shape : {static_cast<const trelShapeObject*>(&ellipsoid),
                                       static_cast<const trelShapeObject*>(&cylinder)}) {
    SurfaceElement element;
    ASSERT_TRUE(shape->MakeSurfaceElement(MakeWindow({0.1, 0.3, 0.2}), CoordinateCylindrical,
                                          {0.05, 0.1, 0.1}, 2, &element));
    const trelVector &n = element.Normal, &e = element.Center;
    EXPECT_NEAR(n.X * square[0] / e.X / (n.Y * square[1] / e.Y), 1.0, 1e-14);
  }
}

// Images

/** A cube of 20 mm about 0 and what its surface emits, filled by hand. */
class Imaging : public testing::Test
{
protected:
  Imaging() { Result->Register(); }
  ~Imaging() override { Result->UnRegister(); }

  /** A camera 4 mm wide of 4 x 4 pixels, 320 mm away: f 55, i 110, so that the lens stands at 210,
   *  the object plane at 100, and a pixel there is 1 mm wide. */
  void AddCamera()
  {
    auto* plane = new trelPlaneDetector;
    plane->SetCenter(0, 0, 320);
    plane->SetNormal(0, 0, -1);
    plane->SetSize(4, 4);
    plane->SetResolution(4, 4);
    plane->SetFocalLength(55);
    plane->SetImageDistance(110);
    Model->AddDetector(plane);
  }

  void Initialize(trelShapeObject* shape = TestModel::Make<trelCube>({0, 0, 0}, {10, 10, 10}))
  {
    Model.AddTissue(shape, {0.5, 1.0, 0.0, 1.0});
    ReportsOf([this] { ASSERT_TRUE(Result->Initialize(Model.Get())); });
    ASSERT_TRUE(Model->GetMedium()->BuildTissueGrid());
  }
  /** Lets each cell of a grid emit @p flux. */
  void Emit(trelGridId id, double flux, int spectrum = 0)
  {
    trelGrid* grid = Result->GetMediumResult(spectrum)->GetGrid(GridCW, id);
    std::fill_n(grid->GetCells(), grid->GetNumberOfCells(), flux);
  }
  bool Image()
  {
    Pinhole.SetParameter(Model.Get());
    Pinhole.SetResult(Result);
    return Pinhole.Update();
  }
  const trelDetectorResult& Record(int i, int spectrum = 0)
  {
    return *Result->GetDetectorArrayResult(spectrum)->GetDetectorResult(i);
  }

  TestModel Model;
  trelSimulationResult* Result = new trelSimulationResult;
  trelFreespacePinhole Pinhole;
};

TEST_F(Imaging, OfAGlowingFaceFollowsFromTheDistances)
{
  Model->SetWavelengths({600, 700});
  AddCamera();
  Initialize();
  Emit(TransmittanceTopXY, 3.0);
  Emit(TransmittanceTopXY, 6.0, 1);
  ASSERT_TRUE(Image());
  // Pixels at 0.5 and 1.5 mm see the face 200/110 as far out: cells with centres at 0.5 and 2.5.
  double sum = 0.0;
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      const int aside = (row == 0 || row == 3) + (column == 0 || column == 3);
      const double square = 90.0 * 90.0 + aside;
      const double expected = 3.0 * 90.0 * 90.0 / (square * square);
      EXPECT_NEAR((*Record(0).GetDetectionMatrix())(row, column), expected, 1e-15);
      sum += expected;
    }
  }
  EXPECT_NEAR(Record(0).GetTotalDetection(), sum, 1e-14);
  EXPECT_NEAR(Record(0, 1).GetTotalDetection(), 2 * sum, 2e-14);
  EXPECT_DOUBLE_EQ(Record(0).GetDetectionMaximum(), 3.0 / 8100);
  EXPECT_FLOAT_EQ(Result->GetDetectorArrayResult(0)->GetPlaneMaximum(), 3.0f / 8100);
  Pinhole.SetStopRequested(true);
  EXPECT_FALSE(Pinhole.Update());
}

TEST_F(Imaging, OfAnEllipsoidReadsItsRowsFromHighToLow)
{
  Model->SetTransmittanceCoordinate(CoordinateSpherical);
  Model->SetSeparations(1, 1, 1, 1, 30, 45);
  AddCamera();
  Initialize(TestModel::Make<trelEllipsoid>({0, 0, 0}, {10, 10, 10}));
  for (int a = 0; a < 12; ++a)
    (*Result->GetMediumResult(0)->GetTransmittanceSideDA())(3, a) = 1.0;  // up to 45 degrees
  ASSERT_TRUE(Image());
  EXPECT_GT(Record(0).GetDetectionMinimum(), 0.0);
}

TEST_F(Imaging, ReadsNothingOutsideOfTheGrid)
{
  AddCamera();
  const double roi[12] = {-10, 10, -10, 10, -10, 9, 0, 15, 0, 360, 0, 180};  // without the top
  Model->SetROI(roi);
  Initialize();
  Emit(TransmittanceFrontYZ, 1.0);
  ASSERT_TRUE(Image());
  EXPECT_EQ(Record(0).GetTotalDetection(), 0.0);
  SurfaceElement element;
  EXPECT_EQ(Pinhole.GetSurfaceValue(0, 0, element), 1.0);
  for (const int axis : {0, 1}) {
    for (const std::int32_t index : {-1, 20 - axis, 2147483647, -2147483647}) {
      element.Index[axis] = index;
      EXPECT_EQ(Pinhole.GetSurfaceValue(0, 0, element), 0.0);
    }
    element.Index[axis] = 0;
  }
}
