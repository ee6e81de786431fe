#ifndef trelTissueTraps_h
#define trelTissueTraps_h

#include <string>
#include <vector>

class trelSimulationParameter;

/**
 * @file trelTissueTraps.h
 * The traps that lie in tissues and their shapes; see trelModelTraps.h for what a trap is. Shapes
 * are compared by their boxes, meshes by these alone, so that their size costs no time. Each
 * function returns what to tell, empty if there is nothing.
 */

/** "tissue 2", "tissues 2, 3", and no more than ten of many: "tissues 2, 3, ... (500)". */
std::string ListNumbers(const std::string& word, const std::vector<int>& numbers);

/** Touching tissues of one refractive index. */
std::string FindEqualIndices(const trelSimulationParameter& parameter);

/** Tissues with a face in the surface of the outermost one. */
std::string FindSharedFaces(const trelSimulationParameter& parameter);

/** Inner tissues that overlap. */
std::string FindNestedTissues(const trelSimulationParameter& parameter);

/** Tissues that count as clear, but whose coefficients are not 0. */
std::string FindNearlyClearTissues(const trelSimulationParameter& parameter);

/** Tissues that a step may cross. */
std::string FindThinTissues(const trelSimulationParameter& parameter);

#endif
