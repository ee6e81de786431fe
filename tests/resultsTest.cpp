#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "modelFixtures.h"
#include "testModel.h"
#include "testTools.h"
#include "trelGrid.h"
#include "trelGridSet.h"

TEST(GridWindow, BinsHoldTheirLowerEdgeAndSlackBelow)
{
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const trelGridBins even{1.0, 3.0, 0.5, 4}, wide{0.0, 1.0, 0.4, 3}, none{0.0, 1.0, 0.0, 0};
  const struct
  {
    const trelGridBins& Bins;
    double Position;
    int Bin;  // -1: none
  } cases[] = {{even, 1.0, 0},  {even, 1.0 - 5e-13, 0}, {even, 1.0 - 2e-12, -1},
               {even, 1.5, 1},  {even, 2.9999, 3},      {even, 3.0, -1},
               {even, 4.0, -1}, {even, nan, -1},        {even, 1e300, -1},
               {none, 0.0, -1}, {wide, 1.0 + 5e-13, 2}, {wide, 1.0 + 2e-12, -1}};
  for (const auto& c : cases) {
    std::int32_t bin = -1;
    EXPECT_EQ(c.Bins.Locate(c.Position, &bin), c.Bin >= 0) << c.Position;
    EXPECT_EQ(bin, c.Bin) << c.Position;
  }
}

/** What the short form finds, the full one finds too, and inside of the window it misses nothing.
 */
TEST(GridWindow, TheShortFormAgreesWithTheFull)
{
  std::mt19937 random(11);
  const auto uniform = [&](double a, double b) {
    return std::uniform_real_distribution<>(a, b)(random);
  };
  int found = 0;
  for (int n = 0; n < 200000; ++n) {
    const double minimum = uniform(-5, 5), range = uniform(0, 5);
    const double separation = n % 10 ? uniform(0.01, 3) : uniform(-1, 1);
    const auto count = static_cast<std::int32_t>(std::ceil(range / separation)) - (n % 7 == 0);
    const trelGridBins bins(minimum, minimum + range, separation, count);
    // Anywhere, or on the edge of a bin or beside it.
    const double edge = minimum + (n % 5) * separation + (n % 3 - 1) * 1e-12;
    const double q = n % 4 < 2 ? uniform(minimum - 1, minimum + range + 1) : edge;
    std::int32_t within = -1, bin = -1;
    const bool inside = separation > 0 && q >= minimum && q <= minimum + range;
    const bool expected = bins.Locate(q, &bin);
    const bool got = bins.LocateWithin(q, &within);
    ASSERT_TRUE(got ? expected && bin == within : !(expected && inside)) << n;
    found += got;
  }
  EXPECT_GT(found, 50000);
}

TEST(GridWindow, CellsFollowTheAnglesAboutTheCentre)
{
  trelGridWindow window;
  window.Center[0] = 10;
  window.Bins[GridR] = {0, 2, 1, 2};
  window.Bins[GridA] = {0, 360, 90, 4};
  window.Bins[GridD] = {0, 180, 60, 3};  // rows run from high to low
  const struct
  {
    trelGridId Grid;
    double Point[3];
    int Cell;  // -1: none
  } cases[] = {{TransmittanceTopRA, {11.5, 0.1, 7}, 4},  {TransmittanceTopRA, {9.9, 1, 7}, 5},
               {TransmittanceTopRA, {9.9, -1, 7}, 6},    {TransmittanceTopRA, {10.1, -0.5, 7}, 3},
               {TransmittanceTopRA, {10, 0, 0}, -1},  // no azimuth at the centre
               {TransmittanceSideDA, {10.1, 0.1, 2}, 8}, {TransmittanceSideDA, {9.9, -0.1, -2}, 2}};
  for (const auto& c : cases) {
    std::size_t cell = 99;
    EXPECT_EQ(GetGridDescription(c.Grid).Locate(window, c.Point, &cell), c.Cell >= 0);
    EXPECT_EQ(c.Cell < 0 ? 99 : c.Cell, static_cast<int>(cell));
  }
  // In the plane of the x axis, up to a hair from the poles, rounding makes no gap.
  for (int n = 1; n < 2000; ++n) {
    const double t = n < 1000 ? n * 1e-11 : n * 3.14e-3, x = n % 2 ? std::sin(t) : -std::sin(t);
    const double point[3] = {10 + 2 * x, 0, 2 * std::cos(t)};
    std::size_t cell = 99;
    ASSERT_TRUE(LocateCellDA(window, point, &cell)) << t;
    ASSERT_EQ(cell % 4 == 0, x > 0) << t;
  }
}

