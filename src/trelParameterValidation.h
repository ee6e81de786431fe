#ifndef trelParameterValidation_h
#define trelParameterValidation_h

#include <functional>
#include <string>
#include <vector>

#include "trelModelTypes.h"
#include "trelShapeTraits.h"

class trelScoringRegion;
class trelSimulationParameter;

/**
 * @file trelParameterValidation.h
 * The rules that a model is checked by: which values are possible, which grid suits which shape and
 * along which axes a grid is divided. They look at values and report nothing themselves: the first
 * fault, in the order of the checks, is what a function returns, and empty if there is none.
 */

/** Takes what is odd, but no fault. */
using trelWarningTaker = std::function<void(const std::string&)>;

/** What is wrong with domains, sources, energies and tissues. */
std::string FindModelFault(const trelSimulationParameter& parameter, const trelWarningTaker& warn);

/** What is wrong with detectors, with the separations that the grids need, and with the ranges of
 *  @p region. */
std::string FindGridFault(const trelSimulationParameter& parameter,
                          const trelScoringRegion& region);

/** The transmittance coordinate of @p parameter, or after a warning the one that takes its place on
 *  the outer shape. */
CoordinateType FitTransmittanceCoordinate(const trelSimulationParameter& parameter,
                                          const trelWarningTaker& warn);

/** How messages call an axis, for example "X-Axis" or "radial direction". */
const char* GetAxisWord(trelAxis axis);

/** The axes that an absorption grid is divided along. */
std::vector<trelAxis> GetAbsorptionAxes(CoordinateType coordinate, SimulationDimension dimension);

/** The axes that the transmittance grids of an outer shape are divided along; none if there are no
 *  such grids. */
std::vector<trelAxis> GetTransmittanceAxes(CoordinateType coordinate, SimulationDimension dimension,
                                           const trelShapeTraits& shape);

#endif
