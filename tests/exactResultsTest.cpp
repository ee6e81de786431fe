#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netcdf.h>

#include "anyModel.h"
#include "exactRuns.h"
#include "trelCellMeasures.h"
#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelExactScores.h"
#include "trelFiberDetector.h"
#include "trelFreespacePinhole.h"
#include "trelLabelledResultWriter.h"
#include "trelPlaneDetector.h"
#include "trelSimulationParameterReader.h"
#include "trelSimulationResultWriter.h"

/** Cells of which the last along each axis is narrower than the others. */
static trelGridWindow MakeWindow()
{
  const trelGridBins bins[] = {{-3, 3, 2.5, 3},    {-4, 3.5, 4, 2},  {-5, 4, 4, 3},
                               {0.5, 3.1, 1.1, 3}, {20, 330, 70, 5}, {10, 170, 60, 3}};
  const double halfAxes[3] = {3, 4, 5};
  trelGridWindow window;
  std::copy_n(bins, 6, window.Bins);
  std::copy_n(halfAxes, 3, window.HalfAxis);
  return window;
}

/** A point of a body or a surface by three numbers below 1, and how much of it that stands for. */
struct Sample
{
  double Point[3];
  double Measure;
};
using SampleOf = Sample (*)(double, double, double);

static Sample InBox(double u, double v, double w)
{
  return {{8 * u - 4, 8 * v - 4, 10 * w - 5}, 640};
}
static Sample InSquare(double u, double v, double)
{
  return {{8 * u - 4, 8 * v - 4, 0}, 64};
}
static Sample AcrossX(double u, double v, double)
{
  return {{3, 8 * u - 4, 10 * v - 5}, 80};
}
static Sample OnEdge(double u, double, double)
{
  return {{8 * u - 4, 4, 0}, 8};
}
static Sample OnTube(double u, double v, double)
{
  const double t = 2 * Pi * u;
  return {{3 * std::cos(t), 4 * std::sin(t), 10 * v - 5},
          20 * Pi * std::hypot(3 * std::sin(t), 4 * std::cos(t))};
}
static Sample OnOutline(double u, double, double)
{
  const Sample tube = OnTube(u, 0.5, 0);
  return {{tube.Point[0], tube.Point[1], 0}, tube.Measure / 10};
}
static Sample OnEllipsoid(double u, double v, double)
{
  const double t = 2 * Pi * u, z = 2 * v - 1, s = std::sqrt(1 - z * z);
  const double x = s * std::cos(t), y = s * std::sin(t);  // of the unit ball
  return {{3 * x, 4 * y, 5 * z}, 4 * Pi * std::hypot(20 * x, 15 * y, 12 * z)};
}

TEST(ExactCells, HaveTheMeasureOfThePointsThatTheyTake)
{
  const struct
  {
    trelGridId Grid;
    SampleOf At;
  } cases[] = {{AbsorptionXY, InSquare},       {AbsorptionRA, InSquare},
               {AbsorptionXYZ, InBox},         {AbsorptionRAZ, InBox},
               {TransmittanceSide, OnOutline}, {TransmittanceUp, OnEdge},
               {TransmittanceSideAZ, OnTube},  {TransmittanceSideDA, OnEllipsoid},
               {TransmittanceTopRA, InSquare}, {TransmittanceTopXY, InSquare},
               {TransmittanceFrontYZ, AcrossX}};
  const trelGridWindow window = MakeWindow();
  constexpr int points = 400000;
  for (const auto& c : cases) {
    const trelGridDescription& row = GetGridDescription(c.Grid);
    SCOPED_TRACE(row.Name);
    std::vector<double> sums(100, 0.0);
    for (int n = 1; n <= points; ++n) {  // spread evenly: multiples of irrational numbers
      const auto part = [&](double step) { return n * step - std::floor(n * step); };
      const Sample sample =
          c.At(part(0.8191725133961645), part(0.6710436067037893), part(0.5497004779019703));
      std::size_t cell = 0;
      if (row.LocateExactly(window, sample.Point, &cell)) sums[cell] += sample.Measure / points;
    }
    std::int32_t counts[3] = {1, 1, 1};
    for (int k = 0; k < row.NumberOfAxes; ++k)
      counts[k] = window.Bins[row.Axes[k]].Count;
    const trelCellMeasures measures(c.Grid, window);
    for (int cell = 0; cell < counts[0] * counts[1] * counts[2]; ++cell) {
      const double measure = measures.Get(cell / counts[2] / counts[1],
                                          cell / counts[2] % counts[1], cell % counts[2]);
      const double error = (c.At == InBox ? 0.04 : 0.015) * measure + 0.01;  // of few points a cell
      EXPECT_NEAR(sums[static_cast<std::size_t>(cell)], measure, error) << cell;
    }
  }
}

