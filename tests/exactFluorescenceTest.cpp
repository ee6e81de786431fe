#include <gtest/gtest.h>

#include "dyedBox.h"
#include "exactRuns.h"
#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelFiberDetector.h"

// Dyes and fibres by the exact rules: what is emitted against the fluence of the same run, what a
// fibre collects against the way of the same packets without it.

namespace {

/** The integral of the excitation's fluence over the box of a dye: cells are cubes of 1 mm. */
double FluenceIn(const Dye& dye, const trelMediumResult& r)
{
  const auto first = [](double at) { return static_cast<int>(at - 2.0 + 5.0); };
  double sum = 0.0;
  for (int x = 0; x < 4; ++x)
    for (int y = 0; y < 4; ++y)
      for (int z = 0; z < 4; ++z)
        sum +=
            (*r.GetAbsorptionXYZ())(first(dye.At.X) + x, first(dye.At.Y) + y, first(dye.At.Z) + z);
  return sum;
}

constexpr Optics tissue = {0.1, 2.0, 0.8, 1.4};

}  // namespace

TEST(ExactFluorescence, EmissionIsTheYieldOfTheFluenceInTheDye)
{
  const struct
  {
    const char* Name;
    Optics Tissue;
    std::vector<Dye> Dyes;
  } cases[] = {
      {"as strong as the tissue", tissue, {{2.1, 0.6, 0.0, {1, 0, -1}}}},
      {"clear tissue", {0.0, 0.0, 0.0, 1.0}, {{0.4, 0.7, 0.0, {1, 0, -1}}}},
      {"two that overlap", tissue, {{0.2, 0.5, 0.0, {1, 0, 0}}, {0.4, 0.8, 0.0, {-1, 1, 0}}}}};
  for (const auto& c : cases) {
    std::vector<std::vector<double>> emitted(c.Dyes.size()), expected(c.Dyes.size());
    for (std::uint64_t seed = 1; seed <= 8; ++seed) {
      TestModel model(FMT);
      BuildDyedBox(model, c.Tissue, c.Dyes, 2000, 2);
      model->SetSaveFluenceRate(true);
      ExactRun run(model, seed);
      for (std::size_t k = 0; k < c.Dyes.size(); ++k) {
        const Dye& dye = c.Dyes[k];
        const trelMediumResult& record = run[static_cast<int>(k) + 1];
        emitted[k].push_back(Light(record));
        expected[k].push_back(dye.Yield * dye.Absorption * FluenceIn(dye, run[0]));
        const auto ended = record.GetTransmitPhotonNum() + record.GetAbsorpPhotonNum();
        EXPECT_NEAR(static_cast<double>(ended), 2000.0, 400.0) << c.Name;
        const trelLedgerSum* parts = run.GetLedger().Records[k + 1].Parts;
        EXPECT_NEAR(parts[LedgerConvertedInto].GetWeight(), expected[k].back(), 1e-12) << c.Name;
        EXPECT_NEAR(parts[LedgerEmitted].GetWeight(), Light(record), 1e-6) << c.Name;
      }
    }
    for (std::size_t k = 0; k < c.Dyes.size(); ++k) {
      const auto deviation = [&](double factor) {
        std::vector<double> sample;
        for (std::size_t i = 0; i < emitted[k].size(); ++i)
          sample.push_back(emitted[k][i] - factor * expected[k][i]);
        return Deviation(sample, 0.0);
      };
      EXPECT_LT(deviation(1.0), 5.0) << c.Name << " " << k;
      EXPECT_GT(deviation(1.05), 5.0) << c.Name << " " << k;
    }
  }
}

/** Light of a beam through tissue that absorbs all at the first interaction, mua = muf = 1/mm. The
 *  pilot sees some conversions or none; the many packets of one are not to cost more than a run. */
