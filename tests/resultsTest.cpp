#include <chrono>
#include <limits>
#include <numeric>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "modelFixtures.h"
#include "testModel.h"
#include "trelGrid.h"
#include "trelGridSet.h"

using testing::HasSubstr;
using testing::Not;

/** Runs @p action and returns what it reported. */
template <class Action>
static std::string ReportsOf(Action action)
{
  testing::internal::CaptureStderr();
  action();
  return testing::internal::GetCapturedStderr();
}

/** The messages of reports, one a line, without prefix, path and address. */
static std::string MessagesOf(const std::string& reports)
{
  std::istringstream stream(reports);
  std::string line, messages;
  while (std::getline(stream, line)) {
    const std::size_t mark = line.find("): ");
    if (mark != std::string::npos) messages += line.substr(mark + 3) + "\n";
  }
  return messages;
}

/** A medium of one box of a kind, 4 x 6 x 8 mm about (1, 2, 3), with unit cells. */
static void MakeMedium(TestModel& model, ShapeType kind)
{
  model.AddTissue(Place(new BoxOfKind(kind), 1, 2, 3, 2, 3, 4), {0.5, 1.0, 0.0, 1.0});
  model->SetDimension(kind < ShapeEllipsoid ? Dimension2D : Dimension3D);
  model->SetSeparations(1.0, 1.0, 1.0, 1.0, 90.0, 60.0);
}

static trelGridWindow MakeWindow()
{
  trelGridWindow window;
  window.Bins[GridX] = {0, 1.5, 0.5, 3};
  window.Bins[GridY] = {0, 1, 0.25, 4};
  window.Bins[GridZ] = {0, 10, 2, 5};
  window.Bins[GridR] = {1, 2.2, 0.4, 3};
  window.Bins[GridA] = {10, 130, 30, 4};
  window.Bins[GridD] = {5, 65, 20, 3};
  window.Time = {0, 20, 10, 2};
  window.HalfAxis[0] = 3;
  window.HalfAxis[1] = 4;
  window.HalfAxis[2] = 5;
  return window;
}

// Bins and cells

TEST(GridWindow, BinsHoldTheirLowerEdgeAndSlackBelow)
{
  const trelGridBins bins{1.0, 3.0, 0.5, 4};
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct
  {
    double Position;
    int Bin;  // -1: none
  } cases[] = {{1.0, 0},  {1.0 - 5e-13, 0},  {1.0 - 2e-12, -1}, {1.5, 1},  {2.9999, 3},
               {3.0, -1}, {3.0 + 5e-13, -1}, {4.0, -1},         {nan, -1}, {1e300, -1}};
  for (const auto& c : cases) {
    std::int32_t bin = -1;
    EXPECT_EQ(bins.Locate(c.Position, &bin), c.Bin >= 0) << c.Position;
    EXPECT_EQ(bin, c.Bin) << c.Position;
  }
  std::int32_t bin = -1;
  EXPECT_FALSE((trelGridBins{0.0, 1.0, 0.0, 0}.Locate(0.0, &bin))) << "separation 0";
  EXPECT_TRUE((trelGridBins{0.0, 1.0, 0.4, 3}.Locate(1.0, &bin))) << "wide last bin";
  EXPECT_EQ(bin, 2);
}

TEST(GridWindow, CellsFollowTheAzimuthAboutTheCentre)
{
  trelGridWindow window;
  window.Center[0] = 10;
  window.Bins[GridR] = {0, 2, 1, 2};
  window.Bins[GridA] = {0, 360, 90, 4};
  window.Bins[GridD] = {0, 180, 60, 3};
  const auto locate = GetGridDescription(TransmittanceTopRA).Locate;
  const double points[][3] = {{11.5, 0.1, 7}, {9.9, 1, 7}, {9.9, -1, 7}, {10.1, -0.5, 7}};
  const std::size_t cells[] = {4, 5, 6, 3};
  for (int k = 0; k < 4; ++k) {
    std::size_t cell = 99;
    EXPECT_TRUE(locate(window, points[k], &cell));
    EXPECT_EQ(cell, cells[k]) << k;
  }
  std::size_t cell = 99;
  const double centre[3] = {10, 0, 0};
  EXPECT_FALSE(locate(window, centre, &cell)) << "no azimuth at the centre";
  // Rows of deflection run from high to low.
  const double north[3] = {10.1, 0.1, 2};
  const double south[3] = {9.9, -0.1, -2};
  EXPECT_TRUE(GetGridDescription(TransmittanceSideDA).Locate(window, north, &cell));
  EXPECT_EQ(cell, 8u);
  EXPECT_TRUE(GetGridDescription(TransmittanceSideDA).Locate(window, south, &cell));
  EXPECT_EQ(cell, 2u);
}

