#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "testModel.h"
#include "trelBioluminescenceVRMC.h"
#include "trelDiffuseVRMC.h"
#include "trelEllipse.h"
#include "trelFluorescenceVRMC.h"
#include "trelRectangle.h"

static trelShapeObject* MakePlanar(bool isEllipse, double x, double y, double hx, double hy)
{
  if (isEllipse) return TestModel::Make<trelEllipse>({x, y, 0}, {hx, hy, 0});
  return TestModel::Make<trelRectangle>({x, y, 0}, {hx, hy, 0});
}

/** An outer shape, the cells of the absorption, and where the light comes from. */
struct PlanarCase
{
  bool IsEllipse;
  CoordinateType Absorption;
  SimulationType Type;
  LuminousType Luminous;
  bool IsOutside;
};

static std::vector<PlanarCase> MakeCases()
{
  std::vector<PlanarCase> cases;
  for (const bool isEllipse : {false, true}) {
    for (const CoordinateType absorption : {CoordinateCartesian, CoordinatePolar}) {
      cases.push_back({isEllipse, absorption, BLT, LuminousBioluminescence, false});
      cases.push_back({isEllipse, absorption, DOT, LuminousDiffuse, false});
      cases.push_back({isEllipse, absorption, DOT, LuminousDiffuse, true});
      cases.push_back({isEllipse, absorption, FMT, LuminousExcitation, true});
    }
  }
  return cases;
}

/** A medium of 8 by 10 mm about (1, 2) with a tissue of the other shape inside, in all domains that
 * the mode has. */
static void BuildCase(TestModel& model, const PlanarCase& c, double absorption,
                      std::uint32_t packets, double g = 0.8)
{
  model->SetDimension(Dimension2D);
  model.AddTissue(MakePlanar(c.IsEllipse, 1, 2, 4, 5), {absorption, 1.0, g, 1.4});
  model.AddTissue(MakePlanar(!c.IsEllipse, 1, 3, 2, 1.5), {2 * absorption, 3.0, g, 1.5});
  trelLightSource* light = model.AddSource(
      MakePlanar(c.IsEllipse, c.IsOutside ? -9 : 1, 2, 0.5, 0.5), packets, c.Luminous);
  light->SetInternal(!c.IsOutside);
  if (c.IsOutside) light->SetAzimuthRange(0, 0);
  model->SetAbsorptionCoordinate(c.Absorption);
  model->SetTransmittanceCoordinate(c.IsEllipse ? CoordinatePolar : CoordinateCartesian);
  model->SetSeparations(0.7, 0.9, 1, 0.6, 24, 1);
  if (c.Type == BLT) return;
  model->SetTimeDomain(true);
  model->SetTimeRange(0, 10000, 500);
  model->SetFrequencyDomain(true);
}

static std::vector<double> RunCase(const PlanarCase& c, const ModelOf& build,
                                   const QuantityOf& quantity)
{
  const auto run = c.Type == BLT   ? RunBatches<trelBioluminescenceVRMC>
                   : c.Type == FMT ? RunBatches<trelFluorescenceVRMC>
                                   : RunBatches<trelDiffuseVRMC>;
  return run(c.Type, build, quantity);
}

/** The weight that a record accounts for. */
static double Light(const trelMediumResult& r)
{
  return r.GetTotalAbsorption2D() + r.GetTotalTransmittance2D();
}

/** The same from the amplitudes, which are densities, at a frequency of 0. */
static double LightOfAmplitudes(const trelMediumResult& r)
{
  double sum = 0.0;
  for (int id = 0; id < NumberOfGrids; ++id) {
    const trelGrid* grid = r.GetGrid(GridFDAmp, static_cast<trelGridId>(id));
    if (!grid) continue;
    const trelGridDescription& row = GetGridDescription(static_cast<trelGridId>(id));
    const int columns = row.NumberOfAxes > 1 ? grid->GetExtents()[1] : 1;
    for (std::size_t k = 0; k < grid->GetNumberOfCells(); ++k) {
      const int cell = static_cast<int>(k);
      sum += grid->GetCells()[k] * row.MeasureFD(r.GetWindow(), cell / columns, cell % columns);
    }
  }
  return sum;
}

TEST(Planar, NothingIsLostInAnyShapeModeDomainOrCoordinateSystem)
{
  int row = 0;
  for (const PlanarCase& c : MakeCases()) {
    SCOPED_TRACE(row++);
    const auto light = [&c](const trelMediumResult& r) {
      const double cw = Light(r);
      if (c.Type != BLT) {
        EXPECT_NEAR(r.GetTotalTDAbsorption2D() + r.GetTotalTDTransmittance2D(), cw, 1e-9);
        EXPECT_NEAR(LightOfAmplitudes(r), cw, 1e-9);
      }
      return cw;
    };
    // Roulette keeps the balance in the mean only; what it moves is below a ten-thousandth.
    const auto build = [&c](TestModel& m) { BuildCase(m, c, 0.1, 60); };
    const Estimate e = EstimateOf(RunCase(c, build, light));
    EXPECT_NEAR(e.Mean, 1.0, 5.0 * e.Error + 1e-4);
    EXPECT_LT(e.Error, 1e-3);
    const auto clear = [&c](TestModel& m) { BuildCase(m, c, 0.0, 5); };
    for (const double total : RunCase(c, clear, &trelMediumResult::GetTotalTransmittance2D))
      EXPECT_NEAR(total, 1.0, 1e-9) << "all that is not absorbed leaves";
  }
}

