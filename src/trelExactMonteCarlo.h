#ifndef trelExactMonteCarlo_h
#define trelExactMonteCarlo_h

#include <atomic>
#include <functional>
#include <vector>

#include "trelBatchStatistics.h"
#include "trelErrorGoal.h"
#include "trelExactEvents.h"
#include "trelExactLaunch.h"
#include "trelLedgerBatches.h"
#include "trelMonteCarlo.h"
#include "trelPacketAudience.h"
#include "trelRunControl.h"
#include "trelRunPlan.h"
#include "trelScoreTable.h"

class trelTicker;

using trelListCameras = std::function<std::vector<trelCameraCells>(trelSimulationResult& prepared)>;

/** How many packets of one spectrum of one source were flown. */
struct trelFlownEntry
{
  std::uint64_t Source;  ///< from 1
  std::uint32_t Wavelength;
  std::uint64_t Asked;
  std::uint64_t Flown;
};

/** What became of the packets of a run, all sources together. */
struct trelExactSummary
{
  std::uint64_t Packets = 0;       ///< asked for
  std::uint64_t PacketsFlown = 0;  ///< fewer if the run was stopped
  /** The same by source and spectrum, those that the run takes. */
  std::vector<trelFlownEntry> Flown;
  std::uint64_t Interactions = 0;
  /** By wavelength index: the weight of an emission packet in the unit of the sources' energy; 0
   *  without dyes. */
  std::vector<double> EmissionWeights;

  /** The last relative error of the total that is watched, NaN if it cannot be told; and whether it
   *  has ended the run. */
  double RelativeError = std::numeric_limits<double>::quiet_NaN();
  bool ReachedError = false;

  bool EndedEarly() const { return PacketsFlown < Packets; }
  std::int64_t BatchesDone = 0;
  /** Whether there are results: the mean of the finished batches. */
  bool IsToScale() const { return BatchesDone > 0; }
};

/**
 * @class   trelExactMonteCarlo
 * @brief   the run by the exact rules: all imaging modes, shapes, meshes and tetrahedra
 *
 * The packets of all sources of the simulation type and their spectra are flown in batches, each a
 * scaled-down run (trelRunPlan) in one parallel region, from which come the errors
 * (trelBatchStatistics). Every packet has its own stream of random numbers, so that its history
 * depends on the seed, its source and spectrum, and its number alone. What happens to a packet are
 * functions of trelExactSteps.h and trelExactEvents.h.
 *
 * Dependents are notified several times a second while packets fly, from one thread of their own,
 * and once when the last has ended.
 *
 * @sa trelVarianceReductionMonteCarlo
 */
class trelExactMonteCarlo final : public trelMonteCarlo
{
  trelTypeMacro(trelExactMonteCarlo, trelMonteCarlo)

public:
  /** The number of the way that packets' histories are computed: it is raised whenever a history
   *  changes, so that results of different ones are never mixed. */
  static constexpr std::uint64_t Arithmetic = 1;
  /** The part of a state that begins with the finished batches and the packets of the open one. */
  static constexpr const char* StateOfProgress = "batches_packets_interactions_open_interactions";

  trelExactMonteCarlo();
  ~trelExactMonteCarlo() override;

  /** Prepares, runs all packets, or those that fly until the control asks to stop, and finishes the
   *  results. False, with a report, if it cannot be prepared. */
  bool Execute() override;
  trelSimulationResult* GetErrors() const override { return Statistics.GetErrors(); }
  bool HasResults() const override { return Summary.IsToScale(); }

  /** What the streams of all packets are made of; the system's entropy by default. */
  trelSetGetMacro(std::uint64_t, Seed)
  /** In how many batches the packets are flown; their numbers are rounded up to a multiple. One,
   * the default, tells no errors and needs no grids beside those of the result. */
  trelSetGetMacro(std::int64_t, Batches)
  /** Whether there are batches, to which a run that goes on may add. */
  bool HasStatistics() const { return Batches != 1 || Origin; }
  /** The packets of the run, all sources together in their proportion; 0, the default, for as many
   *  as the model has. */
  trelSetGetMacro(std::int64_t, Packets)
  /** Keeps the cells of every batch. */
  trelSetGetMacro(bool, KeepsBatches)
  /** Who tells what the cameras see of the prepared result, so that batches have their totals.
   *  Nobody by default. */
  void SetListCameras(trelListCameras listCameras) { ListCameras = std::move(listCameras); }
  /** Flies only these, which are whole batches. */
  void SetRange(const trelPacketRange& range) { Range = range; }
  /** Goes on from the state that @p origin sets, to Packets or Batches as the new total, each of
   *  which may be 0; if both are, to the old one. @p origin outlives the run. */
  void ContinueFrom(trelStateArchive* origin) { Origin = origin; }
  /** Passes where the run is and all that it has summed. While its packets rest; may throw. With @p
   *  hasOpen also the batch that is not finished. */
  void PassState(bool hasOpen, trelStateArchive& archive);
  /** Tells the audience which packets belong to the results: those of the finished batches and,
   * with
   *  @p hasOpen, of the open one. While packets rest. */
  void ConcludeAudience(bool hasOpen);
  /** What is done while the packets rest, as the control asks them to and when they stop, and
   *  before the results are made of the sums: the last chances to pass the state. */
  void SetCheckpoint(std::function<void()> checkpoint) { Checkpoint = std::move(checkpoint); }
  void SetAtEnd(std::function<void()> atEnd) { AtEnd = std::move(atEnd); }
  /** Which batches of the larger run are flown. */
  trelPacketRange GetRange() const;
  /** Without a goal the packets of the plan fly. With one, batches of the size that follows from
   *  the model fly until it is reached, SetPackets() have flown or the control asks to stop; with
   *  neither limit at most so many times the model's packets. */
  static constexpr std::int64_t MostTimes = 1000;
  trelErrorGoal& GetGoal() { return Goal; }
  /** The errors of the last run. */
  const trelBatchStatistics& GetStatistics() const { return Statistics; }
  /** Who may stop the next run and is told how far it is; it outlives the run. Without one the run
   *  has its own. */
  void SetControl(trelRunControl* control) { Control = control; }
  /** Who looks at the packets of the next run, and outlives it; null for nobody. */
  void SetAudience(trelPacketAudience* audience) { Audience = audience; }
  /** How many packets of a thread fly side by side, where they can: 0, the default, for as many as
   *  the processor does best, -1 for none. Paths are the same. */
  trelSetGetMacro(int, Lanes)
  /** In place of Execute(): flies those packets of the run that the audience takes, which alone
   *  learns of them. False, after a report, if that fails. */
  bool Replay();
  /** What became of the packets of the last run. */
  const trelExactSummary& GetSummary() const { return Summary; }
  const trelLedger& GetLedger() const { return Ledger; }
  /** The lines of the ledger with their errors. */
  std::vector<trelLedgerLine> ListLedger(std::size_t spectrum) const;
  /** The lines batch by batch. */
  const trelLedgerBatches& GetLedgerBatches() const { return Lines; }

private:
  class Supplier;