TEST(Grid, RefusesWhatNoMachineHolds)
{
  const std::vector<std::int32_t> impossible[] = {
      {-1},                            // a reversed range
      {536870912},                     // a row of 2^32 bytes
      {1000000000, 1000000000},        // counts of 10^9
      {2000000, 2000000, 2000000, 2},  // more than 64 bits of bytes
      {100000, 100000, 1000},          // each row fits, all of them do not
  };
  const auto start = std::chrono::steady_clock::now();
  for (const auto& extents : impossible) {
    const std::unique_ptr<trelGrid> grid(trelGrid::Allocate(extents));
    EXPECT_FALSE(grid) << extents[0];
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  const std::unique_ptr<trelGrid> empty(trelGrid::Allocate({5, 0}));
  ASSERT_TRUE(empty);
  EXPECT_EQ(empty->GetNumberOfCells(), 0u);
  const std::unique_ptr<trelGrid> grid(trelGrid::Allocate({2, 3, 4}));
  (*grid)(1, 2, 3) = 5.0;
  EXPECT_EQ(grid->GetCells()[23], 5.0);
  EXPECT_EQ(std::accumulate(grid->GetCells(), grid->GetCells() + 24, 0.0), 5.0);
}

// Measures: cell (1, 2, 0) of the window above, by hand

TEST(GridSet, DividesCellsByTheirMeasure)
{
  const struct
  {
    trelGridId Grid;
    double CW, TD, FD;
  } cases[] = {
      {AbsorptionXY, 0.125, 0.125, 0.125},
      {AbsorptionRA, 0.3351032257080079, 0.6283185482025146, 0.6283185482025146},
      {AbsorptionXYZ, 0.25, 0.25, 0.25},
      {AbsorptionRAZ, 0.6702064514160158, 1.2566370964050293, 1.2566370964050293},
      {TransmittanceSide, 1.9378157560835592, 1.963897382257632, 1.963897382257632},
      {TransmittanceUp, 0.5, 0.5, 0.5},
      {TransmittanceDown, 0.5, 0.5, 0.5},
      {TransmittanceLeft, 0.25, 0.25, 0.25},
      {TransmittanceRight, 0.25, 0.25, 0.25},
      // In the time domain the separation along z, 2, multiplies the cell.
      {TransmittanceSideAZ, 3.8756315121671183, 0.981948691128816, 3.927794764515264},
      {TransmittanceSideDA, 2.308586415919536, 2.308586415919536, 2.308586415919536},
      {TransmittanceTopRA, 0.3351032257080079, 0.3351032257080079, 0.3351032257080079},
      {TransmittanceBottomRA, 0.3351032257080079, 0.3351032257080079, 0.3351032257080079},
      {TransmittanceTopXY, 0.125, 0.125, 0.125},
      {TransmittanceBottomXY, 0.125, 0.125, 0.125},
      {TransmittanceFrontYZ, 0.5, 0.5, 0.5},
      {TransmittanceBackYZ, 0.5, 0.5, 0.5},
      {TransmittanceLeftXZ, 1.0, 1.0, 1.0},
      {TransmittanceRightXZ, 1.0, 1.0, 1.0},
  };
  const trelGridWindow window = MakeWindow();
  bool save[NumberOfSaveFlags + 1];
  std::fill(std::begin(save), std::end(save), true);
  for (const auto& c : cases) {
    const trelGridKind kind = GetGridDescription(c.Grid).Kind;
    const trelGridUse use = {ShapeCube, CoordinateCartesian, AnyFace, c.Grid, SaveAlways};
    for (const trelGridDomain domain : {GridCW, GridTD, GridFDReal, GridFDImag}) {
      trelGridSet grids(domain);
      ASSERT_TRUE(grids.Allocate({&use, &use + 1}, save, window));
      const trelGridLayout layout = grids.GetLayout(c.Grid);
      const std::size_t cell = layout.GetOffset(1, layout.Columns > 1 ? 2 : 0);
      grids.GetBin(c.Grid, layout.Bins - 1)[cell] = 3.0;
      grids.Normalize(kind, window);
      const double measure = domain == GridCW ? c.CW : domain == GridTD ? c.TD : c.FD;
      EXPECT_NEAR(grids.GetBin(c.Grid, layout.Bins - 1)[cell] * measure, 3.0, 1e-14)
          << GetGridDescription(c.Grid).Name << " in domain " << domain;
    }
  }
}

// Which grids a record has

/** The grids of a domain with their extents, in the order of the table. */
static std::string ListGrids(const trelMediumResult& result, int domain)
{
  std::ostringstream list;
  for (int k = 0; k < NumberOfGrids; ++k) {
    const auto id = static_cast<trelGridId>(k);
    const trelGrid* grid = result.GetGrid(static_cast<trelGridDomain>(domain), id);
    if (!grid) continue;
    list << GetGridDescription(id).Name;
    for (const std::int32_t extent : grid->GetExtents())
      list << " " << extent;
    list << "; ";
  }
  return list.str();
}

TEST(MediumResult, HasTheGridsOfItsShape)
{
  const struct
  {
    ShapeType Shape;
    CoordinateType Absorption, Transmittance;
    const char* Grids;  // the time bins stand for TD in the time domain and for nothing elsewhere
  } cases[] = {
      {ShapeRectangle, CoordinatePolar, CoordinateCartesian,
       "AbsorptionRATD 4 4; TransmittanceUpTD 4; TransmittanceDownTD 4; TransmittanceLeftTD 6; "
       "TransmittanceRightTD 6; "},
      {ShapeEllipse, CoordinateCartesian, CoordinatePolar,
       "AbsorptionXYTD 4 6; TransmittanceSideTD 4; "},
      {ShapeEllipsoid, CoordinateCylindrical, CoordinateSpherical,
       "AbsorptionRAZTD 3 4 8; TransmittanceSideDATD 3 4; "},
      {ShapeCylinder, CoordinateCylindrical, CoordinateCylindrical,
       "AbsorptionRAZTD 3 4 8; TransmittanceSideAZTD 4 8; TransmittanceTopRATD 3 4; "
       "TransmittanceBottomRATD 3 4; "},
      {ShapeCylinder, CoordinateCartesian, CoordinateCartesian,
       "AbsorptionXYZTD 4 6 8; TransmittanceSideAZTD 4 8; TransmittanceTopXYTD 4 6; "
       "TransmittanceBottomXYTD 4 6; "},
      {ShapeCube, CoordinateCartesian, CoordinateCartesian,
       "AbsorptionXYZTD 4 6 8; TransmittanceTopXYTD 4 6; TransmittanceBottomXYTD 4 6; "
       "TransmittanceFrontYZTD 6 8; TransmittanceBackYZTD 6 8; TransmittanceLeftXZTD 4 8; "
       "TransmittanceRightXZTD 4 8; "},
      {ShapeTriangleMesh, CoordinateCartesian, CoordinateCartesian,
       "AbsorptionXYZTD 4 6 8; TransmittanceMeshFaceTD 0; TransmittanceMeshVertexTD 0; "},
  };
  for (const auto& c : cases) {
    TestModel model;
    MakeMedium(model, c.Shape);
    model->SetAbsorptionCoordinate(c.Absorption);
    model->SetTransmittanceCoordinate(c.Transmittance);
    model->SetTimeDomain(true);
    model->SetFrequencyDomain(true);
    model->SetTimeRange(0, 25, 10);
    trelMediumResult result;
    ASSERT_TRUE(result.Initialize(model.Get()));
    for (int domain = 0; domain < NumberOfGridDomains; ++domain) {
      std::string expected = c.Grids;
      for (std::size_t at; (at = expected.find("TD ")) != std::string::npos;) {
        expected.replace(at, 3, domain == GridTD ? " 3 " : " ");
      }
      EXPECT_EQ(ListGrids(result, domain), expected) << "shape " << c.Shape;
    }
  }
}

TEST(MediumResult, LeavesOutWhatIsNotSavedOrNotInTheWindow)
{
  TestModel model;
  MakeMedium(model, ShapeCube);
  model->SetTransmittanceCoordinate(CoordinateCartesian);
  model->SetSaveAbsorption(false);
  // Short of the box at the lower x and the upper y.
  const double roi[12] = {0, 3, -1, 4, -1, 7, 0, 9, 0, 360, 0, 180};
  model->SetROI(roi);
  trelMediumResult result;
  ASSERT_TRUE(result.Initialize(model.Get()));
  EXPECT_FALSE(result.GetAbsorptionXYZ());
  EXPECT_FALSE(result.GetTransmittanceBackYZ());
  EXPECT_FALSE(result.GetTransmittanceRightXZ());
  EXPECT_FALSE(result.GetSaveBack());
  EXPECT_TRUE(result.GetSaveFront());
  EXPECT_TRUE(result.GetTransmittanceFrontYZ());
  EXPECT_TRUE(result.GetTransmittanceLeftXZ());
  EXPECT_FALSE(result.GetTDTransmittanceFrontYZ());
  EXPECT_EQ(result.GetCountX(), 3);
  EXPECT_EQ(result.GetRoiXMin(), 0.0);
  EXPECT_EQ(result.GetRoiDMax(), 180.0);
  EXPECT_EQ(result.GetSeparationA(), 90.0);
  EXPECT_EQ(result.GetHalfAxisZ(), 4.0);
  EXPECT_EQ(result.GetCountTD(), 0);

  model->SetSaveAbsorption(true);
  ASSERT_TRUE(result.Initialize(model.Get())) << "a second time";
  EXPECT_TRUE(result.GetAbsorptionXYZ());
}

static constexpr char AbsorptionMemory[] =
    "Out of memory while allocating memory for absorption matrix, please check the settings of ROI "
    "and ROI Separation!\n";
static constexpr char TransmittanceMemory[] =
    "Out of memory while allocating memory for transmittance matrix, please check the settings of "
    "ROI and ROI Separation!\n";
static constexpr char AbsorptionFailure[] =
    "Error happens while initializing absorption results!\n";
static constexpr char TransmittanceFailure[] =
    "Error happens while initializing transmittance results!\n";

TEST(MediumResult, ReportsWhatItCannotHold)
{
  using Change = void (*)(trelSimulationParameter&);
  const struct
  {
    const char* Name;
    Change Set;
    std::string Messages;
  } cases[] = {
      {"grid", [](auto& p) { p.SetSeparations(1e-6, 1e-6, 1e-6, 1, 1, 1); },
       std::string(AbsorptionMemory) + AbsorptionFailure},
      {"row", [](auto& p) { p.SetSeparations(1, 1, 4e-9, 1, 1, 1); },
       std::string(AbsorptionMemory) + AbsorptionFailure},
      {"surface",
       [](auto& p) {
         p.SetSaveAbsorption(false);
         p.SetSeparations(1e-6, 1e-6, 1, 1, 1, 1);
       },
       std::string(TransmittanceMemory) + TransmittanceFailure},
      {"time bins of absorption",
       [](auto& p) {
         p.SetContinuousWave(false);
         p.SetTimeDomain(true);
         p.SetTimeRange(0, 1e9, 1);
       },
       std::string("2d ") + AbsorptionMemory + AbsorptionFailure},
      {"time bins of transmittance",
       [](auto& p) {
         p.SetSaveAbsorption(false);
         p.SetContinuousWave(false);
         p.SetTimeDomain(true);
         p.SetTimeRange(0, -1e9, 1);
       },
       std::string(TransmittanceMemory) + TransmittanceFailure},
      {"frequency domain",
       [](auto& p) {
         p.SetContinuousWave(false);
         p.SetFrequencyDomain(true);
         p.SetSeparations(1e-6, 1e-6, 1e-6, 1, 1, 1);
       },
       std::string(AbsorptionMemory) + AbsorptionFailure},
      {"absorption in planar cells", [](auto& p) { p.SetAbsorptionCoordinate(CoordinatePolar); },
       AbsorptionFailure},
      {"transmittance in spherical cells",
       [](auto& p) { p.SetTransmittanceCoordinate(CoordinateSpherical); }, TransmittanceFailure},
  };
  const auto start = std::chrono::steady_clock::now();
  for (const auto& c : cases) {
    TestModel model;
    MakeMedium(model, ShapeCylinder);
    model->SetTransmittanceCoordinate(CoordinateCartesian);
    c.Set(*model.Get());
    trelMediumResult result;
    bool initialized = true;
    const std::string reports = ReportsOf([&] { initialized = result.Initialize(model.Get()); });
    EXPECT_FALSE(initialized) << c.Name;
    EXPECT_EQ(MessagesOf(reports), c.Messages) << c.Name;
    EXPECT_THAT(reports, HasSubstr("ERROR: In ..\\..\\src\\trelMediumResult, line "));
    EXPECT_THAT(reports, HasSubstr("\ntrelMediumResult ("));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(MediumResult, ReportsAMediumWithoutAShape)
{
  TestModel model;
  trelMediumResult result;
  EXPECT_EQ(MessagesOf(ReportsOf([&] { EXPECT_FALSE(result.Initialize(model.Get())); })),
            AbsorptionFailure);
}

TEST(MediumResult, ReportsTheGridsOfAMeshInItsOwnWords)
{
  TestModel model;
  MakeMedium(model, ShapeTetrahedron);
  model->SetTransmittanceCoordinate(CoordinateCartesian);
  trelMediumResult result;
  EXPECT_EQ(MessagesOf(ReportsOf([&] { result.AllocateMeshFaces(-1, 3, true); })),
            "Out of memory while intializing ROI, the number of mesh is too big!\n");
  ASSERT_TRUE(result.AllocateMeshFaces(1, std::numeric_limits<std::int32_t>::max(), true));
  const struct
  {
    bool (trelMediumResult::*Initialize)(const trelSimulationParameter*);
    const char* Failure;
  } cases[] = {{&trelMediumResult::InitializeCWTransmittance, "Initial transmit result error!\n"},
               {&trelMediumResult::InitializeFDTransmittance, TransmittanceFailure}};
  for (const auto& c : cases) {
    EXPECT_EQ(MessagesOf(ReportsOf([&] { EXPECT_FALSE((result.*c.Initialize)(model.Get())); })),
              std::string(TransmittanceMemory) + c.Failure);
  }
}

// After the run

TEST(MediumResult, SumsRawWeightsBeforeItDivides)
{
  TestModel model;
  MakeMedium(model, ShapeCube);
  model->SetTransmittanceCoordinate(CoordinateCartesian);
  model->SetSeparations(0.5, 1, 1, 1, 1, 1);
  model->SetTimeDomain(true);
  model->SetTimeRange(0, 20, 10);
  trelMediumResult result;
  ASSERT_TRUE(result.Initialize(model.Get()));
  (*result.GetAbsorptionXYZ())(1, 2, 3) = 0.25;
  (*result.GetAbsorptionXYZ())(7, 5, 7) = 0.5;
  (*result.GetTransmittanceTopXY())(0, 0) = 1.0;
  (*result.GetTransmittanceLeftXZ())(1, 1) = 2.0;
  (*result.GetTDAbsorptionXYZ())(0, 1, 2, 3) = 0.25;
  (*result.GetTDAbsorptionXYZ())(1, 1, 2, 3) = 0.5;
  (*result.GetTDTransmittanceTopXY())(1, 0, 0) = 1.0;
  (*result.GetTDTransmittanceLeftXZ())(1, 1, 1) = 2.0;
  (*result.GetTDTransmittanceLeftXZ())(0, 1, 1) = 4.0;
  result.Finalize(model.Get(), false);
  EXPECT_EQ(result.GetTotalAbsorption3D(), 0.75);
  EXPECT_EQ(result.GetTotalAbsorption2D(), 0.0);
  EXPECT_EQ(result.GetTransmittanceTopTotal(), 1.0);
  EXPECT_EQ(result.GetTransmittanceLeft3DTotal(), 2.0);
  EXPECT_EQ(result.GetTotalTransmittance3D(), 3.0);
  EXPECT_EQ((*result.GetAbsorptionXYZ())(7, 5, 7), 1.0);
  EXPECT_EQ((*result.GetTransmittanceLeftXZ())(1, 1), 4.0);
  EXPECT_EQ(result.GetTDAbsorption3D()[0], 0.25);
  EXPECT_EQ(result.GetTDAbsorption3D()[1], 0.5);
  EXPECT_EQ(result.GetTotalTDAbsorption3D(), 0.75);
  EXPECT_EQ(result.GetTDTransmittanceLeft3DTotal()[0], 4.0);
  EXPECT_EQ(result.GetTDTransmittance3D()[0], 4.0);
  EXPECT_EQ(result.GetTDTransmittance3D()[1], 3.0);
  EXPECT_EQ(result.GetTotalTDTransmittance3D(), 7.0);
  EXPECT_EQ(result.GetTotalTDTransmittance2D(), 0.0);

  result.ComputeRanges();
  EXPECT_EQ(result.GetRange(GridCW, GridAbsorption).Maximum, 1.0);
  EXPECT_EQ(result.GetRange(GridCW, GridAbsorption).Minimum, 0.0);
  EXPECT_EQ(result.GetRange(GridTD, GridTransmittance).Maximum, 8.0);
  EXPECT_EQ(result.GetTimeTotals().GetMaxima(TotalOfTransmittance3D)[1], 4.0);
  EXPECT_EQ(result.GetTimeTotals().GetMinima(TotalOfTransmittance3D)[1], 0.0);
  EXPECT_EQ(result.GetTimeTotals().GetMaxima(TotalOfAbsorption2D)[1], 1.0000000036274937e-15);
  EXPECT_EQ(result.GetRange(GridFDAmp, GridAbsorption).Minimum, 999999986991104.0);

  // Sums of time accumulate, those of the continuous wave do not.
  result.SumTDTransmittance();
  result.SumCWTransmittance();
  EXPECT_EQ(result.GetTotalTDTransmittance3D(), 7.0 + 14.0);
  EXPECT_EQ(result.GetTotalTransmittance3D(), 6.0);
  ASSERT_TRUE(result.Initialize(model.Get()));
  EXPECT_EQ(result.GetTotalTDTransmittance3D(), 0.0);
  EXPECT_EQ(result.GetTotalAbsorption3D(), 0.0);
}

TEST(MediumResult, SettlesFacesAndVerticesOfAMesh)
{
  // Two faces with a common edge and one without area; in a tetrahedral mesh the second is inside.
  const std::uint32_t corners[3][3] = {{0, 1, 2}, {1, 2, 3}, {3, 3, 4}};
  const double areas[3] = {2.0, 6.0, 0.0};
  const double weights[3] = {1.0, 12.0, 5.0};
  for (const bool isTetra : {false, true}) {
    TestModel model;
    MakeMedium(model, isTetra ? ShapeTetrahedron : ShapeTriangleMesh);
    model->SetTransmittanceCoordinate(CoordinateCartesian);
    model->SetTimeRange(0, 20, 10);
    model->SetTimeDomain(true);
    trelMediumResult result;
    ASSERT_TRUE(result.InitializeRoi(model.Get()));
    ASSERT_TRUE(result.AllocateMeshFaces(3, 5, isTetra));
    for (int f = 0; f < 3; ++f) {
      std::copy_n(corners[f], 3, result.GetMeshFaces()[f].Vertices);
      result.GetMeshFaces()[f].Area = areas[f];
      if (isTetra) result.GetMeshFaceOnBoundary()[f] = f == 0;
    }
    ASSERT_TRUE(result.InitializeCWTransmittance(model.Get()));
    ASSERT_TRUE(result.InitializeTDTransmittance(model.Get()));
    std::copy_n(weights, 3, result.GetTransmittanceMeshFace()->GetCells());
    std::copy_n(weights, 3, result.GetTDTransmittanceMeshFace()->GetCells() + 3);
    result.Finalize(model.Get(), false);
    EXPECT_EQ(result.GetTransmittanceMeshTotal(), 18.0);
    EXPECT_EQ(result.GetTotalTransmittance3D(), 18.0);
    const std::vector<double> faces = {0.5, 2.0, 0.0};
    const std::vector<double> vertices =
        isTetra ? std::vector<double>{0.5, 0.5, 0.5, 0.0, 0.0}
                : std::vector<double>{0.5, 13.0 / 8, 13.0 / 8, 22.0 / 6, 0.0};
    for (const int timeBin : {-1, 1}) {
      const trelGrid* face = result.GetTransmittanceMeshFace();
      const trelGrid* vertex = result.GetTransmittanceMeshVertex();
      if (timeBin == 1) {
        face = result.GetTDTransmittanceMeshFace();
        vertex = result.GetTDTransmittanceMeshVertex();
      }
      const double* f = face->GetCells() + (timeBin == 1 ? 3 : 0);
      const double* v = vertex->GetCells() + (timeBin == 1 ? 5 : 0);
      EXPECT_EQ(std::vector<double>(f, f + 3), faces) << isTetra << timeBin;
      EXPECT_EQ(std::vector<double>(v, v + 5), vertices) << isTetra << timeBin;
    }
    EXPECT_EQ(result.GetTDTransmittanceMeshVertex()->GetCells()[3], 0.0) << "the empty time bin";
  }
}

TEST(MediumResult, ConvertsToFluenceByTheTissueOfTheMidpoint)
{
  TestModel model;
  // mua is 0.5 in the box and 0 in a smaller one inside; the window reaches over both.
  model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {4, 4, 4}), {0.5, 1.0, 0.0, 1.0});
  model.AddTissue(TestModel::Make<trelCube>({2, 2, 2}, {1, 1, 1}), {0.0, 1.0, 0.0, 1.0});
  model->SetTransmittanceCoordinate(CoordinateCartesian);
  model->SetSaveTransmittance(false);
  model->SetFrequencyDomain(true);
  model->SetTimeDomain(true);
  model->SetTimeRange(0, 20, 10);
  trelMediumResult result;
  result.SetSpectrumId(600);
  ASSERT_TRUE(result.Initialize(model.Get()));
  trelGrid* grids[] = {result.GetAbsorptionXYZ(), result.GetTDAbsorptionXYZ(),
                       result.GetFDAbsorptionXYZReal(), result.GetFDAbsorptionXYZImag()};
  for (trelGrid* grid : grids)
    std::fill_n(grid->GetCells(), grid->GetNumberOfCells(), 3.0);
  result.Finalize(model.Get(), true);
  EXPECT_EQ((*result.GetAbsorptionXYZ())(0, 0, 0), 6.0);
  EXPECT_EQ((*result.GetAbsorptionXYZ())(6, 6, 6), 3.0) << "nothing absorbs there";
  EXPECT_EQ((*result.GetTDAbsorptionXYZ())(1, 7, 0, 7), 6.0);
  EXPECT_EQ((*result.GetTDAbsorptionXYZ())(1, 6, 6, 6), 3.0);
  EXPECT_EQ((*result.GetFDAbsorptionXYZReal())(1, 1, 1), 6.0);
  EXPECT_EQ((*result.GetFDAbsorptionXYZImag())(1, 1, 1), 6.0);
}

TEST(MediumResult, ConvertsPlanarAndPolarGridsInTheirOwnWays)
{
  TestModel model;
  MakeMedium(model, ShapeRectangle);  // about (1, 2), mua 0.5
  model->SetFrequencyDomain(true);
  model->SetSaveTransmittance(false);
  trelMediumResult result;
  result.SetSpectrumId(600);
  ASSERT_TRUE(result.Initialize(model.Get()));
  (*result.GetFDAbsorptionXYReal())(0, 0) = 3.0;
  (*result.GetFDAbsorptionXYImag())(0, 0) = 3.0;
  result.Finalize(model.Get(), true);
  EXPECT_EQ((*result.GetFDAbsorptionXYReal())(0, 0), 12.0) << "divided twice";
  EXPECT_EQ((*result.GetFDAbsorptionXYImag())(0, 0), 3.0) << "not divided";
  EXPECT_EQ((*result.GetFDAbsorptionXYAmp())(0, 0), std::sqrt(153.0));

  // Polar midpoints lie about the origin: (0.35, 0.35) is in the medium, (-0.35, -0.35) is too, and
  // of the third ring (1.77, -1.77) is not.
  model->SetAbsorptionCoordinate(CoordinatePolar);
  model->SetSeparations(1.0, 1.0, 1.0, 1.0, 90.0, 60.0);
  ASSERT_TRUE(result.Initialize(model.Get()));
  ASSERT_EQ(result.GetAbsorptionRA()->GetNumberOfCells(), 16u);
  std::fill_n(result.GetAbsorptionRA()->GetCells(), 16, 3.0);
  result.ConvertToFluence(model.Get());
  EXPECT_EQ((*result.GetAbsorptionRA())(0, 0), 6.0);
  EXPECT_EQ((*result.GetAbsorptionRA())(0, 2), 6.0);
  EXPECT_EQ((*result.GetAbsorptionRA())(2, 3), 3.0);
}

TEST(MediumResult, GivesAmplitudeAndPhaseWithoutTheQuadrant)
{
  const struct
  {
    double Real, Imag, Amplitude, Phase;
  } cases[] = {{3, 4, 5, 53.13010235415598},
               {-3, 4, 5, -53.13010235415598},
               {-3, -4, 5, 53.13010235415598},
               {0, 2, 2, 90},
               {0, -2, 2, -90},
               {0, 0, 0, 0},
               {-2, 0, 2, 0}};
  TestModel model;
  MakeMedium(model, ShapeEllipse);
  model->SetFrequencyDomain(true);
  model->SetAbsorptionCoordinate(CoordinateCartesian);
  model->SetTransmittanceCoordinate(CoordinatePolar);
  trelMediumResult result;
  ASSERT_TRUE(result.Initialize(model.Get()));
  for (const auto& c : cases) {
    for (const trelGridId id : {AbsorptionXY, TransmittanceSide}) {
      result.GetGrid(GridFDReal, id)->GetCells()[1] = c.Real;
      result.GetGrid(GridFDImag, id)->GetCells()[1] = c.Imag;
      result.ComputeAmplitudeAndPhase();
      EXPECT_DOUBLE_EQ(result.GetGrid(GridFDAmp, id)->GetCells()[1], c.Amplitude);
      EXPECT_DOUBLE_EQ(result.GetGrid(GridFDPha, id)->GetCells()[1], c.Phase);
    }
  }
}

TEST(MediumResult, KeepsFlyTimesWithinTheirTable)
{
  TestModel model;
  MakeMedium(model, ShapeCube);
  model->SetTransmittanceCoordinate(CoordinateCartesian);
  trelMediumResult result;
  result.SetPhotonNumber(2);
  ASSERT_TRUE(result.Initialize(model.Get()));
  result.RecordFlyTime(1, 2, 3, 4);  // without a table
  model->SetSavePhotonFlyTime(true);
  ASSERT_TRUE(result.Initialize(model.Get()));
  for (int packet = 0; packet < 3; ++packet) {
    result.RecordFlyTime(packet, 2, 3, 4);
    result.IncrementTransmitPhotonNum();
  }
  EXPECT_EQ(result.GetTransmitPhotonNum(), 3);
  EXPECT_EQ(result.GetPhotonFlyTimes()[1][0], 1.0);
  EXPECT_EQ(result.GetPhotonFlyTimes()[1][3], 4.0);
  ASSERT_TRUE(result.Initialize(model.Get()));
  EXPECT_EQ(result.GetPhotonFlyTimes()[1][0], 0.0) << "zeroed by a second initialization";
  // Most of a run's packets are not expected to leave: room for them costs nothing until it is
  // used.
  result.SetPhotonNumber(1000000000);
  EXPECT_TRUE(result.InitializePhotonFlyTimes(model.Get()));
  result.SetPhotonNumber(-5);
  EXPECT_EQ(MessagesOf(ReportsOf([&] { result.InitializePhotonFlyTimes(model.Get()); })),
            "Out of memory while allocating memory for TOF!\n");
}

// The container

TEST(SimulationResult, MakesARecordForEachWavelength)
{
  TestModel model;
  model->SetWavelengths({600, 700, 600});
  model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {4, 4, 4}), {0.5, 1.0, 0.0, 1.5});
  model.AddSource(TestModel::Make<trelCube>({0, 0, 0}, {1, 1, 1}), 10)->SetSpecular(true);
  model.AddSource(TestModel::Make<trelCube>({0, 0, 0}, {1, 1, 1}), 5)->SetSpecular(true);
  trelSimulationResult result;
  bool initialized = false;
  const std::string reports = ReportsOf([&] { initialized = result.Initialize(model.Get()); });
  EXPECT_TRUE(initialized) << reports;
  ASSERT_TRUE(result.GetMediumResult(2));
  EXPECT_FALSE(result.GetMediumResult(3));
  EXPECT_FALSE(result.GetMediumResult(-1));
  EXPECT_FALSE(result.GetDetectorArrayResult(0));
  EXPECT_EQ(result.GetMediumResult(1)->GetSpectrumId(), 700);
  EXPECT_EQ(result.GetMediumResult(1)->GetPhotonNumber(), 15);
  EXPECT_DOUBLE_EQ(result.GetMediumResult(1)->GetSpecularReflectance(), 0.08);
  EXPECT_EQ(result.GetMediumResultBySpectrum(600), result.GetMediumResult(0));
  EXPECT_EQ(result.GetMediumResultBySpectrum(700), result.GetMediumResult(1));
  EXPECT_EQ(result.GetMediumResultBySpectrum(5), result.GetMediumResult(2)) << "the last";
  EXPECT_EQ(result.GetDimension(), Dimension3D);
  EXPECT_EQ(result.GetRuntime(), 0);
  result.FinalizeMediumResults(model.Get(), true);

  // A path is as long as a packet may live, and costs nothing until it is walked.
  model->SetStepNumberMax(std::numeric_limits<std::int32_t>::max());
  ASSERT_TRUE(result.InitializeTrajectory(model.Get()));
  EXPECT_EQ(result.GetTrajectorySize(), 2147483647u);
  EXPECT_EQ(result.GetTrajectory()[2147483646][2], 0.0);
  for (const int steps : {0, -7}) {
    model->SetStepNumberMax(steps);
    EXPECT_TRUE(result.InitializeTrajectory(model.Get()));
    EXPECT_EQ(result.GetTrajectorySize(), 0u);
  }
  result.ClearModel();
  EXPECT_FALSE(result.GetMediumResultBySpectrum(600));
  EXPECT_FALSE(result.GetTrajectory());
}

TEST(SimulationResult, ReportsARecordThatDoesNotFit)
{
  TestModel model;
  model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {30, 30, 30}), {0.5, 1.0, 0.0, 1.5});
  model->SetSeparations(1e-4, 1e-4, 1e-4, 1, 1, 1);
  trelSimulationResult result;
  const std::string reports = ReportsOf([&] { EXPECT_FALSE(result.Initialize(model.Get())); });
  EXPECT_THAT(MessagesOf(reports),
              HasSubstr(std::string(AbsorptionMemory) + AbsorptionFailure +
                        "initial simulation result (Absorption and Trasnmeittance) error!\n"));
  EXPECT_THAT(reports, HasSubstr("..\\..\\src\\trelSimulationResult, line "));
  model->SetSimulationType(FMT);
  model.AddSource(TestModel::Make<trelCube>({0, 0, 0}, {1, 1, 1}), 10);
  EXPECT_THAT(MessagesOf(ReportsOf([&] { EXPECT_FALSE(result.Initialize(model.Get())); })),
              Not(HasSubstr("initial simulation result")))
      << "a model that is not valid is reported by its validation alone";
}