TEST(Planar, ScatteringLooksAtNoAnisotropy)
{
  const std::vector<PlanarCase> cases = MakeCases();
  for (const PlanarCase& c : {cases.front(), cases.back()}) {
    const auto run = [&c](double g) {
      return RunCase(
          c, [&](TestModel& m) { BuildCase(m, c, 0.1, 5, g); }, Light);
    };
    EXPECT_EQ(run(0.0), run(0.95));
  }
}

TEST(Planar, ClearTissueScattersEachHalfMillimetre)
{
  // A strip of 0.9 mm is entered straight. After 0.5 mm the next step leaves it, with a path of no
  // more than 1 mm in all, if its cosine is above 0.8.
  const FixedClock clock(1000003);
  const int packets = 4000;
  TestModel model;
  model->SetDimension(Dimension2D);
  model->SetSavePhotonFlyTime(true);
  model.AddTissue(MakePlanar(false, 0.45, 0, 0.45, 40), {0.0, 0.05, 1.0, 1.0});
  trelLightSource* light = model.AddSource(MakePlanar(false, -0.1, 0, 0, 0), packets);
  light->SetInternal(false);
  light->SetAzimuthRange(0, 0);
  trelDiffuseVRMC run;
  run.SetInput(model.Get());
  ASSERT_TRUE(run.Update());
  const trelMediumResult& r = *run.GetOutput()->GetMediumResult(0);
  ASSERT_EQ(r.GetTransmitPhotonNum(), packets);
  int quick = 0, upwards = 0;
  for (int i = 0; i < packets; ++i) {
    const trelFlyTimeRow& row = r.GetPhotonFlyTimes()[i];
    if (row[3] > 10.0 / 3 + 1e-9) continue;
    ++quick;
    upwards += row[1] > 0.0;
  }
  const double p = std::acos(0.8) / Pi;
  EXPECT_NEAR(quick, packets * p, 5.0 * std::sqrt(packets * p * (1 - p)));
  EXPECT_NEAR(upwards, quick / 2, 2.5 * std::sqrt(quick));
}

/** An inner tissue about the origin, its index, and the angle to the normal at which packets have
 *  left its edge: 0.2 by 0.2 mm of index 1.4 are around it. */
struct EdgeCase
{
  bool IsEllipse;
  double Index, FormerAngle, Angle;
};

/** Where, and when, a packet from the origin along @p u leaves, whose first edge is @p d away and
 * has the normal (nx, ny). */
static void TraceThroughEdge(const EdgeCase& c, const double u[2], double d, double nx, double ny,
                             double exit[4])
{
  const double p = u[0] * nx + u[1] * ny, tx = u[0] - p * nx, ty = u[1] - p * ny;
  const double along = std::sin(c.Angle) / std::hypot(tx, ty);
  const double vx = along * tx + std::cos(c.Angle) * nx, vy = along * ty + std::cos(c.Angle) * ny;
  const double further = std::min((0.2 - d * u[0]) / vx, (0.2 - d * u[1]) / vy);
  exit[0] = d * u[0] + further * vx;
  exit[1] = d * u[1] + further * vy;
  exit[2] = 0.0;
  exit[3] = (c.Index * d + 1.4 * further) * 10 / 3;
}