TEST(ExactCells, AddUpToTheWholeInDoublePrecision)
{
  const double ball[3] = {2, 2, 2}, needle[3] = {100, 1, 2}, flat[3] = {3, 4, 0.01};
  EXPECT_NEAR(ComputeArc(2, 2, 10, 370), 4 * Pi, 1e-13);
  EXPECT_NEAR(ComputeArc(3, 4, 0, 360), 22.103492160709504, 1e-12);  // 4 b E(k), k^2 = 7 / 16
  EXPECT_NEAR(ComputeEllipsoidArea(ball, 0, 360, 0, 180), 16 * Pi, 1e-12);
  EXPECT_NEAR(ComputeEllipsoidArea(ball, 0, 90, 30, 60), 2 * Pi * (std::sqrt(0.75) - 0.5), 1e-13);
  for (const double* h : {ball, needle, flat}) {
    double arcs = 0.0, areas = 0.0;
    for (int a = 0; a < 360; a += 8) {
      arcs += ComputeArc(h[0], h[1], a, a + 8);
      for (int d = 0; d < 180; d += 4)
        areas += ComputeEllipsoidArea(h, a, a + 8, d, d + 4);
    }
    EXPECT_NEAR(arcs / ComputeArc(h[0], h[1], 0, 360), 1, 1e-10);
    EXPECT_NEAR(areas / ComputeEllipsoidArea(h, 0, 360, 0, 180), 1, 1e-9);
  }
}

TEST(ExactCells, TakeTheAxisAndTheUpperBounds)
{
  trelGridWindow window = MakeWindow();
  window.Bins[GridR] = {0, 3, 1, 3};
  const struct
  {
    trelGridId Grid;
    double Point[3];
    int Cell;  // -1: none
  } cases[] = {{AbsorptionXY, {3, 3.5, 0}, 5},       {AbsorptionXY, {3 + 1e-14, -4, 0}, 4},
               {AbsorptionXY, {3 + 1e-9, 0, 0}, -1}, {AbsorptionRA, {0, 0, 0}, 0},
               {AbsorptionRAZ, {0, 0, 4}, 2},        {AbsorptionRA, {-3, 0, 0}, 12},
               {AbsorptionRA, {-3.1, 0, 0}, -1},     {AbsorptionRA, {1, 0, 0}, -1},
               {AbsorptionRA, {-2, -1e-300, 0}, 12}, {TransmittanceSideDA, {0, 0, 5}, -1},
               {TransmittanceSideDA, {0, 1, -1}, 1}, {TransmittanceSideDA, {0, 1, 1}, 11}};
  for (const auto& c : cases) {
    std::size_t cell = 99;
    EXPECT_EQ(GetGridDescription(c.Grid).LocateExactly(window, c.Point, &cell), c.Cell >= 0);
    EXPECT_EQ(cell, c.Cell < 0 ? 99u : static_cast<std::size_t>(c.Cell));
  }
  // 360 degrees are 0, and the poles have a cell.
  window.Bins[GridA] = {270, 360, 45, 2};
  window.Bins[GridD] = {0, 180, 60, 3};
  std::size_t cell = 99;
  const double onAxisX[3] = {2, 0, 0}, pole[3] = {0, 0, -5};
  EXPECT_TRUE(LocateCellDAExactly(window, onAxisX, &cell));
  EXPECT_EQ(cell, 3u);
  EXPECT_TRUE(LocateCellDAExactly(window, pole, &cell));
  EXPECT_EQ(cell, 0u);
  EXPECT_EQ(CountCellsWithoutSliver(1.1, 0.1), 11);
  EXPECT_EQ(CountCellsWithoutSliver(1.15, 0.1), 12);
  EXPECT_EQ(CountCellsWithoutSliver(0.1, 1e12), 1);
}

// Scores

/** A model by the exact rules in all domains, and where its packets are scored. */
class ExactScores : public testing::Test
{
protected:
  ~ExactScores() override { Result->UnRegister(); }

