#ifndef trelExactMonteCarlo_h
#define trelExactMonteCarlo_h

#include <atomic>
#include <vector>

#include "trelExactEvents.h"
#include "trelMonteCarlo.h"
#include "trelRunControl.h"
#include "trelScoreTable.h"

class trelExactLaunch;
class trelLightSource;
class trelSpectrum;
class trelTicker;

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
  std::uint64_t NotLaunched = 0;       ///< the light does not meet the medium
  std::uint64_t ReflectedAtEntry = 0;  ///< beyond the critical angle
  std::uint64_t Trapped = 0;           ///< met too many boundaries without an interaction
  std::uint64_t Lost = 0;              ///< met no boundary in clear tissue
  std::uint64_t EndedByTime = 0;       ///< at "flytimemax"
  std::uint64_t InFibers = 0;          ///< met a fibre
  std::uint64_t EndedByLimit = 0;      ///< of steps
  /** By wavelength index: the weight of an emission packet in the unit of the sources' energy; 0
   *  without dyes. */
  std::vector<double> EmissionWeights;

  bool EndedEarly() const { return PacketsFlown < Packets; }
  /** Whether the results tell of the energy of all sources. Packets have the weight that they have
   *  in a whole run, and a run that ends early has taken its entries one after the other. */
  bool IsToScale() const { return !EndedEarly(); }
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
 * Dependents are notified several times a second while packets fly, from one thread of their own,
 * and once when the last has ended.
 *
 * @sa trelVarianceReductionMonteCarlo
 */
class trelExactMonteCarlo final : public trelMonteCarlo
{
  trelTypeMacro(trelExactMonteCarlo, trelMonteCarlo)

public:
  trelExactMonteCarlo();
  ~trelExactMonteCarlo() override;

  /** Prepares, runs all packets, or those that fly until the control asks to stop, and finishes the
   *  results. False, with a report, if it cannot be prepared. */
  bool Execute() override;
  bool HasResults() const override { return Summary.IsToScale(); }

  /** What the streams of all packets are made of; the system's entropy by default. */
  trelSetGetMacro(std::uint64_t, Seed)
  /** Who may stop the next run and is told how far it is; it outlives the run. Without one the run
   *  has its own. */
  void SetControl(trelRunControl* control) { Control = control; }
  /** What became of the packets of the last run. */
  const trelExactSummary& GetSummary() const { return Summary; }

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
  bool FlyBatches(std::vector<trelExactTally>& tallies);
  bool Watch(trelTicker& ticker, int threads);
  bool RunBatch(const Batch& batch, std::vector<trelExactTally>& tallies);
  void TracePackets(const Batch& batch, const trelExactLaunch& launch, trelExactTally& tally);
  void TracePacket(const Batch& batch, std::int64_t number, const trelExactLaunch& launch,
                   trelExactTally& tally);
  void TellShare();
  void Collect(const Batch& batch, const std::vector<trelExactTally>& tallies);
  void ReportUnfinished();

  trelExactModel Model;
  trelScoreTables Tables;
  trelScoreTable NoGrids;  ///< what the pilot scores into
  std::vector<Batch> Batches;
  trelExactSummary Summary;
  std::vector<double> Reflected;  ///< by wavelength: weight that the skin threw back at entry
  std::uint64_t Seed;
  trelRunControl* Control = nullptr;
  /** Told of conversions in a pilot, whose entry will launch PilotScale packets; else null. */
  class trelEmissionPilot* Pilot = nullptr;
  std::int64_t PilotScale = 0;
  bool OutOfMemory = false;
  /** The first packet of the batch that no thread has taken. */
  alignas(64) std::atomic<std::int64_t> NextPacket{0};
};

#endif
