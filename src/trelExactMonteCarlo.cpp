#include "trelExactMonteCarlo.h"

#include <omp.h>

#include <algorithm>
#include <random>

#include "trelEmissionPilot.h"
#include "trelExactLaunch.h"
#include "trelExactSteps.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMediumResult.h"
#include "trelMemory.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"
#include "trelSpectrum.h"
#include "trelThreads.h"
#include "trelTicker.h"
#include "trelVoxelTable.h"

/** Packets that a pilot flies at least, and those and the interactions after which it flies no more
 *  than as many again. */
static constexpr std::int64_t fewestPilotPackets = 1000;
static constexpr std::int64_t enoughPilotPackets = 64000;
static constexpr std::uint64_t enoughPilotInteractions = 2000000;
/** The pilot's streams: the same in every run of a model. */
static constexpr std::uint64_t pilotSeed = 0x70696c6f74;

/** Packets that a thread takes at a time. */
static constexpr std::int64_t packetsTaken = 16;
/** How often a run is looked at while packets fly. */
static constexpr std::chrono::milliseconds watchInterval{100};

static std::uint64_t DrawSeed()
{
  std::random_device entropy;
  return static_cast<std::uint64_t>(entropy()) << 32 | entropy();
}

trelExactMonteCarlo::trelExactMonteCarlo() : Seed(DrawSeed()) {}

trelExactMonteCarlo::~trelExactMonteCarlo() = default;

bool trelExactMonteCarlo::Prepare()
{
  if (!Input->GetMedium()) return false;
  Input->PrepareGeometry();
  if (!GetOutput()->Initialize(Input) || !Model.Resolve(*Input)) return false;
  Tables.Resolve(*Output, *Input, Model.MediumShapeType);
  Summary.EmissionWeights.assign(static_cast<std::size_t>(Model.NumberOfSpectra), 0.0);
  Reflected.assign(static_cast<std::size_t>(Model.NumberOfSpectra), 0.0);
  CollectBatches();
  Summary.Flown.reserve(Batches.size());
  return true;
}

void trelExactMonteCarlo::CollectBatches()
{
  Batches.clear();
  std::uint64_t source = 0;
  for (const trelLightSource* light : Input->GetLightSources()->GetItems<trelLightSource>()) {
    std::uint64_t entry = source++ << 32;
    if (!RunsSource(*light)) continue;
    for (const trelSpectrum* spectrum : light->GetSpectra()->GetItems<trelSpectrum>())
      Batches.push_back({light, spectrum, entry++, spectrum->GetPhotonNumber(), Seed, 0});
  }
}

bool trelExactMonteCarlo::Execute()
{
  if (!Input) return false;
  Summary = {};
  bool prepared = false;
  if (!FitsInMemory([&] { prepared = Prepare(); }) || !prepared) {
    ErrorMacro("Initialization of Monte Carlo simulation failed!");
    return false;
  }
  for (const Batch& batch : Batches)
    Summary.Packets += static_cast<std::uint64_t>(batch.Packets);
  const int threads = StartableThreads(Input->GetThreadNumber());
  std::vector<trelExactTally> tallies(static_cast<std::size_t>(threads));
  if (!Model.Dyes.empty() && !RunPilot()) return false;
  if (!FlyBatches(tallies)) return false;
  ReportUnfinished();
  for (int i = 0; i < Model.NumberOfSpectra; ++i)
    Output->GetMediumResult(i)->SetSpecularReflectance(Reflected[static_cast<std::size_t>(i)]);
  Output->FinalizeMediumResults(Input, Input->GetSaveFluenceRate());
  const int fibers = Input->CountFiberDetectors();
  if (fibers != 0 && Input->GetNumberOfDetectors() == fibers) {
    Output->FinalizeDetectorResults(Input);
  }
  return true;
}

/** All packets, those of emissions among them, watched while they fly. */
bool trelExactMonteCarlo::FlyBatches(std::vector<trelExactTally>& tallies)
{
  trelRunControl own;
  const bool isOwn = !Control;
  if (isOwn) Control = &own;
  const int threads = static_cast<int>(tallies.size());
  trelTicker ticker;
  bool isDone = FitsInMemory([&] { Control->Begin(Summary.Packets, threads); });
  isDone = isDone && Watch(ticker, threads);
  for (const Batch& batch : Batches)
    isDone = isDone && RunBatch(batch, tallies);
  ticker.Stop();
  Control->End();
  TellShare();
  if (isOwn) Control = nullptr;
  return isDone;
}

/** The team starts first: its run-time would end the process if the ticker took the last thread
 * that the system starts. */
