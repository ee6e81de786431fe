#include "exactRuns.h"

// Means by the exact rules within 5 standard errors of a known solution, each with a value that a
// wrong rule would give, which must lie farther off.

namespace {

/** A slab between z = 0 and @p thickness, too wide for its sides to matter. */
void BuildSlab(TestModel& m, double thickness, const Optics& optics, bool specular = false)
{
  const double half = thickness / 2;
  m.AddTissue(Box(0, 0, half, 40, 40, half), optics);
  m.AddPencilBeam(0, 0, 0, 4000)->SetSpecular(specular);
  m->SetSeparations(80, 80, thickness, 1, 1, 1);
}

double Reflected(const trelMediumResult& r)
{
  return r.GetTransmittanceBottomTotal() + r.GetSpecularReflectance();
}

}  // namespace

TEST(ExactPhysics, SlabsReflectAndTransmitAsTabulated)
{
  // van de Hulst, Multiple Light Scattering (1980), table 35.
  const auto slab = [](double g) {
    return [g](TestModel& m) { BuildSlab(m, 0.2, {1.0, 9.0, g, 1.0}); };
  };
  EXPECT_LT(Deviation(slab(0.75), Reflected, 0.09739), 5.0);
  EXPECT_LT(Deviation(slab(0.75), &trelMediumResult::GetTransmittanceTopTotal, 0.66096), 5.0);
  EXPECT_GT(Deviation(slab(0.79), Reflected, 0.09739), 5.0);
  // The same in twenty flush layers of equal index, ambient index included.
  const auto layers = [](double g) {
    return [g](TestModel& m) {
      BuildSlab(m, 0.2, {1.0, 9.0, g, 1.0});
      for (int i = 0; i < 20; ++i)
        m.AddTissue(Box(0, 0, 0.005 + 0.01 * i, 40, 40, 0.005), {1.0, 9.0, g, 1.0});
    };
  };
  EXPECT_LT(Deviation(layers(0.75), &trelMediumResult::GetTransmittanceTopTotal, 0.66096), 5.0);
  // Giovanelli, Optica Acta 2 (1955) 153, the specular part included.
  const auto halfSpace = [](double n) {
    return [n](TestModel& m) { BuildSlab(m, 40.0, {1.0, 9.0, 0.0, n}, true); };
  };
  EXPECT_LT(Deviation(halfSpace(1.5), Reflected, 0.2600), 5.0);
  EXPECT_GT(Deviation(halfSpace(1.45), Reflected, 0.2600), 5.0);
}

namespace {

/** Between z = 0 and 0.2 mm; in its middle a stack of five layers of a tenth of the free path. */
void BuildLayeredSlab(TestModel& m, const Optics& layers)
{
  const Optics around = {1.0, 9.0, 0.75, 1.0};
  m.AddTissue(Box(0, 0, 0.125, 40, 40, 0.125), around);
  for (int i = 0; i < 5; ++i)
    m.AddTissue(Box(0, 0, 0.045 + 0.04 * i, 40, 40, 0.005), layers);
  m.AddPencilBeam(0, 0, 0, 4000);
  m->SetSeparations(80, 80, 0.25, 1, 1, 1);
}

}  // namespace

TEST(ExactPhysics, ThinClearLayersChangeNoTransmittance)
{
  // In a stack of layers light of each direction crosses a clear one as it is.
  const auto top = &trelMediumResult::GetTransmittanceTopTotal;
  const ModelOf clear = [](TestModel& m) { BuildLayeredSlab(m, {0.0, 0.0, 0.0, 1.0}); };
  const ModelOf filled = [](TestModel& m) { BuildLayeredSlab(m, {1.0, 9.0, 0.75, 1.0}); };
  EXPECT_LT(Deviation(clear, top, 0.66096), 5.0);
  EXPECT_GT(Deviation(filled, top, 0.66096), 5.0);
}