  void Initialize(trelShapeObject* shape, SimulationDimension dimension, CoordinateType coordinate,
                  bool fluence)
  {
    Result->Register();
    Model->SetDimension(dimension);
    Model->SetRules(RulesExact);
    Model->SetAbsorptionCoordinate(coordinate);
    Model->SetTransmittanceCoordinate(shape->GetTraits().Coordinate);
    Model->SetSaveFluenceRate(fluence);
    Model->SetTimeDomain(true);
    Model->SetFrequencyDomain(true);
    Model->SetFrequency(3000);
    Model->SetTimeRange(10, 57, 10);
    Model->SetSeparations(0.7, 0.9, 0.8, 0.6, 50, 60);
    Model.AddTissue(shape, {0.1, 1, 0, 1});
    ReportsOf([this] { ASSERT_TRUE(Result->Initialize(Model.Get())); });
    Transport.Resolve(*Model.Get());
    Tables.Resolve(*Result, *Model.Get(), shape->GetShapeType());
    Scores.Grids = Tables.GetMedium(0);
    Scores.FiberGrids = Tables.GetFibers(0);
    Scores.OneThread = true;
  }
  trelMediumResult& Record() { return *Result->GetMediumResult(0); }
  std::vector<double> Cells(trelGridDomain domain, trelGridId id)
  {
    trelGrid& grid = *Record().GetGrid(domain, id);
    return {grid.GetCells(), grid.GetCells() + grid.GetNumberOfCells()};
  }
  static trelPacket MakePacket(const trelVector& position, double time, double weight)
  {
    trelPacket packet{};
    packet.Position = position;
    packet.FlyTime = time;
    packet.Weight = weight;
    packet.SourceWeight = 2;
    return packet;
  }

  TestModel Model;
  trelSimulationResult* Result = new trelSimulationResult;
  trelTransportModel Transport;
  trelScoreTables Tables;
  trelPacketScores Scores{};
};

/** The first number of a variable that is not 0, and the text of its attribute; 0 and "" without.
 */
static std::pair<double, std::string> ReadVariable(const std::string& path, const char* name)
{
  int file = 0, variable = 0;
  std::vector<double> values(1 << 16);
  std::string text(100, '\0');
  EXPECT_EQ(nc_open(path.c_str(), NC_NOWRITE, &file), NC_NOERR);
  if (nc_inq_varid(file, name, &variable) == NC_NOERR) {
    EXPECT_EQ(nc_get_var_double(file, variable, values.data()), NC_NOERR);
    nc_get_att_text(file, variable, "ancillary_variables", text.data());
  }
  nc_close(file);
  const auto found = std::find_if(values.begin(), values.end(), [](double x) { return x != 0.0; });
  return {found == values.end() ? 0.0 : *found, text.c_str()};
}

TEST_F(ExactScores, StandBesideTheirStandardErrorsInTheFile)
{
  Initialize(TestModel::Make<trelCube>({0, 0, 0}, {3, 4, 5}), Dimension3D, CoordinateCartesian,
             false);
  auto* errors = new trelSimulationResult;
  ASSERT_TRUE(errors->Initialize(Model.Get()));
  trelLabelledResultWriter writer;
  writer.SetInput(Result, Model.Get());
  writer.SetErrors(errors);
  for (const trelSimulationResult* result : {Result, errors}) {
    const trelMediumResult& record = *result->GetMediumResult(0);
    const double value = result == Result ? 8.0 : 2.0;
    record.GetGrid(GridCW, TransmittanceTopXY)->GetCells()[7] = value;
    record.GetGrid(GridFDReal, TransmittanceTopXY)->GetCells()[7] = value;
    trelGrid& gates = *record.GetGrid(GridTD, TransmittanceTopXY);
    gates.GetCells()[gates.GetNumberOfCells() - 1] = value;  // the last gate is of 7 ps
  }
  const TemporaryDirectory directory;
  const std::string path = directory.PathOf("errors.nc");
  writer.AddFileName(path.c_str());
  ASSERT_TRUE(writer.Update());
  const std::string error = "transmittance_top_error";
  using Read = std::pair<double, std::string>;
  EXPECT_EQ(ReadVariable(path, "transmittance_top"), Read(8.0, error));
  EXPECT_EQ(ReadVariable(path, "transmittance_top_error"), Read(2.0, ""));
  EXPECT_NEAR(ReadVariable(path, "transmittance_top_td_error").first, 2.0 / 7.0, 1e-15);
  EXPECT_EQ(ReadVariable(path, "transmittance_top_fd_real"),
            Read(8.0, "transmittance_top_fd_real_error"));
  // Errors of another shape are refused, and the file stays.
  Model->SetSeparations(1, 1, 1, 1, 1, 1);
  ReportsOf([&] { ASSERT_TRUE(errors->Initialize(Model.Get())); });
  bool isWritten = true;
  EXPECT_THAT(ReportsOf([&] { isWritten = writer.Update(); }),
              testing::HasSubstr("errors.nc: the grids of absorption_error differ in shape"));
  EXPECT_FALSE(isWritten);
  EXPECT_EQ(ReadVariable(path, "transmittance_top_error").first, 2.0);
  EXPECT_EQ(directory.Count(), 1);
}