bool trelExactMonteCarlo::Watch(trelTicker& ticker, int threads)
{
  if (!HasDependents() && !Control->HasDeadline()) return true;
#pragma omp parallel num_threads(threads)
  {
  }
  const bool isWatched = ticker.Start(watchInterval, [this] {
    Control->HeedDeadline();
    TellShare();
  });
  if (isWatched || !Control->HasDeadline()) return true;
  ErrorMacro("No thread could be started to end the run in time!");
  return false;
}

void trelExactMonteCarlo::TellShare()
{
  const double share = Control->Look().GetShare();
  ReportProgress(static_cast<std::int32_t>(ProgressMaximum * share));
}

bool trelExactMonteCarlo::RunPilot()
{
  trelEmissionPilot pilot(Model);
  std::int64_t entries = 0;
  for (const Batch& batch : Batches) {
    if (batch.Packets == 0) continue;
    ++entries;
    pilot.AddEntry(static_cast<std::int32_t>(batch.Spectrum->GetWavelength()),
                   static_cast<std::int32_t>(batch.Spectrum->GetWavelengthIndex()),
                   batch.Spectrum->GetEnergy(), batch.Packets);
  }
  Pilot = &pilot;
  std::int64_t flown = 0;
  const bool isDone = entries == 0 || FlyPilot(entries, &flown);
  Pilot = nullptr;
  for (trelDye& dye : Model.Dyes) {
    if (flown > 0) dye.PacketWeight = pilot.FindWeight(dye.WavelengthIndex, flown);
    Summary.EmissionWeights[static_cast<std::size_t>(dye.WavelengthIndex)] = dye.PacketWeight;
  }
  return isDone;
}

/** The same number of packets of each entry, doubled until enough was seen or that gets too dear.
 */
bool trelExactMonteCarlo::FlyPilot(std::int64_t entries, std::int64_t* flown)
{
  std::vector<trelExactTally> tallies(1);
  std::uint64_t interactions = 0;
  std::int64_t more = std::max<std::int64_t>(fewestPilotPackets / entries, 1);
  while (true) {
    for (const Batch& batch : Batches) {
      if (batch.Packets == 0) continue;
      PilotScale = batch.Packets;
      if (!RunBatch({batch.Light, batch.Spectrum, batch.Entry, more, pilotSeed, *flown}, tallies))
        return false;
      interactions += tallies[0].Interactions;
    }
    more = *flown += more;
    const bool isDear =
        more * entries >= enoughPilotPackets || interactions >= enoughPilotInteractions;
    if (isDear || Pilot->IsEnough()) return true;
  }
}

TREL_CLONED TREL_FLAT static void TraceExactly(trelExactPacket& packet, trelPacketNumbers& numbers,
                                               const trelExactModel& model, trelExactTally& tally)
{
  TakeExactSteps(packet, numbers, model, tally);
}

bool trelExactMonteCarlo::RunBatch(const Batch& batch, std::vector<trelExactTally>& tallies)
{
  OutOfMemory = false;
  NextPacket = 0;
  for (trelExactTally& tally : tallies) {
    tally = trelExactTally();
    tally.Converted.assign(Model.Dyes.size(), 0.0);
    tally.Trace = Pilot ? nullptr : &TraceExactly;
    tally.Tables = &Tables;
    tally.Result = Output;
    tally.OneThread = tallies.size() == 1;
    tally.SelectRecord(static_cast<std::int32_t>(batch.Spectrum->GetWavelengthIndex()));
    if (!Pilot) {
      tally.Counter = &Control->GetCounter(static_cast<int>(&tally - tallies.data()));
    } else {
      tally.Grids = &NoGrids;
      tally.FiberGrids = nullptr;
      tally.SpectrumMediumResult = nullptr;
    }
  }
  trelExactLaunch launch;
  launch.Prepare(*batch.Light, *batch.Spectrum, Model);
#pragma omp parallel num_threads(static_cast <int>(tallies.size()))
  {
    bool ready = trelVoxelTable::PrepareThread();
    if (!ready) {
#pragma omp atomic write
      OutOfMemory = true;
    }
#pragma omp barrier
#pragma omp atomic read
    ready = OutOfMemory;
    ready = !ready;
    if (ready) TracePackets(batch, launch, tallies[static_cast<std::size_t>(omp_get_thread_num())]);
  }
  if (OutOfMemory) {
    ErrorMacro("Out of memory while starting the threads!");
    return false;
  }
  if (!Pilot) Collect(batch, tallies);
  return true;
}

