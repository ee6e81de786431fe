#ifndef trelVarianceReductionMonteCarlo_h
#define trelVarianceReductionMonteCarlo_h

#include <vector>

#include "trelInlining.h"
#include "trelLaunchContext.h"
#include "trelModelTypes.h"
#include "trelMonteCarlo.h"
#include "trelScoreTable.h"
#include "trelShapeObject.h"

class trelLightSource;
class trelMCTetrahedron;
class trelMedium;
class trelPhoton;
class trelSpectrum;
struct ThreadState;

/** Optical coefficients of one tissue at one spectrum, as the packet loop reads them. */
struct trelCoefficients
{
  double Absorption;       ///< mua, 1/mm
  double Scattering;       ///< mus, 1/mm
  double Interaction;      ///< mua + mus, 1/mm
  double Anisotropy;       ///< g
  double RefractiveIndex;  ///< n

  /** Such tissue absorbs nothing and, in space, scatters nothing; the limit itself belongs to it.
   */
  bool IsNonInteracting() const { return Interaction <= 0.1; }
};

/**
 * @class   trelVarianceReductionMonteCarlo
 * @brief   the weighted Monte Carlo transport: what all imaging modes share
 *
 * Implicit-capture Monte Carlo: a packet is not killed by absorption, a part of its weight is
 * scored at each interaction, and Russian roulette ends the faint ones. For each light source that
 * the simulation type admits and each of its spectra one parallel region deals out the packets one
 * at a time. All threads add to the same grids, atomically; there is nothing to merge.
 *
 * The life of a packet: LaunchPhoton, then the trace: NewStep, the boundary test, MoveToBoundary
 * and ResolveBoundary if the step is cut, Hop, UpdateDirection (reflect, refract or scatter and
 * Deposit), Roulette; until it escapes, loses the roulette, meets a detector or reaches a limit.
 */
class trelVarianceReductionMonteCarlo : public trelMonteCarlo, public trelLaunchContext
{
  trelTypeMacro(trelVarianceReductionMonteCarlo, trelMonteCarlo)

public:
  ~trelVarianceReductionMonteCarlo() override;

  /** Prepares, runs all packets, finishes the results. False, with a report, if it cannot be
   * prepared. */
  bool Execute() override;

  /** Prepares geometry, coefficients and what is copied from the parameter. True. */
  bool Initialize();

  /** Starts @p photon from @p light; true if it stands in a tissue then. */
  virtual bool LaunchPhoton(trelVarianceReductionMonteCarlo* filter, trelPhoton* photon,
                            trelSpectrum* spectrum, trelLightSource* light) = 0;
  // A class that overrides the steps says so by HasOwnSteps(); else they are not asked one by one.

  /** One step in a medium of shapes. */
  virtual void StepAnalytic(ThreadState* state);
  /** One step in a medium that is one tetrahedral mesh. */
  virtual void StepTetrahedral(ThreadState* state);

  // What a light source needs of the calling thread.
  double NextRandom() override;
  trelMedium* GetMedium() override { return CachedMedium; }

  // Scoring of the calling thread's packet, domain by domain: `value` is a weight in source units,
  // `phase` in rad. The cell follows from the packet's position and, for transmittance, from the
  // face that it crossed; what has no cell is dropped.
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
  /** The eight things that a parallel region needs to know. */
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
  /** True if the simulation type runs sources of this kind. */
  bool RunsSource(const trelLightSource& light) const;
  /** False, with a report, if the threads do not have the memory to start. */
  bool RunSource(trelLightSource& light, trelPhotonTask task);
  bool RunSources(trelPhotonTask task);
  /** The body of the parallel region, run by every thread of the team. */
  void PhotonTask(const trelPhotonTask& task);
  /** Makes what the thread needs for the region; false without memory. */
  bool OpenThread(ThreadState& state, const trelPhotonTask& task);
  void CloseThread(ThreadState& state);
  /** Directs the thread's scoring to the record of a spectrum, both record and flat table. */
  void SelectRecord(ThreadState& state, std::uint32_t spectrum);
  void TracePackets(ThreadState& state, const trelPhotonTask& task);
  void CountFinishedPacket(const trelPhotonTask& task);
  void ReportFailedLaunches(std::uint64_t packets);
  void ReportEndedByLimit();
  void CopyTissues();
  void CopyFiberShapes();
  void MakeScoreTables();

  void TraceAnalytic(ThreadState& state);
  void TraceTetrahedral(ThreadState& state);
  /** True if a derived class has steps of its own: they are then asked for one by one. */
  virtual bool HasOwnSteps() const { return false; }
  /** All steps of a packet, without a call for each. */
  TREL_CLONED TREL_FLAT void TakeAnalyticSteps(ThreadState& state);
  TREL_CLONED TREL_FLAT void TakeTetrahedralSteps(ThreadState& state);
  /** What follows a step: count it and look at the limits. True if the packet goes on. */
  bool EndStep(ThreadState& state);
  void KeepTrajectoryPoint(const trelPhoton& photon);
  void KeepTrajectoryLength(const ThreadState& state);

  // The parts of a step. `here` are the coefficients of the tissue that the packet is in, `end` is
  // where the step ends, mm.

