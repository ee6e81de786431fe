#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "testModel.h"
#include "testTools.h"
#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelFiberDetector.h"
#include "trelFreespacePinhole.h"
#include "trelMCTriangleMesh.h"
#include "trelOpticalSimulationFilter.h"
#include "trelPlaneDetector.h"
#include "trelTriangleMesh.h"

using testing::DoubleNear;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pointwise;

static void ExpectNear(const double (&got)[3], const double (&expected)[3])
{
  // The normals have the digits of 32-bit floats.
  EXPECT_THAT(got, Pointwise(DoubleNear(1e-6), expected));
}

// The geometry of one pixel

TEST(Pinhole, TransfersByBothCosinesAndTheDistance)
{
  const double center[3] = {1, 1, 1}, up[3] = {0, 0, 1}, down[3] = {0, 0, -1},
               across[3] = {1, 0, 0};
  const double above[3] = {1, 1, 5}, aside[3] = {4, 1, 5};
  EXPECT_DOUBLE_EQ(trelFreespacePinhole::TransferFactor(center, up, 2, above, down), 2.0 / 16);
  EXPECT_DOUBLE_EQ(trelFreespacePinhole::TransferFactor(center, up, 2, aside, down),
                   0.8 * 0.8 * 2 / 25);
  EXPECT_DOUBLE_EQ(trelFreespacePinhole::TransferFactor(center, up, 2, aside, across),
                   0.8 * 0.6 * 2 / 25);
}

TEST(Pinhole, FindsTheBoxOnItsWay)
{
  const double box[6] = {-1, 1, -2, 2, -3, 3};
  const struct
  {
    double Origin[3], Direction[3];
    bool Hits;
    double Point[3];
  } cases[] = {{{0, 0, 5}, {0, 0, -1}, true, {0, 0, 3}},
               {{0, 0, 5}, {0, 0, 1}, false, {}},
               {{0, 2.5, 5}, {0, 0, -1}, false, {}},
               {{3, 4, 0}, {-0.6, -0.8, 0}, true, {1, 4 - 8.0 / 3, 0}},
               {{3, 4, 0}, {0.6, -0.8, 0}, false, {}},
               {{0, 0, 0}, {0, 0, 1}, true, {7, 7, 7}}};  // from inside: the point stays
  for (const auto& c : cases) {
    double point[3] = {7, 7, 7};
    EXPECT_EQ(trelFreespacePinhole::RayHitsBox(c.Origin, c.Direction, box, point), c.Hits);
    if (!c.Hits) continue;
    EXPECT_THAT(point, Pointwise(testing::DoubleEq(), c.Point));
  }
}

// One cell of the surface

/** Cells as the table of surface elements has them. */
static trelGridWindow MakeWindow(const double (&halfAxes)[3])
{
  trelGridWindow window;
  window.Bins[GridX] = {-2, 2, 1, 4};
  window.Bins[GridY] = {-1, 1, 0.5, 4};
  window.Bins[GridZ] = {-3, 3, 2, 3};
  window.Bins[GridR] = {0, 2, 0.5, 4};
  window.Bins[GridA] = {0, 360, 90, 4};
  window.Bins[GridD] = {0, 180, 90, 2};
  std::copy_n(halfAxes, 3, window.HalfAxis);
  return window;
}

static std::istream& operator>>(std::istream& row, double (&vector)[3])
{
  return row >> vector[0] >> vector[1] >> vector[2];
}

TEST(SurfaceElement, IsTheCellOfThePoint)
{
  for (std::istringstream& row : ReadTable("surface-elements.txt")) {
    SCOPED_TRACE(row.str());
    std::string shape;
    int coordinate = 0, face = 0, index[2];
    double halfAxes[3], hit[3], center[3], normal[3], area = 0.0;
    row >> shape >> coordinate >> face >> halfAxes >> hit >> index[0] >> index[1] >> center;
    ASSERT_TRUE(row >> normal >> area);
    const trelGridWindow window = MakeWindow(halfAxes);
    SurfaceElement element;
    if (shape == "ellipsoid") {
      EXPECT_TRUE(MakeEllipsoidElement(window, hit, &element));
    } else if (shape == "cylinder") {
      MakeCylinderElement(window, static_cast<CoordinateType>(coordinate), hit, face, &element);
    } else {
      MakeCubeElement(window, hit, face, &element);
    }
    EXPECT_THAT(element.Index, ElementsAre(index[0], index[1]));
    ExpectNear(element.Center, center);
    ExpectNear(element.Normal, normal);
    EXPECT_NEAR(element.Area, area, 3e-7 * area);
  }
}