/** The window of the table of measures. */
static trelGridWindow MakeMeasuredWindow()
{
  const trelGridBins bins[] = {{0, 1.5, 0.5, 3}, {0, 1, 0.25, 4},  {0, 10, 2, 5},
                               {1, 2.2, 0.4, 3}, {10, 130, 30, 4}, {5, 65, 20, 3}};
  const double halfAxes[3] = {3, 4, 5};
  trelGridWindow window;
  std::copy_n(bins, 6, window.Bins);
  std::copy_n(halfAxes, 3, window.HalfAxis);
  window.Time = {0, 20, 10, 2};
  return window;
}

static trelGridId FindGrid(const std::string& name)
{
  int id = 0;
  while (id < NumberOfGrids && name != GetGridDescription(static_cast<trelGridId>(id)).Name)
    ++id;
  return static_cast<trelGridId>(id);
}

TEST(GridSet, DividesCellsByTheirMeasure)
{
  const trelGridWindow window = MakeMeasuredWindow();
  bool save[NumberOfSaveFlags + 1];
  std::fill(std::begin(save), std::end(save), true);
  for (std::istringstream& row : ReadTable("cell-measures.txt")) {
    SCOPED_TRACE(row.str());
    std::string name;
    double measures[NumberOfGridDomains];
    ASSERT_TRUE(row >> name >> measures[GridCW] >> measures[GridTD] >> measures[GridFDReal]);
    measures[GridFDImag] = measures[GridFDReal];
    trelGridUses uses;
    trelGridUse& use = uses.Uses[uses.Number++];
    use.Grid = FindGrid(name);
    ASSERT_NE(use.Grid, NumberOfGrids);
    for (const trelGridDomain domain : {GridCW, GridTD, GridFDReal, GridFDImag}) {
      trelGridSet grids(domain);
      ASSERT_TRUE(grids.Allocate(uses, save, window));
      const trelGridLayout layout = grids.GetLayout(use.Grid);
      double* cell =
          grids.GetBin(use.Grid, layout.Bins - 1) + layout.GetOffset(1, layout.Columns > 1 ? 2 : 0);
      *cell = 3.0;
      grids.Normalize(GetGridDescription(use.Grid).Kind, window);
      EXPECT_NEAR(*cell * measures[domain], 3.0, 1e-14) << "domain " << domain;
    }
  }
}

// A record of the medium

/** A record and the model that it is made for. */
class MediumResult : public testing::Test
{
protected:
  /** A new model: a box of a kind, 4 x 6 x 8 mm about (1, 2, 3), that absorbs 0.5 per mm, and in it
   *  one of 2 mm about (2, 3, 4) that does not; cells of 1 mm. */
  void SetMedium(ShapeType kind)
  {
    Model = std::make_unique<TestModel>();
    Model->AddTissue(Place(new BoxOfKind(kind), 1, 2, 3, 2, 3, 4), {0.5, 1.0, 0.0, 1.0});
    Model->AddTissue(Place(new BoxOfKind(kind), 2, 3, 4, 1, 1, 1), {0.0, 1.0, 0.0, 1.0});
    Parameter().SetDimension(kind < ShapeEllipsoid ? Dimension2D : Dimension3D);
    Parameter().SetSeparations(1.0, 1.0, 1.0, 1.0, 90.0, 60.0);
    Record.SetSpectrumId(600);
  }
  void SetTwoTimeBins()
  {
    Parameter().SetTimeDomain(true);
    Parameter().SetTimeRange(0, 20, 10);
  }
  trelSimulationParameter& Parameter() { return *Model->Get(); }
  bool Initialize() { return Record.Initialize(Model->Get()); }
  bool SetMedium(std::istream& row);
  void AddMesh(bool isTetra);

  std::unique_ptr<TestModel> Model = std::make_unique<TestModel>();
  trelMediumResult Record;
};

