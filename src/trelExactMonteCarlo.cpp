#include "trelExactMonteCarlo.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "trelEmissionPilot.h"
#include "trelExactSteps.h"
#include "trelLaneKernel.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMediumResult.h"
#include "trelMemory.h"
#include "trelPacketLanes.h"
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

/** Packets that a thread takes at a time, and how many interactions each may have on average for
 *  that: it can rest only behind them. */
static constexpr std::int64_t packetsTaken = 16;
static constexpr std::int64_t fewInteractions = 4096;
/** How often a run is looked at while packets fly. */
static constexpr std::chrono::milliseconds watchInterval{100};

static std::uint64_t DrawSeed()
{
  std::random_device entropy;
  return static_cast<std::uint64_t>(entropy()) << 32 | entropy();
}

trelExactMonteCarlo::trelExactMonteCarlo() : Seed(DrawSeed()) {}

trelExactMonteCarlo::~trelExactMonteCarlo() = default;

bool trelExactMonteCarlo::Prepare(int threads)
{
  if (!Input->GetMedium()) return false;
  Input->PrepareGeometry();
  if (!GetOutput()->Initialize(Input) || !Model.Resolve(*Input)) return false;
  Statistics.Release();
  Statistics.SetKeepsBatches(KeepsBatches);
  if (HasStatistics() && !IsReplay && !Statistics.Prepare(*Input, *Output, threads)) {
    ErrorMacro(
        "Out of memory: errors take three times the grids; make the cells larger, or fly one"
        " batch, which tells no errors");
    return false;
  }
  if (Statistics.IsOn() && Batches > Statistics.GetMostBatches()) {
    ErrorMacro("Out of memory: so many batches keep their numbers; ask for at most "
               << Statistics.GetMostBatches());
    return false;
  }
  if (Statistics.IsOn() && ListCameras) Statistics.SetCameras(ListCameras(*Output));
  Tables.assign(static_cast<std::size_t>(Statistics.IsOwn() ? threads : 1), {});
  for (std::size_t i = 0; i < Tables.size(); ++i) {
    const trelSimulationResult& scored =
        Statistics.IsOn() ? *Statistics.GetScored(static_cast<int>(i)) : *Output;
    Tables[i].Resolve(scored, *Input, Model.MediumShapeType);
  }
  const auto spectra = static_cast<std::size_t>(Model.NumberOfSpectra);
  NoTables.ResolveNothing(spectra);
  Summary.EmissionWeights.assign(spectra, 0.0);
  Ledger.Resize(spectra, Model.GetLedgerSizes());
  Lines.Prepare(Ledger);
  Open = Ledger;
  OpenInteractions = 0;
  if (spectra > 0) Goal.Prepare(Ledger.List(0));
  if (!MakePlan()) return false;
  PrepareLaunches();
  return true;
}

bool trelExactMonteCarlo::MakePlan()
{
  std::vector<trelRunEntry> entries;
  std::uint64_t source = 0;
  for (const trelLightSource* light : Input->GetLightSources()->GetItems<trelLightSource>()) {
    std::uint64_t entry = source++ << 32;
    if (!RunsSource(*light)) continue;
    for (const trelSpectrum* spectrum : light->GetSpectra()->GetItems<trelSpectrum>())
      entries.push_back({light, spectrum, entry++, spectrum->GetPhotonNumber(), 0});
  }
  // With a goal the size of a batch follows from the model: more packets are more batches.
  std::int64_t all = 0;
  for (const trelRunEntry& entry : entries)
    all += entry.Packets;
  Plan.Build(entries, Goal.IsOn() && Packets > all ? 0 : Packets, Batches);
  FirstBatch = 0;
  if (IsReplay) Audience->AmendPlan(Plan);
  if (!(Origin ? ContinuePlan() : TakeRange())) return false;
  MostBatches = Goal.IsOn() ? FindMostBatches() : Plan.GetBatches();
  AskedBatches = std::min(Plan.GetBatches(), MostBatches);
  if (Goal.IsOn()) AskedBatches = std::min(std::max(AskedBatches, Goal.FirstBatches), MostBatches);
  Summary.Packets = static_cast<std::uint64_t>(AskedBatches * Plan.GetPacketsOfBatch());
  return true;
}

