#ifndef trelTissueRelations_h
#define trelTissueRelations_h

#include <cstdint>
#include <vector>

#include "trelModelFindings.h"

class trelSimulationParameter;

/** Which tissues lie in which others, and which touch, by number. */
struct trelTissueRelations
{
  std::vector<std::vector<int>> LiesIn;   ///< for each tissue
  std::vector<std::vector<int>> Touches;  ///< for each tissue: surfaces with points in common
  /** How many pairs whose boxes meet were looked at if they are too many; else below 0. */
  std::int64_t Pairs = -1;
};

/** Relates the tissues by points of each. Needs prepared geometry. */
trelTissueRelations RelateTissues(const trelSimulationParameter& parameter);

/** Warns of faces that run close to each other, but not close enough to count as one. */
void FindNearFaces(const trelSimulationParameter& parameter, trelModelFindings& findings);

#endif
