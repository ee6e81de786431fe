#ifndef trelFresnel_h
#define trelFresnel_h

#include <cmath>

#include "trelGeometryTolerance.h"
#include "trelPhoton.h"
#include "trelThreadState.h"

/**
 * @file trelFresnel.h
 * Reflection and refraction at a smooth boundary, for unpolarised light: Born and Wolf, Principles
 * of Optics, section 1.5.
 */

/** The scalar product of the boundary's normal and the packet's direction. */
inline double NormalDotDirection(const ThreadState& state)
{
  return state.NormalX * state.Photon->DirectionX + state.NormalY * state.Photon->DirectionY +
         state.NormalZ * state.Photon->DirectionZ;
}

/** Cosine of the angle of incidence, 0 to 1. */
inline double CosIncidence(const ThreadState& state)
{
  return std::fabs(NormalDotDirection(state));
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

/** Mirrors the direction at the boundary. */
inline void Reflect(ThreadState& state)
{
  trelPhoton& photon = *state.Photon;
  const double p = NormalDotDirection(state);
  photon.DirectionX -= 2.0 * p * state.NormalX;
  photon.DirectionY -= 2.0 * p * state.NormalY;
  photon.DirectionZ -= 2.0 * p * state.NormalZ;
}

/**
 * Turns the direction to TransmitAngle from the normal, in the plane of incidence. At a boundary
 * between equal indices the angle is the one left from this thread's last real refraction (0 before
 * it), so that the direction is not preserved there; results depend on it.
 */
inline void Refract(ThreadState& state)
{
  trelPhoton& photon = *state.Photon;
  const double p = NormalDotDirection(state);
  const double tx = photon.DirectionX - p * state.NormalX;
  const double ty = photon.DirectionY - p * state.NormalY;
  const double tz = photon.DirectionZ - p * state.NormalZ;
  const double s = std::sqrt(tx * tx + ty * ty + tz * tz);
  const double k = s > 0.0 ? std::sin(state.TransmitAngle) / s : 0.0;
  const double cosTransmit = std::cos(state.TransmitAngle);
  photon.DirectionX = k * tx + cosTransmit * state.NormalX;
  photon.DirectionY = k * ty + cosTransmit * state.NormalY;
  photon.DirectionZ = k * tz + cosTransmit * state.NormalZ;
}

#endif
