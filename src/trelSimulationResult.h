#ifndef trelSimulationResult_h
#define trelSimulationResult_h

#include <cstdint>

#include "trelDataObject.h"
#include "trelList.h"
#include "trelUntouchedTable.h"

class trelDetectorArrayResult;
class trelMediumResult;
class trelSimulationParameter;

/** A point of a traced path: x, y, z in mm. */
using trelTrajectoryRow = double[3];

/**
 * @class   trelSimulationResult
 * @brief   all that a simulation leaves: a record of the medium and one of the detectors for each
 *          spectrum entry, and the path of one traced packet
 *
 * Built and finished on the main thread; in between the threads only look up their records. A new
 * object is the result of a run that simulated nothing: the writer makes files without blocks of
 * it.
 */
class trelSimulationResult : public trelDataObject
{
  trelTypeMacro(trelSimulationResult, trelDataObject)

public:
  trelSimulationResult();
  ~trelSimulationResult() override;

  /** As ReleaseResults(). */
  void ClearModel() override { ReleaseResults(); }

  /**
   * Validates @p parameter, copies its flags and makes records and trajectory. False after a report
   * if the parameter is not valid or memory is short. May be called again; old results are deleted.
   */
  bool Initialize(trelSimulationParameter* parameter);
  /** The records alone, without trajectory and fly times: grids for a part of a run. */
  bool InitializeGrids(trelSimulationParameter* parameter);
  bool InitializeMediumResults(trelSimulationParameter* parameter);
  bool InitializeDetectorResults(trelSimulationParameter* parameter);
  bool InitializeTrajectory(trelSimulationParameter* parameter);

  /** Deletes all records with their lists, and the trajectory. */
  void ReleaseResults();
  void DeleteMediumResults();
  void DeleteDetectorResults();

  /** Finishes the records of the medium: first all grids, then all ranges. */
  void FinalizeMediumResults(trelSimulationParameter* parameter, bool fluenceRate);
  /** The same for the detectors. */
  void FinalizeDetectorResults(trelSimulationParameter* parameter);

  /** The record of spectrum entry @p i, from 0; null when there is none. */
  trelMediumResult* GetMediumResult(int i) const;
  trelDetectorArrayResult* GetDetectorArrayResult(int i) const;
  /** The first record whose spectrum identifier (a wavelength) is @p spectrumId; the last record if
   *  none has it, on which callers rely. Null only without records. */
  trelMediumResult* GetMediumResultBySpectrum(std::int32_t spectrumId) const;

  /** The lists of records; null after ReleaseResults(). */
  trelList* GetMediumResults() const { return MediumResults; }
  trelList* GetDetectorResults() const { return DetectorResults; }

  /** A SimulationDimension; Dimension3D before Initialize(). */
  std::int32_t GetDimension() const { return Dimension; }
  bool GetDomainCW() const { return DomainCW; }
  bool GetDomainTD() const { return DomainTD; }
  bool GetDomainFD() const { return DomainFD; }
  bool GetAbsorptionOutput() const { return AbsorptionOutput; }
  bool GetTransmittanceOutput() const { return TransmittanceOutput; }
  /** Always 0: nothing measures it, and the files say so. */
  std::int32_t GetRuntime() const { return Runtime; }

  /** The path of one packet, a row for each step that a packet may do; null before Initialize(). */
  trelTrajectoryRow* GetTrajectory() const { return Trajectory.GetRows(); }
  std::uint32_t GetTrajectorySize() const { return TrajectorySize; }
  /** The number of rows in use. */
  void SetTrajectoryStepNum(std::int32_t count) { TrajectoryStepNum = count; }
  std::int32_t GetTrajectoryStepNum() const { return TrajectoryStepNum; }

private:
  std::int32_t Dimension = 1;
  bool DomainCW = true;
  bool DomainTD = false;
  bool DomainFD = false;
  bool AbsorptionOutput = true;
  bool TransmittanceOutput = true;
  trelList* MediumResults;
  trelList* DetectorResults;
  std::int32_t Runtime = 0;
  std::uint32_t TrajectorySize = 0;
  trelUntouchedTable<trelTrajectoryRow> Trajectory;
  std::int32_t TrajectoryStepNum = 0;
};

#endif