/** Makes a plan of whole batches of the one that is there. */
bool trelExactMonteCarlo::TakeRange()
{
  if (Range.Number == 0) return true;
  const std::int64_t size = std::max<std::int64_t>(Plan.GetPacketsOfBatch(), 1);
  const std::int64_t first = Range.First / size, batches = Range.Number / size;
  const std::int64_t all = Plan.GetBatches();
  if (first >= all || batches > all - first) {
    ErrorMacro("The packets " << Range.First << ":" << Range.Number
                              << " are not in the run, which has " << Plan.GetPackets());
    return false;
  }
  if (Range.First % size != 0 || Range.Number % size != 0) {
    const auto name = [&](std::int64_t from) {
      const std::int64_t most = std::max<std::int64_t>((Range.Number + size / 2) / size, 1);
      from = std::min(from, all - 1);
      return std::to_string(from * size) + ":" + std::to_string(std::min(most, all - from) * size);
    };
    ErrorMacro("The packets " << Range.First << ":" << Range.Number
                              << " are not whole batches, which have " << size
                              << " packets each; the nearest are " << name(first) << " and "
                              << name(first + 1));
    return false;
  }
  FirstBatch = first;
  Plan.SetBatches(batches);
  return true;
}

/** The batches stay as large as they were; how many there are to be is given or as it was. */
bool trelExactMonteCarlo::ContinuePlan()
{
  std::vector<double> shares = Plan.GetShares(), first(1), number(1);
  Origin->Pass("packets_of_batch", shares);
  Origin->Pass("first_batch", first);
  Origin->Pass("number_of_batches", number);
  const bool isPlan = Origin->IsSound() && Plan.SetShares(shares);
  // Places of packets are exact as other numbers, too.
  const double most =
      0x1.0p53 / static_cast<double>(std::max<std::int64_t>(Plan.GetPacketsOfBatch(), 1));
  const auto isCount = [&](double count) { return count >= 0.0 && count <= most; };
  if (!isPlan || !isCount(first[0]) || !isCount(number[0])) {
    ErrorMacro("The state of the run cannot be read, or the packets of a batch differ");
    return false;
  }
  FirstBatch = static_cast<std::int64_t>(first[0]);
  auto batches = static_cast<std::int64_t>(number[0]);
  if (Packets > 0) batches = (Packets - 1) / Plan.GetPacketsOfBatch() + 1;
  if (Batches > 0) batches = Batches;
  Plan.SetBatches(batches);
  return true;
}

trelPacketRange trelExactMonteCarlo::GetRange() const
{
  return {FirstBatch * Plan.GetPacketsOfBatch(), Summary.BatchesDone * Plan.GetPacketsOfBatch()};
}

void trelExactMonteCarlo::PassState(bool hasOpen, trelStateArchive& archive)
{
  std::vector<double> shares = Plan.GetShares();
  std::vector<double> first{static_cast<double>(FirstBatch)};
  std::vector<double> number{static_cast<double>(AskedBatches)};
  const auto next = hasOpen ? NextPacket.load() : 0;
  std::vector<double> done{static_cast<double>(Summary.BatchesDone), static_cast<double>(next),
                           static_cast<double>(Summary.Interactions),
                           static_cast<double>(hasOpen ? OpenInteractions : 0)};
  archive.Pass("packets_of_batch", shares);
  archive.Pass("first_batch", first);
  archive.Pass("number_of_batches", number);
  archive.Pass(StateOfProgress, done);
  Summary.BatchesDone = static_cast<std::int64_t>(done[0]);
  Summary.Interactions = static_cast<std::uint64_t>(done[2]);
  if (hasOpen) {
    NextPacket = static_cast<std::int64_t>(done[1]);
    OpenInteractions = static_cast<std::uint64_t>(done[3]);
  }
  Statistics.PassState(Summary.BatchesDone, done[1] > 0.0, archive);
  Lines.PassState(Summary.BatchesDone, archive);
  Ledger.PassState("ledger", archive);
  if (done[1] > 0.0) Open.PassState("open_ledger", archive);
}

