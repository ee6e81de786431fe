#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include "anyModel.h"
#include "exactShapes.h"
#include "trelLaneKernel.h"
#include "trelPacketLanes.h"
#include "trelStateArchive.h"

// A packet flies the same path, bit for bit, alone and in any number of lanes, on any instruction
// set and any number of threads.

namespace {

/** Takes one of the instruction sets that the processor has while it lives; 0 for the best. */
class Forced
{
public:
  explicit Forced(std::int64_t target)
  {
    hwy::SetSupportedTargetsForTest(target);
    hwy::GetChosenTarget().DeInit();
  }
  ~Forced()
  {
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().DeInit();
  }
};

/** The words behind which a stream of @p step words more gives @p word: xoshiro256++ backwards. */
void SetWord(std::uint64_t word, int step, std::uint64_t* s)
{
  s[0] = 0;
  s[3] = RotateLeft<41>(word);
  for (; step > 0; --step) {
    s[3] = RotateLeft<19>(s[3]);
    s[0] ^= s[3];
    const std::uint64_t mixed = s[1] ^ s[2];  // s1 ^ s1 << 17
    const std::uint64_t before = mixed ^ mixed << 17 ^ mixed << 34 ^ mixed << 51;
    s[2] = s[1] ^ before ^ s[0];
    s[1] = before;
    s[3] ^= s[1];
  }
}

/** A packet, its stream, and what has become of it. */
struct Flown
{
  trelExactPacket Packet;
  trelPacketNumbers Numbers;
};

/** Ahead of an interaction in a tissue around the origin; every other stream has a number from the
 *  edge of its range, of a turn or of an octave among the first three. */
std::vector<Flown> DrawPackets(const trelExactModel& model, std::size_t count)
{
  const std::uint64_t edges[] = {0, ~0ull, 1ull << 11, 1ull << 63, 3ull << 62, 0xb504f333f9de6484};
  std::vector<Flown> packets(count);
  std::mt19937_64 random(1);
  std::uniform_real_distribution<> uniform(-1.0, 1.0);
  for (std::size_t i = 0; i < count; ++i) {
    auto& [packet, numbers] = packets[i];
    packet = {};
    packet.Position = {uniform(random), uniform(random), uniform(random)};
    packet.Direction = Normalized(trelVector{uniform(random), uniform(random), uniform(random)});
    if (i % 5 == 0) packet.Direction = {0.0, 0.0, i % 2 ? 1.0 : -1.0};
    if (i % 5 == 1) packet.Direction = {i % 2 ? -0.6 : 1e-300, 0.8, i % 4 ? 0.0 : -0.0};
    if (i % 5 == 1 && i % 2 == 0) packet.Direction = {-0.0, -1.0, 0.0};
    packet.Weight = packet.SourceWeight = packet.Settled = 1.0;
    packet.Depth = 0.5;
    model.Enter(0, packet);
    numbers.Start(1, 0, i);
    const std::uint64_t eighths = (i / 12 % 8) << 61;
    if (i % 2)
      SetWord((i / 2 % 12 < 6 ? edges[i / 2 % 6] : eighths - (i % 4 == 1 ? 1 << 11 : 0)),
              static_cast<int>(i / 100 % 3), numbers.GetState());
  }
  return packets;
}

/** Hands out packets, and keeps how each has ended. */
class Listed final : public trelPacketSupplier
{
public:
  explicit Listed(std::vector<Flown>& all) : All(all) {}
  bool TakeNext(trelExactPacket* packet, trelPacketNumbers* numbers) override
  {
    if (Next == All.size()) return false;
    *packet = All[Next].Packet;
    *numbers = All[Next].Numbers;
    Places[packet] = Next++;
    return true;
  }
  void End(const trelExactPacket& packet) override { All[Places[&packet]].Packet = packet; }

private:
  std::vector<Flown>& All;
  std::map<const trelExactPacket*, std::size_t> Places;
  std::size_t Next = 0;
};

bool EndAlike(const Flown& first, const Flown& second)
{
  const trelExactPacket &a = first.Packet, &b = second.Packet;
  const auto asBits = [](const trelExactPacket& p) {
    std::array<std::uint64_t, 10> bits{};
    const double numbers[] = {p.Position.X,  p.Position.Y,  p.Position.Z, p.Direction.X,
                              p.Direction.Y, p.Direction.Z, p.Weight,     p.FlyTime};
    static_assert(sizeof numbers <= sizeof bits);
    std::memcpy(bits.data(), numbers, sizeof numbers);
    bits[8] = p.Interactions;
    bits[9] = p.StepCount;
    return bits;
  };
  return asBits(a) == asBits(b) && a.Dead && b.Dead;
}

/** Flies the packets side by side, with @p lanes below 0 one by one. */
void Fly(const trelExactModel& model, int lanes, std::vector<Flown>& packets)
{
  trelScoreTables tables;
  tables.ResolveNothing(1);
  trelExactTally tally{};
  tally.Ledger.Resize(1, model.GetLedgerSizes());
  tally.Tables = &tables;
  tally.SelectRecord(0);
  if (lanes >= 0) {
    Listed supplier(packets);
    trelPacketLanes flights(model, tally, supplier);
    FlyLanes(flights, lanes);
    return;
  }
  for (auto& [packet, numbers] : packets)
    TakeExactSteps<false>(packet, numbers, model, tally);
}

}  // namespace

