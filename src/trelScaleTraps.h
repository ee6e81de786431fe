#ifndef trelScaleTraps_h
#define trelScaleTraps_h

#include <string>

class trelSimulationParameter;

/**
 * @file trelScaleTraps.h
 * The traps of lengths in other units than mm, and of places far off: what is much larger than the
 * medium, or lies beside it. See trelModelTraps.h for what a trap is. Each function returns what to
 * tell, empty if there is nothing. Layers wider than the block that they lie in are meant, and not
 * told of: their surfaces cross it.
 */

/** Tissues and sources a thousandth or a thousand times as large as the medium, of which one is a
 *  mesh. */
std::string FindMeshesOutOfScale(const trelSimulationParameter& parameter);

/** Tissues within which the medium lies, far from their surface. Needs prepared geometry. */
std::string FindEngulfingTissues(const trelSimulationParameter& parameter);

/** Tissues that have nothing in common with the box of the medium. */
std::string FindTissuesBeside(const trelSimulationParameter& parameter);

/** Sources many times as large as the medium. */
std::string FindWideSources(const trelSimulationParameter& parameter);

/** Fibres that lie apart from the medium, or around all of it. */
std::string FindFibersThatCollectNothing(const trelSimulationParameter& parameter);

#endif