TEST_F(MediumResult, LeavesOutWhatIsNotSavedOrNotInTheWindow)
{
  SetMedium(ShapeCube);
  Parameter().SetSaveAbsorption(false);
  // Short of the box at the lower x and the upper y.
  const double roi[12] = {0, 3, -1, 4, -1, 7, 0, 9, 0, 360, 0, 180};
  Parameter().SetROI(roi);
  ASSERT_TRUE(Initialize());
  EXPECT_FALSE(Record.GetAbsorptionXYZ());
  EXPECT_FALSE(Record.GetTransmittanceBackYZ());
  EXPECT_FALSE(Record.GetTransmittanceRightXZ());
  EXPECT_TRUE(Record.GetTransmittanceFrontYZ());
  EXPECT_TRUE(Record.GetTransmittanceLeftXZ());
  Parameter().SetSaveAbsorption(true);
  ASSERT_TRUE(Initialize());
  EXPECT_TRUE(Record.GetAbsorptionXYZ());
}

TEST_F(MediumResult, SumsRawWeightsBeforeItDivides)
{
  SetMedium(ShapeCube);
  Parameter().SetSeparations(0.5, 1, 1, 1, 1, 1);
  SetTwoTimeBins();
  ASSERT_TRUE(Initialize());
  (*Record.GetAbsorptionXYZ())(1, 2, 3) = 0.25;
  (*Record.GetAbsorptionXYZ())(7, 5, 7) = 0.5;
  (*Record.GetTransmittanceLeftXZ())(1, 1) = 2.0;
  (*Record.GetTDAbsorptionXYZ())(1, 1, 2, 3) = 0.5;
  (*Record.GetTDTransmittanceTopXY())(1, 0, 0) = 1.0;
  (*Record.GetTDTransmittanceLeftXZ())(1, 1, 1) = 2.0;
  (*Record.GetTDTransmittanceLeftXZ())(0, 1, 1) = 4.0;
  Record.Finalize(&Parameter(), false);
  EXPECT_EQ(Record.GetTotalAbsorption3D(), 0.75);
  EXPECT_EQ(Record.GetTotalTransmittance3D(), 2.0);
  EXPECT_EQ(Record.GetTDAbsorption3D()[1], 0.5);
  EXPECT_EQ(Record.GetTDTransmittance3D()[1], 3.0);
  EXPECT_EQ(Record.GetTotalTDTransmittance3D(), 7.0);

  // The cells were divided by 0.5; what has no cells keeps the start of its range.
  Record.ComputeRanges();
  EXPECT_EQ(Record.GetRange(GridCW, GridAbsorption).Maximum, 1.0);
  EXPECT_EQ(Record.GetRange(GridCW, GridTransmittance).Maximum, 4.0);
  EXPECT_EQ(Record.GetRange(GridTD, GridTransmittance).Maximum, 8.0);
  EXPECT_EQ(Record.GetTimeTotals().GetMaxima(TotalOfTransmittance3D)[1], 4.0);
  EXPECT_EQ(Record.GetTimeTotals().GetMinima(TotalOfTransmittance3D)[1], 0.0);
  EXPECT_EQ(Record.GetTimeTotals().GetMaxima(TotalOfAbsorption2D)[1], 1.0000000036274937e-15);
  EXPECT_EQ(Record.GetRange(GridFDAmp, GridAbsorption).Minimum, 999999986991104.0);
}

/** All of a run's packets may leave, each with 32 bytes: more than the machine has is refused. */
TEST_F(MediumResult, HasRoomForTheFlyTimesOfAllPackets)
{
  SetMedium(ShapeCube);
  Parameter().SetSavePhotonFlyTime(true);
  for (const std::int64_t packets : {1000000000000LL, 1LL << 62, 1LL << 59, -5LL}) {
    Record.SetPhotonNumber(packets);
    EXPECT_EQ(MessagesOf(ReportsOf([this] { EXPECT_FALSE(Initialize()); })),
              "Out of memory while allocating memory for TOF!\n");
  }
  Record.SetPhotonNumber(1000000);
  for (int time = 0; time < 2; ++time)
    EXPECT_TRUE(Initialize());
}

// The end of a run, by a table

/** Two faces with a common edge and one without area; in a tetrahedral mesh the second is inside.
 */
void MediumResult::AddMesh(bool isTetra)
{
  const std::uint32_t corners[3][3] = {{0, 1, 2}, {1, 2, 3}, {3, 3, 4}};
  const double areas[3] = {2.0, 6.0, 0.0};
  ASSERT_TRUE(Record.AllocateMeshFaces(3, 5, isTetra));
  for (int f = 0; f < 3; ++f) {
    std::copy_n(corners[f], 3, Record.GetMeshFaces()[f].Vertices);
    Record.GetMeshFaces()[f].Area = areas[f];
    if (isTetra) Record.GetMeshFaceOnBoundary()[f] = f == 0;
  }
  ASSERT_TRUE(Record.InitializeCWTransmittance(&Parameter()));
  ASSERT_TRUE(Record.InitializeTDTransmittance(&Parameter()));
  ASSERT_TRUE(Record.InitializeFDTransmittance(&Parameter()));
}