void trelExactMonteCarlo::ConcludeAudience(bool hasOpen)
{
  const trelPacketRange flown = GetRange();
  const std::int64_t end = flown.First + flown.Number + (hasOpen ? NextPacket.load() : 0);
  if (Audience) Audience->Conclude(flown.First, end);
}

/** Takes up the run where it was left. */
bool trelExactMonteCarlo::Continue()
{
  NextPacket = 0;
  if (!Origin) return true;
  if (!FitsInMemory([&] { PassState(true, *Origin); })) {
    ErrorMacro("Out of memory while taking up the run!");
    return false;
  }
  if (!Origin->IsSound() || Summary.BatchesDone < 0 || NextPacket < 0) {
    ErrorMacro("The state of the run cannot be read");
    return false;
  }
  if (Summary.BatchesDone > 0) LookAtError();
  if (Summary.BatchesDone <= MostBatches) return true;
  ErrorMacro("The run has " << Summary.BatchesDone << " batches of " << Plan.GetPacketsOfBatch()
                            << " packets already, more than it is to have");
  return false;
}

/** Of a run that goes on until it is sure enough: by its packets, else by time alone if that has a
 *  limit, else a large number; and as memory has room. */
std::int64_t trelExactMonteCarlo::FindMostBatches() const
{
  const std::int64_t size = std::max<std::int64_t>(Plan.GetPacketsOfBatch(), 1);
  std::int64_t most = MostTimes * Plan.GetBatches();
  if (Control && Control->HasDeadline()) most = std::numeric_limits<std::int64_t>::max() / size;
  if (Packets > 0) most = (Packets - 1) / size + 1;
  return std::min(most, Statistics.GetMostBatches());
}

/** The packets of a batch share the energy of their entry: a result is the mean of the batches. */
void trelExactMonteCarlo::PrepareLaunches()
{
  Launches.clear();
  for (const trelRunEntry& entry : Plan.GetEntries())
    Launches.emplace_back().Prepare(*entry.Light, *entry.Spectrum, entry.Share, Model);
}

bool trelExactMonteCarlo::Execute()
{
  if (!Input) return false;
  Summary = {};
  const int threads = StartableThreads(Input->GetThreadNumber());
  bool prepared = false;
  if (!FitsInMemory([&] { prepared = Prepare(threads); }) || !prepared) {
    ErrorMacro("Initialization of Monte Carlo simulation failed!");
    return false;
  }
  std::vector<trelExactTally> tallies(static_cast<std::size_t>(threads));
  if (!Model.Dyes.empty() && !RunPilot()) return false;
  if (Audience && !PrepareAudience(threads)) return false;
  if (!Continue() || !FlyBatches(tallies)) return false;
  ConcludeAudience(false);
  if (AtEnd) AtEnd();
  CountFlown();
  const double part = 1.0 / static_cast<double>(std::max<std::int64_t>(Summary.BatchesDone, 1));
  Ledger.Scale(part);
  for (double& weight : Summary.EmissionWeights)
    weight *= part;
  Statistics.Finish();
  ReportUnfinished();
  FinishRecords();
  const int fibers = Input->CountFiberDetectors();
  if (fibers != 0 && Input->GetNumberOfDetectors() == fibers) {
    Output->FinalizeDetectorResults(Input);
  }
  return true;
}