namespace {

/** A quantity of the packets that leave, by a closed form. */
struct Truth
{
  std::string Name;
  ModelOf Build;
  double Expected, Wrong;
};

constexpr std::uint32_t manyPackets = 100000;

/** A ball of radius 2 mm about a point that shines to all sides. */
void BuildLitBall(TestModel& m, const Optics& optics)
{
  m.AddTissue(Ball({}, 2), optics);
  m.AddSource(Ball({}, 1e-9), manyPackets);
}

void BuildStack(TestModel& m, const Optics& layer)
{
  m.AddTissue(Box(0, 0, 1, 9, 9, 1), {1.0, 0.0, 0.0, 1.4});
  m->GetMedium()->SetAmbientRefractiveIndex(1.4);
  m.AddTissue(Box(0, 0, 1.05, 20, 20, 0.05), layer);
  m.AddPencilBeam(0, 0, 0, manyPackets);
}

/** Without scattering, along straight lines: slabs between two faces of reflectance r pass
 *  (1 - r)^2 a / (1 - r^2 a^2) of a beam, a = exp(-mua d); a ball passes (1 - r) a / (1 - r a^2) of
 *  the light of its centre, a = exp(-mua R). */
std::vector<Truth> MakeTruths()
{
  std::vector<Truth> truths;
  for (const double n : {1.0, 1.37, 1.5}) {
    const double r = (n - 1) * (n - 1) / (n + 1) / (n + 1);
    for (const double mua : {0.0, 0.05, 0.5}) {
      const double a = std::exp(-mua * 2.0);
      const double slab = (1 - r) * (1 - r) * a / (1 - r * r * a * a);
      const double ball = (1 - r) * a / (1 - r * a * a);
      const std::string name = std::to_string(n) + " " + std::to_string(mua);
      const Optics optics = {mua, 0.0, 0.0, n};
      truths.push_back({"slab " + name,
                        [=](TestModel& m) {
                          m.AddTissue(Box(0, 0, 1, 9, 9, 1), optics);
                          m.AddPencilBeam(0, 0, 0, manyPackets)->SetSpecular(true);
                        },
                        slab, mua > 0.0 ? 1.1 * slab : 1.0 + slab});
      truths.push_back({"ball " + name, [=](TestModel& m) { BuildLitBall(m, optics); }, ball,
                        r * a * a < 0.01 ? 0.97 * ball : (1 - r) * a});
    }
  }
  // A layer of a tenth of the free path around: missed, it is one of its surroundings.
  const Optics clear = {0.0, 0.0, 0.0, 1.4}, black = {10.0, 0.0, 0.0, 1.4};
  for (const auto& [layer, depth] : {std::pair{clear, 1.9}, {black, 2.9}}) {
    const double passed = std::exp(-depth), missed = std::exp(-2.0);
    truths.push_back({"layer", [l = layer](TestModel& m) { BuildStack(m, l); }, passed, missed});
    truths.push_back({"shell",
                      [l = layer](TestModel& m) {
                        m->GetMedium()->SetAmbientRefractiveIndex(1.4);
                        BuildLitBall(m, {1.0, 0.0, 0.0, 1.4});
                        m.AddTissue(Ball({}, 1.1), l);
                        m.AddTissue(Ball({}, 1.0), {1.0, 0.0, 0.0, 1.4});
                      },
                      passed, missed});
  }
  return truths;
}

}  // namespace

TEST(ExactPhysics, AbsorbersAndClearBodiesFollowTheirClosedForms)
{
  for (const Truth& truth : MakeTruths()) {
    ExactFlights flights(truth.Build);
    std::vector<double> sample;
    for (const Flight& flight : flights.FlyAll()) {
      const bool behind = truth.Name[0] == 'b' || flight.Direction.Z > 0.0;
      sample.push_back(behind || truth.Name == "shell" ? flight.Weight : 0.0);
    }
    EXPECT_LT(Deviation(sample, truth.Expected), 5.0) << truth.Name;
    EXPECT_GT(Deviation(sample, truth.Wrong), 5.0) << truth.Name;
  }
}

TEST(ExactPhysics, NothingPassesABlackShell)
{
  ExactFlights flights([](TestModel& m) {
    for (const auto& [radius, mua] : {std::pair{5.0, 0.02}, {3.0, 1e4}, {2.99, 0.02}})
      m.AddTissue(Ball({1, 2, 3}, radius), {mua, mua < 1.0 ? 0.5 : 0.0, 0.8, 1.4});
    m.AddSource(Ball({1, 2, 3}, 1), 1000);
  });
  for (const Flight& flight : flights.FlyAll())
    EXPECT_EQ(flight.Weight, 0.0);
}

