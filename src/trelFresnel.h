#ifndef trelFresnel_h
#define trelFresnel_h

#include <algorithm>
#include <cmath>

#include "trelGeometryTolerance.h"
#include "trelVector.h"

/**
 * @file trelFresnel.h
 * Reflection and refraction at a smooth boundary, for unpolarised light: Born and Wolf, Principles
 * of Optics, section 1.5.
 */

/** Cosine of the angle of incidence, 0 to 1. */
inline double CosIncidence(const trelVector& direction, const trelVector& normal)
{
  return std::fabs(Dot(normal, direction));
}

/** Up to this cosine of incidence all light is reflected; 0 towards the denser side. */
inline double CriticalCosine(double indexHere, double indexNext)
{
  if (!(indexNext < indexHere)) return 0.0;
  return std::sqrt(1.0 - indexNext * indexNext / (indexHere * indexHere));
}

/**
 * Fraction reflected of light that meets the boundary at the cosine @p cosIncidence; writes the
 * cosine of the angle of refraction to @p cosTransmit. At a vanishing denominator, where sin(a + b)
 * cos(a - b) underflows, the sine of incidence is returned; it is no reflectance, but results
 * depend on it.
 */
inline double FresnelReflectance(double indexHere, double indexNext, double cosIncidence,
                                 double* cosTransmit)
{
  if (cosIncidence > UnitCosineLimit) {
    *cosTransmit = 1.0;
    const double r = (indexNext - indexHere) / (indexHere + indexNext);
    return r * r;
  }
  *cosTransmit = 0.0;
  if (cosIncidence < GeometryTolerance) return 1.0;  // grazing
  const double sinIncidence = std::sqrt(1.0 - cosIncidence * cosIncidence);
  const double sinTransmit = sinIncidence * indexHere / indexNext;
  if (sinTransmit >= 1.0) return 1.0;
  const double cosT = *cosTransmit = std::sqrt(1.0 - sinTransmit * sinTransmit);
  const double cosSum = cosIncidence * cosT - sinIncidence * sinTransmit;
  const double cosDifference = cosIncidence * cosT + sinIncidence * sinTransmit;
  const double sinSum = sinIncidence * cosT + cosIncidence * sinTransmit;
  const double sinDifference = sinIncidence * cosT - cosIncidence * sinTransmit;
  const double denominator = sinSum * sinSum * cosDifference * cosDifference;
  if (denominator == 0.0) return sinIncidence;
  return 0.5 * sinDifference * sinDifference * (cosDifference * cosDifference + cosSum * cosSum) /
         denominator;
}

/** The direction, mirrored at the boundary. */
inline trelVector Reflect(const trelVector& direction, const trelVector& normal)
{
  return direction - 2.0 * Dot(normal, direction) * normal;
}

/** The direction, turned to the angle @p transmitAngle (rad) from the normal, in the plane of
 * incidence. */
inline trelVector Refract(const trelVector& direction, const trelVector& normal,
                          double transmitAngle)
{
  const trelVector tangent = direction - Dot(normal, direction) * normal;
  const double s = Length(tangent);
  const double k = s > 0.0 ? std::sin(transmitAngle) / s : 0.0;
  return k * tangent + std::cos(transmitAngle) * normal;
}

// The same law for the exact rules, from the cosines alone.

/** What becomes of light at a boundary. */
struct trelInterface
{
  double Reflectance;  ///< fraction reflected, 0 to 1; 1 beyond the critical angle
  double CosTransmit;  ///< cosine of the angle of refraction; 0 beyond the critical angle
};

/**
 * The boundary met at @p cosIncidence, 0 to 1. The amplitudes are those of light polarised across
 * the plane of incidence and in it, r = (n1 cos a - n2 cos b) / (n1 cos a + n2 cos b) and
 * (n1 cos b - n2 cos a) / (n1 cos b + n2 cos a), which divide by no sine: exact at normal
 * incidence, at grazing (1) and with equal indices (0).
 */
inline trelInterface MeetInterface(double indexHere, double indexNext, double cosIncidence)
{
  if (indexHere == indexNext) return {0.0, cosIncidence};
  // Rounding may take the product of two unit vectors above 1.
  const double cosA = std::min(cosIncidence, 1.0);
  const double ratio = indexHere / indexNext;
  const double sinSquareB = ratio * ratio * ((1.0 - cosA) * (1.0 + cosA));
  if (sinSquareB >= 1.0) return {1.0, 0.0};
  const double cosB = std::sqrt(1.0 - sinSquareB);
  const double across =
      (indexHere * cosA - indexNext * cosB) / (indexHere * cosA + indexNext * cosB);
  const double within =
      (indexHere * cosB - indexNext * cosA) / (indexHere * cosB + indexNext * cosA);
  return {0.5 * (across * across + within * within), cosB};
}

/** The direction behind a boundary that lets light through. @p normal is turned along the way of
 * the light, @p indexRatio is n here / n next, the cosines are those of MeetInterface(). */
inline trelVector RefractByCosines(const trelVector& direction, const trelVector& normal,
                                   double indexRatio, double cosIncidence, double cosTransmit)
{
  return indexRatio * (direction - cosIncidence * normal) + cosTransmit * normal;
}

#endif
