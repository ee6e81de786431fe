#include "trelCellMeasures.h"

#include <algorithm>
#include <cmath>

#include "trelGeometryTolerance.h"

/** The integral of @p f from @p a to @p b by the eight-point rule of Gauss and Legendre. */
template <class Function>
static double IntegrateOnce(const Function& f, double a, double b)
{
  static constexpr double nodes[] = {0.1834346424956498, 0.5255324099163290, 0.7966664774136267,
                                     0.9602898564975363};
  static constexpr double weights[] = {0.3626837833783620, 0.3137066458778873, 0.2223810344533745,
                                       0.1012285362903763};
  const double middle = 0.5 * (a + b);
  const double half = 0.5 * (b - a);
  double sum = 0.0;
  for (int k = 0; k < 4; ++k)
    sum += weights[k] * (f(middle - half * nodes[k]) + f(middle + half * nodes[k]));
  return sum * half;
}

/** The same, halved until the halves agree with the whole, since outlines may be needles: within
 *  1e-11 of it, or within @p noise, by which rounding keeps @p f from being smooth. */
template <class Function>
static double IntegrateHalves(const Function& f, double a, double b, double whole, double noise,
                              int halvings)
{
  const double middle = 0.5 * (a + b);
  const double lower = IntegrateOnce(f, a, middle);
  const double upper = IntegrateOnce(f, middle, b);
  const double allowed = 1e-11 * std::fabs(whole) + noise * std::fabs(b - a);
  if (halvings == 0 || !(std::fabs(lower + upper - whole) > allowed)) return lower + upper;
  return IntegrateHalves(f, a, middle, lower, noise, halvings - 1) +
         IntegrateHalves(f, middle, b, upper, noise, halvings - 1);
}

/** The integral over an angle, rad, by eighths of a turn: what a quarter repeats is not mistaken
 * for a constant. */
template <class Function>
static double IntegrateAngle(const Function& f, double from, double to, double noise)
{
  const double eighths = std::ceil(std::fabs(to - from) / (Pi / 4.0));
  const int parts = static_cast<int>(std::clamp(eighths, 1.0, 8.0));
  double sum = 0.0;
  for (int k = 0; k < parts; ++k) {
    const double a = from + (to - from) * k / parts;
    const double b = from + (to - from) * (k + 1) / parts;
    sum += IntegrateHalves(f, a, b, IntegrateOnce(f, a, b), noise, 16);
  }
  return sum;
}

/** The parameter t of the point (a cos t, b sin t) that has this azimuth: both lie in the same
 *  quadrant of the same turn. */
static double ParameterOf(double a, double b, double azimuth)
{
  const double angle = azimuth * RadiansPerDegree;
  const double t = std::atan2(a * std::sin(angle), b * std::cos(angle));
  return t + 2.0 * Pi * std::round((angle - t) / (2.0 * Pi));
}

double ComputeArc(double a, double b, double azimuth1, double azimuth2)
{
  const auto speed = [&](double t) {
    const double x = a * std::sin(t);
    const double y = b * std::cos(t);
    return std::sqrt(x * x + y * y);
  };
  return IntegrateAngle(speed, ParameterOf(a, b, azimuth1), ParameterOf(a, b, azimuth2),
                        1e-15 * std::max(a, b));
}

/** The integral of sqrt(p x^2 + q (1 - x^2)) from 0 to x, for p and q not below 0. */
static double IntegrateRoot(double p, double q, double x)
{
  if (q == 0.0) return 0.5 * x * std::fabs(x) * std::sqrt(p);
  const double y = x * std::sqrt(std::fabs(p - q) / q);
  const double arc = p > q ? std::asinh(y) : std::asin(std::clamp(y, -1.0, 1.0));
  const double ratio = y == 0.0 ? 1.0 : arc / y;
  return 0.5 * x * (std::sqrt(p * x * x + q * (1.0 - x * x)) + std::sqrt(q) * ratio);
}

