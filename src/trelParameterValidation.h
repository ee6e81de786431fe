#ifndef trelParameterValidation_h
#define trelParameterValidation_h

#include <cstdint>
#include <vector>

#include "trelModelTypes.h"
#include "trelShapeObject.h"

class trelOpticalParameter;

/**
 * @file trelParameterValidation.h
 * The rules that trelSimulationParameter checks a model by: which values are possible, which grid
 * suits which shape, along which axes a grid is divided and into how many cells. They look at
 * values and report nothing themselves.
 */

/** What is wrong with a light source of this kind in a simulation of this type; null if nothing. */
const char* FindLuminousFault(SimulationType simulation, LuminousType luminous);

/** What makes the coefficients impossible; null if nothing. */
const char* FindOpticalFault(const trelOpticalParameter& optics);

/** Which cells the surface of an outer shape can have. */
struct trelSurfaceCoordinateRule
{
  ShapeType Shape;
  CoordinateType Accepted; /**< replaces one that is not accepted */
  CoordinateType AlsoAccepted;
  const char* Word; /**< how the warning about the replacement calls it */
};

/** The rule for an outer shape of this kind; null if there is none. */
const trelSurfaceCoordinateRule* FindSurfaceCoordinateRule(ShapeType shape);

/** How messages call an axis, for example "X-Axis" or "radial direction". */
const char* GetAxisWord(trelAxis axis);

/** The axes that an absorption grid is divided along. */
std::vector<trelAxis> GetAbsorptionAxes(CoordinateType coordinate, SimulationDimension dimension);

/** The axes that the transmittance grids of an outer shape are divided along; none if there are no
 *  such grids. */
std::vector<trelAxis> GetTransmittanceAxes(CoordinateType coordinate, SimulationDimension dimension,
                                           ShapeType shape);

/**
 * The number of cells of size @p separation that cover @p range, below 0 for a reversed range. It
 * is held to what the integer can hold, for the allocation to refuse; 0 if it is not a number.
 */
std::int32_t CountCells(double range, double separation);

/** Holds the range from @p min to @p max to the limits @p lo and @p hi. A bound beyond either limit
 *  falls back to its own limit, so that a range wholly outside becomes the limits. */
void CutRange(double lo, double hi, double* min, double* max);

#endif
