#ifndef trelDetectorArrayResult_h
#define trelDetectorArrayResult_h

#include <cstdint>

#include "trelList.h"
#include "trelSimulationObject.h"

class trelDetectorResult;
class trelSimulationParameter;

/**
 * @class   trelDetectorArrayResult
 * @brief   the records of all detectors for one spectrum entry, in the order of the detectors
 */
class trelDetectorArrayResult : public trelSimulationObject
{
  trelTypeMacro(trelDetectorArrayResult, trelSimulationObject)

public:
  trelDetectorArrayResult() = default;
  ~trelDetectorArrayResult() override;

  /** Makes the records of the detectors of @p parameter anew. False after a report if one of them
   *  cannot be made; those before it stay. */
  bool Initialize(trelSimulationParameter* parameter);
  /** The record of detector @p i, from 0; null when there is none. */
  trelDetectorResult* GetDetectorResult(int i) const;

  /** The records in the order of the detectors; null before Initialize(). */
  const trelList* GetDetectorResults() const { return DetectorResults; }

  /** Totals and measures of all records, after the run. */
  void Finalize(trelSimulationParameter* parameter);
  /** The extreme values of all records. */
  void ComputeRanges(trelSimulationParameter* parameter);

  /** The wavelength of the spectrum entry. Default 0. */
  void SetSpectrumId(std::int32_t id) { SpectrumId = id; }
  std::int32_t GetSpectrumId() const { return SpectrumId; }

  /** The largest pixel of all images after ComputeRanges(); -1e15 without an image. */
  float GetPlaneMaximum() const { return PlaneMaximum; }

private:
  trelList* DetectorResults = nullptr;
  std::int32_t SpectrumId = 0;
  float PlaneMaximum = -1.0e15f;
  float PlaneMinimum = 1.0e15f;
  float FiberMaximum = -1.0e15f;
  float FiberMinimum = 1.0e15f;
};

#endif