class ExactPaths : public ExactScores, public testing::WithParamInterface<int>
{
};

TEST_P(ExactPaths, AreCutAtEveryBorderOfCellsAndGates)
{
  const struct
  {
    ShapeType Shape;
    CoordinateType Coordinate;
    trelGridId Grid;
  } kinds[] = {{ShapeCube, CoordinateCartesian, AbsorptionXYZ},
               {ShapeCylinder, CoordinateCylindrical, AbsorptionRAZ},
               {ShapeRectangle, CoordinateCartesian, AbsorptionXY},
               {ShapeEllipse, CoordinatePolar, AbsorptionRA}};
  const auto& kind = kinds[GetParam()];
  const bool isPlanar = GetShapeTraits(kind.Shape).IsPlanar();
  const double roi[12] = {-2, 1.9, -1.5, 3, -3, 2, 0.4, 2.9, 30, 320, 0, 180};
  Model->SetROI(roi);
  Initialize(MakeShape(kind.Shape, {0.1, 0.2, 0.3}, {3, 3, 3}),
             isPlanar ? Dimension2D : Dimension3D, kind.Coordinate, true);
  std::mt19937 random(5);
  const auto draw = [&] { return std::uniform_real_distribution<>(-3, 3)(random); };
  const trelScoreTarget& target = Scores.Grids->Absorption;
  for (int n = 0; n < 60; ++n) {
    trelPacket packet = MakePacket({draw(), draw(), isPlanar ? 0.0 : draw()}, 20 + 5 * draw(), 0.5);
    trelVector towards = {draw(), draw(), isPlanar ? 0.0 : draw()};
    if (n % 6 == 1) towards = trelVector{0.1, 0.2, packet.Position.Z} - packet.Position;
    if (n % 6 == 2) towards = {n % 4 ? 1.0 : -1.0, 0, 0};
    if (n % 6 == 3 && !isPlanar) towards = {0, 0, 1};
    if (n % 12 == 4) packet.Position = {0.1, 0.2, packet.Position.Z};  // from the axis
    packet.Direction = Normalized(towards);
    const double length = n == 5 ? 1e4 : 4 + draw(), slowness = 4.5;
    const double counted = std::min(length, 12.0);  // nothing lies beyond
    for (const trelGridDomain domain : {GridCW, GridTD, GridFDReal, GridFDImag}) {
      trelGrid& grid = *Record().GetGrid(domain, kind.Grid);
      std::fill_n(grid.GetCells(), grid.GetNumberOfCells(), 0.0);
    }
    ScorePath(packet, length, slowness, Scores, Transport);
    std::vector<double> cw(target.NumberOfCells), td(Cells(GridTD, kind.Grid).size()), re = cw,
                                                                                       im = cw;
    constexpr int steps = 20000;
    const double step = counted / steps, weight = 2 * 0.5 * step;
    for (int k = 0; k < steps; ++k) {
      const double s = (k + 0.5) * step, time = packet.FlyTime + slowness * s;
      const trelVector p = packet.Position + s * packet.Direction;
      const double position[3] = {p.X, p.Y, p.Z};
      std::size_t cell = 0;
      if (!target.Locate(Scores.Grids->Window, position, &cell)) continue;
      cw[cell] += weight;
      re[cell] += weight * std::cos(2 * Pi * 0.003 * time);
      im[cell] += weight * std::sin(2 * Pi * 0.003 * time);
      const double gate = std::floor((time - 10) / 10);
      if (gate >= 0 && time < 57) td[static_cast<std::size_t>(gate) * cw.size() + cell] += weight;
    }
    const auto near = [&](trelGridDomain domain, const std::vector<double>& expected) {
      EXPECT_THAT(Cells(domain, kind.Grid),
                  testing::Pointwise(testing::DoubleNear(3 * step), expected))
          << "path " << n << " domain " << domain;
    };
    near(GridCW, cw);
    near(GridTD, td);
    near(GridFDReal, re);
    near(GridFDImag, im);
  }
}

