#include "trelMediumFilter.h"

#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"

trelMediumFilter::~trelMediumFilter()
{
  ReleaseReference(Output);
  ReleaseReference(Input);
}

void trelMediumFilter::SetInput(trelSimulationParameter* input)
{
  ReplaceReference(Input, input);
}

trelSimulationResult* trelMediumFilter::GetOutput()
{
  if (!Output) ReplaceReference(Output, new trelSimulationResult);
  return Output;
}
