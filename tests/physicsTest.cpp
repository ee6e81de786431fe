#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "testModel.h"
#include "trelBioluminescenceVRMC.h"
#include "trelDiffuseVRMC.h"
#include "trelFluorescenceVRMC.h"

// Whole runs against known solutions. Each quantity is the mean of batches, see RunBatches(). Every
// test has a twin with a slightly wrong parameter, which must miss the bound.

/** How many standard errors the mean of `quantity` lies from `expected`. */
static double Deviation(const ModelOf& build, const QuantityOf& quantity, double expected)
{
  const Estimate e = EstimateOf(RunBatches<trelDiffuseVRMC>(DOT, build, quantity));
  return std::fabs(e.Mean - expected) / (e.Error + 1e-12);
}

/** Adds a slab between z = 0 and `thickness`, wide enough that no light reaches its sides, and a
 * pencil beam into its lower face. */
static void BuildSlab(TestModel& model, double thickness, const Optics& optics, bool specular,
                      std::uint32_t packets)
{
  const double half = thickness / 2;
  model.AddTissue(TestModel::Make<trelCube>({0, 0, half}, {20, 20, half}), optics);
  model.AddPencilBeam(0, 0, 0, packets)->SetSpecular(specular);
  model->SetSaveAbsorption(false);
  model->SetSeparations(40, 40, thickness, 1, 1, 1);
}

static double Reflected(const trelMediumResult& r)
{
  return r.GetTransmittanceBottomTotal() + r.GetSpecularReflectance();
}

TEST(Physics, ASlabOfMatchedIndexReflectsAndTransmitsAsTabulated)
{
  // Total reflectance and transmittance: van de Hulst, Multiple Light Scattering (1980), table 35.
  const auto slab = [](double g) {
    return [g](TestModel& m) { BuildSlab(m, 0.2, {1.0, 9.0, g, 1.0}, false, 4000); };
  };
  EXPECT_LT(Deviation(slab(0.75), Reflected, 0.09739), 5.0);
  EXPECT_LT(Deviation(slab(0.75), &trelMediumResult::GetTransmittanceTopTotal, 0.66096), 5.0);
  EXPECT_GT(Deviation(slab(0.79), Reflected, 0.09739), 5.0);
}

TEST(Physics, AHalfSpaceOfHigherIndexReflectsAsTabulated)
{
  // Giovanelli, Optica Acta 2 (1955) 153; the specular part included.
  const auto halfSpace = [](double n) {
    return [n](TestModel& m) { BuildSlab(m, 40.0, {1.0, 9.0, 0.0, n}, true, 4000); };
  };
  EXPECT_LT(Deviation(halfSpace(1.5), Reflected, 0.2600), 5.0);
  EXPECT_GT(Deviation(halfSpace(1.45), Reflected, 0.2600), 5.0);
}

TEST(Physics, BallisticTransmissionFallsExponentially)
{
  // Packets that crossed 2 mm without a scattering arrive at exactly n d / c.
  const int packets = 20000;
  TestModel model;
  BuildSlab(model, 2.0, {0.2, 0.8, 0.5, 1.0}, false, packets);
  model->SetSavePhotonFlyTime(true);
  Traced<trelDiffuseVRMC> run(model);
  int ballistic = 0;
  for (std::int64_t i = 0; i < run[0].GetTransmitPhotonNum(); ++i) {
    const trelFlyTimeRow& row = run[0].GetPhotonFlyTimes()[i];
    if (std::fabs(row[2] - 2.0) < 1e-9 && std::fabs(row[3] - 2.0 * 10 / 3) < 1e-6) ++ballistic;
  }
  const double p = std::exp(-2.0);
  EXPECT_NEAR(ballistic, packets * p, 5.0 * std::sqrt(packets * p * (1 - p)));
}

TEST(Physics, ModulationDelaysThePhase)
{
  // At low frequency the phase of the total is 2 pi f times the mean time of flight, up to the
  // third order. The mean time is that of the time domain.
  TestModel model;
  BuildSlab(model, 10.0, {0.01, 1.0, 0.0, 1.4}, false, 20000);
  model->SetTimeDomain(true);
  model->SetTimeRange(0.0, 20000.0, 1.0);
  model->SetFrequencyDomain(true);
  model->SetFrequency(10.0);
  Traced<trelDiffuseVRMC> run(model);
  const trelGrid& td = *run[0].GetGrid(GridTD, TransmittanceTopXY);
  double weight = 0.0, moment = 0.0;
  for (int t = 0; t < td.GetExtents()[0]; ++t) {
    weight += td(t, 0, 0);
    moment += (t + 0.5) * td(t, 0, 0);
  }
  const double degrees = run[0].GetGrid(GridFDPha, TransmittanceTopXY)->GetCells()[0];
  const double expected = 360.0 * 10.0 * 1e-6 * moment / weight;
  EXPECT_NEAR(degrees, expected, 0.01 * expected);
  EXPECT_GT(expected, 0.5);
}