INSTANTIATE_TEST_SUITE_P(Grids, ExactPaths, testing::Range(0, 4));

TEST_F(ExactScores, KeepWhatIsAbsorbedApartFromTheFluence)
{
  Initialize(MakeShape(ShapeCube, {0, 0, 0}, {1, 1, 1}), Dimension3D, CoordinateCartesian, true);
  const trelVector place = {-0.9, -0.9, 0.9};    // in a cell of 0.7 x 0.9 x 0.4 mm
  for (const double time : {125.0 / 3, 57.0}) {  // an eighth of a period each, 1/3 the other
    const trelPacket packet = MakePacket(place, time, 1);
    ScoreInteraction(packet, Scores, Transport, 0.25, 0.5);
  }
  Record().Finalize(Model.Get(), true);
  const double volume = 0.7 * 0.9 * 0.4;
  EXPECT_DOUBLE_EQ(Record().GetTotalAbsorption3D(), 1.0);
  EXPECT_DOUBLE_EQ(Record().GetTotalTDAbsorption3D(), 1.0);
  EXPECT_DOUBLE_EQ(Record().GetTDAbsorption3D()[4], 0.5);
  EXPECT_NEAR((*Record().GetAbsorptionXYZ())(0, 0, 2), 2 / volume, 1e-12);
  EXPECT_NEAR((*Record().GetTDAbsorptionXYZ())(4, 0, 0, 2), 1 / volume, 1e-12);
  const double turns[] = {125e-3, 171e-3};  // the phases add up as vectors of equal length
  EXPECT_NEAR((*Record().GetFDAbsorptionXYZPha())(0, 0, 2), 180 * (turns[0] + turns[1]), 1e-10);
  EXPECT_NEAR((*Record().GetFDAbsorptionXYZAmp())(0, 0, 2),
              2 / volume * std::cos(Pi * (turns[1] - turns[0])), 1e-12);
}

TEST_F(ExactScores, OfLeavingPacketsAndFibresCoverAllDomains)
{
  auto* fiber = new trelFiberDetector;
  fiber->SetShape(MakeShape(ShapeCylinder, {0, 0, 0.5}, {0.5, 0.5, 0.4}));
  Model->AddDetector(fiber);
  Initialize(MakeShape(ShapeCube, {0, 0, 0}, {1, 1, 1}), Dimension3D, CoordinateCartesian, false);
  trelPacket packet = MakePacket({1, 1, 1}, 57, 0.5);
  packet.Boundary.Hit.Face = 4;  // top
  ScoreEscape(packet, Scores, Transport);
  packet.Position = {0.5, 0, 0.9};
  ScoreFiber(packet, 2, 0, Scores, Transport);
  packet.FlyTime = 125;
  ScoreFiber(packet, 2, 0, Scores, Transport);
  Result->FinalizeMediumResults(Model.Get(), false);
  Result->FinalizeDetectorResults(Model.Get());
  EXPECT_DOUBLE_EQ(Record().GetTotalTransmittance3D(), 1.0);
  EXPECT_NEAR((*Record().GetTransmittanceTopXY())(2, 2), 1 / (0.6 * 0.2), 1e-12);
  EXPECT_DOUBLE_EQ(Record().GetTDTransmittance3D()[4], 1.0);
  const trelDetectorResult& collected = *Result->GetDetectorArrayResult(0)->GetDetectorResult(0);
  const double cell = 0.5 * 50 * Pi / 180 * 0.8;
  EXPECT_NEAR((*collected.GetGrid(GridCW, TransmittanceSideAZ))(0, 0), 2 / cell, 1e-12);
  EXPECT_NEAR((*collected.GetGrid(GridTD, TransmittanceSideAZ))(4, 0, 0), 1 / cell, 1e-12);
  EXPECT_NEAR((*collected.GetGrid(GridFDPha, TransmittanceSideAZ))(0, 0), 180 * 0.546, 1e-10);

  const TemporaryDirectory directory;
  auto* writer = new trelSimulationResultWriter;
  writer->AddFileName(directory.PathOf("run").c_str());
  writer->SetInput(Result, Model.Get());
  EXPECT_TRUE(writer->Update());
  writer->Delete();
  const std::string td = ReadText(directory.PathOf("run.D.TD"));
  const std::string fd = ReadText(directory.PathOf("run.D.FD"));
  EXPECT_EQ(
      td.rfind("Spectrum 600\nTotalDetection 1 \n3DTDFiberDetector  1.00000e+00\n"
               "TDFiberDetectorNum 5\n\nTD 0  0.00000e+00\n3DTDFiberDetectorSide  0.00000e+00\n"
               "CountA CountZ 8 1\n3DTDFiberDetectorSideAZ\n",
               0),
      0u)
      << td;
  EXPECT_NE(fd.find("CountA CountZ 8 1\n3DFDAmpFiberDetectorSideAZ\n"), std::string::npos) << fd;
  EXPECT_NE(fd.find("\n3DFDPhaFiberDetectorSideAZ\n 9.82800e+01"), std::string::npos) << fd;
}