TEST(SurfaceElement, OfAMeshIsItsTriangle)
{
  auto* source = new trelTriangleMesh;
  const float corners[4][6] = {{0, 0, 0}, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}};
  const std::uint32_t faces[4][3] = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
  for (const auto& corner : corners)
    source->AddVertex(corner);
  for (const auto& face : faces)
    source->AddFace(face);
  trelMCTriangleMesh mesh;
  ASSERT_TRUE(mesh.ImportMesh(source));
  source->Delete();
  SurfaceElement element, untouched;
  MakeMeshElement(mesh, 3, &element);
  ExpectNear(element.Center, {1, 1, 1});
  ExpectNear(element.Normal, {std::sqrt(1.0 / 3), std::sqrt(1.0 / 3), std::sqrt(1.0 / 3)});
  EXPECT_NEAR(element.Area, 4.5 * std::sqrt(3.0), 1e-6);
  MakeMeshElement(mesh, 4, &untouched);
  EXPECT_EQ(untouched.Area, 0.0);
}

TEST(SurfaceElement, IsNotMadeOutsideOfTheWindowOrWithoutAFace)
{
  const double hit[3] = {0.5, 0.2, 2.5};
  trelGridWindow window = MakeWindow({1, 2, 3});
  window.Bins[GridA].Minimum = 45;
  SurfaceElement element;
  EXPECT_FALSE(MakeEllipsoidElement(window, hit, &element));
  for (const int face : {-1, 6, 1 << 30})
    MakeCubeElement(window, hit, face, &element);
  EXPECT_EQ(element.Area, 0.0);
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
  trelPlaneDetector* AddCamera(const double normal[3], VerticalPlane vertical)
  {
    auto* plane = new trelPlaneDetector;
    plane->SetCenter(-320 * normal[0], -320 * normal[1], -320 * normal[2]);
    plane->SetNormal(normal[0], normal[1], normal[2]);
    plane->SetVerticalPlane(vertical);
    plane->SetSize(4, 4);
    plane->SetResolution(4, 4);
    plane->SetFocalLength(55);
    plane->SetImageDistance(110);
    Model->AddDetector(plane);
    return plane;
  }
  trelPlaneDetector* AddCamera() { return AddCamera(Down, PlaneXZ); }
  void AddFiber()
  {
    auto* fiber = new trelFiberDetector;
    fiber->SetShape(TestModel::Make<trelCylinder>({0, 0, 0}, {1, 1, 1}));
    Model->AddDetector(fiber);
  }

  /** The medium, and each cell of a grid of it emitting @p flux. */
  void Initialize(trelShapeObject* shape = TestModel::Make<trelCube>({0, 0, 0}, {10, 10, 10}))
  {
    Model.AddTissue(shape, {0.5, 1.0, 0.0, 1.0});
    bool initialized = false;
    const std::string reports = ReportsOf([&] { initialized = Result->Initialize(Model.Get()); });
    ASSERT_TRUE(initialized) << reports;
    ASSERT_TRUE(Model->GetMedium()->BuildTissueGrid());
  }
  void Emit(trelGridId id, double flux)
  {
    trelGrid* grid = Result->GetMediumResult(0)->GetGrid(GridCW, id);
    std::fill_n(grid->GetCells(), grid->GetNumberOfCells(), flux);
  }
  bool Image()
  {
    trelFreespacePinhole pinhole;
    pinhole.SetParameter(Model.Get());
    pinhole.SetResult(Result);
    return pinhole.Update();
  }
  const trelDetectorResult& Record(int i)
  {
    return *Result->GetDetectorArrayResult(0)->GetDetectorResult(i);
  }

  static constexpr double Down[3] = {0, 0, -1};
  TestModel Model;
  trelSimulationResult* Result = new trelSimulationResult;
};

TEST_F(Imaging, OfAGlowingFaceFollowsFromTheDistances)
{
  AddCamera();
  Initialize();
  Emit(TransmittanceTopXY, 3.0);
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
  EXPECT_DOUBLE_EQ(Record(0).GetDetectionMaximum(), 3.0 / 8100);
  EXPECT_FLOAT_EQ(Result->GetDetectorArrayResult(0)->GetPlaneMaximum(), 3.0f / 8100);
}

