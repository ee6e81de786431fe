#ifndef trelModelTraps_h
#define trelModelTraps_h

#include <string>
#include <vector>

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

/** The lines of all checks that apply; takes a time that is linear in the objects of the model. */
std::vector<std::string> FindModelTraps(const trelSimulationParameter& parameter);

#endif