// Cameras

static double OfBall(double x, double y)
{
  return std::hypot(x, y);
}
static double OfBox(double x, double y)
{
  return std::max(std::fabs(x), std::fabs(y));
}

/** Lets the grid @p id shine at 7 / mm^2, of a mesh those faces that lie in z = 1. */
static void Shine(TestModel& model, trelGridId id, trelGrid& grid)
{
  std::fill_n(grid.GetCells(), grid.GetNumberOfCells(), 7.0);
  if (id != TransmittanceMeshFace) return;
  const auto& mesh = static_cast<const trelTraceableMesh&>(*model->GetOuterShape());
  for (std::uint32_t t = 0; t < mesh.GetNumberOfTriangles(); ++t)
    for (const std::uint32_t corner : mesh.GetTriangleArray()[t].Vertices)
      if (mesh.GetVertexArray()[corner].Z < 1) grid.GetCells()[t] = 3.0;
}

/** From afar along the axis. */
static trelPlaneDetector* MakeCamera()
{
  auto* plane = new trelPlaneDetector;  // the object plane goes through the body's middle
  plane->SetCenter(0, 0, 2200);
  plane->SetNormal(0, 0, -1);
  plane->SetSize(3, 3);
  plane->SetResolution(30, 30);
  plane->SetFocalLength(550);
  plane->SetImageDistance(1100);
  return plane;
}

TEST(ExactResults, TetrahedraHaveTogetherWhatTheirCubesAndTheLedgerHave)
{
  for (const bool fluence : {false, true}) {
    TestModel model;
    const Optics clear = {0, 0, 0, 1}, turbid = {0.5, 1, 0, 1.5};
    BuildTetrahedra(model, {}, {4, 4, 4}, 4, {{0.2, 3, 0.5, 1.3}, fluence ? clear : turbid});
    model.AddPencilBeam(0.3, 0.7, -4, 500);
    model->SetSeparations(2, 2, 2, 1, 1, 1);
    model->SetTimeDomain(true);
    model->SetTimeRange(0, 40, 10);
    model->SetFrequencyDomain(true);
    model->SetFrequency(200);
    model->SetSaveFluenceRate(fluence);
    model->SetSaveElements(true);
    ExactRun run(model, 5, 4);
    for (const trelGridDomain domain : {GridCW, GridTD, GridFDReal, GridFDImag}) {
      const trelGrid &cubes = *run[0].GetGrid(domain, AbsorptionXYZ),
                     &elements = *run[0].GetGrid(domain, AbsorptionElement);
      ASSERT_EQ(elements.GetNumberOfCells(), 6 * cubes.GetNumberOfCells());
      double largest = 0.0, regions[2] = {};
      for (std::size_t k = 0; k < cubes.GetNumberOfCells(); ++k) {
        const double* const six = elements.GetCells() + 6 * k;
        EXPECT_NEAR(std::accumulate(six, six + 6, 0.0) / 6, cubes.GetCells()[k], 1e-9) << k;
        largest = std::max(largest, std::fabs(cubes.GetCells()[k]));
        regions[k % 4 / 2] += 8 * cubes.GetCells()[k];
      }
      EXPECT_GT(largest, 1e-4) << domain;
      for (const trelLedgerLine& line : run.ListLedger(0)) {
        if (fluence || domain != GridCW || line.Name.rfind("by tissue ", 0) != 0) continue;
        EXPECT_NEAR(line.Weight, regions[line.Name.back() - '1'], 1e-9);
      }
    }
  }
}

