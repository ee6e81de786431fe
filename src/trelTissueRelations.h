#ifndef trelTissueRelations_h
#define trelTissueRelations_h

#include <vector>

#include "trelModelFindings.h"

class trelSimulationParameter;

/** Two tissues neither of which holds the other, and which of them has what both hold. */
struct trelCheckedOverlap
{
  int First, Second, Winner;  ///< numbers of tissues
};

/** Which tissues lie in which others, and which touch, by number. */
struct trelTissueRelations
{
  std::vector<std::vector<int>> LiesIn;   ///< for each tissue
  std::vector<std::vector<int>> Touches;  ///< for each tissue: surfaces with points in common
  std::vector<trelCheckedOverlap> Overlaps;
  bool IsCut = false;  ///< not told to their end: there are too many
};

/** Relates the tissues by points of each. Needs prepared geometry. */
trelTissueRelations RelateTissues(const trelSimulationParameter& parameter);

/** Warns of tissues that overlap in part, and of those that the outermost one clips. */
void TellOverlaps(const trelTissueRelations& relations, int outermost, trelModelFindings& findings);

/** Warns of faces that run close to each other, but not close enough to count as one. */
void FindNearFaces(const trelSimulationParameter& parameter, trelModelFindings& findings);

#endif
