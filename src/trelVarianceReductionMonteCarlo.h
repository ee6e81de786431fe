#ifndef trelVarianceReductionMonteCarlo_h
#define trelVarianceReductionMonteCarlo_h

#include "trelLaunchContext.h"
#include "trelMonteCarlo.h"
#include "trelScoreTable.h"
#include "trelTransportModel.h"

class trelLightSource;
class trelMedium;
class trelPhoton;
class trelSpectrum;
struct ThreadState;
struct trelPacketScores;

/**
 * @class   trelVarianceReductionMonteCarlo
 * @brief   the weighted Monte Carlo transport: what all imaging modes share
 *
 * Implicit-capture Monte Carlo: a packet is not killed by absorption, a part of its weight is
 * scored at each interaction, and Russian roulette ends the faint ones. For each light source that
 * the simulation type admits and each of its spectra one parallel region deals out the packets one
 * at a time. All threads add to the same grids, atomically; there is nothing to merge.
 *
 * This class is the run: what is prepared, which sources run, how packets are dealt out, how the
 * run ends, and the operations that other programs know by name. What happens to one packet are
 * functions of trelPacketSteps.h and trelPacketEvents.h; its life is told in src/README.md.
 */
class trelVarianceReductionMonteCarlo : public trelMonteCarlo, public trelLaunchContext
{
  trelTypeMacro(trelVarianceReductionMonteCarlo, trelMonteCarlo)

public:
  ~trelVarianceReductionMonteCarlo() override;

  /** Prepares, runs all packets, finishes the results. False, with a report, if it cannot be
   * prepared. */
  bool Execute() override;

  /** Prepares the geometry and what the packet loop reads; false without a medium. */
  bool Initialize();

  /** Starts @p photon from @p light; true if it stands in a tissue then. */
  virtual bool LaunchPhoton(trelVarianceReductionMonteCarlo* filter, trelPhoton* photon,
                            trelSpectrum* spectrum, trelLightSource* light) = 0;

  // One step of the thread's packet. A trace does not ask these one by one: a class whose steps
  // differ overrides TraceAnalytic and TraceTetrahedral, too.

  /** A step in a medium of shapes. */
  virtual void StepAnalytic(ThreadState* state);
  /** A step in a medium that is one tetrahedral mesh. */
  virtual void StepTetrahedral(ThreadState* state);

  // What a light source needs of the calling thread.
  double NextRandom() override;
  trelMedium* GetMedium() override { return Model.CachedMedium; }

  /**
   * Scoring of the calling thread's packet, domain by domain: @p value is a weight in source units,
   * @p phase in rad. The cell follows from the packet's position and, for transmittance, from the
   * face that it crossed; what has no cell is dropped.
   */
  void ScoreAbsorptionCW2D(double value);
  void ScoreAbsorptionCW3D(double value);
  void ScoreAbsorptionTD2D(double value);
  void ScoreAbsorptionTD3D(double value);
  void ScoreAbsorptionFD2D(double value, double phase);
  void ScoreAbsorptionFD3D(double value, double phase);
  void ScoreTransmittanceCW2D(double value);
  void ScoreTransmittanceCW3D(double value);
  void ScoreTransmittanceTD2D(double value);
  void ScoreTransmittanceTD3D(double value);
  void ScoreTransmittanceFD2D(double value, double phase);
  void ScoreTransmittanceFD3D(double value, double phase);

protected:
  /** What a parallel region works on. */
  struct trelPhotonTask
  {
    std::uint32_t NumberOfPackets;
    trelSpectrum* Spectrum;
    trelLightSource* Light;
    std::uint64_t ProgressInterval;
    std::uint64_t TotalNumberOfPackets;
    std::uint64_t* FinishedPackets;
    trelSimulationResult* Result;
    trelVarianceReductionMonteCarlo* Filter;
  };

  /** The launch of the modes whose sources may lie outside: those have set the tissue themselves.
   */
  bool LaunchFromAnySource(trelVarianceReductionMonteCarlo* filter, trelPhoton* photon,
                           trelSpectrum* spectrum, trelLightSource* light);
  /** False, with a report, if the threads do not have the memory to start. */
  bool RunSource(trelLightSource& light, trelPhotonTask task);
  bool RunSources(trelPhotonTask task);
  /** The body of the parallel region, run by every thread of the team. */
  void PhotonTask(const trelPhotonTask& task);
  /** Makes what the thread needs for the region; false without memory. */
  bool OpenThread(ThreadState& state, const trelPhotonTask& task);
  void CloseThread(ThreadState& state);
  /** Directs scores to the record of a spectrum, both record and flat table; to none if there is no
   *  such record. */
  void SelectRecord(trelPacketScores& scores, std::uint32_t spectrum);
  void TracePackets(ThreadState& state, const trelPhotonTask& task);
  void CountFinishedPacket(const trelPhotonTask& task);
  void ReportFailedLaunches(std::uint64_t packets);
  void ReportEndedByLimit();

  /** Traces @p packet to its end. */
  void Trace(trelPacket& packet, ThreadState& state);
  /** All steps of a packet in a medium of shapes, or in a tetrahedral one; @p state is the
   * thread's.
   */
  virtual void TraceAnalytic(trelPacket& packet, ThreadState& state);
  virtual void TraceTetrahedral(trelPacket& packet, ThreadState& state);

  trelTransportModel Model;
  trelScoreTables ScoreTables;
  bool OutOfMemory = false;          ///< some thread of the region could not be opened
  std::uint64_t FailedLaunches = 0;  ///< of the whole run
  std::uint64_t EndedByLimit = 0;    ///< packets of the whole run that took too many steps
};

#endif