TEST(ExactCamera, SeesALambertianBodyAsAFlatOneWhateverItsFormAndCells)
{
  const Optics optics = {0.5, 1, 0, 1};
  const ModelOf ball = [&](TestModel& m) { m.AddTissue(Ball({}, 1), optics); };
  const ModelOf cube = [&](TestModel& m) { m.AddTissue(Box(0, 0, 0, 1, 1, 1), optics); };
  const ModelOf triangles = [&](TestModel& m) { m.AddTissue(BoxMesh({}, {1, 1, 1}), optics); };
  const ModelOf tetrahedra = [&](TestModel& m) {
    BuildTetrahedra(m, {}, {1, 1, 1}, 4, {optics, optics});
  };
  const struct
  {
    ModelOf Build;
    trelGridId Grid;
    double Cell, Angle;  ///< mm, degrees
    double (*Outline)(double, double);
  } cases[] = {{ball, TransmittanceSideDA, 1, 30, OfBall},
               {ball, TransmittanceSideDA, 1, 7, OfBall},
               {cube, TransmittanceTopXY, 1, 9, OfBox},
               {cube, TransmittanceTopXY, 0.3, 9, OfBox},
               {triangles, TransmittanceMeshFace, 1, 9, OfBox},
               {tetrahedra, TransmittanceMeshFace, 1, 9, OfBox}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    TestModel model;
    model->SetRules(RulesExact);
    if (c.Grid == TransmittanceSideDA) model->SetTransmittanceCoordinate(CoordinateSpherical);
    model->SetSeparations(c.Cell, c.Cell, c.Cell, 1, c.Angle, c.Angle);
    auto* fiber = new trelFiberDetector;  // the first detector is no camera
    fiber->SetShape(MakeShape(ShapeCylinder, {0, 0, 0}, {1, 1, 1}));
    model->AddDetector(fiber);
    auto* tilted = new trelPlaneDetector;  // has no picture, and takes none from the next
    tilted->SetNormal(0, 1, -1);
    model->AddDetector(tilted);
    model->AddDetector(MakeCamera());
    c.Build(model);
    model->PrepareGeometry();
    auto* result = new trelSimulationResult;
    result->Register();
    ReportsOf([&] { ASSERT_TRUE(result->Initialize(model.Get())); });
    Shine(model, c.Grid, *result->GetMediumResult(0)->GetGrid(GridCW, c.Grid));
    trelFreespacePinhole pinhole;
    pinhole.SetParameter(model.Get());
    pinhole.SetResult(result);
    EXPECT_FALSE(pinhole.Update());
    const trelGrid& image =
        *result->GetDetectorArrayResult(0)->GetDetectorResult(2)->GetDetectionMatrix();
    for (int row = 0; row < 30; ++row) {
      for (int column = 0; column < 30; ++column) {
        const double r = c.Outline((row - 14.5) / 10, (column - 14.5) / 10);
        if (std::fabs(r - 1) < 1e-3) continue;
        EXPECT_DOUBLE_EQ(image(row, column), r < 1 ? 7 / Pi : 0) << row << " " << column;
      }
    }
    // The same numbers as weights of cells: their total without a picture, and of the picture.
    trelCameraBatches batches;
    batches.Prepare(trelFreespacePinhole::ListCells(*model.Get(), *result), 1);
    batches.Take(*result);
    result->FinalizeMediumResults(model.Get(), false);
    pinhole.Update();
    const double total =
        result->GetDetectorArrayResult(0)->GetDetectorResult(2)->GetTotalDetection();
    EXPECT_GT(total, 0.0);
    EXPECT_NEAR(batches.List(0, 2).at(0), total, 1e-12 * total);
    EXPECT_EQ(batches.List(0, 1).at(0), 0.0) << "the tilted one sees nothing";
    result->UnRegister();
  }
}

