#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "testModel.h"
#include "trelBioluminescenceVRMC.h"
#include "trelDiffuseVRMC.h"
#include "trelThreadState.h"

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
  model->SetSeparations(5, 5, thickness, 1, 1, 1);
}

static double Reflected(const trelMediumResult& r)
{
  return r.GetTransmittanceBottomTotal() + r.GetSpecularReflectance();
}

static double Transmitted(const trelMediumResult& r)
{
  return r.GetTransmittanceTopTotal();
}

TEST(Physics, ASlabOfMatchedIndexReflectsAndTransmitsAsTabulated)
{
  // Total reflectance and transmittance: van de Hulst, Multiple Light Scattering (1980), table 35.
  const auto slab = [](double g) {
    return [g](TestModel& m) { BuildSlab(m, 0.2, {1.0, 9.0, g, 1.0}, false, 4000); };
  };
  EXPECT_LT(Deviation(slab(0.75), Reflected, 0.09739), 5.0);
  EXPECT_LT(Deviation(slab(0.75), Transmitted, 0.66096), 5.0);
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
  const FixedClock clock(1000003);
  TestModel model;
  BuildSlab(model, 2.0, {0.2, 0.8, 0.5, 1.0}, false, packets);
  model->SetSavePhotonFlyTime(true);
  trelDiffuseVRMC run;
  run.SetInput(model.Get());
  ASSERT_TRUE(run.Update());
  const trelMediumResult& result = *run.GetOutput()->GetMediumResult(0);
  int ballistic = 0;
  for (int i = 0; i < result.GetTransmitPhotonNum(); ++i) {
    const trelFlyTimeRow& row = result.GetPhotonFlyTimes()[i];
    if (std::fabs(row[2] - 2.0) < 1e-9 && std::fabs(row[3] - 2.0 * 10 / 3) < 1e-6) ++ballistic;
  }
  const double p = std::exp(-2.0);
  EXPECT_NEAR(ballistic, packets * p, 5.0 * std::sqrt(packets * p * (1 - p)));
}

/** An outer shape with what it may be scored in. */
struct OuterCase
{
  const char* Name;
  std::function<trelShapeObject*()> Shape;
  CoordinateType Absorption, Transmittance;
};

static const OuterCase OuterCases[] = {
    {"cube",
     [] {
       return TestModel::Make<trelCube>({1, 2, 3}, {4, 5, 6});
     },
     CoordinateCartesian, CoordinateCartesian},
    {"cube, absorption in rings",
     [] {
       return TestModel::Make<trelCube>({1, 2, 3}, {4, 5, 6});
     },
     CoordinateCylindrical, CoordinateCartesian},
    {"cylinder",
     [] {
       return TestModel::Make<trelCylinder>({1, 2, 3}, {4, 5, 6});
     },
     CoordinateCartesian, CoordinateCartesian},
    {"cylinder in rings",
     [] {
       return TestModel::Make<trelCylinder>({1, 2, 3}, {4, 5, 6});
     },
     CoordinateCylindrical, CoordinateCylindrical},
    {"sphere",
     [] {
       return TestModel::Make<trelEllipsoid>({1, 2, 3}, {5, 5, 5});
     },
     CoordinateCartesian, CoordinateSpherical},
    {"sphere, absorption in rings",
     [] {
       return TestModel::Make<trelEllipsoid>({1, 2, 3}, {5, 5, 5});
     },
     CoordinateCylindrical, CoordinateSpherical},
};

/** A medium with an inner tissue and a source at the centre. */
static void BuildOuterCase(TestModel& model, const OuterCase& c, double absorption,
                           std::uint32_t packets)
{
  model.AddTissue(c.Shape(), {absorption, 1.0, 0.8, 1.4});
  model.AddTissue(TestModel::Make<trelEllipsoid>({1, 2, 4}, {2, 1.5, 1}),
                  {absorption * 2, 3.0, 0.5, 1.5});
  model.AddSource(TestModel::Make<trelEllipsoid>({1, 2, 3}, {0.5, 0.5, 0.5}), packets);
  model->SetAbsorptionCoordinate(c.Absorption);
  model->SetTransmittanceCoordinate(c.Transmittance);
  model->SetSeparations(0.7, 0.9, 1.1, 0.6, 24, 22.5);
}