/** Of some interactions, whose draws are at the edges of their ranges or anywhere. */
TEST(ExactLanes, FormulasRoundAlikeOnEveryInstructionSet)
{
  for (const double g : {-1.0, -0.9, -1e-9, 0.0, 0.3, 0.7, 0.95, 0.999999, 1.0}) {
    TestModel m;
    m.AddTissue(Box(0, 0, 0, 1e6, 1e6, 1e6), {0.01, 1.0, g, 1.4});
    m->SetRules(RulesExact);
    m->SetSaveAbsorption(false);
    m->SetStepNumberMax(3);
    m->SetStepNumberMaxGiven(true);
    m->PrepareGeometry();
    trelExactModel model;
    ASSERT_TRUE(model.Resolve(*m.Get()));
    const std::vector<Flown> drawn = DrawPackets(model, 6000);
    std::vector<Flown> alone = drawn;
    Fly(model, -1, alone);
    for (const std::int64_t target : hwy::SupportedAndGeneratedTargets()) {
      const Forced forced(target);
      for (const int lanes : {1, 4, 8}) {
        std::vector<Flown> beside = drawn;
        Fly(model, lanes, beside);
        int apart = 0;
        for (std::size_t i = 0; i < drawn.size(); ++i)
          apart += !EndAlike(alone[i], beside[i]);
        EXPECT_EQ(apart, 0) << GetLaneTarget() << " " << lanes << " lanes, g " << g;
      }
    }
  }
}

namespace {

/** Takes the state of a run by name. */
class Sums final : public trelStateArchive
{
public:
  void Pass(const char* name, const std::vector<trelNumbers>& pieces) override
  {
    for (const trelNumbers& piece : pieces)
      Named[name].insert(Named[name].end(), piece.First, piece.First + piece.Number);
  }
  bool IsSound() const override { return true; }