namespace {

/** Whether each wavelength's terms add up to what was launched; @p seen gets the names of those
 * that are not 0. */
testing::AssertionResult AddsUp(const trelLedger& ledger, std::set<std::string>* seen = nullptr)
{
  for (std::size_t i = 0; i < ledger.Records.size(); ++i) {
    const std::vector<trelLedgerLine> lines = ledger.List(i);
    double weight = lines[0].Weight;
    std::uint64_t packets = lines[0].Packets;
    for (std::size_t k = 1; k < lines.size(); ++k) {
      if (lines[k].Level == 0) weight -= lines[k].Weight;
      if (lines[k].Level == 0) packets -= lines[k].Packets;
      if (seen && (lines[k].Weight != 0.0 || lines[k].Packets != 0)) seen->insert(lines[k].Name);
    }
    if (!(std::fabs(weight) <= 1e-12 * lines[0].Weight) || packets != 0)
      return testing::AssertionFailure()
             << "at wavelength " << i << ": missing " << weight << " of " << lines[0].Weight
             << " and " << packets << " packets";
    EXPECT_EQ(packets, static_cast<std::uint64_t>(ledger.Records[i].FindMissingPackets()));
    EXPECT_LE(std::fabs(ledger.Records[i].FindMissingWeight()), 1e-12 * lines[0].Weight);
  }
  return testing::AssertionSuccess();
}

/** The same; and without any one of the terms it must not. */
void ExpectBalance(trelLedger ledger, std::set<std::string>* seen)
{
  EXPECT_TRUE(AddsUp(ledger, seen));
  for (trelLedgerRecord& record : ledger.Records) {
    for (trelLedgerSum* sum : {&record.Tissues[0], &record.Faces[0], &record.Parts[LedgerRoulette],
                               &record.Parts[LedgerTrapped], &record.Parts[LedgerNotLaunched]}) {
      if (std::fabs(sum->GetWeight()) <= 1e-9 * record.GetLaunched().GetWeight()) continue;
      const trelLedgerSum kept = *sum;
      *sum = {};
      EXPECT_FALSE(AddsUp(ledger));
      *sum = kept;
    }
  }
}

trelLedger RunLedger(trelSimulationParameter* parameter)
{
  parameter->SetRules(RulesExact);
  trelExactMonteCarlo run;
  run.SetInput(parameter);
  run.SetSeed(1);
  ReportsOf([&] { EXPECT_TRUE(run.Update()); });
  return run.GetLedger();
}

}  // namespace

TEST(ExactLedger, AddsUpInAllSampleModels)
{
  int models = 0;
  for (const char* folder : {"/examples", "/examples/cookbook", "/bench"}) {
    for (const auto& entry :
         std::filesystem::directory_iterator(TREL_SOURCE_DIR + std::string(folder))) {
      if (entry.path().extension() != ".trl") continue;
      SCOPED_TRACE(entry.path().filename());
      auto* reader = new trelSimulationParameterReader;
      reader->AddFileName(entry.path().c_str());
      reader->GetOutput()->SetRules(RulesExact);
      ReportsOf([&] { EXPECT_TRUE(reader->Update()); });
      for (const auto* source : reader->GetOutput()->GetLightSources()->GetItems<trelLightSource>())
        for (auto* spectrum : source->GetSpectra()->GetItems<trelSpectrum>())
          if (spectrum->GetPhotonNumber() > 300) spectrum->SetPhotonNumber(300);
      std::set<std::string> seen;
      ExpectBalance(RunLedger(reader->GetOutput()), &seen);
      EXPECT_EQ(seen.count("escaped"), 1u);
      reader->Delete();
      ++models;
    }
  }
  EXPECT_GE(models, 15);
}

/** The grid and the surface are whole: they take, by their own sums, what the ledger says. */
TEST(ExactLedger, AddsUpWhateverBecomesOfLight)
{
  const char* const times = std::getenv("TREL_BATCHES");
  const int models = 24 * (times ? std::max(std::atoi(times), 1) : 1);
  std::set<std::string> seen;
  for (int i = 0; i < models; ++i) {
    SCOPED_TRACE(i);
    std::mt19937 random(static_cast<unsigned>(i));
    TestModel model(FMT, i % 3 == 0 ? Dimension2D : Dimension3D);
    BuildAnything(model, random);
    const trelLedger ledger = RunLedger(model.Get());
    ExpectBalance(ledger, &seen);
    for (const trelLedgerRecord& record : ledger.Records) {
      const double launched = record.GetLaunched().GetWeight();
      EXPECT_NEAR(record.Parts[LedgerInRegion].GetWeight(), record.GetAbsorbed().GetWeight(),
                  1e-12 * launched);
    }
  }
  for (const char* name : {"by dyes", "reflected at entry", "not launched", "absorbed", "by dye 2",
                           "dyes, converted", "escaped", "by detector 1", "ended by stepnummax",
                           "ended by flytimemax", "trapped", "roulette's balance"})
    EXPECT_EQ(seen.count(name), 1u) << name;
}
