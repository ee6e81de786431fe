#ifndef trelGeometryTolerance_h
#define trelGeometryTolerance_h

#include <cmath>

/**
 * @file trelGeometryTolerance.h
 * The constants of geometry and the three comparisons that carry the tolerance.
 */

/**
 * Half the thickness of a surface, 1e-12, for every shape and mesh: in millimetres where lengths
 * are compared, a pure number where a normalised quadratic form is. A model of some 100 mm has
 * rounding errors of 1e-14 mm in a position; a hundred times that takes up what a step's arithmetic
 * adds, and is still nothing against a mean free path.
 */
constexpr double GeometryTolerance = 1e-12;

/**
 * A cosine above this value, 0.999999999999 (dimensionless), counts as 1: beyond it the sine is
 * below 1.5e-6 and comes from a difference of nearly equal numbers, so that dividing by it
 * amplifies noise.
 */
constexpr double UnitCosineLimit = 0.999999999999;

/** Pi in radians, the double nearest to it. */
constexpr double Pi = 3.141592653589793;

/** True if @p a and @p b differ by less than @p tolerance. All three are strict, and false for
 *  NaN; at a difference of exactly the tolerance none of them holds. */
inline bool ToleranceEqual(double a, double b, double tolerance = GeometryTolerance)
{
  return std::fabs(a - b) < tolerance;
}

/** True if @p a lies below @p b by more than @p tolerance. */
inline bool ToleranceLess(double a, double b, double tolerance = GeometryTolerance)
{
  return a - b < -tolerance;
}

/** True if @p a lies above @p b by more than @p tolerance. */
inline bool ToleranceGreater(double a, double b, double tolerance = GeometryTolerance)
{
  return a - b > tolerance;
}

#endif