void trelExactMonteCarlo::TracePackets(const Batch& batch, const trelExactLaunch& launch,
                                       trelExactTally& tally)
{
  std::int64_t first = 0;
  while ((first = NextPacket.fetch_add(packetsTaken, std::memory_order_relaxed)) < batch.Packets) {
    const std::int64_t end = std::min(first + packetsTaken, batch.Packets);
    for (std::int64_t i = first; i < end; ++i) {
      if (!Pilot && Control->IsStopRequested()) return;
      const std::uint64_t before = tally.Interactions;
      TracePacket(batch, batch.First + i, launch, tally);
      if (tally.Counter) tally.Counter->CountPacket(tally.Interactions - before);
      if (!Pilot) continue;
      Pilot->AddPacket(tally.Converted, PilotScale);
      std::fill(tally.Converted.begin(), tally.Converted.end(), 0.0);
    }
  }
}

void trelExactMonteCarlo::TracePacket(const Batch& batch, std::int64_t number,
                                      const trelExactLaunch& launch, trelExactTally& tally)
{
  trelPacketNumbers numbers;
  numbers.Start(batch.Seed, batch.Entry, static_cast<std::uint64_t>(number));
  trelLaunched start;
  const trelLaunchOutcome outcome = launch.Launch(Model.Map, numbers, &start);
  tally.ReflectedWeight += start.Reflected * launch.GetPacketWeight();
  if (outcome == LaunchNotMet) ++tally.NotLaunched;
  if (outcome == LaunchReflected) ++tally.ReflectedAtEntry;
  if (outcome != LaunchDone && outcome != LaunchEscaped) return;
  trelExactPacket packet{};
  packet.Position = start.Position;
  packet.Direction = start.Direction;
  packet.Weight = 1.0;
  packet.SourceWeight = start.Entering * launch.GetPacketWeight();
  packet.Wavelength = static_cast<std::int32_t>(batch.Spectrum->GetWavelength());
  packet.WavelengthIndex = static_cast<std::int32_t>(batch.Spectrum->GetWavelengthIndex());
  packet.Depth = trelExactPacket::NotDrawn;
  packet.Skip = start.Skip;
  if (!Model.Dyes.empty()) {
    packet.Dyes = Model.FindDyes(packet.Position + packet.Skip * packet.Direction);
  }
  Model.Enter(start.Tissue, packet);
  if (outcome == LaunchEscaped) {
    EscapeAtStart(start.Skin, packet, Model, tally);
    return;
  }
  if (launch.IsExternal() && EndAtFiberHere(packet, Model, tally)) return;
  TraceExactly(packet, numbers, Model, tally);
  tally.Interactions += packet.Interactions;
}

/** Adds what the threads of a region counted. */
void trelExactMonteCarlo::Collect(const Batch& batch, const std::vector<trelExactTally>& tallies)
{
  const std::uint64_t flown = Control->Look().Packets;
  Summary.Flown.push_back({(batch.Entry >> 32) + 1, batch.Spectrum->GetWavelength(),
                           static_cast<std::uint64_t>(batch.Packets),
                           flown - Summary.PacketsFlown});
  Summary.PacketsFlown = flown;
  double& reflected = Reflected[batch.Spectrum->GetWavelengthIndex()];
  for (const trelExactTally& tally : tallies) {
    Summary.NotLaunched += tally.NotLaunched;
    Summary.ReflectedAtEntry += tally.ReflectedAtEntry;
    Summary.Interactions += tally.Interactions;
    Summary.Trapped += tally.Trapped;
    Summary.Lost += tally.Lost;
    Summary.EndedByTime += tally.EndedByTime;
    Summary.InFibers += tally.InFibers;
    Summary.EndedByLimit += tally.EndedByLimit;
    reflected += tally.ReflectedWeight;
  }
}

/** Packets of emissions are not among those launched. */
void trelExactMonteCarlo::ReportUnfinished()
{
  const std::string all = " of " + std::to_string(Summary.Packets) + " packets ";
  const auto warn = [&](std::uint64_t packets, const std::string& text) {
    if (packets != 0) WarningMacro(packets << text);
  };
  warn(Summary.NotLaunched, all + "were not launched: their light does not meet the medium");
  warn(Summary.ReflectedAtEntry,
       all + "did not enter: beyond the critical angle all is reflected at the skin");
  warn(Summary.Trapped,
       " packets were trapped between boundaries and ended: what is left of them is in no result");
  warn(Summary.Lost,
       " packets flew through clear tissue without an end: what is left of them is in"
       " no result");
  warn(Summary.EndedByLimit,
       " packets reached the limit of steps (stepnummax): what is left of them is in no result");
  // A limit at the end of the time gates, or behind them, is meant to spare what they do not see.
  const bool isMeant = Model.DomainTD && Model.TimeLimit >= Input->GetTimeEnd();
  warn(isMeant ? 0 : Summary.EndedByTime,
       " packets reached the limit of time (flytimemax): what is left of them is in no result");
}
