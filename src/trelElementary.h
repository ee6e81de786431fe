#ifndef trelElementary_h
#define trelElementary_h

#include <cmath>
#include <cstdint>
#include <cstring>

/**
 * @file trelElementary.h
 * Logarithm, sine and cosine as the exact rules use them, each within one unit in the last place.
 *
 * Sums, products, quotients and square roots alone, all of which IEEE 754 rounds to the last digit,
 * and no fused operations: so a packet flies the same path on every processor and with every
 * mathematical library. The polynomials interpolate the rest of each series at the Chebyshev points
 * of its range, to some 10^-18 of the result.
 */

/** The natural logarithm of a positive normal number. With x = 2^k (1 + f), |f| < 0.42, and
 *  s = f / (2 + f) it is k ln 2 + 2 atanh(s) = k ln 2 + f - (f^2 / 2 - s (f^2 / 2 + R)), where
 *  R = 2 s^2 / 3 + 2 s^4 / 5 + ...: the small terms come first. */
inline double NaturalLogarithm(double x)
{
  constexpr double ln2High = 6.93147180369123816490e-01;  // 33 bits: k times it is exact
  constexpr double ln2Low = 1.90821492927058770002e-10;
  constexpr std::uint64_t sqrtHalf = 0x3fe6a09e667f3bcd;
  std::uint64_t bits = 0;
  std::memcpy(&bits, &x, sizeof bits);
  const std::uint64_t shifted = bits - sqrtHalf;
  const auto exponent = static_cast<std::int64_t>(shifted) >> 52;
  bits -= static_cast<std::uint64_t>(exponent) << 52;
  double mantissa = 0.0;
  std::memcpy(&mantissa, &bits, sizeof mantissa);
  const auto k = static_cast<double>(exponent);
  const double f = mantissa - 1.0;
  const double s = f / (2.0 + f);
  const double z = s * s;
  double r = 0.14616576421644387;
  r = r * z + 0.15331711346672997;
  r = r * z + 0.18182889433757515;
  r = r * z + 0.22222211130560726;
  r = r * z + 0.28571428626001427;
  r = r * z + 0.3999999999989945;
  r = r * z + 0.666666666666667;
  r = r * z;
  const double half = 0.5 * f * f;
  return k * ln2High - ((half - (s * (half + r) + k * ln2Low)) - f);
}

/** Cosine and sine of an angle. */
struct trelUnitCircle
{
  double Cosine;
  double Sine;
};

/**
 * Cosine and sine of 2 pi @p turn for @p turn in [0, 1]. The nearest quarter turn is taken off,
 * exactly, and the rest, an eighth at most, goes into both series as a sum of two numbers.
 */
inline trelUnitCircle PointOfTurn(double turn)
{
  constexpr double twoPi = 6.283185482025146484375;    // 24 bits
  constexpr double twoPiLow = -1.748455600074497e-07;  // what they lack of 2 pi
  const int quarter = (static_cast<int>(8.0 * turn) + 1) >> 1;
  const double rest = turn - 0.25 * quarter;
  const double head = static_cast<float>(rest);
  const double exact = twoPi * head;
  const double tail = twoPi * (rest - head) + twoPiLow * rest;
  const double x = exact + tail;
  const double low = tail - (x - exact);
  const double z = x * x;
  double sine = 1.5918127082718618e-10;
  sine = sine * z - 2.5051131814298756e-08;
  sine = sine * z + 2.7557316102405114e-06;
  sine = sine * z - 0.0001984126983675829;
  sine = sine * z + 0.008333333333330948;
  sine = sine * z - 0.16666666666666666;
  sine = x + (x * (z * sine) + low);
  double cosine = -1.1382631041621262e-11;
  cosine = cosine * z + 2.0876146249194634e-09;
  cosine = cosine * z - 2.755731727163763e-07;
  cosine = cosine * z + 2.480158729876551e-05;
  cosine = cosine * z - 0.0013888888888887398;
  cosine = cosine * z + 0.041666666666666664;
  const double parabola = 1.0 - 0.5 * z;
  cosine = parabola + (((1.0 - parabola) - 0.5 * z) + (z * z * cosine - x * low));
  // By tables: which quarter it is no processor can foresee.
  static constexpr double cosineSigns[4] = {1.0, -1.0, -1.0, 1.0};
  static constexpr double sineSigns[4] = {1.0, 1.0, -1.0, -1.0};
  const double pair[2] = {cosine, sine};
  return {cosineSigns[quarter & 3] * pair[quarter & 1],
          sineSigns[quarter & 3] * pair[~quarter & 1]};
}

#endif