TEST_F(Imaging, PutsAPointWhereTheLensDoes)
{
  const struct
  {
    double Normal[3];
    VerticalPlane Vertical;
    trelGridId Grid;
    int I, J;  ///< the cell at (2.5, -2.5) across and up in the grid
    int Row, Column;
  } cases[] = {
      {{0, 0, -1}, PlaneXZ, TransmittanceTopXY, 12, 7, 0, 3},    // columns +x, rows +y
      {{0, 0, 1}, PlaneXZ, TransmittanceBottomXY, 12, 7, 0, 0},  // columns -x, rows +y
      {{0, 0, -1}, PlaneYZ, TransmittanceTopXY, 12, 7, 3, 3},    // columns -y, rows +x
      {{-1, 0, 0}, PlaneXY, TransmittanceFrontYZ, 12, 7, 0, 3},  // columns +y, rows +z
      {{0, 1, 0}, PlaneXY, TransmittanceLeftXZ, 12, 7, 0, 3},    // columns +x, rows +z
  };
  for (const auto& c : cases)
    AddCamera(c.Normal, c.Vertical);
  Initialize();
  for (const auto& c : cases)
    (*Result->GetMediumResult(0)->GetGrid(GridCW, c.Grid))(c.I, c.J) = 1.0;
  ASSERT_TRUE(Image());
  for (int k = 0; k < 5; ++k) {
    const trelGrid& image = *Record(k).GetDetectionMatrix();
    for (int pixel = 0; pixel < 16; ++pixel) {
      const bool isBright = pixel == 4 * cases[k].Row + cases[k].Column;
      EXPECT_EQ(image(pixel / 4, pixel % 4) > 0.0, isBright) << k << ", pixel " << pixel;
    }
  }
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

TEST_F(Imaging, StaysDarkWithoutFailing)
{
  AddCamera()->SetCenter(0, 0, 9);  // inside the tissue: its orientation is not asked for
  static_cast<trelPlaneDetector*>(Model->GetDetector(0))->SetVerticalPlane(PlaneXY);
  AddCamera()->SetImageDistance(55);  // in the focus
  AddCamera()->SetCenter(1000, 0, 320);
  Initialize();
  Emit(TransmittanceTopXY, 3.0);
  ASSERT_TRUE(Image());
  for (int k = 0; k < 3; ++k)
    EXPECT_EQ(Record(k).GetTotalDetection(), 0.0) << k;
}

TEST_F(Imaging, CountsPlanesFromTheHeadOfTheList)
{
  AddCamera();
  AddFiber();
  AddCamera();
  AddCamera();
  Initialize();
  Emit(TransmittanceTopXY, 3.0);
  ASSERT_TRUE(Image());
  EXPECT_GT(Record(0).GetTotalDetection(), 0.0);
  EXPECT_GT(Record(2).GetTotalDetection(), 0.0);
  EXPECT_EQ(Record(3).GetTotalDetection(), 0.0) << "of three planes the fourth entry is none";
}

TEST_F(Imaging, ReadsNothingOutsideOfTheGrid)
{
  AddCamera();
  const double roi[12] = {-10, 10, -10, 10, -10, 9, 0, 15, 0, 360, 0, 180};  // without the top
  Model->SetROI(roi);
  Initialize();
  Emit(TransmittanceFrontYZ, 1.0);
  trelFreespacePinhole pinhole;
  pinhole.SetParameter(Model.Get());
  pinhole.SetResult(Result);
  ASSERT_TRUE(pinhole.Update());
  EXPECT_EQ(Record(0).GetTotalDetection(), 0.0);
  SurfaceElement element;
  EXPECT_EQ(pinhole.GetSurfaceValue(0, 0, element), 1.0);
  for (const std::int32_t index : {-1, 20, 2147483647, -2147483647}) {
    element.Index[0] = index;
    EXPECT_EQ(pinhole.GetSurfaceValue(0, 0, element), 0.0);
  }
}

TEST(DetectorRecord, RefusesWhatItCannotHold)
{
  trelSimulationParameter parameter;
  const std::int32_t sizes[][2] = {{0, 4}, {4, 0}, {-3, -3}, {1000000000, 1}, {1, 1000000000}};
  for (const auto& size : sizes) {
    trelPlaneDetector plane;
    plane.SetResolution(size[0], size[1]);
    trelDetectorResult record;
    EXPECT_THAT(ReportsOf([&] { EXPECT_FALSE(record.Initialize(&parameter, &plane)); }),
                HasSubstr("Detection data's memory is not right allocated\n"));
  }
  trelFiberDetector fiber;
  trelDetectorResult record;
  EXPECT_THAT(ReportsOf([&] { EXPECT_FALSE(record.Initialize(&parameter, &fiber)); }),
              HasSubstr("error happens while compute fiberdetector count!\n"));
  fiber.SetShape(TestModel::Make<trelCube>({0, 0, 0}, {1, 1, 1}));
  EXPECT_THAT(ReportsOf([&] { EXPECT_FALSE(record.Initialize(&parameter, &fiber)); }),
              HasSubstr("Error happens while initializing FiberDetectortance results!\n"));
}

// Runs

static std::string Simulate(TestModel& model, trelOpticalSimulationFilter& filter, bool succeeds)
{
  const FixedClock clock(7);
  filter.SetInput(model.Get());
  return ReportsOf([&] { EXPECT_EQ(filter.Update(), succeeds); });
}

TEST(Detectors, WithAWrongOrientationEndTheRun)
{
  for (const VerticalPlane vertical : {PlaneXY, static_cast<VerticalPlane>(3)}) {
    TestModel model;
    model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {5, 5, 5}), {0.5, 1.0, 0.0, 1.0});
    model.AddSource(TestModel::Make<trelCube>({0, 0, 0}, {1, 1, 1}), 10);
    auto* plane = new trelPlaneDetector;
    plane->SetVerticalPlane(vertical);
    model->AddDetector(plane);
    trelOpticalSimulationFilter filter;
    EXPECT_THAT(Simulate(model, filter, false),
                HasSubstr("Error happens while simulating light propagation in freespace!\n"));
  }
}

