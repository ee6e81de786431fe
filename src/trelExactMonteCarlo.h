#ifndef trelExactMonteCarlo_h
#define trelExactMonteCarlo_h

#include <vector>

#include "trelExactEvents.h"
#include "trelMonteCarlo.h"
#include "trelScoreTable.h"

class trelExactLaunch;
class trelLightSource;
class trelSpectrum;

/** How much a run did, all sources together. */
struct trelExactSummary
{
  std::uint64_t Packets = 0;  ///< asked for
  std::uint64_t Interactions = 0;
  /** By wavelength index: the weight of an emission packet in the unit of the sources' energy; 0
   *  without dyes. */
  std::vector<double> EmissionWeights;
};

/**
 * @class   trelExactMonteCarlo
 * @brief   the run by the exact rules: all imaging modes, shapes, meshes and tetrahedra
 *
 * As trelVarianceReductionMonteCarlo it takes the sources of the simulation type and their spectra
 * one after the other, in a parallel region each. Every packet has its own stream of random
 * numbers, so that its history depends on the seed and its number alone. What happens to a packet
 * are functions of trelExactSteps.h and trelExactEvents.h.
 *
 * @sa trelVarianceReductionMonteCarlo
 */
class trelExactMonteCarlo final : public trelMonteCarlo
{
  trelTypeMacro(trelExactMonteCarlo, trelMonteCarlo)

public:
  trelExactMonteCarlo();
  ~trelExactMonteCarlo() override;

  /** Prepares, runs all packets, finishes the results. False, with a report, if it cannot be
   *  prepared. */
  bool Execute() override;

  /** What the streams of all packets are made of; the system's entropy by default. */
  trelSetGetMacro(std::uint64_t, Seed)
  /** How much the last run did, and what became of its light. */
  const trelExactSummary& GetSummary() const { return Summary; }
  const trelLedger& GetLedger() const { return Ledger; }

private:
  /** The packets of one spectrum of one source. */
  struct Batch
  {
    const trelLightSource* Light;
    const trelSpectrum* Spectrum;
    std::uint64_t Entry;  ///< number of the source and of the spectrum, for the streams
    std::int64_t Packets;
    std::uint64_t Seed;
    std::int64_t First;  ///< the number of its first packet
  };

  bool Prepare();
  void CollectBatches();
  /** The weight of emission packets, from a run of some packets that emits and scores nothing. */
  bool RunPilot();
  bool FlyPilot(std::int64_t entries, std::int64_t* flown);
  void PrepareTallies(const Batch& batch, std::vector<trelExactTally>& tallies);
  bool RunBatch(const Batch& batch, std::vector<trelExactTally>& tallies);
  void TracePackets(const Batch& batch, const trelExactLaunch& launch, trelExactTally& tally);
  void TracePacket(const Batch& batch, std::int64_t number, const trelExactLaunch& launch,
                   trelExactTally& tally);
  void CountFinishedPacket();
  void Collect(const std::vector<trelExactTally>& tallies);
  void FinishRecords();
  void ReportUnfinished();

  trelExactModel Model;
  trelScoreTables Tables;
  trelScoreTable NoGrids;  ///< what the pilot scores into
  std::vector<Batch> Batches;
  trelExactSummary Summary;
  trelLedger Ledger;
  std::uint64_t Seed;
  std::uint64_t Finished = 0;
  /** Told of conversions in a pilot, whose entry will launch PilotScale packets; else null. */
  class trelEmissionPilot* Pilot = nullptr;
  std::int64_t PilotScale = 0;
  bool OutOfMemory = false;
};

#endif
