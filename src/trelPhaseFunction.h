#ifndef trelPhaseFunction_h
#define trelPhaseFunction_h

#include <algorithm>
#include <cmath>

#include "trelGeometryTolerance.h"
#include "trelPhoton.h"
#include "trelThreadState.h"

/**
 * @file trelPhaseFunction.h
 * The change of direction at a scattering event. Inline: it runs once for each interaction.
 */

/** The sine of the azimuth @p phi in [0, 2 pi) from its cosine. */
inline double SinOfAzimuth(double phi, double cosPhi)
{
  const double sine = std::sqrt(1.0 - cosPhi * cosPhi);
  return Pi - phi < 0.0 ? -sine : sine;
}

/**
 * Cosine of the scattering angle, by the phase function of Henyey and Greenstein, Astrophys. J. 93
 * (1941) 70: the inverse of its distribution function at a uniform number. Its mean is g.
 * g = 0 is isotropic; rounding may carry the result past 1 by a digit, hence the clamp.
 */
inline double SampleHenyeyGreenstein(ThreadState& state, double g)
{
  if (g == 0.0) return 2.0 * state.NextRandom() - 1.0;
  double d = 2.0 * g * state.NextRandom() + 1.0 - g;
  while (d == 0.0)
    d = 2.0 * g * state.NextRandom() + 1.0 - g;  // g = 1 and a random number of 0
  const double q = (1.0 - g * g) / d;
  const double cosTheta = (1.0 + g * g - q * q) / (2.0 * g);
  return std::clamp(cosTheta, -1.0, 1.0);
}

/**
 * Isotropic scattering in the plane. It uses neither g nor the old direction, and DirectionZ stays;
 * results of two-dimensional models depend on it.
 */
inline void Scatter2D(ThreadState& state)
{
  trelPhoton& photon = *state.Photon;
  const double phi = 2.0 * Pi * state.NextRandom();
  photon.DirectionX = std::cos(phi);
  photon.DirectionY = SinOfAzimuth(phi, photon.DirectionX);
}

/**
 * Scattering in space with anisotropy @p g: the old direction u turned by the scattering angle
 * theta and, about u, by the azimuth phi. Formulas: Wang, Jacques and Zheng, Comput. Methods
 * Programs Biomed. 47 (1995) 131, equations 3.23 to 3.25.
 */
inline void Scatter3D(ThreadState& state, double g)
{
  trelPhoton& photon = *state.Photon;
  const double ux = photon.DirectionX;
  const double uy = photon.DirectionY;
  const double uz = photon.DirectionZ;
  const double phi = 2.0 * Pi * state.NextRandom();
  const double cosPhi = std::cos(phi);
  const double sinPhi = SinOfAzimuth(phi, cosPhi);
  const double cosTheta = SampleHenyeyGreenstein(state, g);
  const double sinTheta = std::sqrt(1.0 - cosTheta * cosTheta);
  if (std::fabs(uz) > UnitCosineLimit) {
    // Along the z axis the formula below divides by 0; the azimuth has no preferred zero there.
    photon.DirectionX = sinTheta * cosPhi;
    photon.DirectionY = sinTheta * sinPhi;
    photon.DirectionZ = uz < 0.0 ? -cosTheta : cosTheta;
    return;
  }
  const double t = std::sqrt(1.0 - uz * uz);
  photon.DirectionX = sinTheta * (ux * uz * cosPhi - uy * sinPhi) / t + ux * cosTheta;
  photon.DirectionY = sinTheta * (uy * uz * cosPhi + ux * sinPhi) / t + uy * cosTheta;
  photon.DirectionZ = -sinTheta * cosPhi * t + uz * cosTheta;
}

#endif
