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

  /** The model to simulate, held by reference; null until set. */
  void SetInput(trelSimulationParameter* input);
  /** The result, made at the first call. The filter holds it; a caller who wants it to outlive the
   *  filter registers it. */
  trelSimulationResult* GetOutput();

  /** The standard errors of the cells of the output; null if there are none. */
  virtual trelSimulationResult* GetErrors() const { return nullptr; }
  /** Whether the last run left results that mean something: one that was stopped may not have. */
  virtual bool HasResults() const { return true; }

  /** For a front end that watches one packet: each trace ends after one step. Default false. */
  void SetSingleStepMode(bool mode) { SingleStepMode = mode; }
  /** For a front end that watches one packet: its positions go to the trajectory. Default false. */
  void SetTrajectoryMode(bool mode) { TrajectoryMode = mode; }
  /** A number that a front end may store for filters of its own; none here reads it. Default 1. */
  void SetMediumFilterMode(std::int32_t mode) { MediumFilterMode = mode; }

protected:
  trelSimulationParameter* Input = nullptr;
  trelSimulationResult* Output = nullptr;
  bool SingleStepMode = false;
  std::int32_t MediumFilterMode = 1;
  bool TrajectoryMode = false;
};

#endif
