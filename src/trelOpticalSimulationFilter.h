#ifndef trelOpticalSimulationFilter_h
#define trelOpticalSimulationFilter_h

#include "trelFilter.h"

class trelFreespaceFilter;
class trelMediumFilter;
class trelSimulationParameter;
class trelSimulationResult;

/**
 * @class   trelOpticalSimulationFilter
 * @brief   the stage between reading and writing: light in the medium, then in free space
 *
 * It chooses the simulation classes that fit the parameter, runs them one after the other on one
 * result, and owns them; the driver sees neither.
 */
class trelOpticalSimulationFilter final : public trelFilter
{
  trelTypeMacro(trelOpticalSimulationFilter, trelFilter)

public:
  ~trelOpticalSimulationFilter() override;

  /** The model to simulate, held by reference; null until set. */
  void SetInput(trelSimulationParameter* input);
  /** The result of the last run, or an empty one. A caller who keeps it registers it. */
  trelSimulationResult* GetOutput();

  /** The filters in use, made on demand; null if none fits. */
  trelMediumFilter* GetMediumFilter();
  trelFreespaceFilter* GetFreespaceFilter();

  /** Makes the filters that fit the input, once: another input needs ClearAlgorithms() first. */
  void CreateAlgorithms();
  void ClearAlgorithms();

  /**
   * False without an input (silently), for an algorithm that does not exist, or if a phase fails,
   * with a report. A run that was stopped and has no results is a
   * success without pictures. A free-space algorithm other than "pinhole" simulates nothing, and
   * that is a success.
   */
  bool Execute() override;
  /** Whether the last run got as far as the light that leaves the medium: its results are complete
   *  but for the pictures of cameras. */
  bool HasLeftMedium() const { return InFreespace; }

private:
  /** Lets go of the present output and takes the medium filter's, without a hold on it. */
  void TakeMediumOutput();
  void DropOutput();
  bool SimulateFreespace();

  std::int32_t MediumAlgorithm = 0;
  std::int32_t FreespaceAlgorithm = 2;
  trelMediumFilter* MediumFilter = nullptr;
  trelFreespaceFilter* FreespaceFilter = nullptr;
  bool InMedium = false;
  bool InFreespace = false;
  bool AlgorithmsCreated = false;
  trelSimulationParameter* Input = nullptr;
  trelSimulationResult* Output = nullptr;
  bool OutputIsOwn = false;  ///< made by GetOutput(), not the medium filter's
};

#endif
