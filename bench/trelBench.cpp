// Runs a model on fixed random streams and prints one line of figures:
//
//   trelBench MODEL PACKETS THREADS [count|exact [LANES]]
//   packets P seconds S absorbed A transmitted T scatterings N load L prepare R megabytes M
//
// L and R are the seconds of reading the model and of building its look-up tables, which S leaves
// out. With "count" the scatterings are counted, which costs time, on one thread; else N is -1. The
// same arguments trace the same packets (on one thread), so that a counting run tells how many
// scatterings another run made. "exact" runs by the exact rules, which always count, with LANES
// packets side by side: 0 for as many as the processor does best, -1 for none.

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "trelClock.h"
#include "trelDiffuseVRMC.h"
#include "trelExactMonteCarlo.h"
#include "trelLightSource.h"
#include "trelMediumResult.h"
#include "trelPacketSteps.h"
#include "trelSimulationParameter.h"
#include "trelSimulationParameterReader.h"
#include "trelSimulationResult.h"
#include "trelSpectrum.h"
#include "trelThreadState.h"

/** The diffuse transport, with a look at each packet's weight: in an absorbing medium a step
 * changes it exactly if it ended in an interaction. */
class trelCountingVRMC final : public trelDiffuseVRMC
{
  trelTypeMacro(trelCountingVRMC, trelDiffuseVRMC)

public:
  long long Scatterings = 0;

protected:
  void TraceAnalytic(trelPacket& packet, ThreadState& state) override
  {
    Count<trelShapeGeometry, trelClassicRules>(packet, state);
  }
  void TraceTetrahedral(trelPacket& packet, ThreadState& state) override
  {
    Count<trelTetrahedralGeometry, trelClassicTetrahedralRules>(packet, state);
  }

private:
  template <class Geometry, class Rules>
  void Count(trelPacket& packet, ThreadState& state)
  {
    double weight = packet.Weight;
    TakeSteps<Geometry, Rules>(packet, state, Model, state, [&] {
      if (packet.Weight != weight) ++Scatterings;
      weight = packet.Weight;
    });
  }
};

static trelSimulationParameter* ReadModel(const char* file, unsigned packets, int threads)
{
  auto* reader = new trelSimulationParameterReader;
  trelSimulationParameter* parameter = nullptr;
  reader->AddFileName(file);
  if (reader->Update()) ReplaceReference(parameter, reader->GetOutput());
  reader->Delete();
  if (!parameter) return nullptr;
  parameter->SetThreadNumber(threads);
  parameter->GetLightSource(0)->GetSpectrum(0)->SetPhotonNumber(packets);
  return parameter;
}

using trelBenchClock = std::chrono::steady_clock;

static double SecondsSince(trelBenchClock::time_point start)
{
  return std::chrono::duration<double>(trelBenchClock::now() - start).count();
}

/** The peak of this process's memory so far, in MB. */
static double PeakMegabytes()
{
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

/** What is run: by the classic rules, with a count or without, or by the exact rules. */
enum trelBenchMode
{
  BenchPlain,
  BenchCounts,
  BenchExact
};

static trelBenchMode ModeOf(const char* word)
{
  if (std::strcmp(word, "count") == 0) return BenchCounts;
  return std::strcmp(word, "exact") == 0 ? BenchExact : BenchPlain;
}

static int RunModel(trelSimulationParameter* parameter, unsigned packets, trelBenchMode mode,
                    int lanes, double load)
{
  trelCountingVRMC counting;
  trelDiffuseVRMC plain;
  trelExactMonteCarlo exact;
  exact.SetSeed(20240229);
  exact.SetLanes(lanes);
  trelMonteCarlo* const filters[] = {&plain, &counting, &exact};
  trelMonteCarlo& filter = *filters[mode];
  filter.SetInput(parameter);
  const auto timePreparing = [&] {
    const trelBenchClock::time_point start = trelBenchClock::now();
    parameter->PrepareGeometry();
    if (mode == BenchExact) trelExactModel().Resolve(*parameter);
    return SecondsSince(start);
  };
  const double prepare = timePreparing();
  const double again = timePreparing();  // the run does so, too, and takes what is there
  const trelBenchClock::time_point start = trelBenchClock::now();
  if (!filter.Update()) return EXIT_FAILURE;
  const double seconds = SecondsSince(start) - again;
  const trelMediumResult& result = *filter.GetOutput()->GetMediumResult(0);
  const long long exactCount = static_cast<long long>(exact.GetSummary().Interactions);
  const long long counts[] = {-1, counting.Scatterings, exactCount};
  std::printf(
      "packets %u seconds %.6f absorbed %.6f transmitted %.6f scatterings %lld "
      "load %.3f prepare %.3f megabytes %.0f\n",
      packets, seconds, result.GetTotalAbsorption3D(), result.GetTotalTransmittance3D(),
      counts[mode], load, prepare, PeakMegabytes());
  return EXIT_SUCCESS;
}

int main(int argc, char** argv)
{
  if (argc < 4) {
    std::fprintf(stderr, "Usage: trelBench MODEL PACKETS THREADS [count|exact [LANES]]\n");
    return EXIT_FAILURE;
  }
  const auto packets = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10));
  const trelBenchMode mode = argc > 4 ? ModeOf(argv[4]) : BenchPlain;
  const int lanes = argc > 5 ? std::atoi(argv[5]) : 0;
  SetWallClock([]() -> std::int64_t { return 20240229; });
  const trelBenchClock::time_point start = trelBenchClock::now();
  trelSimulationParameter* parameter =
      ReadModel(argv[1], packets, mode == BenchCounts ? 1 : std::atoi(argv[3]));
  if (!parameter) return EXIT_FAILURE;
  if (mode == BenchExact) parameter->SetRules(RulesExact);
  const int status = RunModel(parameter, packets, mode, lanes, SecondsSince(start));
  parameter->UnRegister();
  return status;
}