bool trelExactMonteCarlo::Replay()
{
  if (!Input || !Audience) return false;
  const int threads = StartableThreads(Input->GetThreadNumber());
  trelRunControl own;
  const bool isOwn = !Control;
  if (isOwn) Control = &own;
  IsReplay = true;
  bool isDone = false;
  const bool fits = FitsInMemory([&] {
    std::vector<trelExactTally> tallies(static_cast<std::size_t>(threads));
    isDone = Prepare(threads) && (Model.Dyes.empty() || RunPilot()) && PrepareAudience(threads) &&
             FlyListed(tallies);
  });
  if (!fits) ErrorMacro("Out of memory while flying packets again!");
  IsReplay = false;
  if (isOwn) Control = nullptr;
  return isDone;
}

bool trelExactMonteCarlo::FlyListed(std::vector<trelExactTally>& tallies)
{
  std::vector<trelPlannedPacket> packets;
  while (!Control->IsStopRequested() && Audience->TakeNext(&packets)) {
    NextPacket = 0;
    if (!RunPackets({Plan, Seed, 0, &packets}, tallies)) return false;
  }
  return !Control->IsStopRequested();
}

/** What the skin threw back goes from the ledger to the records, and what the grids took of the
 *  absorption the other way. */
void trelExactMonteCarlo::FinishRecords()
{
  const auto records = ItemsOf<trelMediumResult>(Output->GetMediumResults());
  std::size_t i = 0;
  for (trelMediumResult* record : records) {
    const trelLedgerRecord& light = Ledger.Records[i++];
    record->SetSpecularReflectance(light.Parts[LedgerReflectedAtEntry].GetWeight());
    record->SetPacketNumbers(static_cast<std::int64_t>(light.GetEscaped().Packets),
                             static_cast<std::int64_t>(light.Parts[LedgerRoulette].Packets));
  }
  Output->FinalizeMediumResults(Input, Input->GetSaveFluenceRate());
  if (Statistics.IsOn() || !Model.DomainCW || !Model.SaveAbsorption) return;
  i = 0;
  for (const trelMediumResult* record : records)
    Ledger.Records[i++].Parts[LedgerInRegion].AddWeight(record->GetTotalAbsorption2D() +
                                                        record->GetTotalAbsorption3D());
}

std::vector<trelLedgerLine> trelExactMonteCarlo::ListLedger(std::size_t spectrum) const
{
  std::vector<trelLedgerLine> lines = Ledger.List(spectrum);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    lines[i].Error = Lines.FindError(spectrum, i);
    if (!lines[i].HasMeans()) continue;
    lines[i].MeanTime.Error = Lines.FindErrorOfMean(spectrum, i, trelLedgerBatches::Time);
    lines[i].MeanPath.Error = Lines.FindErrorOfMean(spectrum, i, trelLedgerBatches::Path);
  }
  return lines;
}

/** All packets, those of emissions among them, watched while they fly. */
bool trelExactMonteCarlo::FlyBatches(std::vector<trelExactTally>& tallies)
{
  trelRunControl own;
  const bool isOwn = !Control;
  if (isOwn) Control = &own;
  const int threads = static_cast<int>(tallies.size());
  trelTicker ticker;
  const std::int64_t before = Summary.BatchesDone * Plan.GetPacketsOfBatch() + NextPacket;
  bool isDone = FitsInMemory(
      [&] { Control->Begin(Summary.Packets, static_cast<std::uint64_t>(before), threads); });
  isDone = isDone && Watch(ticker, threads);
  while (isDone && Summary.BatchesDone < MostBatches && !Goal.IsReached() &&
         !Control->IsStopRequested()) {
    isDone = RunPackets({Plan, Seed, FirstBatch + Summary.BatchesDone}, tallies) &&
             TakePackets(tallies) && !(Audience && Audience->HasFailed());
    if (isDone && Control->TakePause() && Checkpoint) Checkpoint();
  }
  ticker.Stop();
  if (isDone && Control->IsStopRequested() && Checkpoint) Checkpoint();
  Control->End();
  TellShare();
  if (isOwn) Control = nullptr;
  return isDone;
}

