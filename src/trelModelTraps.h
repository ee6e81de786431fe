#ifndef trelModelTraps_h
#define trelModelTraps_h

#include <string>
#include <vector>

#include "trelModelFindings.h"

class trelSimulationParameter;

/**
 * @file trelModelTraps.h
 * Traps: models that can be run and whose results do not mean what the model says. Each
 * check is a function from the model to a line that says what will happen and what to write
 * instead, with the numbers of the tissues, sources and detectors concerned, counted from 1; empty
 * if there is nothing to tell. A new check is a new row of the table.
 *
 * docs/physics.md has the size of each error.
 */

/** A trap, and how grave it is: a mistake is one that no model can mean. */
struct trelModelTrap
{
  trelFindingKind Kind;
  std::string Text;
};

/** What there is to tell of the model by its rules: some traps are those of the classic rules
 * alone. Takes a time that is linear in its objects. */
std::vector<trelModelTrap> FindModelTraps(const trelSimulationParameter& parameter);

#endif