TEST(FiberDetector, CollectsTheWeightThatEntersByFaceAndCell)
{
  const auto cylinder = [] { return TestModel::Make<trelCylinder>({0, 0, 0}, {2, 2, 2}); };
  const auto ellipsoid = [] { return TestModel::Make<trelEllipsoid>({0, 0, 0}, {2, 2, 2}); };
  const struct
  {
    std::function<trelShapeObject*()> Shape;
    double Start[3], Deflection;  ///< of a thin beam at azimuth 0
    trelGridId Grid;              ///< cells of 1 mm, 90 and 60 degrees; none if not scored
    std::size_t Cell;
  } cases[] = {
      {cylinder, {0.5, -1.5, -4.3}, 0, TransmittanceBottomXY, 2 * 4 + 0},
      {cylinder, {0.5, -1.5, 4.3}, 180, TransmittanceTopXY, 2 * 4 + 0},
      {cylinder, {-4.3, 0.5, 1.5}, 90, TransmittanceSideAZ, 1 * 4 + 3},
      {ellipsoid, {0.5, 0.5, -4.3}, 0, TransmittanceSideDA, 0},       // deflection above 120
      {ellipsoid, {0.5, 0.5, 4.3}, 180, TransmittanceSideDA, 2 * 4},  // and below 60
      {ellipsoid, {-4.3, 0.5, 0.5}, 90, TransmittanceSideDA, 1 * 4 + 1},
      // From inside a ray is asked as one that enters: the cylinder answers.
      {cylinder, {0.5, 0.5, 0.2}, 0, TransmittanceTopXY, 2 * 4 + 2},
      {ellipsoid, {0.5, 0.5, 0.2}, 0, NumberOfGrids, 0},
  };
  for (const auto& c : cases) {
    TestModel model;  // a clear medium: the beam goes straight, 0.5 mm a step
    model->SetSeparations(1, 1, 1, 1, 90, 60);
    model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {5, 5, 5}), {0.05, 0.0, 0.0, 1.0});
    trelLightSource* beam = model.AddSource(
        TestModel::Make<trelCube>({c.Start[0], c.Start[1], c.Start[2]}, {1e-9, 1e-9, 1e-9}), 50);
    beam->SetAzimuthRange(0.0, 0.0);
    beam->SetDeflectionRange(c.Deflection, c.Deflection);
    auto* decoy = new trelFiberDetector;  // not on the way
    decoy->SetShape(TestModel::Make<trelEllipsoid>({-4, -4, -4}, {0.5, 0.5, 0.5}));
    model->AddDetector(decoy);
    auto* fiber = new trelFiberDetector;
    fiber->SetShape(c.Shape());
    model->AddDetector(fiber);
    trelOpticalSimulationFilter filter;
    const std::string reports = Simulate(model, filter, true);
    const trelDetectorArrayResult& records = *filter.GetOutput()->GetDetectorArrayResult(0);
    EXPECT_EQ(records.GetDetectorResult(0)->GetFiberTotal3D(), 0.0);
    const trelDetectorResult& record = *records.GetDetectorResult(1);
    const bool isScored = c.Grid != NumberOfGrids;
    EXPECT_NEAR(record.GetFiberTotal3D(), isScored ? 1.0 : 0.0, 1e-12) << reports;
    EXPECT_EQ(filter.GetOutput()->GetMediumResult(0)->GetTransmitPhotonNum(), 0)
        << "the packet ends there, scored or not";
    if (!isScored) continue;
    ASSERT_TRUE(record.GetGrid(c.Grid));
    EXPECT_GT(record.GetGrid(c.Grid)->GetCells()[c.Cell], 0.0)
        << GetGridDescription(c.Grid).Name << " from " << testing::PrintToString(c.Start);
  }
}