TEST(ExactFluorescence, RareConversionsAreKept)
{
  for (const double depth : {2.0, 8.0, 12.0}) {
    const std::uint32_t packets = depth < 10.0 ? 40000 : 700000;
    TestModel m(FMT);
    m->SetWavelengths({500, 600});
    m.AddTissue(Box(0, 0, 0, 5, 5, 10), {1.0, 0.0, 0.0, 1.0});
    trelLightSource* beam = m.AddPencilBeam(0.5, 0.5, -10, 0);
    beam->SetLuminousType(LuminousExcitation);
    beam->GetSpectrum(0)->SetPhotonNumber(packets);
    trelSpectrum& line =
        *m.AddSource(Box(0, 0, depth - 8, 2, 2, 2), 0, LuminousEmission)->GetSpectrum(1);
    line.SetExcitationWavelength(500);
    line.SetFluorophoreAbsorption(1.0);
    line.SetQuantumYield(0.5);
    m->SetSeparations(10, 10, 10, 1, 1, 1);
    ExactRun run(m);
    const double converting = std::exp(-depth), error = 5.0 / std::sqrt(packets * converting);
    EXPECT_NEAR(Light(run[1]) / (0.25 * converting * (1.0 - std::exp(-8.0))), 1.0, error);
    EXPECT_GT(Light(run[1]), 0.0);
    const auto ended = run[1].GetTransmitPhotonNum() + run[1].GetAbsorpPhotonNum();
    EXPECT_LT(static_cast<double>(ended), 100.0 * packets * converting + 100.0);
    EXPECT_GT(run.GetSummary().EmissionWeights[1], 0.0);
    EXPECT_EQ(run.GetSummary().EmissionWeights[0], 0.0);
  }
}

TEST(ExactFluorescence, AllThreadsConvertAlike)
{
  std::vector<double> excited, emitted;
  for (const int threads : {1, 2, 4}) {
    TestModel model(FMT);
    BuildDyedBox(model, tissue, {{0.5, 0.9, 300.0, {0, 0, 0}}}, 1000, 2);
    model->SetThreadNumber(threads);
    ExactRun run(model);
    excited.push_back(Light(run[0]));
    emitted.push_back(Light(run[1]));
  }
  EXPECT_GT(emitted[0], 0.1);
  for (int i = 1; i < 3; ++i) {
    EXPECT_NEAR(excited[i], excited[0], 1e-12);
    EXPECT_NEAR(emitted[i], emitted[0], 1e-12);
  }
}

TEST(ExactFluorescence, EmissionExcitesNothing)
{
  const Dye dye = {0.5, 0.9, 0.0, {0, 0, 0}};
  TestModel model(FMT);
  BuildDyedBox(model, tissue, {dye, dye}, 1000, 2);
  model->GetLightSource(2)->GetSpectrum(2)->SetExcitationWavelength(600);
  ExactRun run(model);
  EXPECT_GT(Light(run[1]), 0.1);
  EXPECT_EQ(Light(run[2]), 0.0);
  const trelLedgerRecord &excited = run.GetLedger().Records[0],
                         &emitted = run.GetLedger().Records[1];
  EXPECT_GT(emitted.Dyes[1].GetWeight(), 0.1);
  EXPECT_EQ(emitted.Parts[LedgerConverted].GetWeight(), 0.0);
  EXPECT_NEAR(excited.Parts[LedgerWithoutEmission].GetWeight(), 0.1 * excited.Dyes[0].GetWeight(),
              1e-12);
}

TEST(ExactFluorescence, TheMeanDelayIsTheLifetime)
{
  const double lifeTime = 2000.0;
  std::vector<double> delays;
  for (std::uint64_t seed = 1; seed <= 8; ++seed) {
    TestModel model(FMT);
    BuildDyedBox(model, tissue, {{0.3, 1.0, lifeTime, {0, 0, 0}}, {0.3, 1.0, 0.0, {0, 0, 0}}}, 1000,
                 2);
    RecordTimes(model);
    ExactRun run(model, seed);
    delays.push_back(MeanTime(run[1]) - MeanTime(run[2]));
    const trelLedgerSum delayed = run.GetLedger().Records[1].GetEscaped(),
                        prompt = run.GetLedger().Records[2].GetEscaped();
    const double speed = trelExactModel::SpeedOfLight / tissue.RefractiveIndex;
    EXPECT_NEAR(prompt.Path, prompt.Time * speed, 1e-9 * prompt.Path) << "both legs";
    EXPECT_LT(delayed.Path / delayed.GetWeight(), 2.0 * prompt.Path / prompt.GetWeight());
  }
  EXPECT_LT(Deviation(delays, lifeTime), 5.0);
  EXPECT_GT(Deviation(delays, 1.2 * lifeTime), 5.0);
}