/** The team starts first: its run-time would end the process if the ticker took the last thread
 * that the system starts. */
bool trelExactMonteCarlo::Watch(trelTicker& ticker, int threads)
{
  if (!HasDependents() && !Control->HasTimes()) return true;
#pragma omp parallel num_threads(threads)
  {
  }
  const bool isWatched = ticker.Start(watchInterval, [this] {
    Control->HeedTimes();
    TellShare();
  });
  if (isWatched || !Control->HasTimes()) return true;
  ErrorMacro("No thread could be started to stop or keep the run in time!");
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
  for (const trelRunEntry& entry : Plan.GetEntries()) {
    pilot.AddEntry(static_cast<std::int32_t>(entry.Spectrum->GetWavelength()),
                   static_cast<std::int32_t>(entry.Spectrum->GetWavelengthIndex()),
                   entry.Spectrum->GetEnergy(), entry.Share);
  }
  Pilot = &pilot;
  std::int64_t flown = 0;
  const bool isDone = Plan.GetEntries().empty() || FlyPilot(Plan, &flown);
  Pilot = nullptr;
  for (trelDye& dye : Model.Dyes) {
    if (flown > 0) dye.PacketWeight = pilot.FindWeight(dye.WavelengthIndex, flown);
    Summary.EmissionWeights[static_cast<std::size_t>(dye.WavelengthIndex)] = dye.PacketWeight;
  }
  return isDone;
}

/** The same number of packets of each entry of @p plan, doubled until enough was seen or that gets
 *  too dear. */
bool trelExactMonteCarlo::FlyPilot(trelRunPlan plan, std::int64_t* flown)
{
  std::vector<trelExactTally> tallies(1);
  std::uint64_t interactions = 0;
  const auto entries = static_cast<std::int64_t>(plan.GetEntries().size());
  std::int64_t more = std::max<std::int64_t>(fewestPilotPackets / entries, 1);
  while (true) {
    plan.ShareAlike(more);
    NextPacket = 0;
    if (!RunPackets({plan, pilotSeed, *flown / more}, tallies)) return false;
    interactions += tallies[0].Interactions;
    more = *flown += more;
    const bool isDear =
        more * entries >= enoughPilotPackets || interactions >= enoughPilotInteractions;
    if (isDear || Pilot->IsEnough()) return true;
  }
}

TREL_CLONED TREL_FLAT static void TraceExactly(trelExactPacket& packet, trelPacketNumbers& numbers,
                                               const trelExactModel& model, trelExactTally& tally)
{
  TakeExactSteps<false>(packet, numbers, model, tally);
}

TREL_CLONED TREL_FLAT static void TraceInElements(trelExactPacket& packet,
                                                  trelPacketNumbers& numbers,
                                                  const trelExactModel& model,
                                                  trelExactTally& tally)
{
  TakeExactSteps<true>(packet, numbers, model, tally);
}

TREL_CLONED TREL_FLAT static void TraceAndTell(trelExactPacket& packet, trelPacketNumbers& numbers,
                                               const trelExactModel& model, trelExactTally& tally)
{
  TakeObservedSteps(packet, numbers, model, tally);
}

/** The loop for packets of the tally. */
static auto ChooseTrace(const trelExactTally& tally, const trelExactModel& model)
{
  if (tally.Observer) return &TraceAndTell;
  return model.Elements.IsEmpty() ? &TraceExactly : &TraceInElements;
}

bool trelExactMonteCarlo::PrepareAudience(int threads)
{
  bool isReady = false;
  if (FitsInMemory([&] { isReady = Audience->Prepare(Model, Plan, threads); })) return isReady;
  ErrorMacro("Out of memory while preparing to look at packets!");
  return false;
}

