#include "trelFreespaceFilter.h"

#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"

trelFreespaceFilter::~trelFreespaceFilter()
{
  ReleaseReference(Parameter);
  ReleaseReference(Result);
}

void trelFreespaceFilter::SetParameter(trelSimulationParameter* parameter)
{
  ReplaceReference(Parameter, parameter);
}

void trelFreespaceFilter::SetResult(trelSimulationResult* result)
{
  ReplaceReference(Result, result);
}