namespace {

constexpr double gateWidth = 20.0;
constexpr int numberOfGates = 10;

/** Weights by time gate, and all of them behind. */
using Gates = std::array<double, numberOfGates + 1>;

void AddToGates(Gates& gates, double time, double weight)
{
  gates[numberOfGates] += weight;
  const auto gate = static_cast<int>(time / gateWidth);
  if (gate < numberOfGates) gates[static_cast<std::size_t>(gate)] += weight;
}

/** What a fibre collects in a run. */
Gates CollectedBy(trelShapeObject* shape, const ModelOf& build, double* transmitted)
{
  TestModel model;
  build(model);
  auto* fiber = new trelFiberDetector;
  fiber->SetShape(shape);
  model->AddDetector(fiber);
  model->SetTimeDomain(true);
  model->SetTimeRange(0.0, numberOfGates * gateWidth, gateWidth);
  ExactRun run(model);
  const trelDetectorResult& result = *run->GetDetectorArrayResult(0)->GetDetectorResult(0);
  Gates gates{};
  for (std::size_t i = 0; i < numberOfGates; ++i)
    gates[i] = result.GetTimeTotals().GetTotals(TotalOfTransmittance3D)[i];
  gates[numberOfGates] = result.GetFiberTotal3D();
  *transmitted = run[0].GetTotalTransmittance3D();
  return gates;
}

/** What enters the shape for the first time, on the way of the same packets without it. */
Gates FirstEntriesInto(const trelShapeObject& shape, const ModelOf& build)
{
  ExactFlights flights(build);
  Gates gates{};
  for (std::uint64_t i = 0; i < flights.GetCount(); ++i) {
    bool entered = false;
    flights.Fly(i, [&](const trelExactPacket& before, const trelExactPacket& after) {
      trelHit hit;
      const double length = Length(after.Position - before.Position);
      if (entered || !shape.FindCrossing(before.GetRay(), 0.0, length + 1e-9, &hit)) return;
      if (Dot(hit.Normal, before.Direction) >= 0.0) return;
      entered = true;
      const double slowness = before.Here->RefractiveIndex / trelExactModel::SpeedOfLight;
      AddToGates(gates, before.FlyTime + slowness * hit.Distance,
                 before.Weight / static_cast<double>(flights.GetCount()));
    });
  }
  return gates;
}

void BuildWideTissue(TestModel& m)
{
  m.AddTissue(Box(0, 0, 0, 100, 100, 100), {0.05, 2.0, 0.5, 1.4});
  m.AddSource(Ball({0, 0, 0}, 0.1), 4000);
  m->SetSeparations(200, 200, 200, 1, 1, 1);
}

/** Two layers with the border z = 1, lit from below. */
void BuildLayers(TestModel& m, double indexAbove)
{
  m.AddTissue(Box(0, 0, 1, 10, 10, 1), {0.05, 5.0, 0.5, 1.4});
  m.AddTissue(Box(0, 0, 0.5, 10, 10, 0.5), {0.05, 3.0, 0.5, indexAbove});
  m.AddPencilBeam(0, 0, 0, 4000);
  m->SetSeparations(20, 20, 2, 1, 1, 1);
}

trelShapeObject* Rod(double z)
{
  return MakeShape(ShapeCylinder, {0.1, 0.2, z}, {1, 1, 0.5});
}

}  // namespace

