#ifndef trelCoordinates_h
#define trelCoordinates_h

#include <cstdint>

/**
 * @file trelCoordinates.h
 * Axes along which space and surfaces are divided, and the kinds of cells that they make.
 */

/** The cells in which a grid collects. */
enum CoordinateType : std::int32_t
{
  CoordinatePolar = 0,
  CoordinateCartesian = 1,
  CoordinateCylindrical = 2,
  CoordinateSpherical = 3 /**< transmittance only */
};

/**
 * The order of separations, cell counts and the region of interest. Of the twelve values of a
 * region of interest, the minimum along axis k stands at 2 k and the maximum at 2 k + 1.
 */
enum trelAxis : std::int32_t
{
  AxisX = 0,
  AxisY,
  AxisZ,
  AxisRadial,
  AxisAzimuth,    /**< degrees, 0 to 360 */
  AxisDeflection, /**< degrees, 0 to 180 */
  NumberOfAxes
};

#endif