/** Makes the model of a row, all domains on; true if fluence is asked for. */
bool MediumResult::SetMedium(std::istream& row)
{
  int shape = 0, absorption = 0, transmittance = 0;
  bool fluence = false;
  EXPECT_TRUE(row >> shape >> absorption >> transmittance >> fluence);
  SetMedium(static_cast<ShapeType>(shape));
  Parameter().SetAbsorptionCoordinate(static_cast<CoordinateType>(absorption));
  Parameter().SetTransmittanceCoordinate(static_cast<CoordinateType>(transmittance));
  Parameter().SetSeparations(1.0, 1.0, 1.0, 1.0, 90.0, 60.0);
  Parameter().SetFrequencyDomain(true);
  SetTwoTimeBins();
  EXPECT_TRUE(Initialize());
  if (shape == ShapeTriangleMesh || shape == ShapeTetrahedron) AddMesh(shape == ShapeTetrahedron);
  return fluence;
}

TEST_F(MediumResult, FinishesItsCells)
{
  const std::vector<std::string> domains = {"CW", "TD", "FDReal", "FDImag", "FDAmp", "FDPha"};
  bool fluence = false, isFinished = false;
  for (std::istringstream& row : ReadTable("finished-cells.txt")) {
    SCOPED_TRACE(row.str());
    std::string what, domain, grid;
    row >> what;
    if (what == "model") {
      fluence = SetMedium(row);
      isFinished = false;
      continue;
    }
    std::size_t first = 0;
    ASSERT_TRUE(row >> domain >> grid >> first);
    const auto id = std::find(domains.begin(), domains.end(), domain) - domains.begin();
    double* cell =
        Record.GetGrid(static_cast<trelGridDomain>(id), FindGrid(grid))->GetCells() + first;
    if (what == "done" && !isFinished) Record.Finalize(&Parameter(), fluence);
    isFinished = what == "done";
    for (double value = 0.0; row >> value; ++cell) {
      if (!isFinished) *cell = value;
      EXPECT_NEAR(*cell, value, 1e-14 * std::fabs(value));
    }
  }
}

TEST(SimulationResult, MakesARecordForEachWavelength)
{
  TestModel model;
  model->SetWavelengths({600, 700, 600});
  model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {4, 4, 4}), {0.5, 1.0, 0.0, 1.5});
  for (const std::uint32_t packets : {4000000000u, 500000000u})
    model.AddSource(TestModel::Make<trelCube>({0, 0, 0}, {1, 1, 1}), packets)->SetSpecular(true);
  trelSimulationResult result;
  ReportsOf([&] { ASSERT_TRUE(result.Initialize(model.Get())); });
  ASSERT_TRUE(result.GetMediumResult(2));
  EXPECT_FALSE(result.GetMediumResult(3));
  EXPECT_EQ(result.GetMediumResult(1)->GetSpectrumId(), 700);
  EXPECT_EQ(result.GetMediumResult(1)->GetPhotonNumber(), 4500000000);
  EXPECT_DOUBLE_EQ(result.GetMediumResult(1)->GetSpecularReflectance(), 0.08);
  EXPECT_EQ(result.GetMediumResultBySpectrum(600), result.GetMediumResult(0));
  EXPECT_EQ(result.GetMediumResultBySpectrum(700), result.GetMediumResult(1));
  EXPECT_EQ(result.GetMediumResultBySpectrum(5), result.GetMediumResult(2)) << "the last";

  // A path is as long as a packet may live, and costs nothing until it is walked.
  model->SetStepNumberMax(std::numeric_limits<std::int32_t>::max());
  ASSERT_TRUE(result.InitializeTrajectory(model.Get()));
  EXPECT_EQ(result.GetTrajectory()[2147483646][2], 0.0);
  model->SetStepNumberMax(-7);
  ASSERT_TRUE(result.InitializeTrajectory(model.Get()));
  EXPECT_EQ(result.GetTrajectorySize(), 0u);
}
