#ifndef trelElementary_h
#define trelElementary_h

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

/**
 * @file trelElementary.h
 * Logarithm, sine, cosine and the change of direction as the exact rules use them. The formulas
 * stand in trelElementary.inc, also for vectors of numbers; here is what they need of one.
 */

template <class Number>
struct trelNumberTools;

/** What the formulas need of one number. */
template <>
struct trelNumberTools<double>
{
  static double Select(bool which, double yes, double no) { return which ? yes : no; }
  static double Clamp(double x, double low, double high) { return std::clamp(x, low, high); }
  static double SquareRoot(double x) { return std::sqrt(x); }
  static double WithSignOf(double magnitude, double sign) { return std::copysign(magnitude, sign); }
  static double Negative(double x) { return -x; }
  /** Of a number that is not negative and below 2^31. */
  static double WholePart(double x) { return static_cast<int>(x); }
  static double RoundToSingle(double x) { return static_cast<float>(x); }

  /** A positive normal number is 2^k times a mantissa between the square roots of 1/2 and 2. */
  static void SplitBinary(double x, double* k, double* mantissa)
  {
    constexpr std::uint64_t sqrtHalf = 0x3fe6a09e667f3bcd;
    std::uint64_t bits = 0;
    std::memcpy(&bits, &x, sizeof bits);
    const std::uint64_t shifted = bits - sqrtHalf;
    const auto exponent = static_cast<std::int64_t>(shifted) >> 52;
    bits -= static_cast<std::uint64_t>(exponent) << 52;
    std::memcpy(mantissa, &bits, sizeof bits);
    *k = static_cast<double>(exponent);
  }

  /** Turns a point of the circle by a whole number of quarters, by tables: which it is no processor
   *  can foresee. */
  static void TurnByQuarters(double quarters, double* cosine, double* sine)
  {
    constexpr double cosineSigns[4] = {1.0, -1.0, -1.0, 1.0};
    constexpr double sineSigns[4] = {1.0, 1.0, -1.0, -1.0};
    const int quarter = static_cast<int>(quarters);
    const double pair[2] = {*cosine, *sine};
    *cosine = cosineSigns[quarter & 3] * pair[quarter & 1];
    *sine = sineSigns[quarter & 3] * pair[~quarter & 1];
  }
};

template <int bits>
inline std::uint64_t RotateLeft(std::uint64_t x)
{
  return (x << bits) | (x >> (64 - bits));
}
template <int bits>
inline std::uint64_t ShiftLeft(std::uint64_t x)
{
  return x << bits;
}

#define TREL_FORMULA inline
#include "trelElementary.inc"
#undef TREL_FORMULA

using trelUnitCircle = trelCircleOf<double>;

/** The formulas of one number. */
inline constexpr trelFormulas<double> Elementary;

/** See trelFormulas::Logarithm(). */
inline double NaturalLogarithm(double x)
{
  return Elementary.Logarithm(x);
}
/** See trelFormulas::PointOfTurn(). */
inline trelUnitCircle PointOfTurn(double turn)
{
  return Elementary.PointOfTurn(turn);
}

#endif