  /** A whole step in a medium of shapes. @p rouletteInClearTissue: also where nothing interacts. */
  TREL_FLAT void TakeAnalyticStep(ThreadState& state, bool rouletteInClearTissue);
  /** A whole step in a tetrahedral medium, always with roulette. @p scoresMissedFiber: the packet
   * is scored by a fibre detector also if its surface is not found on the way. */
  TREL_FLAT void TakeTetrahedralStep(ThreadState& state, bool scoresMissedFiber);
  template <bool tetrahedral>
  void TakeStep(ThreadState& state, bool rouletteInClearTissue, bool scoresMissedFiber);
  TREL_RARE bool ChangeTissue(ThreadState& state, std::int32_t tissue);
  void NewStep(ThreadState& state, const trelCoefficients& here);
  void Hop(ThreadState& state, const trelCoefficients& here, const double end[3]);
  void UpdateDirection(ThreadState& state, const trelCoefficients& here);
  void Scatter(ThreadState& state, const trelCoefficients& here);
  void Deposit(ThreadState& state, const trelCoefficients& here);
  void Roulette(ThreadState& state);
  TREL_RARE void PlayRoulette(ThreadState& state);

  bool CrossesBoundaryAnalytic(ThreadState& state, const double end[3]);
  bool CrossesBoundaryTetrahedral(ThreadState& state, const double end[3]);
  TREL_RARE bool MoveToBoundaryTetrahedral(ThreadState& state, const trelCoefficients& here);
  std::int32_t FindTissueAt(const double end[3]) const;
  /** Whether @p tissue is one; a region of a mesh may have none, and counts as outside then. */
  bool IsTissue(std::int32_t tissue) const { return tissue >= 0 && tissue < NumberOfTissues; }
  TREL_RARE bool MoveToBoundaryAnalytic(ThreadState& state, const trelCoefficients& here);
  void CutStep(ThreadState& state, const trelCoefficients& here, double distance);
  TREL_RARE void ResolveBoundary(ThreadState& state, const trelCoefficients& here);
  TREL_RARE void Transmit(ThreadState& state);
  TREL_RARE void Escape(ThreadState& state);

  /** Ends the packet at the fibre detector that its step reaches, if any; true if it did. */
  TREL_RARE bool EndAtFiberDetector(ThreadState& state, bool scoresMissedFiber);
  /** Whether one end of the step lies in a fibre detector and the other does not: the first such
   *  detector of the list becomes CurrentDetector. */
  bool CrossesFiberDetector(ThreadState& state) const;
  /** Finds the face of CurrentDetector that the step meets. */
  bool IntersectFiberDetector(ThreadState& state) const;
  /** Adds the weight, at the place where the step starts, to the grids of a detector. */
  void ScoreFiberDetector(const ThreadState& state, double weight, std::int32_t detector) const;

  /** Where the packet's absorption, and its weight as it leaves, are scored; null for nowhere. */
  const trelScoreTarget* AbsorptionTarget(const ThreadState& state) const;
  const trelScoreTarget* TransmittanceTarget(const ThreadState& state) const;
  /** Scores @p value at the packet's position in all domains that are on: TD, CW, FD. */
  TREL_RARE void ScoreInDomains(ThreadState& state, const trelScoreTarget& target,
                                double value) const;
  /** The phase of the modulation at the packet's time of flight, rad. */
  double GetPhase(const ThreadState& state) const;

  const trelCoefficients& CoefficientsOf(std::int32_t tissue, const trelPhoton& photon) const;

  // Copies taken by Initialize(), so that the packet loop asks no accessor.
  trelMedium* CachedMedium = nullptr;
  std::vector<trelCoefficients> Coefficients;  ///< by tissue and spectrum, the spectrum innermost
  std::vector<trelShapeObject*> TissueShapes;  ///< by tissue; null for a tissue without a shape
  std::vector<trelScoreTable> ScoreTables;     ///< by spectrum
  std::vector<const trelShapeObject*> FiberShapes;  ///< by detector; null for the other detectors
  std::vector<std::vector<trelScoreTable>> FiberScoreTables;  ///< by spectrum and detector
  bool HasFiberDetectors = false;
  std::int32_t NumberOfSpectra = 0;
  std::int32_t NumberOfTissues = 0;  ///< in a tetrahedral medium only those that have a region
  std::int32_t OutermostTissue = 0;
  bool ShapeIsTetrahedron = false;
  const trelMCTetrahedron* Tetrahedron = nullptr;
  SimulationDimension Dimension = DimensionUnset;
  ShapeType MediumShapeType = ShapeCube;
  bool DomainCW = false;
  bool DomainTD = false;
  bool DomainFD = false;
  bool OnlyCW = false;  ///< the continuous-wave domain is the one that is on
  bool SaveAbsorption = false;
  bool SaveTransmittance = false;
  bool SavePhotonFlyTime = false;
  double Frequency = 0.0;
  double AmbientRefractiveIndex = 1.0;
  std::int32_t StepNumberMax = 0;
  double FlyTimeMax = 0.0;
  bool OutOfMemory = false;          ///< some thread of the region could not be opened
  std::uint64_t FailedLaunches = 0;  ///< of the whole run
  std::uint64_t EndedByLimit = 0;    ///< packets of the whole run that took too many steps
};

#endif