/** A medium, what it is scored in, and where its light comes from. */
struct OuterCase
{
  ShapeType Outer, Inner;
  CoordinateType Absorption, Transmittance;
  SimulationType Type;
  LuminousType Luminous;
  bool IsOutside;

  bool IsPlanar() const { return Outer == ShapeRectangle || Outer == ShapeEllipse; }
};

/** Each shape in each of its coordinate systems, lit in several ways. */
static std::vector<OuterCase> MakeOuterCases()
{
  const struct
  {
    ShapeType Outer, Inner;
    CoordinateType Absorption, Transmittance;
  } media[] = {
      {ShapeCube, ShapeEllipsoid, CoordinateCartesian, CoordinateCartesian},
      {ShapeCube, ShapeCylinder, CoordinateCylindrical, CoordinateCartesian},
      {ShapeCylinder, ShapeEllipsoid, CoordinateCartesian, CoordinateCartesian},
      {ShapeCylinder, ShapeEllipsoid, CoordinateCylindrical, CoordinateCylindrical},
      {ShapeEllipsoid, ShapeEllipsoid, CoordinateCartesian, CoordinateSpherical},
      {ShapeEllipsoid, ShapeCube, CoordinateCylindrical, CoordinateSpherical},
      {ShapeRectangle, ShapeEllipse, CoordinateCartesian, CoordinateCartesian},
      {ShapeRectangle, ShapeEllipse, CoordinatePolar, CoordinateCartesian},
      {ShapeEllipse, ShapeRectangle, CoordinateCartesian, CoordinatePolar},
      {ShapeEllipse, ShapeRectangle, CoordinatePolar, CoordinatePolar},
  };
  const struct
  {
    SimulationType Type;
    LuminousType Luminous;
    bool IsOutside;
  } lights[] = {{DOT, LuminousDiffuse, false},
                {BLT, LuminousBioluminescence, false},
                {FMT, LuminousExcitation, true},
                {DOT, LuminousDiffuse, true}};
  std::vector<OuterCase> cases;
  for (const auto& m : media) {
    for (const auto& light : lights) {
      // Solids take their time: each has the first light and one more.
      const auto i = &m - media, k = &light - lights;
      if (i < 6 && k != 0 && k != 1 + i % 3) continue;
      cases.push_back({m.Outer, m.Inner, m.Absorption, m.Transmittance, light.Type, light.Luminous,
                       light.IsOutside});
    }
  }
  return cases;
}

static void BuildOuterCase(TestModel& model, const OuterCase& c, double absorption,
                           std::uint32_t packets, double g = 0.8)
{
  if (c.IsPlanar()) model->SetDimension(Dimension2D);
  const bool isBall = c.Outer == ShapeEllipsoid;
  model.AddTissue(
      isBall ? MakeShape(c.Outer, {1, 2, 3}, {5, 5, 5}) : MakeShape(c.Outer, {1, 2, 3}, {4, 5, 6}),
      {absorption, 1.0, g, 1.4});
  model.AddTissue(MakeShape(c.Inner, {1, 3, 4}, {2, 1.5, 1}), {absorption * 2, 3.0, g, 1.5});
  const ShapeType lamp = c.IsPlanar() ? c.Outer : ShapeEllipsoid;
  trelLightSource* light = model.AddSource(
      MakeShape(lamp, {c.IsOutside ? -9.0 : 1.0, 2, 3}, {0.5, 0.5, 0.5}), packets, c.Luminous);
  light->SetInternal(!c.IsOutside);
  if (c.IsOutside) {
    light->SetAzimuthRange(0, 0);
    light->SetDeflectionRange(90, 90);
  }
  model->SetAbsorptionCoordinate(c.Absorption);
  model->SetTransmittanceCoordinate(c.Transmittance);
  model->SetSeparations(0.7, 0.9, 1.1, 0.6, 24, 22.5);
}

static std::vector<double> RunCase(const OuterCase& c, const ModelOf& build,
                                   const QuantityOf& quantity, int batches = 24)
{
  const auto run = c.Type == BLT   ? RunBatches<trelBioluminescenceVRMC>
                   : c.Type == FMT ? RunBatches<trelFluorescenceVRMC>
                                   : RunBatches<trelDiffuseVRMC>;
  return run(c.Type, build, quantity, batches);
}

TEST(Physics, NothingIsLostInAnyShapeModeOrCoordinateSystem)
{
  int row = 0;
  for (const OuterCase& c : MakeOuterCases()) {
    SCOPED_TRACE(row++);
    // Roulette keeps the balance in the mean only; what it moves is below a ten-thousandth.
    const auto build = [&c](TestModel& m) { BuildOuterCase(m, c, 0.1, 80); };
    const Estimate e = EstimateOf(RunCase(c, build, Light));
    EXPECT_NEAR(e.Mean, 1.0, 5.0 * e.Error + 1e-4);
    EXPECT_LT(e.Error, 1e-3);
    const auto clear = [&c](TestModel& m) { BuildOuterCase(m, c, 0.0, 80); };
    const auto transmitted = c.IsPlanar() ? &trelMediumResult::GetTotalTransmittance2D
                                          : &trelMediumResult::GetTotalTransmittance3D;
    for (const double total : RunCase(c, clear, transmitted, 2))
      EXPECT_NEAR(total, 1.0, 1e-9) << "all that is not absorbed leaves";
  }
}

