#ifndef trelPhaseFunction_h
#define trelPhaseFunction_h

#include <algorithm>
#include <cmath>

#include "trelElementary.h"
#include "trelGeometryTolerance.h"
#include "trelRandomNumbers.h"
#include "trelVector.h"

/**
 * @file trelPhaseFunction.h
 * The change of direction at a scattering event. Inline: it runs once for each interaction.
 */

/**
 * cos(2 pi @p turn) for @p turn in [0, 1), within 3e-16 of the exact value.
 *
 * With u = |turn - 1/2| - 1/4 it is sin(2 pi u) on a quarter turn to either side:
 * one odd polynomial (Taylor's to the 21st order, 2e-18 off at the ends), without the branches and
 * the tables of a cosine that must take any argument. A quarter of the library's instructions.
 */
inline double CosineOfTurn(double turn)
{
  const double x = 2.0 * Pi * (std::fabs(turn - 0.5) - 0.25);
  const double z = x * x;
  double sum = 1.0 / 51090942171709440000.0;
  sum = sum * z - 1.0 / 121645100408832000.0;
  sum = sum * z + 1.0 / 355687428096000.0;
  sum = sum * z - 1.0 / 1307674368000.0;
  sum = sum * z + 1.0 / 6227020800.0;
  sum = sum * z - 1.0 / 39916800.0;
  sum = sum * z + 1.0 / 362880.0;
  sum = sum * z - 1.0 / 5040.0;
  sum = sum * z + 1.0 / 120.0;
  sum = sum * z - 1.0 / 6.0;
  return x + x * z * sum;
}

/** The sine of the same angle from its cosine, which rounding may have carried past 1: negative in
 * the second half of the turn. */
inline double SineOfTurn(double turn, double cosine)
{
  const double sine = std::sqrt(std::max(0.0, 1.0 - cosine * cosine));
  return turn > 0.5 ? -sine : sine;
}

/** The divisor of the formula below; 0 only for g = 1 and a random number of 0, or beyond. */
inline double HenyeyGreensteinDivisor(double g, double random)
{
  return 2.0 * g * random + 1.0 - g;
}

/**
 * Cosine of the scattering angle, by the phase function of Henyey and Greenstein, Astrophys. J. 93
 * (1941) 70: the inverse of its distribution function at a uniform number. Its mean is g.
 * g = 0 is isotropic; rounding may carry the result past 1 by a digit, hence the clamp.
 */
inline double SampleHenyeyGreenstein(double g, double random)
{
  if (g == 0.0) return 2.0 * random - 1.0;
  const double q = (1.0 - g * g) / HenyeyGreensteinDivisor(g, random);
  const double cosTheta = (1.0 + g * g - q * q) / (2.0 * g);
  return std::clamp(cosTheta, -1.0, 1.0);
}

/** How an interaction turns a packet: by theta from its way, at the azimuth phi about it. */
struct trelTurn
{
  double CosPhi, SinPhi, CosTheta, SinTheta;
};

/** The turn from two uniform numbers: that of the azimuth and that of the scattering angle. */
inline trelTurn SampleTurn(double g, double azimuth, double random)
{
  const double cosPhi = CosineOfTurn(azimuth);
  const double cosTheta = SampleHenyeyGreenstein(g, random);
  return {cosPhi, SineOfTurn(azimuth, cosPhi), cosTheta, std::sqrt(1.0 - cosTheta * cosTheta)};
}

/**
 * Isotropic scattering in the plane. It uses neither g nor the old direction, and its Z stays;
 * results of two-dimensional models depend on it.
 */
inline void Scatter2D(trelVector& direction, trelRandomNumbers& numbers)
{
  const double turn = numbers.NextRandom();
  direction.X = CosineOfTurn(turn);
  direction.Y = SineOfTurn(turn, direction.X);
}

/**
 * The direction u turned by the scattering angle theta and, about u, by the azimuth phi. Formulas:
 * Wang, Jacques and Zheng, Comput. Methods Programs Biomed. 47 (1995) 131, equations 3.23 to 3.25.
 */
inline trelVector TurnDirection(const trelVector& u, const trelTurn& turn)
{
  const auto [cosPhi, sinPhi, cosTheta, sinTheta] = turn;
  if (std::fabs(u.Z) > UnitCosineLimit) {
    // Along the z axis the formula below divides by 0; the azimuth has no preferred zero there.
    return {sinTheta * cosPhi, sinTheta * sinPhi, u.Z < 0.0 ? -cosTheta : cosTheta};
  }
  const double t = std::sqrt(1.0 - u.Z * u.Z);
  return {sinTheta * (u.X * u.Z * cosPhi - u.Y * sinPhi) / t + u.X * cosTheta,
          sinTheta * (u.Y * u.Z * cosPhi + u.X * sinPhi) / t + u.Y * cosTheta,
          -sinTheta * cosPhi * t + u.Z * cosTheta};
}

/** Scattering in space with anisotropy @p g. */
inline void Scatter3D(trelVector& direction, trelRandomNumbers& numbers, double g)
{
  const double azimuth = numbers.NextRandom();
  double random = numbers.NextRandom();
  while (HenyeyGreensteinDivisor(g, random) == 0.0)
    random = numbers.NextRandom();
  direction = TurnDirection(direction, SampleTurn(g, azimuth, random));
}

// The same by the exact rules.

/** See trelFormulas::CosineInSpace(). */
inline double DrawCosineInSpace(double g, double random)
{
  return Elementary.CosineInSpace(g, random);
}

/**
 * The turn in the plane by the law of Henyey and Greenstein in two dimensions,
 * p(theta) = (1 - g^2) / (2 pi (1 + g^2 - 2 g cos theta)) (J. Heino et al., Phys. Rev. E 68 (2003)
 * 031908): tan(theta / 2) = (1 - g) / (1 + g) tan(phi / 2) with phi uniform on the circle.
 */
inline trelUnitCircle DrawTurnInPlane(double g, double random)
{
  const trelUnitCircle uniform = PointOfTurn(random);
  const double a = (1.0 + g) * (1.0 + uniform.Cosine);
  const double b = (1.0 - g) * uniform.Sine;
  const double square = a * a + b * b;
  if (square == 0.0) return {g == 1.0 ? 1.0 : -1.0, 0.0};
  return {(a * a - b * b) / square, 2.0 * a * b / square};
}

inline trelVectorOf<double> NumbersOf(const trelVector& v)
{
  return {v.X, v.Y, v.Z};
}
inline trelVector VectorOf(const trelVectorOf<double>& v)
{
  return {v.X, v.Y, v.Z};
}
/** See trelFormulas::Deflect(). */
inline trelVector Deflect(const trelVector& direction, double cosTheta, double turn)
{
  return VectorOf(Elementary.Deflect(NumbersOf(direction), cosTheta, turn));
}
/** See trelFormulas::EndOfWay(). */
inline trelVector EndOfWay(const trelVector& from, const trelVector& direction, double length)
{
  return VectorOf(Elementary.EndOfWay(NumbersOf(from), NumbersOf(direction), length));
}

#endif
