#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include "anyModel.h"
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
