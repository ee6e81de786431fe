#ifndef trelFreespaceFilter_h
#define trelFreespaceFilter_h

#include "trelFilter.h"

class trelSimulationParameter;
class trelSimulationResult;

/**
 * @class   trelFreespaceFilter
 * @brief   carries the light that left the medium to the detectors outside of it; the base does
 *          nothing
 *
 * It reads the finished grids of a result and adds the images to the same result.
 */
class trelFreespaceFilter : public trelFilter
{
  trelTypeMacro(trelFreespaceFilter, trelFilter)

public:
  ~trelFreespaceFilter() override;

  /** The model, and the result of its run in the medium; both are held. Null until set. */
  void SetParameter(trelSimulationParameter* parameter);
  void SetResult(trelSimulationResult* result);

  /** Whether the result holds standard errors: they are carried as the light is, and nothing is
   *  summed up. Default false. */
  void SetIsOfErrors(bool isOfErrors) { IsOfErrors = isOfErrors; }

  /** Asks a running stage to end; it then fails. For a front end, default false. */
  void SetStopRequested(bool stop) { StopRequested = stop; }

protected:
  trelSimulationParameter* Parameter = nullptr;
  trelSimulationResult* Result = nullptr;
  bool StopRequested = false;
  bool IsOfErrors = false;
};

#endif