TEST(Physics, NothingIsLostInAnyShapeOrCoordinateSystem)
{
  for (const OuterCase& c : OuterCases) {
    const auto build = [&c](TestModel& m) { BuildOuterCase(m, c, 0.1, 300); };
    const auto balance = [](const trelMediumResult& r) {
      return r.GetTotalAbsorption3D() + r.GetTotalTransmittance3D();
    };
    // Roulette keeps the balance in the mean only; what it moves is below a ten-thousandth.
    const Estimate e = EstimateOf(RunBatches<trelDiffuseVRMC>(DOT, build, balance));
    EXPECT_NEAR(e.Mean, 1.0, 5.0 * e.Error + 1e-9) << c.Name;
    EXPECT_LT(e.Error, 1e-3) << c.Name;
  }
}

TEST(Physics, WithoutAbsorptionAllWeightLeaves)
{
  for (const OuterCase& c : OuterCases) {
    const auto build = [&c](TestModel& m) { BuildOuterCase(m, c, 0.0, 100); };
    const auto leaves = [](const trelMediumResult& r) { return r.GetTotalTransmittance3D(); };
    for (const double total : RunBatches<trelDiffuseVRMC>(DOT, build, leaves))
      EXPECT_NEAR(total, 1.0, 1e-9) << c.Name;
  }
}

TEST(Physics, TheDomainsTellTheSameStory)
{
  for (const OuterCase& c : OuterCases) {
    const FixedClock clock(1000003);
    TestModel model;
    BuildOuterCase(model, c, 0.1, 2000);
    model->SetTimeDomain(true);
    model->SetTimeRange(0.0, 5000.0, 250.0);
    model->SetFrequencyDomain(true);
    model->SetFrequency(0.0);
    model->SetSaveFluenceRate(false);
    trelDiffuseVRMC run;
    run.SetInput(model.Get());
    ASSERT_TRUE(run.Update()) << c.Name;
    const trelMediumResult& r = *run.GetOutput()->GetMediumResult(0);
    EXPECT_NEAR(r.GetTotalTDAbsorption3D(), r.GetTotalAbsorption3D(), 1e-9) << c.Name;
    EXPECT_NEAR(r.GetTotalTDTransmittance3D(), r.GetTotalTransmittance3D(), 1e-9) << c.Name;
    int compared = 0;
    for (int id = 0; id < NumberOfGrids; ++id) {
      const auto grid = static_cast<trelGridId>(id);
      const trelGrid* cw = r.GetGrid(GridCW, grid);
      if (!cw) continue;
      const trelGridDescription& row = GetGridDescription(grid);
      for (std::size_t cell = 0; cell < cw->GetNumberOfCells(); ++cell) {
        // Densities become weights again by the measures, which differ between the domains.
        const int inner = row.NumberOfAxes > 1 ? cw->GetExtents()[1] : 1;
        const int depth = row.NumberOfAxes > 2 ? cw->GetExtents()[2] : 1;
        const int i = static_cast<int>(cell) / (inner * depth);
        const int j = static_cast<int>(cell) / depth % inner;
        const double cwWeight = cw->GetCells()[cell] * row.MeasureCW(r.GetWindow(), i, j);
        const double fdWeight =
            r.GetGrid(GridFDAmp, grid)->GetCells()[cell] * row.MeasureFD(r.GetWindow(), i, j);
        ASSERT_NEAR(fdWeight, cwWeight, 1e-12) << c.Name << " " << row.Name << " cell " << cell;
        ASSERT_EQ(r.GetGrid(GridFDPha, grid)->GetCells()[cell], 0.0);
      }
      ++compared;
    }
    EXPECT_GE(compared, 2) << c.Name;
  }
}

