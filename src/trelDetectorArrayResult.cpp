#include "trelDetectorArrayResult.h"

#include <algorithm>

#include "trelDetector.h"
#include "trelDetectorResult.h"
#include "trelList.h"
#include "trelSimulationParameter.h"

trelDetectorArrayResult::~trelDetectorArrayResult()
{
  ReleaseList<trelDetectorResult>(DetectorResults, &trelDetectorResult::UnRegister);
}

bool trelDetectorArrayResult::Initialize(trelSimulationParameter* parameter)
{
  if (!parameter || !parameter->GetDetectors()) return true;
  ReleaseList<trelDetectorResult>(DetectorResults, &trelDetectorResult::UnRegister);
  DetectorResults = new trelList;
  for (trelDetector* detector : parameter->GetDetectors()->GetItems<trelDetector>()) {
    auto* result = new trelDetectorResult;
    result->Register();
    DetectorResults->Append(result);
    if (!result->Initialize(parameter, detector)) {
      ErrorMacro("Initial detector result error!");
      return false;
    }
  }
  return true;
}

trelDetectorResult* trelDetectorArrayResult::GetDetectorResult(int i) const
{
  return DetectorResults ? DetectorResults->GetItem<trelDetectorResult>(i) : nullptr;
}

void trelDetectorArrayResult::Finalize(trelSimulationParameter* parameter)
{
  for (int i = 0; GetDetectorResult(i) && parameter->GetDetector(i); ++i) {
    if (parameter->GetDetector(i)->GetDetectorType() == DetectorPlane) {
      GetDetectorResult(i)->ComputeTotalDetection();
    } else {
      GetDetectorResult(i)->FinalizeFiber();
    }
  }
}

void trelDetectorArrayResult::ComputeRanges(trelSimulationParameter* parameter)
{
  for (int i = 0; GetDetectorResult(i) && parameter->GetDetector(i); ++i) {
    const bool isPlane = parameter->GetDetector(i)->GetDetectorType() == DetectorPlane;
    trelDetectorResult& result = *GetDetectorResult(i);
    if (isPlane) {
      result.ComputePlaneRange();
    } else {
      result.ComputeFiberRange();
    }
    float& maximum = isPlane ? PlaneMaximum : FiberMaximum;
    float& minimum = isPlane ? PlaneMinimum : FiberMinimum;
    maximum = std::max(maximum, static_cast<float>(result.GetDetectionMaximum()));
    minimum = std::min(minimum, static_cast<float>(result.GetDetectionMinimum()));
  }
}
