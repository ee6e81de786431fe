#ifndef trelMediumFilter_h
#define trelMediumFilter_h

#include "trelFilter.h"

class trelSimulationParameter;
class trelSimulationResult;

/**
 * @class   trelMediumFilter
 * @brief   a stage that simulates the light inside the medium: a parsed model in, results out
 */
class trelMediumFilter : public trelFilter
{
  trelTypeMacro(trelMediumFilter, trelFilter)

public:
  ~trelMediumFilter() override;

  void SetInput(trelSimulationParameter* input);
  /** The result, made at the first call. The filter holds it; a caller who wants it to outlive the
   *  filter registers it. */
  trelSimulationResult* GetOutput();

  /** For a front end that watches one packet: each trace ends after one step. Default false. */
  trelSetGetMacro(bool, SingleStepMode)
  /** For a front end that watches one packet: its positions go to the trajectory. Default false. */
  trelSetGetMacro(bool, TrajectoryMode)
  /** A number that a front end may store; no stage reads it. Default 1. */
  trelSetGetMacro(std::int32_t, MediumFilterMode)

protected:
  trelSimulationParameter* Input = nullptr;
  trelSimulationResult* Output = nullptr;
  bool SingleStepMode = false;
  std::int32_t MediumFilterMode = 1;
  bool TrajectoryMode = false;
};

#endif
