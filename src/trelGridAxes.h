#ifndef trelGridAxes_h
#define trelGridAxes_h

#include <vector>

#include "trelModelTypes.h"
#include "trelShapeTraits.h"

/**
 * @file trelGridAxes.h
 * Along which axes the grids of a run are divided.
 */

/** How messages call an axis, for example "X-Axis" or "radial direction". */
const char* GetAxisWord(trelAxis axis);

/** The axes that an absorption grid is divided along. */
std::vector<trelAxis> GetAbsorptionAxes(CoordinateType coordinate, SimulationDimension dimension);

/** The axes that the transmittance grids of an outer shape are divided along; none if there are no
 *  such grids. */
std::vector<trelAxis> GetTransmittanceAxes(CoordinateType coordinate, SimulationDimension dimension,
                                           const trelShapeTraits& shape);

#endif