TEST(ExactPhysics, TrappedLightEndsAndIsCounted)
{
  // Out of a cube of glass there are six cones of the critical angle, which do not overlap.
  TestModel model;
  model.AddTissue(Box(0, 0, 0, 5, 5, 5), {0.0, 0.0, 0.0, 1.5});
  model.AddSource(Box(0, 0, 0, 1e-9, 1e-9, 1e-9), 2000);
  ExactRun run(model);
  const double trapped = 1.0 - 3.0 * (1.0 - std::sqrt(1.0 - 1.0 / 2.25));
  const auto count = static_cast<double>(run.GetLedger().CountPackets(LedgerTrapped));
  EXPECT_NEAR(count, 2000 * trapped, 5.0 * std::sqrt(2000 * trapped * (1.0 - trapped)));
  EXPECT_EQ(run[0].GetTransmitPhotonNum(), 2000 - static_cast<std::int64_t>(count));
  EXPECT_NEAR(run[0].GetTotalTransmittance3D(), 1.0 - count / 2000, 1e-9);
}

/** Scattering that keeps light on its line frees none of what a face reflects wholly: no endless
 * run. */
TEST(ExactPhysics, LightOnALineBetweenMirrorsIsTrapped)
{
  for (const double g : {1.0, -1.0}) {
    TestModel model;
    model.AddTissue(Box(0, 0, 0, 5, 5, 5), {0.0, 1.0, g, 1.5});
    model.AddSource(Box(0, 0, 0, 1e-9, 1e-9, 1e-9), 20);
    ExactRun run(model);
    const auto count = static_cast<double>(run.GetLedger().CountPackets(LedgerTrapped));
    EXPECT_GT(count, 0);
    EXPECT_NEAR(run[0].GetTotalTransmittance3D(), 1.0 - count / 20, 1e-9) << g;
  }
}

TEST(ExactPhysics, LimitsHoldOnlyIfTheyAreStated)
{
  for (const bool given : {false, true}) {
    ExactFlights timed([&](TestModel& m) {
      m.AddTissue(Box(0, 0, 5, 9, 9, 5), {0.0, 0.0, 0.0, 1.0});
      m.AddPencilBeam(0, 0, 0, 1);
      m->SetFlyTimeMax(7.0);
      m->SetFlyTimeMaxGiven(given);
    });
    EXPECT_NEAR(timed.Fly(0).Time, given ? 7.0 : 10.0 / 0.299792458, 1e-12);
    EXPECT_EQ(timed.Fly(0).Weight, given ? 0.0 : 1.0);
    TestModel counted;
    counted.AddTissue(Box(0, 0, 0, 9, 9, 9), {0.0, 9.0, 0.0, 1.0});
    counted.AddSource(Ball({}, 1e-9), 10);
    counted->SetStepNumberMax(7);
    counted->SetStepNumberMaxGiven(given);
    ReportsOf([&] { EXPECT_NEAR(Light(ExactRun(counted)[0]), given ? 0.0 : 1.0, 1e-12); });
  }
}

TEST(ExactPhysics, ATiltedBeamLeavesAClearSlabInItsOwnDirection)
{
  const trelVector tilted = Normalized(trelVector{0.6, 0.3, 0.8});
  ExactFlights flights([&](TestModel& m) {
    m.AddTissue(Box(0, 0, 1, 1000, 1000, 1), {0.0, 0.0, 0.0, 1.5});
    m.AddTissue(Box(0, 0, 0.5, 1000, 1000, 0.5), {0.0, 0.0, 0.0, 1.33});
    m.AddPencilBeam(0, 0, 0, 1000)->SetDirection(tilted);
  });
  int through = 0;
  for (const Flight& flight : flights.FlyAll()) {
    const trelVector upwards = {flight.Direction.X, flight.Direction.Y,
                                std::fabs(flight.Direction.Z)};
    EXPECT_LT(Length(upwards - tilted), 1e-12);
    through += flight.Direction.Z > 0.0;
  }
  EXPECT_GT(through, 800);
}

namespace {

/** Endless tissue about a point that shines to all sides. */
void BuildInfinite(TestModel& m, const Optics& optics, std::uint32_t packets)
{
  const bool planar = m->GetDimension() == Dimension2D;
  m.AddTissue(MakeShape(planar ? ShapeRectangle : ShapeCube, {0, 0, 0}, {1e4, 1e4, 1e4}), optics);
  m.AddSource(MakeShape(planar ? ShapeEllipse : ShapeEllipsoid, {0, 0, 0}, {1e-9, 1e-9, 1e-9}),
              packets);
}

}  // namespace