  std::map<std::string, std::vector<double>> Named;
};

/** What a run tells: what must be equal, and sums that rounding may change. */
struct Told
{
  std::vector<std::uint64_t> Counts;
  /** Wavelength, place and time of what leaves, ascending. */
  std::vector<std::array<double, 5>> Exits;
  std::map<std::string, std::vector<double>> Sums;
};

/** How a model is flown. */
struct Way
{
  int Lanes, Threads;
  std::int64_t Target = 0;
};

Told TellOf(TestModel& model, const Way& way)
{
  const Forced forced(way.Target);
  Sums sums;
  trelExactMonteCarlo run;
  model->SetThreadNumber(way.Threads);
  run.SetInput(model.Get());
  run.SetSeed(1);
  run.SetBatches(2);
  run.SetLanes(way.Lanes);
  run.SetAtEnd([&] { run.PassState(false, sums); });
  ReportsOf([&] { EXPECT_TRUE(run.Update()); });
  Told told;
  told.Counts = {run.GetSummary().PacketsFlown, run.GetSummary().Interactions};
  sums.Named.erase("ledger");
  for (int i = 0; const trelMediumResult* record = run.GetOutput()->GetMediumResult(i); ++i) {
    const auto left = record->GetTransmitPhotonNum();
    told.Counts.push_back(static_cast<std::uint64_t>(left));
    EXPECT_LE(left, record->GetNumberOfFlyTimes());
    for (std::int64_t row = 0; row < std::min(left, record->GetNumberOfFlyTimes()); ++row) {
      const double* const exit = record->GetPhotonFlyTimes()[row];
      told.Exits.push_back({double(i), exit[0], exit[1], exit[2], exit[3]});
    }
    for (const trelLedgerLine& line : run.ListLedger(static_cast<std::size_t>(i))) {
      told.Counts.push_back(line.Packets);
      sums.Named["weights"].push_back(line.Weight);
      sums.Named["times"].push_back(line.Time);
    }
  }
  std::sort(told.Exits.begin(), told.Exits.end());
  told.Sums = sums.Named;
  return told;
}

/** Sums within 1e-12 of their total. */
void ExpectAlike(const Told& expected, const Told& told)
{
  EXPECT_EQ(expected.Counts, told.Counts);
  EXPECT_TRUE(expected.Exits == told.Exits) << told.Exits.size() << " exits";
  ASSERT_EQ(expected.Sums.size(), told.Sums.size());
  for (const auto& [name, values] : expected.Sums) {
    const std::vector<double>& others = told.Sums.at(name);
    ASSERT_EQ(values.size(), others.size()) << name;
    double total = 0.0, apart = 0.0;
    for (std::size_t i = 0; i < values.size(); ++i) {
      total += std::fabs(values[i]);
      const double difference = std::fabs(values[i] - others[i]);
      if (!(difference <= apart)) apart = difference;
    }
    EXPECT_LE(apart, 1e-12 * total) << name;
  }
}

/** Another body for the medium: of the shapes, of triangles, or tetrahedra. */
void ChangeBody(TestModel& m, unsigned kind)
{
  trelTissue& outermost = *m->GetTissue(0);
  if (kind == 1) outermost.SetShape(MakeShape(ShapeCylinder, {0.5, 0, 0}, {5, 5, 5}));
  if (kind == 2) outermost.SetShape(MakeShape(ShapeCylinder, {0, 0, 0}, {5, 3, 4}));
  if (kind == 3) outermost.SetShape(MakeShape(ShapeEllipsoid, {0, 0, 0}, {5, 4, 6}));
  if (kind == 4) outermost.SetShape(MakeU());
  if (kind == 5) outermost.SetShape(Trace(Sphere(5, 6)));
  if (kind == 6) BuildTetrahedra(m, {}, {5, 5, 5}, 4, {{0.1, 1, 0.5, 1.4}, {0, 0, 0, 1.4}});
}

/** Light that stays within 1e-6 mm of where cells meet, and within as many ps of two gates. */
void BuildOnBorders(TestModel& m, unsigned model)
{
  const double angle = model * Pi / 4.0;
  const bool isRound = model % 4 != 0;
  m.AddTissue(Box(0, 0, 0, 5, 5, 5), {3e7, 1e8, 0.0, 1.4});
  m.AddSource(
      isRound ? Ball({3 * std::cos(angle), 3 * std::sin(angle), 1}, 1e-9) : Ball({1, -1, 1}, 1e-9),
      400);
  m->SetAbsorptionCoordinate(isRound ? CoordinateCylindrical : CoordinateCartesian);
  m->SetSeparations(1, 1, 1, 1, 45, 30);
  m->SetTimeDomain(model % 3 == 0);
  m->SetTimeRange(-7.0, 200.0, 7.0);
  m->SetRules(RulesExact);
}

/** Makes of a model of BuildAnything() one of any mode, body, light, cells and optics. */
void BuildAnythingElse(TestModel& m, unsigned model)
{
  std::mt19937 random(model);
  const auto draw = [&](double least, double most) {
    return std::uniform_real_distribution<>(least, most)(random);
  };
  const auto chance = [&](double share) { return draw(0.0, 1.0) < share; };
  BuildAnything(m, random);
  if (chance(0.3)) m.AddTissue(Trace(Horseshoe(4)), {0.05, 2.0, 0.5, chance(0.5) ? 1.4 : 1.5});
  ChangeBody(m, model % 7);
  for (int t = 0; t < m->GetNumberOfTissues(); ++t) {
    const double anisotropies[] = {1.0, -1.0, 0.0, draw(0.7, 0.99), draw(-1, 1)};
    const double g = anisotropies[std::min(random() % 10, 4ul)], denser = chance(0.3) ? 8.0 : 1.0;
    for (auto* o : m->GetTissue(t)->GetOpticalParameters()->GetItems<trelOpticalParameter>())
      o->SetOpticalCoefficients(o->GetAbsorption(), denser * o->GetScattering(), g,
                                o->GetRefractiveIndex());
  }
  const ShapeType shapes[] = {ShapeCube, ShapeEllipsoid, ShapeCylinder, ShapeRectangle,
                              ShapeEllipse};
  trelLightSource& source =
      *m.AddSource(MakeShape(shapes[random() % 5], {draw(-4, 4), draw(-4, 4), draw(-4, 4)},
                             {draw(0.1, 2), draw(0.1, 2), draw(0.1, 2)}),
                   40, LuminousExcitation);
  source.SetSolid(chance(0.5));
  source.SetInternal(chance(0.7));
  source.SetDirection({draw(-1, 1), draw(-1, 1), draw(-1, 1)});
  if (chance(0.5)) source.SetDeflectionRange(0.0, draw(0.0, 60.0));
  m->SetSimulationType(static_cast<SimulationType>(model % 3));
  const LuminousType kinds[] = {LuminousBioluminescence, LuminousExcitation, LuminousDiffuse};
  for (auto* light : m->GetLightSources()->GetItems<trelLightSource>()) {
    if (model % 3 != FMT || light->GetLuminousType() != LuminousEmission)
      light->SetLuminousType(kinds[model % 3]);
    else  // room for their times of flight
      for (int i : {1, 2})
        light->GetSpectrum(i)->SetPhotonNumber(10000);
  }

  m->SetSavePhotonFlyTime(true);
  m->SetSaveAbsorption(chance(0.9));
  m->SetAbsorptionCoordinate(chance(0.5) ? CoordinateCartesian : CoordinateCylindrical);
  const trelShapeTraits& traits = GetShapeTraits(m->GetOuterShape()->GetShapeType());
  for (CoordinateType c : {CoordinateCartesian, CoordinateCylindrical, CoordinateSpherical})
    if (traits.Admits(c)) m->SetTransmittanceCoordinate(c);
  m->SetSeparations(draw(0.3, 2), draw(0.3, 2), draw(0.3, 2), draw(0.3, 2),
                    chance(0.4) ? 360.0 : draw(7, 90), draw(10, 60));
  const double roi[12] = {-4, draw(-3, 4), -3, 3, -4, 4, draw(0, 2), 4, 20, 330, 0, 170};
  if (chance(0.3)) m->SetROI(roi);
  const bool isSteady = m->GetSimulationType() == BLT;
  m->SetTimeDomain(!isSteady && chance(0.3));
  m->SetTimeRange(0.0, 200.0, 7.0);
  m->SetFrequencyDomain(!isSteady && chance(0.3));
  m->SetFrequency(300.0);
  m->SetRules(RulesExact);
}

}  // namespace