/** The grid in cw has the weights of the amplitudes at a frequency of 0, cell by cell. Densities
 * become weights again by the measures, which differ between the domains. */
static void CompareAmplitudes(const trelMediumResult& r, trelGridId id)
{
  const trelGrid& cw = *r.GetGrid(GridCW, id);
  const trelGridDescription& row = GetGridDescription(id);
  const int inner = row.NumberOfAxes > 1 ? cw.GetExtents()[1] : 1;
  const int depth = row.NumberOfAxes > 2 ? cw.GetExtents()[2] : 1;
  for (int cell = 0; cell < static_cast<int>(cw.GetNumberOfCells()); ++cell) {
    const int i = cell / (inner * depth), j = cell / depth % inner;
    const double weight = cw.GetCells()[cell] * row.MeasureCW(r.GetWindow(), i, j);
    const double amplitude =
        r.GetGrid(GridFDAmp, id)->GetCells()[cell] * row.MeasureFD(r.GetWindow(), i, j);
    ASSERT_NEAR(amplitude, weight, 1e-12) << row.Name << " cell " << cell;
    ASSERT_EQ(r.GetGrid(GridFDPha, id)->GetCells()[cell], 0.0);
  }
}

TEST(Physics, TheDomainsTellTheSameStory)
{
  for (const OuterCase& c : MakeOuterCases()) {
    if (c.Type != DOT) continue;
    SCOPED_TRACE(testing::Message() << c.Outer << " " << c.Absorption << " " << c.IsOutside);
    TestModel model;
    BuildOuterCase(model, c, 0.1, 1000);
    model->SetTimeDomain(true);
    model->SetTimeRange(0.0, 10000.0, 500.0);
    model->SetFrequencyDomain(true);
    model->SetFrequency(0.0);
    model->SetSaveFluenceRate(false);
    Traced<trelDiffuseVRMC> run(model);
    const trelMediumResult& r = run[0];
    EXPECT_NEAR(r.GetTotalTDAbsorption2D() + r.GetTotalTDAbsorption3D(),
                r.GetTotalAbsorption2D() + r.GetTotalAbsorption3D(), 1e-9);
    EXPECT_NEAR(r.GetTotalTDTransmittance2D() + r.GetTotalTDTransmittance3D(),
                r.GetTotalTransmittance2D() + r.GetTotalTransmittance3D(), 1e-9);
    int compared = 0;
    for (int id = 0; id < NumberOfGrids; ++id) {
      if (!r.GetGrid(GridCW, static_cast<trelGridId>(id))) continue;
      CompareAmplitudes(r, static_cast<trelGridId>(id));
      ++compared;
    }
    EXPECT_GE(compared, 2);
  }
}

TEST(Physics, ThreadsAndPacketNumbersDoNotChangeTheMean)
{
  const OuterCase c = MakeOuterCases()[2 * 3];
  const auto absorbed = [&c](int threads, std::uint32_t packets) {
    const auto build = [&](TestModel& m) {
      BuildOuterCase(m, c, 0.1, packets);
      m->SetThreadNumber(threads);
    };
    return EstimateOf(RunCase(c, build, &trelMediumResult::GetTotalAbsorption3D));
  };
  const Estimate one = absorbed(1, 200);
  for (const Estimate& e : {absorbed(3, 200), absorbed(1, 2000)})
    EXPECT_NEAR(e.Mean, one.Mean, 5.0 * std::hypot(e.Error, one.Error));
}

TEST(Physics, ThreadsLoseNothingInACellThatTheyShare)
{
  TestModel model;
  BuildSlab(model, 0.2, {0.0, 0.05, 0.0, 1.0}, false, 200000);
  model->SetThreadNumber(4);
  model->SetSavePhotonFlyTime(true);
  Traced<trelDiffuseVRMC> run(model);
  EXPECT_NEAR(run[0].GetTransmittanceTopTotal(), 1.0, 1e-8);
  EXPECT_EQ(run[0].GetTransmitPhotonNum(), 200000);
  const trelFlyTimeRow* rows = run[0].GetPhotonFlyTimes();
  EXPECT_TRUE(std::all_of(rows, rows + 200000, [](const auto& row) { return row[3] > 0.0; }))
      << "packets that leave at once have a row each";
}

TEST(Physics, ScatteringInThePlaneLooksAtNoAnisotropy)
{
  const OuterCase c = MakeOuterCases().back();
  const auto light = [&c](double g) {
    return RunCase(
        c, [&](TestModel& m) { BuildOuterCase(m, c, 0.1, 5, g); }, Light);
  };
  EXPECT_EQ(light(0.0), light(0.95));
}