/** @p isAlone: the team is one thread. */
void trelExactMonteCarlo::PrepareTally(int thread, bool isAlone, trelExactTally& tally) const
{
  tally = trelExactTally();
  tally.Converted.assign(Model.Dyes.size(), 0.0);
  tally.OneThread = isAlone || Tables.size() > 1;
  if (Pilot || IsReplay) {
    tally.Tables = &NoTables;
    return;
  }
  tally.Tables = &Tables[Tables.size() > 1 ? static_cast<std::size_t>(thread) : 0];
  tally.Result = Output;
  tally.Counter = &Control->GetCounter(thread);
  tally.Ledger.Resize(Ledger.Records.size(), Model.GetLedgerSizes());
}

/** Those of the batch from the next on, to its end or until they are to rest. */
bool trelExactMonteCarlo::RunPackets(const Batch& batch, std::vector<trelExactTally>& tallies)
{
  OutOfMemory = false;
  const auto threads = static_cast<int>(tallies.size());
  const bool fits = FitsInMemory([&] {
    for (int i = 0; i < threads; ++i)
      PrepareTally(i, threads == 1, tallies[static_cast<std::size_t>(i)]);
  });
  if (!fits) {
    ErrorMacro("Out of memory while starting the threads!");
    return false;
  }
#pragma omp parallel num_threads(threads)
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
    const int thread = omp_get_thread_num();
    if (ready) TracePackets(batch, thread, tallies[static_cast<std::size_t>(thread)]);
  }
  if (OutOfMemory) {
    ErrorMacro("Out of memory in the threads!");
    return false;
  }
  return true;
}

/** Who looks at the packets that the thread takes next, and in which loop they fly: asked ahead of
 *  taking them, since who has seen enough by now has seen it of earlier packets. */
void trelExactMonteCarlo::ChooseLoop(int thread, trelExactTally& tally) const
{
  if (Pilot) return;
  tally.Observer = Audience ? Audience->FindObserver(thread) : nullptr;
  tally.Trace = ChooseTrace(tally, Model);
}

/** The packets of a batch as one thread takes them, a few at a time. */
class trelExactMonteCarlo::Supplier final : public trelPacketSupplier
{
public:
  Supplier(trelExactMonteCarlo& run, const Batch& batch, trelExactTally& tally)
      : Run(run), Flown(batch), Tally(tally)
  {
  }

  /** Takes the next few packets from @p *first up to @p *end; false if there are no more, or they
   *  are to rest. */
  bool TakeFew(std::int64_t* first, std::int64_t* end)
  {
    if (!Run.Pilot && Run.Control->IsHaltRequested()) return false;
    const auto few = static_cast<std::uint64_t>(Taken * fewInteractions);
    const std::int64_t taken = Tally.Interactions <= few ? packetsTaken : 1;
    *first = Run.NextPacket.fetch_add(taken, std::memory_order_acq_rel);
    *end = std::min(*first + taken, Flown.CountPackets());
    Taken += taken;
    return *first < *end;
  }

  bool TakeNext(trelExactPacket* packet, trelPacketNumbers* numbers) override
  {
    while (Next < End_ || TakeFew(&Next, &End_)) {
      if (Run.StartPacket(Flown, Flown.Find(Next++), packet, numbers, Tally)) return true;
      if (Tally.Counter) Tally.Counter->CountPacket(0);
    }
    return false;
  }
  void End(const trelExactPacket& packet) override
  {
    Tally.Interactions += packet.Interactions;
    if (Tally.Counter) Tally.Counter->CountPacket(packet.Interactions);
  }

private:
  trelExactMonteCarlo& Run;
  const Batch& Flown;
  trelExactTally& Tally;
  std::int64_t Taken = 0;
  std::int64_t Next = 0, End_ = 0;
};

