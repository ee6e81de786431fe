#include "trelDetectorArrayResult.h"

trelDetectorArrayResult::~trelDetectorArrayResult() = default;

bool trelDetectorArrayResult::Initialize(trelSimulationParameter* /*parameter*/)
{
  return true;
}

trelDetectorResult* trelDetectorArrayResult::GetDetectorResult(int i) const
{
  return DetectorResults.GetItem<trelDetectorResult>(i);
}

void trelDetectorArrayResult::Finalize(trelSimulationParameter* /*parameter*/) {}

void trelDetectorArrayResult::ComputeRanges(trelSimulationParameter* /*parameter*/) {}
