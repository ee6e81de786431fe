#ifndef trelSurfaceElement_h
#define trelSurfaceElement_h

#include <cstdint>

#include "trelGridWindow.h"
#include "trelShapeTraits.h"
#include "trelVector.h"

/**
 * @file trelSurfaceElement.h
 * The piece of a shape's surface that a cell of transmittance belongs to, and functions by which
 * shapes make theirs.
 *
 * The window carries the bins, the centre and the half-lengths of the shape. Angles of midpoints
 * use PiSingle. Squares, quotients and lengths of normals are 32-bit floats; the last digits of
 * images depend on it.
 */

/** A small patch of the surface; all zero until made. */
struct SurfaceElement
{
  std::int32_t Index[2] = {0, 0};  ///< of its cell; of a mesh, which goes by faces, unused
  trelVector Center;
  trelVector Normal;  ///< unit length, out of the medium
  double Area = 0.0;  ///< mm^2
};

/** Of a flat face in Cartesian cells. The indices are not held against the window. */
void MakeFlatElement(const trelGridWindow& window, trelFacePlace place, const trelVector& hit,
                     SurfaceElement* element);

/** Of a flat face across z in cells by radius and azimuth, likewise. */
void MakeDiscElement(const trelGridWindow& window, trelFacePlace place, const trelVector& hit,
                     SurfaceElement* element);

/** The index of the bin of @p q, also of one beyond the window; -2147483647 if 32 bits cannot hold
 *  it. */
std::int32_t IndexInBins(const trelGridBins& bins, double q);

/** The azimuth of @p hit about the window's centre, degrees, with pi of 32 bits throughout, and its
 *  distance @p r from the axis, mm. */
double AzimuthOfSinglePi(const trelGridWindow& window, const trelVector& hit, double* r);

/** v^2 in 32 bits. It passes through memory: of two squares side by side that are widened again,
 *  GCC 12 leaves the rounding out. */
inline float SquareSingle(double v)
{
  const volatile float square = static_cast<float>(v * v);
  return square;
}

/** The normal at offset e from the centre of x^2/a^2 + y^2/b^2 + ... = 1 is its gradient (x/a^2,
 *  ...) over the length @p s of that. */
inline double NormalComponent(double e, double halfAxis, double s)
{
  return e / (SquareSingle(halfAxis) * s);
}

#endif
