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
#include "trelVoxelTable.h"

/** Packets that a pilot flies at least, and those and the interactions after which it flies no more
 *  than as many again. */
static constexpr std::int64_t fewestPilotPackets = 1000;
static constexpr std::int64_t enoughPilotPackets = 64000;
static constexpr std::uint64_t enoughPilotInteractions = 2000000;
/** The pilot's streams: the same in every run of a model. */
static constexpr std::uint64_t pilotSeed = 0x70696c6f74;

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
  Ledger.Resize(static_cast<std::size_t>(Model.NumberOfSpectra), Model.GetLedgerSizes());
  CollectBatches();
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
  Finished = 0;
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
  for (const Batch& batch : Batches)
    if (!RunBatch(batch, tallies)) return false;
  ReportProgress(ProgressMaximum);
  ReportUnfinished();
  FinishRecords();
  const int fibers = Input->CountFiberDetectors();
  if (fibers != 0 && Input->GetNumberOfDetectors() == fibers) {
    Output->FinalizeDetectorResults(Input);
  }
  return true;
}

/** What the skin threw back goes from the ledger to the records, and what the grids took of the
 *  absorption the other way. */
void trelExactMonteCarlo::FinishRecords()
{
  const auto records = ItemsOf<trelMediumResult>(Output->GetMediumResults());
  std::size_t i = 0;
  for (trelMediumResult* record : records)
    record->SetSpecularReflectance(Ledger.Records[i++].Parts[LedgerReflectedAtEntry].GetWeight());
  Output->FinalizeMediumResults(Input, Input->GetSaveFluenceRate());
  if (!Model.DomainCW || !Model.SaveAbsorption) return;
  i = 0;
  for (const trelMediumResult* record : records)
    Ledger.Records[i++].Parts[LedgerInRegion].AddWeight(record->GetTotalAbsorption2D() +
                                                        record->GetTotalAbsorption3D());
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

/** New tallies for a region; may throw. */
void trelExactMonteCarlo::PrepareTallies(const Batch& batch, std::vector<trelExactTally>& tallies)
{
  for (trelExactTally& tally : tallies) {
    tally = trelExactTally();
    if (!Pilot) tally.Ledger.Resize(Ledger.Records.size(), Model.GetLedgerSizes());
    tally.Converted.assign(Model.Dyes.size(), 0.0);
    tally.Trace = Pilot ? nullptr : &TraceExactly;
    tally.Tables = &Tables;
    tally.Result = Output;
    tally.OneThread = tallies.size() == 1;
    tally.SelectRecord(static_cast<std::int32_t>(batch.Spectrum->GetWavelengthIndex()));
    if (Pilot) {
      tally.Grids = &NoGrids;
      tally.FiberGrids = nullptr;
      tally.SpectrumMediumResult = nullptr;
    }
  }
}

bool trelExactMonteCarlo::RunBatch(const Batch& batch, std::vector<trelExactTally>& tallies)
{
  OutOfMemory = false;
  if (!FitsInMemory([&] { PrepareTallies(batch, tallies); })) {
    ErrorMacro("Out of memory while starting the threads!");
    return false;
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
  if (!Pilot) Collect(tallies);
  return true;
}

void trelExactMonteCarlo::TracePackets(const Batch& batch, const trelExactLaunch& launch,
                                       trelExactTally& tally)
{
#pragma omp for schedule(dynamic, 16)
  for (std::int64_t i = 0; i < batch.Packets; ++i) {
    TracePacket(batch, batch.First + i, launch, tally);
    if (!Pilot) {
      CountFinishedPacket();
      continue;
    }
    Pilot->AddPacket(tally.Converted, PilotScale);
    std::fill(tally.Converted.begin(), tally.Converted.end(), 0.0);
  }
}

/** Enters in the ledger that a packet was launched, and what became of it at once. */
static void EnterLaunch(trelLaunchOutcome outcome, const trelLaunched& start, double weight,
                        trelExactTally& tally)
{
  if (!tally.Record) return;
  trelLedgerSum* const parts = tally.Record->Parts;
  parts[LedgerFromSources].AddPacket(weight);
  parts[LedgerReflectedAtEntry].AddWeight(start.Reflected * weight);
  if (outcome == LaunchReflected) ++parts[LedgerReflectedAtEntry].Packets;
  if (outcome == LaunchNotMet) parts[LedgerNotLaunched].AddPacket(weight);
}

void trelExactMonteCarlo::TracePacket(const Batch& batch, std::int64_t number,
                                      const trelExactLaunch& launch, trelExactTally& tally)
{
  trelPacketNumbers numbers;
  numbers.Start(batch.Seed, batch.Entry, static_cast<std::uint64_t>(number));
  trelLaunched start;
  const trelLaunchOutcome outcome = launch.Launch(Model.Map, numbers, &start);
  EnterLaunch(outcome, start, launch.GetPacketWeight(), tally);
  if (outcome != LaunchDone && outcome != LaunchEscaped) return;
  trelExactPacket packet{};
  packet.Position = start.Position;
  packet.Direction = start.Direction;
  packet.Weight = packet.Settled = 1.0;
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
void trelExactMonteCarlo::Collect(const std::vector<trelExactTally>& tallies)
{
  for (const trelExactTally& tally : tallies) {
    Summary.Interactions += tally.Interactions;
    Ledger.Add(tally.Ledger);
  }
}

void trelExactMonteCarlo::CountFinishedPacket()
{
  std::uint64_t finished = 0;
#pragma omp atomic capture
  finished = ++Finished;
  const std::uint64_t interval = std::max<std::uint64_t>(Summary.Packets / 100, 1);
  if (finished % interval != 0) return;
  const double part = static_cast<double>(finished) / static_cast<double>(Summary.Packets);
  ReportProgress(static_cast<std::int32_t>(ProgressMaximum * part));
}

/** Packets of emissions are not among those launched. */
void trelExactMonteCarlo::ReportUnfinished()
{
  const std::string all = " of " + std::to_string(Summary.Packets) + " packets ";
  const auto warn = [&](trelLedgerPart part, const std::string& text) {
    const std::uint64_t packets = Ledger.CountPackets(part);
    if (packets != 0) WarningMacro(packets << text);
  };
  warn(LedgerNotLaunched, all + "were not launched: their light does not meet the medium");
  warn(LedgerReflectedAtEntry,
       all + "did not enter: beyond the critical angle all is reflected at the skin");
  warn(LedgerTrapped,
       " packets were trapped between boundaries and ended: what is left of them is in no result");
  warn(LedgerLost,
       " packets flew through clear tissue without an end: what is left of them is in"
       " no result");
  warn(LedgerEndedBySteps,
       " packets reached the limit of steps (stepnummax): what is left of them is in no result");
  // A limit at the end of the time gates, or behind them, is meant to spare what they do not see.
  const bool isMeant = Model.DomainTD && Model.TimeLimit >= Input->GetTimeEnd();
  if (!isMeant)
    warn(LedgerEndedByTime,
         " packets reached the limit of time (flytimemax): what is left of them is in no result");
}