/** In lanes unless someone looks at packets, who may have seen enough after some. */
void trelExactMonteCarlo::TracePackets(const Batch& batch, int thread, trelExactTally& tally)
{
  Supplier supplier(*this, batch, tally);
  const bool isAlone = Pilot || Lanes < 0 || GetLaneCount() == 0;
  while (true) {
    ChooseLoop(thread, tally);
    if (!isAlone && trelPacketLanes::CanFly(Model, tally)) break;
    std::int64_t first = 0, end = 0;
    if (!supplier.TakeFew(&first, &end)) return;
    for (std::int64_t i = first; i < end; ++i)
      if (!TracePlace(batch, i, tally)) return;
  }
  trelPacketLanes lanes(Model, tally, supplier);
  FlyLanes(lanes, Lanes);
}

/** The packet at a place of the batch; false if memory runs out. */
bool trelExactMonteCarlo::TracePlace(const Batch& batch, std::int64_t place, trelExactTally& tally)
{
  const std::uint64_t before = tally.Interactions;
  const trelPlannedPacket planned = batch.Find(place);
  if (tally.Observer) {
    if (!TraceObserved(batch, place, planned, tally)) return false;
  } else {
    TracePacket(batch, planned, tally);
  }
  if (tally.Counter) tally.Counter->CountPacket(tally.Interactions - before);
  if (!Pilot) return true;
  Pilot->AddPacket(tally.Converted, Plan.GetEntries()[planned.Entry].Share);
  std::fill(tally.Converted.begin(), tally.Converted.end(), 0.0);
  return true;
}