TEST(ExactFibers, CollectWhatEntersThemForTheFirstTime)
{
  const struct
  {
    const char* Name;
    ModelOf Build;
    std::function<trelShapeObject*()> Make;
  } cases[] = {
      {"a ball beside the source", BuildWideTissue,
       [] {
         return Ball({2, 0.5, 0}, 0.7);
       }},
      {"a ball around the source", BuildWideTissue,
       [] {
         return Ball({0, 0, 0}, 1.2);
       }},
      {"a rod", BuildWideTissue, [] { return Rod(1.5); }},
      {"a rod that stands on a boundary", [](TestModel& m) { BuildLayers(m, 1.8); },
       [] { return Rod(1.5); }},
  };
  for (const auto& c : cases) {
    double transmitted = 0.0;
    const Gates collected = CollectedBy(c.Make(), c.Build, &transmitted);
    const std::unique_ptr<trelShapeObject> shape(c.Make());
    const Gates entering = FirstEntriesInto(*shape, c.Build);
    EXPECT_GT(entering[numberOfGates], 0.01);
    for (std::size_t i = 0; i <= numberOfGates; ++i)
      EXPECT_NEAR(collected[i], entering[i], 1e-12) << c.Name << " " << i;
  }
}

TEST(ExactFibers, OnTheSkinTheyCollectWhatHasPassedIt)
{
  const ModelOf build = [](TestModel& m) { BuildLayers(m, 1.4); };
  double transmitted = 0.0;
  const Gates collected = CollectedBy(Rod(2.5), build, &transmitted);
  ExactFlights flights(build);
  Gates passed{};
  double all = 0.0;
  for (const Flight& flight : flights.FlyAll()) {
    const double share = flight.Weight / static_cast<double>(flights.GetCount());
    all += share;
    const double radius = std::hypot(flight.Position.X - 0.1, flight.Position.Y - 0.2);
    if (flight.Position.Z > 1.0 && radius < 1.0) AddToGates(passed, flight.Time, share);
  }
  for (std::size_t i = 0; i <= numberOfGates; ++i)
    EXPECT_NEAR(collected[i], passed[i], 1e-12) << i;
  EXPECT_GT(passed[numberOfGates], 0.05);
  EXPECT_NEAR(transmitted, all - passed[numberOfGates], 1e-12);
}

TEST(ExactFibers, WinOverWhatLiesAtTheirFace)
{
  const struct
  {
    const char* Name;
    double Fiber, Dye, Index, Least, Most;  // centres, mm; what the fibre collects
  } cases[] = {{"the border of a dye, 0.5 + 0.1 = 1.6 - 1", 1.6, 0.5, 1.0, 0.94, 0.99},
               {"the same, 0.7 + 0.1 = 1.8 - 1", 1.8, 0.7, 1.0, 0.94, 0.99},
               {"the skin that light enters", 1.0, 3.0, 1.0, 1.0, 1.0},
               {"the skin that light is refracted by", 1.0, 3.0, 1.5, 0.96, 0.96}};
  for (const auto& c : cases) {
    TestModel m(FMT);
    m->SetWavelengths({500, 600});
    m.AddTissue(Box(0, 0, 10, 20, 20, 10), {0.01, 0.0, 0.0, c.Index});
    trelLightSource* beam = m.AddPencilBeam(0.3, 0.2, -1, 0);
    beam->SetLuminousType(LuminousExcitation);
    beam->SetSpecular(true);
    beam->GetSpectrum(0)->SetPhotonNumber(2000);
    trelShapeObject* region = MakeShape(ShapeCylinder, {0, 0, c.Dye}, {2, 2, 0.1});
    trelSpectrum& line = *m.AddSource(region, 0, LuminousEmission)->GetSpectrum(1);
    line.SetExcitationWavelength(500);
    line.SetFluorophoreAbsorption(0.1);
    auto* fiber = new trelFiberDetector;
    fiber->SetShape(MakeShape(ShapeCylinder, {0, 0, c.Fiber}, {2, 2, 1}));
    m->AddDetector(fiber);
    ExactRun run(m);
    const double collected =
        run->GetDetectorArrayResult(0)->GetDetectorResult(0)->GetFiberTotal3D();
    EXPECT_GT(collected, c.Least - 1e-9) << c.Name;
    EXPECT_LT(collected, c.Most + 1e-9) << c.Name;
    EXPECT_EQ(run[0].GetTotalTransmittance3D(), 0.0) << c.Name;
  }
}
