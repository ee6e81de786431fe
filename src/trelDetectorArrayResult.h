#ifndef trelDetectorArrayResult_h
#define trelDetectorArrayResult_h

#include <cstdint>

#include "trelList.h"
#include "trelSimulationObject.h"

class trelDetectorResult;
class trelSimulationParameter;

/**
 * @class   trelDetectorArrayResult
 * @brief   the records of all detectors for one spectrum entry; without any in this version
 */
class trelDetectorArrayResult : public trelSimulationObject
{
  trelTypeMacro(trelDetectorArrayResult, trelSimulationObject)

public:
  trelDetectorArrayResult() = default;
  ~trelDetectorArrayResult() override;

  /** Makes the records of the detectors of @p parameter; none are kept yet. True. */
  bool Initialize(trelSimulationParameter* parameter);
  /** The record of detector @p i, from 0; null when there is none. */
  trelDetectorResult* GetDetectorResult(int i) const;

  /** Totals and measures of all records, after the run. */
  void Finalize(trelSimulationParameter* parameter);
  /** The extreme values of all records. */
  void ComputeRanges(trelSimulationParameter* parameter);

  /** The wavelength of the spectrum entry. Default 0. */
  void SetSpectrumId(std::int32_t id) { SpectrumId = id; }
  std::int32_t GetSpectrumId() const { return SpectrumId; }

private:
  trelList DetectorResults;
  std::int32_t SpectrumId = 0;
};

#endif
