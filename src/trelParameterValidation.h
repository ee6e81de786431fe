#ifndef trelParameterValidation_h
#define trelParameterValidation_h

#include <functional>
#include <string>

#include "trelModelTypes.h"

class trelScoringRegion;
class trelSimulationParameter;

/**
 * @file trelParameterValidation.h
 * The rules that a model is checked by: which values are possible, which grid suits which shape and
 * along which axes a grid is divided. Nothing is reported here: a function returns the text of the
 * first fault in the order of the checks, empty if there is none.
 */

/** Receives the text of a warning about what is unusual, but no fault. */
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

#endif