/** Each model flies in some of the ways; of TREL_MODELS models in the environment each in all. */
TEST(ExactLanes, RunsAreAlikeInAnyLanesThreadsAndInstructionSets)
{
  const char* const asked = std::getenv("TREL_MODELS");
  const std::size_t models = asked ? static_cast<std::size_t>(std::atoi(asked)) : 30;
  std::vector<Way> ways = {{1, 1}, {4, 1}, {8, 1}, {0, 2}, {4, 3}, {-1, 3}};
  for (const std::int64_t target : hwy::SupportedAndGeneratedTargets())
    ways.push_back({0, 1, target});
  const std::size_t tried = asked ? ways.size() : 3;
  std::uint64_t exits = 0, interactions = 0;
  for (std::size_t i = 0; i < models; ++i) {
    TestModel model(DOT, Dimension3D);
    if (i % 10 == 9)
      BuildOnBorders(model, static_cast<unsigned>(i / 10));
    else
      BuildAnythingElse(model, static_cast<unsigned>(i));
    const Told alone = TellOf(model, {-1, 1});
    for (std::size_t k = 0; k < tried; ++k) {
      const Way& way = ways[(i * tried + k) % ways.size()];
      SCOPED_TRACE(testing::Message() << "model " << i << ", " << way.Lanes << " lanes, "
                                      << way.Threads << " threads, target " << way.Target);
      ExpectAlike(alone, TellOf(model, way));
    }
    exits += alone.Exits.size();
    interactions += alone.Counts[1];
  }
  EXPECT_GT(exits, 90 * models);
  EXPECT_GT(interactions, 2000 * models);
}