  /** The packets that are flown together. */
  struct Batch
  {
    const trelRunPlan& Plan;
    std::uint64_t Seed;
    std::int64_t Number;  ///< how many shares of each entry are behind
    /** Those of the plan that are flown; null for all. */
    const std::vector<trelPlannedPacket>* Listed = nullptr;

    std::int64_t CountPackets() const
    {
      return Listed ? static_cast<std::int64_t>(Listed->size()) : Plan.GetPacketsOfBatch();
    }
    trelPlannedPacket Find(std::int64_t place) const
    {
      return Listed ? (*Listed)[static_cast<std::size_t>(place)] : Plan.Find(place);
    }
  };

  bool Prepare(int threads);
  bool MakePlan();
  bool TakeRange();
  bool ContinuePlan();
  bool Continue();
  std::int64_t FindMostBatches() const;
  void PrepareLaunches();
  /** The weight of emission packets, from a run of some packets that emits and scores nothing. */
  bool RunPilot();
  bool FlyListed(std::vector<trelExactTally>& tallies);
  bool FlyPilot(trelRunPlan plan, std::int64_t* flown);
  bool FlyBatches(std::vector<trelExactTally>& tallies);
  bool Watch(trelTicker& ticker, int threads);
  bool PrepareAudience(int threads);
  bool RunPackets(const Batch& batch, std::vector<trelExactTally>& tallies);
  void PrepareTally(int thread, bool isAlone, trelExactTally& tally) const;
  void ChooseLoop(int thread, trelExactTally& tally) const;
  void TracePackets(const Batch& batch, int thread, trelExactTally& tally);
  bool TracePlace(const Batch& batch, std::int64_t place, trelExactTally& tally);
  bool TraceObserved(const Batch& batch, std::int64_t place, const trelPlannedPacket& planned,
                     trelExactTally& tally);
  void TracePacket(const Batch& batch, const trelPlannedPacket& planned, trelExactTally& tally);
  bool StartPacket(const Batch& batch, const trelPlannedPacket& planned, trelExactPacket* packet,
                   trelPacketNumbers* numbers, trelExactTally& tally);
  void TellShare();
  bool TakePackets(std::vector<trelExactTally>& tallies);
  void Collect(std::vector<trelExactTally>& tallies);
  void TakeBatch();
  void LookAtError();
  void CountFlown();
  void FinishRecords();
  void ReportUnfinished();

  trelExactModel Model;
  trelRunPlan Plan;
  std::vector<trelExactLaunch> Launches;  ///< by entry of the plan
  trelBatchStatistics Statistics;
  std::vector<trelScoreTables> Tables;  ///< by thread, or one for all
  trelScoreTables NoTables;             ///< what the pilot scores into
  trelExactSummary Summary;
  trelLedger Ledger;
  trelLedgerBatches Lines;
  trelErrorGoal Goal;
  std::int64_t AskedBatches = 0;  ///< as far as is known by now
  std::int64_t MostBatches = 0;
  std::uint64_t Seed;
  std::int64_t Batches = 1;
  std::int64_t Packets = 0;
  bool KeepsBatches = false;
  int Lanes = 0;
  trelListCameras ListCameras;
  trelPacketRange Range;
  trelStateArchive* Origin = nullptr;
  std::function<void()> Checkpoint, AtEnd;
  std::int64_t FirstBatch = 0;
  /** Of the batch that is not finished. */
  trelLedger Open;
  std::uint64_t OpenInteractions = 0;
  trelRunControl* Control = nullptr;
  trelPacketAudience* Audience = nullptr;
  bool IsReplay = false;
  /** Told of conversions in a pilot; else null. */
  class trelEmissionPilot* Pilot = nullptr;
  bool OutOfMemory = false;
  /** The first packet of the batch that no thread has taken: those before it are flown whenever
   *  packets rest. */
  alignas(64) std::atomic<std::int64_t> NextPacket{0};
};

#endif