/** Whoever looks at packets may run out of memory; then the run fails. */
bool trelExactMonteCarlo::TraceObserved(const Batch& batch, std::int64_t place,
                                        const trelPlannedPacket& planned, trelExactTally& tally)
{
  const std::int64_t share = batch.Plan.GetEntries()[planned.Entry].Share;
  const bool fits = FitsInMemory([&] {
    tally.Observer->Begin({planned.Entry, batch.Number * share + planned.Number,
                           batch.Number * batch.CountPackets() + place});
    TracePacket(batch, planned, tally);
    tally.Observer->Finish();
  });
  if (fits) return true;
#pragma omp atomic write
  OutOfMemory = true;
  return false;
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

/** Launches a packet of the plan; false if it has no way to fly. */
bool trelExactMonteCarlo::StartPacket(const Batch& batch, const trelPlannedPacket& planned,
                                      trelExactPacket* packet, trelPacketNumbers* numbers,
                                      trelExactTally& tally)
{
  const trelRunEntry& entry = batch.Plan.GetEntries()[planned.Entry];
  const trelExactLaunch& launch = Launches[planned.Entry];
  const auto wavelengthIndex = static_cast<std::int32_t>(entry.Spectrum->GetWavelengthIndex());
  const std::int64_t number = batch.Number * entry.Share + planned.Number;
  numbers->Start(batch.Seed, entry.Entry, static_cast<std::uint64_t>(number));
  tally.SelectRecord(wavelengthIndex);
  trelLaunched start;
  const trelLaunchOutcome outcome = launch.Launch(Model.Map, *numbers, &start);
  EnterLaunch(outcome, start, launch.GetPacketWeight(), tally);
  if (outcome != LaunchDone && outcome != LaunchEscaped) return false;
  *packet = {};
  packet->Position = start.Position;
  packet->Direction = start.Direction;
  packet->Weight = packet->Settled = 1.0;
  packet->SourceWeight = start.Entering * launch.GetPacketWeight();
  packet->Wavelength = static_cast<std::int32_t>(entry.Spectrum->GetWavelength());
  packet->WavelengthIndex = wavelengthIndex;
  packet->Depth = trelExactPacket::NotDrawn;
  packet->Skip = start.Skip;
  packet->Boundary.Hit.Normal = start.Normal;
  if (!Model.Dyes.empty()) {
    packet->Dyes = Model.FindDyes(packet->Position + packet->Skip * packet->Direction);
  }
  Model.Enter(start.Tissue, *packet);
  if (tally.Observer) tally.Observer->Start(*packet);
  if (outcome == LaunchEscaped) {
    EscapeAtStart(start.Skin, *packet, Model, tally);
    return false;
  }
  return !(launch.IsExternal() && EndAtFiberHere(*packet, Model, tally));
}

void trelExactMonteCarlo::TracePacket(const Batch& batch, const trelPlannedPacket& planned,
                                      trelExactTally& tally)
{
  trelExactPacket packet;
  trelPacketNumbers numbers;
  if (!StartPacket(batch, planned, &packet, &numbers, tally)) return;
  ChooseTrace(tally, Model)(packet, numbers, Model, tally);
  tally.Interactions += packet.Interactions;
}

bool trelExactMonteCarlo::TakePackets(std::vector<trelExactTally>& tallies)
{
  if (FitsInMemory([&] { Collect(tallies); })) return true;
  ErrorMacro("Out of memory while taking a batch!");
  return false;
}

/** Adds what the threads of a region have counted, and ends the batch if all of it is flown. */
void trelExactMonteCarlo::Collect(std::vector<trelExactTally>& tallies)
{
  for (trelExactTally& tally : tallies) {
    OpenInteractions += tally.Interactions;
    Open.Add(tally.Ledger);
  }
  if (NextPacket < Plan.GetPacketsOfBatch()) return;
  TakeBatch();
  NextPacket = 0;
  if (Statistics.IsOn()) LookAtError();
}

/** How sure the run is, and with a goal how many batches it will take. */
void trelExactMonteCarlo::LookAtError()
{
  if (!Goal.Look(Lines, Statistics.GetCameras())) return;
  Summary.RelativeError = Goal.GetError();
  Summary.ReachedError = Goal.IsReached();
  const bool isUnknown = std::isnan(Summary.RelativeError);
  if (Goal.IsOn()) {
    AskedBatches = std::min(Goal.FindBatches(), MostBatches);
    Summary.Packets = static_cast<std::uint64_t>(AskedBatches * Plan.GetPacketsOfBatch());
    if (isUnknown && Summary.BatchesDone == Goal.FirstBatches)
      WarningMacro("the total whose error is to end the run has had nothing in "
                   << Goal.FirstBatches << " batches at a wavelength with light");
  }
  if (Control) Control->Expect(Summary.Packets, isUnknown ? -1.0 : Summary.RelativeError);
}

void trelExactMonteCarlo::TakeBatch()
{
  ++Summary.BatchesDone;
  if (Statistics.IsOn()) {
    Statistics.TakeBatch();
    const std::int64_t last = Statistics.GetBatches() - 1;
    for (std::size_t i = 0; i < Open.Records.size(); ++i) {
      const auto absorbed = [&](trelGridTotal total) {
        return Statistics.GetTotal(last, i, total);
      };
      Open.Records[i].Parts[LedgerInRegion].AddWeight(absorbed(TotalOfAbsorption2D) +
                                                      absorbed(TotalOfAbsorption3D));
    }
  }
  Ledger.Add(Open);
  Lines.Take(Open);
  Open.Clear();
  Summary.Interactions += OpenInteractions;
  OpenInteractions = 0;
}

/** The packets of each entry, of which all have had the same share of batches. */
void trelExactMonteCarlo::CountFlown()
{
  Summary.PacketsFlown = static_cast<std::uint64_t>(Summary.BatchesDone * Plan.GetPacketsOfBatch());
  for (const trelRunEntry& entry : Plan.GetEntries()) {
    Summary.Flown.push_back({(entry.Entry >> 32) + 1, entry.Spectrum->GetWavelength(),
                             static_cast<std::uint64_t>(AskedBatches * entry.Share),
                             static_cast<std::uint64_t>(Summary.BatchesDone * entry.Share)});
  }
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