/**
 * With the point as (a cos t sin s, b sin t sin s, c cos s) the area element is
 * sqrt(a^2 b^2 cos^2 s + c^2 (b^2 cos^2 t + a^2 sin^2 t) sin^2 s) sin s ds dt. The azimuth gives t;
 * a deflection D is tan s = c tan D / sqrt(a^2 cos^2 t + b^2 sin^2 t). Over s the integral is
 * closed.
 */
double ComputeEllipsoidArea(const double h[3], double azimuth1, double azimuth2, double deflection1,
                            double deflection2)
{
  const double a = h[0];
  const double b = h[1];
  const double c = h[2];
  const double cos1 = std::cos(deflection1 * RadiansPerDegree);
  const double cos2 = std::cos(deflection2 * RadiansPerDegree);
  const double sin1 = std::sin(deflection1 * RadiansPerDegree);
  const double sin2 = std::sin(deflection2 * RadiansPerDegree);
  const auto strip = [&](double t) {
    const double cosT = std::cos(t);
    const double sinT = std::sin(t);
    const double rho = std::sqrt(a * a * cosT * cosT + b * b * sinT * sinT);
    const double p = a * a * b * b;
    const double q = c * c * (b * b * cosT * cosT + a * a * sinT * sinT);
    const double x1 = rho * cos1 / std::hypot(rho * cos1, c * sin1);
    const double x2 = rho * cos2 / std::hypot(rho * cos2, c * sin2);
    return IntegrateRoot(p, q, x1) - IntegrateRoot(p, q, x2);
  };
  const double noise = 1e-14 * std::max(a * b, c * std::max(a, b));
  return IntegrateAngle(strip, ParameterOf(a, b, azimuth1), ParameterOf(a, b, azimuth2), noise);
}

/** The factor of bin @p k along @p axis. @p isOutline: the grid has azimuths of an outline, without
 *  a radius. */
static double ComputeFactor(trelGridAxis axis, bool isOutline, const trelGridWindow& window,
                            std::int32_t k)
{
  const trelGridBins& bins = window.Bins[axis];
  const double lower = bins.GetBorder(k);
  const double upper = bins.GetBorder(k + 1);
  if (axis == GridR) return 0.5 * (upper - lower) * (upper + lower);
  if (axis != GridA) return upper - lower;
  if (isOutline) return ComputeArc(window.HalfAxis[0], window.HalfAxis[1], lower, upper);
  return (upper - lower) * RadiansPerDegree;
}

/** The areas of the cells of an ellipsoid, the rows from high deflection to low. */
static std::vector<double> ComputeAreas(const trelGridWindow& window)
{
  const trelGridBins& deflections = window.Bins[GridD];
  const trelGridBins& azimuths = window.Bins[GridA];
  std::vector<double> areas;
  for (std::int32_t d = deflections.Count - 1; d >= 0; --d) {
    for (std::int32_t a = 0; a < azimuths.Count; ++a) {
      areas.push_back(ComputeEllipsoidArea(window.HalfAxis, azimuths.GetBorder(a),
                                           azimuths.GetBorder(a + 1), deflections.GetBorder(d),
                                           deflections.GetBorder(d + 1)));
    }
  }
  return areas;
}

trelCellMeasures::trelCellMeasures(trelGridId grid, const trelGridWindow& window)
{
  const trelGridDescription& row = GetGridDescription(grid);
  NumberOfAxes = row.NumberOfAxes;
  if (row.Axes[0] == GridD) {
    Areas = ComputeAreas(window);
    Columns = static_cast<std::size_t>(window.Bins[GridA].Count);
    return;
  }
  bool hasRadius = false;
  for (int axis = 0; axis < NumberOfAxes; ++axis)
    hasRadius = hasRadius || row.Axes[axis] == GridR;
  for (int axis = 0; axis < NumberOfAxes; ++axis) {
    for (std::int32_t k = 0; k < window.Bins[row.Axes[axis]].Count; ++k)
      Factors[axis].push_back(ComputeFactor(row.Axes[axis], !hasRadius, window, k));
  }
}