TEST(Physics, ModulationDelaysThePhase)
{
  // At low frequency the phase of the total is -2 pi f times the mean time of flight, up to the
  // third order: here the imaginary part over the real one, against the mean time from the time
  // domain.
  const FixedClock clock(1000003);
  TestModel model;
  BuildSlab(model, 10.0, {0.01, 1.0, 0.0, 1.4}, false, 20000);
  model->SetTimeDomain(true);
  model->SetTimeRange(0.0, 20000.0, 1.0);
  model->SetFrequencyDomain(true);
  model->SetFrequency(10.0);
  model->SetSeparations(40, 40, 10, 1, 1, 1);
  trelDiffuseVRMC run;
  run.SetInput(model.Get());
  ASSERT_TRUE(run.Update());
  const trelMediumResult& r = *run.GetOutput()->GetMediumResult(0);
  const trelGrid& td = *r.GetGrid(GridTD, TransmittanceTopXY);
  double weight = 0.0, moment = 0.0;
  for (int t = 0; t < td.GetExtents()[0]; ++t) {
    weight += td(t, 0, 0);
    moment += (t + 0.5) * td(t, 0, 0);
  }
  const double degrees = r.GetGrid(GridFDPha, TransmittanceTopXY)->GetCells()[0];
  const double expected = 360.0 * 10.0 * 1e-6 * moment / weight;
  EXPECT_NEAR(degrees, expected, 0.01 * expected);
  EXPECT_GT(expected, 0.5);
}

TEST(Physics, ThreadsAndPacketNumbersDoNotChangeTheMean)
{
  const auto build = [](int threads, std::uint32_t packets) {
    return [=](TestModel& m) {
      BuildOuterCase(m, OuterCases[3], 0.1, packets);
      m->SetThreadNumber(threads);
    };
  };
  const auto absorbed = [](const trelMediumResult& r) { return r.GetTotalAbsorption3D(); };
  const Estimate one = EstimateOf(RunBatches<trelDiffuseVRMC>(DOT, build(1, 200), absorbed));
  for (const auto& other : {build(3, 200), build(1, 2000)}) {
    const Estimate e = EstimateOf(RunBatches<trelDiffuseVRMC>(DOT, other, absorbed));
    EXPECT_NEAR(e.Mean, one.Mean, 5.0 * std::hypot(e.Error, one.Error));
  }
}

TEST(Physics, BioluminescenceShinesFromInside)
{
  const auto build = [](TestModel& m) {
    m.AddTissue(TestModel::Make<trelEllipsoid>({0, 0, 0}, {5, 5, 5}), {0.05, 1.0, 0.0, 1.0});
    m.AddSource(TestModel::Make<trelEllipsoid>({0, 0, 0}, {1, 1, 1}), 500, LuminousBioluminescence);
    m->SetTransmittanceCoordinate(CoordinateSpherical);
    m->SetSeparations(1, 1, 1, 1, 30, 30);
  };
  const auto balance = [](const trelMediumResult& r) {
    return r.GetTotalAbsorption3D() + r.GetTotalTransmittance3D();
  };
  const Estimate e = EstimateOf(RunBatches<trelBioluminescenceVRMC>(BLT, build, balance));
  EXPECT_NEAR(e.Mean, 1.0, 5.0 * e.Error + 1e-9);
}

TEST(Physics, AMatchedInnerBoundaryTurnsThePacketAlongTheNormal)
{
  // Between equal indices the angle of the last real refraction is used, 0 before there was one: a
  // beam that meets an inner sphere off its axis leaves the boundary along the sphere's normal, and
  // misses the spot on the far face to which it was sent.
  const FixedClock clock(1000003);
  TestModel model;
  model.AddTissue(TestModel::Make<trelCube>({0, 0, 10}, {10, 10, 10}), {1e-9, 1e-9, 0, 1.0});
  model.AddTissue(TestModel::Make<trelEllipsoid>({0, 0, 10}, {5, 5, 5}), {1e-9, 1e-9, 0, 1.0});
  model.AddPencilBeam(3, 0, 0, 10);
  GetThreadState().TransmitAngle = 0.0;
  trelDiffuseVRMC run;
  run.SetInput(model.Get());
  ASSERT_TRUE(run.Update());
  const trelGrid& top = *run.GetOutput()->GetMediumResult(0)->GetGrid(GridCW, TransmittanceTopXY);
  EXPECT_EQ(top(13, 10), 0.0) << "straight on";
  EXPECT_NEAR(run.GetOutput()->GetMediumResult(0)->GetTotalTransmittance3D(), 1.0, 1e-12);
}
