// Runs a model on fixed random streams and prints one line of figures:
//
//   trelBench MODEL PACKETS THREADS [count|exact [LANES [BATCHES]]]
//   packets P seconds S cpu C absorbed A transmitted T scatterings N load L prepare R megabytes M
//
// L and R are the seconds of reading the model and of building its look-up tables, which S leaves
// out; C are those of the processor while S passed, of all threads together. With "count" the
// scatterings are counted, which costs time, on one thread; else N is -1. The same arguments trace
// the same packets (on one thread), so that a counting run tells how many scatterings another run
// made. "exact" runs by the exact rules, which always count, with LANES packets side by side: 0 for
// as many as the processor does best, -1 for none. BATCHES is 1 unless given; without batches all
// threads score into one grid.

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

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

/** Seconds that pass on the wall, and those that the processor spends meanwhile. */
struct trelBenchWatch
{
  trelBenchClock::time_point Start = trelBenchClock::now();
  std::clock_t CpuStart = std::clock();

  double GetSeconds() const { return SecondsSince(Start); }
  double GetCpu() const { return static_cast<double>(std::clock() - CpuStart) / CLOCKS_PER_SEC; }
};

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

/** The last arguments. */
struct trelBenchExact
{
  int Lanes = 0;
  int Batches = 1;
};

static int RunModel(trelSimulationParameter* parameter, unsigned packets, trelBenchMode mode,
                    trelBenchExact how, double load)
{
  trelCountingVRMC counting;
  trelDiffuseVRMC plain;
  trelExactMonteCarlo exact;
  exact.SetSeed(20240229);
  exact.SetLanes(how.Lanes);
  exact.SetBatches(how.Batches);
  trelMonteCarlo* const filters[] = {&plain, &counting, &exact};
  trelMonteCarlo& filter = *filters[mode];
  filter.SetInput(parameter);
  const auto prepareModel = [&] {
    parameter->PrepareGeometry();
    if (mode == BenchExact) trelExactModel().Resolve(*parameter);
  };
  trelBenchWatch watch;
  prepareModel();
  const double prepare = watch.GetSeconds();
  watch = {};
  prepareModel();  // the run does so, too, and takes what is there
  const double again = watch.GetSeconds(), cpuAgain = watch.GetCpu();
  watch = {};
  if (!filter.Update()) return EXIT_FAILURE;
  const double seconds = watch.GetSeconds() - again, cpu = watch.GetCpu() - cpuAgain;
  const trelMediumResult& result = *filter.GetOutput()->GetMediumResult(0);
  const long long exactCount = static_cast<long long>(exact.GetSummary().Interactions);
  const long long counts[] = {-1, counting.Scatterings, exactCount};
  std::printf(
      "packets %u seconds %.6f cpu %.6f absorbed %.6f transmitted %.6f scatterings %lld "
      "load %.3f prepare %.3f megabytes %.0f\n",
      packets, seconds, cpu, result.GetTotalAbsorption3D(), result.GetTotalTransmittance3D(),
      counts[mode], load, prepare, PeakMegabytes());
  return EXIT_SUCCESS;
}

int main(int argc, char** argv)
{
  if (argc < 4) {
    std::fprintf(stderr,
                 "Usage: trelBench MODEL PACKETS THREADS [count|exact [LANES [BATCHES]]]\n");
    return EXIT_FAILURE;
  }
  const auto packets = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10));
  const trelBenchMode mode = argc > 4 ? ModeOf(argv[4]) : BenchPlain;
  trelBenchExact how;
  if (argc > 5) how.Lanes = std::atoi(argv[5]);
  if (argc > 6) how.Batches = std::atoi(argv[6]);
  SetWallClock([]() -> std::int64_t { return 20240229; });
  const trelBenchClock::time_point start = trelBenchClock::now();
  trelSimulationParameter* parameter =
      ReadModel(argv[1], packets, mode == BenchCounts ? 1 : std::atoi(argv[3]));
  if (!parameter) return EXIT_FAILURE;
  if (mode == BenchExact) parameter->SetRules(RulesExact);
  const int status = RunModel(parameter, packets, mode, how, SecondsSince(start));
  parameter->UnRegister();
  return status;
}