TEST(ExactPhysics, AbsorptionSpreadsByItsSecondMoment)
{
  // Of the equation of transfer times r^2 and times r u the integrals over all places and
  // directions give mua M2 = 2 J and (mua + mus (1 - g)) J = M0, in space and in the plane alike:
  // directions are unit vectors in both.
  const double mua = 0.5, mus = 4.0;
  for (const auto dimension : {Dimension3D, Dimension2D}) {
    for (const double g : {0.0, 0.5, 0.9}) {
      ExactFlights flights(
          [&](TestModel& m) {
            BuildInfinite(m, {mua, mus, g, 1.4}, 20000);
          },
          dimension);
      std::vector<double> moments;
      for (std::uint64_t i = 0; i < flights.GetCount(); ++i) {
        double moment = 0.0;
        flights.Fly(i, [&](const trelExactPacket& before, const trelExactPacket& after) {
          moment += before.Weight * mua / (mua + mus) * Dot(after.Position, after.Position);
        });
        moments.push_back(moment);
      }
      const double expected = 2.0 / (mua * (mua + mus * (1.0 - g)));
      EXPECT_LT(Deviation(moments, expected), 5.0) << g << " " << dimension;
      EXPECT_GT(Deviation(moments, 1.06 * expected), 5.0) << g << " " << dimension;
    }
  }
}

TEST(ExactPhysics, AbsorptionFallsExponentiallyToTheLastGate)
{
  const double n = 1.4, width = 100.0;
  constexpr int gates = 30;
  std::vector<double> samples[gates];
  const auto collect = [&](const trelMediumResult& r) {
    for (int gate = 0; gate < gates; ++gate)
      samples[gate].push_back(r.GetTDAbsorption3D()[gate]);
    return 0.0;
  };
  RunRecords(
      [&](TestModel& m) {
        BuildInfinite(m, {0.02, 0.5, 0.3, n}, 2000);
        m->SetTimeDomain(true);
        m->SetTimeRange(0.0, gates * width, width);
        m->SetSeparations(2e4, 2e4, 2e4, 1, 1, 1);
        m->SetFlyTimeMax(gates * width);
        m->SetFlyTimeMaxGiven(true);
      },
      collect);
  const auto expected = [&](int gate, double mua) {
    const double rate = mua * 0.299792458 / n * width;
    return std::exp(-rate * gate) - std::exp(-rate * (gate + 1));
  };
  double wrong = 0.0;
  for (int gate = 0; gate < gates; ++gate) {
    EXPECT_LT(Deviation(samples[gate], expected(gate, 0.02)), 5.0) << gate;
    wrong = std::max(wrong, Deviation(samples[gate], expected(gate, 0.0202)));
    // Far below the weight at which the roulette begins, nothing is missing.
    if (gate > 25) {
      EXPECT_GT(Deviation(samples[gate], 0.0), 5.0) << gate;
    }
  }
  EXPECT_GT(wrong, 5.0);
}

TEST(ExactPhysics, FluenceIsThatOfTheBeamAcrossBoundariesAndInClearTissue)
{
  // Optical depth of the beam at z: 0.5 / mm below 1 mm, nothing below 2 mm, then 1 / mm.
  const auto passed = [](double z) {
    return std::exp(-0.5 * std::min(z, 1.0) - std::max(z - 2.0, 0.0));
  };
  constexpr int cells = 5;
  std::vector<double> samples[cells];
  RunRecords(
      [](TestModel& m) {
        m.AddTissue(Box(0, 0, 1.5, 10, 10, 1.5), {0.5, 0.0, 0.0, 1.0});
        m.AddTissue(Box(0, 0, 1.5, 20, 20, 0.5), {0.0, 0.0, 0.0, 1.0});
        m.AddTissue(Box(0, 0, 2.5, 20, 20, 0.5), {1.0, 0.0, 0.0, 1.0});
        m.AddPencilBeam(0, 0, 0, 4000);
        m->SetSaveFluenceRate(true);
        m->SetSeparations(20, 20, 3.0 / cells, 1, 1, 1);
      },
      [&](const trelMediumResult& r) {
        for (int i = 0; i < cells; ++i)
          samples[i].push_back((*r.GetAbsorptionXYZ())(0, 0, i) * 400.0 * 3.0 / cells);
        return 0.0;
      });
  for (int i = 0; i < cells; ++i) {
    double expected = 0.0;  // by the rule of the middle
    for (int k = 0; k < 1000; ++k)
      expected += passed((i + (k + 0.5) / 1000) * 3.0 / cells) * 3.0 / cells / 1000;
    EXPECT_LT(Deviation(samples[i], expected), 5.0) << i;
    EXPECT_GT(Deviation(samples[i], 1.06 * expected), 5.0) << i;
  }
}