TEST(Planar, AnInnerEdgeRefractsOrTurnsToTheFormerAngle)
{
  const double u[2] = {std::cos(Pi / 6), std::sin(Pi / 6)};
  const double hx = 0.1, hy = 0.05;
  const double ellipseAway = 1.0 / std::hypot(u[0] / hx, u[1] / hy);
  const double nx = u[0] / (hx * hx), ny = u[1] / (hy * hy), length = std::hypot(nx, ny);
  const double sinIncidence = (u[0] * ny - u[1] * nx) / length;
  // A corner lies at 26.6 degrees: at 30 the rectangle is left through its upper edge.
  const EdgeCase cases[] = {{false, 1.4, 0.0, 0.0},
                            {false, 1.4, 0.3, 0.3},
                            {false, 1.5, 0.3, std::asin(u[0] * 1.5 / 1.4)},
                            {true, 1.4, 0.0, 0.0},
                            {true, 1.4, 0.3, 0.3},
                            {true, 1.5, 0.0, std::asin(sinIncidence * 1.5 / 1.4)}};
  for (const EdgeCase& c : cases) {
    const FixedClock clock(1000003);
    GetThreadState() = ThreadState{};
    GetThreadState().TransmitAngle = c.FormerAngle;
    TestModel model;
    model->SetDimension(Dimension2D);
    model->GetMedium()->SetAmbientRefractiveIndex(1.4);
    model->SetSavePhotonFlyTime(true);
    model.AddTissue(MakePlanar(false, 0, 0, 0.2, 0.2), {0.1, 0.1, 0, 1.4});
    model.AddTissue(MakePlanar(c.IsEllipse, 0, 0, hx, hy), {0.1, 0.1, 0, c.Index});
    model.AddSource(MakePlanar(false, 0, 0, 0, 0), 100)->SetAzimuthRange(30, 30);
    trelDiffuseVRMC run;
    run.SetInput(model.Get());
    ASSERT_TRUE(run.Update());
    double exit[4];
    if (c.IsEllipse) {
      TraceThroughEdge(c, u, ellipseAway, nx / length, ny / length, exit);
    } else {
      TraceThroughEdge(c, u, hy / u[1], 0, 1, exit);
    }
    const trelMediumResult& r = *run.GetOutput()->GetMediumResult(0);
    int expected = 0;
    for (int i = 0; i < r.GetTransmitPhotonNum(); ++i) {
      const trelFlyTimeRow& row = r.GetPhotonFlyTimes()[i];
      expected += std::equal(exit, exit + 4, row,
                             [](double a, double b) { return std::fabs(a - b) < 1e-12; });
    }
    // The others, some in a hundred, scattered or were reflected.
    EXPECT_GT(expected, 80) << c.IsEllipse << " " << c.Index << " " << c.FormerAngle;
  }
}

TEST(Planar, TheTransmittanceIsSavedInTheCellsThatFit)
{
  for (const bool isEllipse : {false, true}) {
    TestModel model;
    BuildCase(model, {isEllipse, CoordinatePolar, DOT, LuminousDiffuse, false}, 0.1, 100);
    model->SetTransmittanceCoordinate(isEllipse ? CoordinateCartesian : CoordinatePolar);
    trelDiffuseVRMC run;
    run.SetInput(model.Get());
    testing::internal::CaptureStderr();
    ASSERT_TRUE(run.Update());
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_NE(report.find("is modified to the Polar automatically!"), report.npos);
    const trelMediumResult& r = *run.GetOutput()->GetMediumResult(0);
    EXPECT_NE(r.GetGrid(GridCW, isEllipse ? TransmittanceSide : TransmittanceLeft), nullptr);
    EXPECT_GT(r.GetTotalTransmittance2D(), 0.1);
  }
}

TEST(Planar, ADyeEmitsWhenThereIsExcitation)
{
  for (const bool isExcited : {false, true}) {
    GetThreadState() = ThreadState{};
    TestModel model(FMT, Dimension2D);
    model->SetWavelengths({500, 600});
    model.AddTissue(MakePlanar(false, 0, 0, 5, 5), {0.1, 1.0, 0.0, 1.4});
    if (isExcited) {
      model.AddSource(MakePlanar(true, 0, 0, 1, 1), 100, LuminousExcitation)
          ->GetSpectrum(1)
          ->SetPhotonNumber(0);
    }
    trelSpectrum* emission =
        model.AddSource(MakePlanar(true, 0, 0, 3, 3), 100, LuminousEmission)->GetSpectrum(1);
    emission->SetExcitationWavelength(500);
    emission->SetQuantumYield(0.5);
    emission->SetFluorophoreAbsorption(0.2);
    trelFluorescenceVRMC run;
    run.SetInput(model.Get());
    ASSERT_TRUE(run.Update());
    for (int i = 0; i < 2; ++i)
      EXPECT_EQ(Light(*run.GetOutput()->GetMediumResult(i)) > 0.1, isExcited) << "record " << i;
  }
}

TEST(Planar, ASolidAsTheMediumGivesAnEmptyResult)
{
  // A parameter file can say so: its second section knows solids.
  TestModel model(DOT, Dimension2D);
  model.AddTissue(TestModel::Make<trelCube>({0, 0, 0}, {5, 5, 5}), {0.1, 1.0, 0.0, 1.4});
  model.AddSource(TestModel::Make<trelCube>({0, 0, 0}, {1, 1, 1}), 100);
  trelDiffuseVRMC run;
  run.SetInput(model.Get());
  ASSERT_TRUE(run.Update());
  const trelMediumResult& r = *run.GetOutput()->GetMediumResult(0);
  EXPECT_GT(r.GetTransmitPhotonNum() + r.GetAbsorpPhotonNum(), 0);
  EXPECT_EQ(Light(r) + r.GetTotalAbsorption3D() + r.GetTotalTransmittance3D(), 0.0);
}
