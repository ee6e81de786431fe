#ifndef trelGridWindow_h
#define trelGridWindow_h

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "trelInlining.h"

/** The axes along which a grid has bins, in the order of separations and counts. */
enum trelGridAxis
{
  GridX,
  GridY,
  GridZ,
  GridR,  ///< distance from the axis x = y = centre, mm
  GridA,  ///< azimuth, degrees, 0 to 360, about the centre in the x-y plane
  GridD,  ///< deflection from +z, degrees, 0 to 180
  GridMeshFace,
  GridMeshVertex,
  GridElement,
  NumberOfGridAxes
};

/** Slack of every window test, in the unit of the tested quantity (mm, degrees, ps). A point on the
 *  rim of the window must not be lost to rounding. */
constexpr double GridTolerance = 1e-12;

/** Pi as a 32-bit float, held in a double. All bin measures use it; files depend on its last
 * digits. */
constexpr double PiSingle = 3.1415927410125732;

/** Degrees as radians. The order of the factors shows in the last digits of results. */
inline double RadiansOfSinglePi(double degrees)
{
  return degrees * PiSingle / 180.0;
}

/**
 * The bins along one axis: [Minimum, Maximum] cut into Count bins of width Separation, the last one
 * perhaps wider than what is left of the range.
 */
struct trelGridBins
{
  trelGridBins() = default;
  trelGridBins(double minimum, double maximum, double separation, std::int32_t count)
      : Minimum(minimum), Maximum(maximum), Separation(separation), Count(count)
  {
    if (separation > 0.0 && count > 0) EndIndex = count;
  }

  /** Limits and width in the unit of the axis: mm, degrees or ps. */
  double Minimum = 0.0;
  double Maximum = 0.0;
  double Separation = 0.0;
  std::int32_t Count = 0;
  /** The upper limit of LocateWithin(): Count, or -infinity if there are no bins or the separation
   *  is not positive, so that no index lies below it. */
  double EndIndex = -std::numeric_limits<double>::infinity();

  /**
   * The bin of @p q: trunc((q - Minimum) / Separation). False, and @p bin without a meaning, if q
   * lies outside the window by more than GridTolerance, is NaN, or the bin is not one of the Count
   * bins: so a value just below the minimum has bin 0, and the upper edge of the last bin
   * is open.
   */
  bool Locate(double q, std::int32_t* bin) const
  {
    if (!(q - Minimum >= -GridTolerance && q - Maximum <= GridTolerance)) return false;
    const double index = (q - Minimum) / Separation;
    if (!(index > -1.0 && index < Count)) return false;
    *bin = static_cast<std::int32_t>(index);
    return *bin < Count;  // without bins nothing has one
  }

  /** Locate() in half the instructions, without the tolerance: false is not final at the edges,
   *  where Locate() decides. */
  bool LocateWithin(double q, std::int32_t* bin) const
  {
    const double index = (q - Minimum) / Separation;
    if (!(index >= 0.0 && q <= Maximum && index < EndIndex)) return false;
    *bin = static_cast<std::int32_t>(index);
    return true;
  }

  /** Locate() of the exact rules: the upper bound of the range belongs to the last bin, and the
   *  slack grows with the bounds, as rounding does. */
  bool LocateClosed(double q, std::int32_t* bin) const
  {
    return LocateWithin(q, bin) || LocateAtBounds(q, bin);
  }

  /** Where bin @p k begins and the one before it ends: the maximum for k = Count. */
  double GetBorder(std::int32_t k) const { return k < Count ? k * Separation + Minimum : Maximum; }
  /** The width of bin @p k: of the last one what is left of the range. */
  double GetWidth(std::int32_t k) const { return GetBorder(k + 1) - GetBorder(k); }

  /** The middle of the bin. */
  double Midpoint(std::int32_t bin) const { return (bin + 0.5) * Separation + Minimum; }

private:
  TREL_RARE bool LocateAtBounds(double q, std::int32_t* bin) const;
};

/**
 * The region of interest of a set of grids and what their bins are measured with: the bins of each
 * axis, the time gates, and the centre and half-lengths of the shape that the grids belong to.
 */
struct trelGridWindow
{
  trelGridBins Bins[NumberOfGridAxes];  ///< of the mesh axes only Count is used
  trelGridBins Time;                    ///< time gates, ps; Count is the number of time bins
  double Center[3] = {0.0, 0.0, 0.0};
  double HalfAxis[3] = {0.0, 0.0, 0.0};
};

/** Angles between radians and degrees, with the double nearest to pi. */
constexpr double RadiansPerDegree = 3.141592653589793 / 180.0;

/** Azimuth in degrees of the point (dx, dy) at distance r from the centre; NaN at r = 0. */
inline double AzimuthDegrees(double dx, double dy, double r)
{
  constexpr double pi = 3.141592653589793;
  const double angle = std::acos(dx / r);
  return (dy < 0.0 ? 6.283185307179586 - angle : angle) * 180.0 / pi;
}

/**
 * The azimuth bin of the point (dx, dy) at distance r from the centre. With one bin for the whole
 * turn, as a grid of rings has, the angle itself is not needed: only 360 degrees, which rounding
 * makes of a point just below the axis, and NaN have no bin.
 */
inline bool IsFullRing(const trelGridBins& bins)
{
  return bins.Separation == 360.0 && bins.Count == 1 && bins.Minimum == 0.0 &&
         bins.Maximum == 360.0;
}

inline bool LocateAzimuth(const trelGridBins& bins, double dx, double dy, double r,
                          std::int32_t* bin)
{
  if (IsFullRing(bins)) {
    const double cosine = dx / r;
    *bin = 0;
    return std::fabs(cosine) <= 1.0 && !(dy < 0.0 && cosine == 1.0);
  }
  return bins.Locate(AzimuthDegrees(dx, dy, r), bin);
}

/** The bin of the point @p position along @p axis, within the window or also at its edges. */
template <trelGridAxis axis, bool within>
inline bool LocateBin(const trelGridWindow& window, const double position[3], std::int32_t* bin)
{
  const trelGridBins& bins = window.Bins[axis];
  const auto locate = [&](double q) {
    return within ? bins.LocateWithin(q, bin) : bins.Locate(q, bin);
  };
  if constexpr (axis <= GridZ) {
    return locate(position[axis]);
  } else {
    const double dx = position[0] - window.Center[0];
    const double dy = position[1] - window.Center[1];
    const double r = std::sqrt(dx * dx + dy * dy);
    return axis == GridR ? locate(r) : LocateAzimuth(bins, dx, dy, r, bin);
  }
}

/** The cell of LocateCell(), if @p within from bins that LocateWithin() finds. */
template <bool within, trelGridAxis... axes>
inline bool CombineBins(const trelGridWindow& window, const double position[3], std::size_t* cell)
{
  std::size_t index = 0;
  std::int32_t bin = 0;
  const bool found = ((LocateBin<axes, within>(window, position, &bin) &&
                       (index = index * static_cast<std::uint32_t>(window.Bins[axes].Count) +
                                static_cast<std::uint32_t>(bin),
                        true)) &&
                      ...);
  if (found) *cell = index;
  return found;
}

/** LocateCell() where some coordinate has no bin by LocateWithin(): at an edge or outside. */
template <trelGridAxis... axes>
TREL_RARE bool LocateCellAtEdge(const trelGridWindow& window, const double position[3],
                                std::size_t* cell)
{
  return CombineBins<false, axes...>(window, position, cell);
}

/**
 * The cell of @p position in a grid whose dimensions are @p axes, the first outermost: row-major,
 * so cell = (bin0 * Count1 + bin1) * Count2 + bin2. False if the point has no bin on some axis.
 */
template <trelGridAxis... axes>
bool LocateCell(const trelGridWindow& window, const double position[3], std::size_t* cell)
{
  return CombineBins<true, axes...>(window, position, cell) ||
         LocateCellAtEdge<axes...>(window, position, cell);
}

/**
 * Azimuth in degrees of the point (dx, dy) other than the origin, within AzimuthSlack: the arc
 * tangent of an eighth of the turn by Abramowitz and Stegun, Handbook of Mathematical Functions,
 * 4.4.47, which is off by up to 1e-5 rad.
 */
inline double EstimateAzimuthDegrees(double dx, double dy)
{
  const double ax = std::fabs(dx), ay = std::fabs(dy);
  const double x = std::min(ax, ay) / std::max(ax, ay);
  const double z = x * x;
  double sum = 0.0208351 * z - 0.0851330;
  sum = sum * z + 0.1801410;
  sum = sum * z - 0.3302995;
  sum = sum * z + 0.9998660;
  double angle = x * sum / RadiansPerDegree;
  angle = ay > ax ? 90.0 - angle : angle;
  angle = dx < 0.0 ? 180.0 - angle : angle;
  return dy < 0.0 ? 360.0 - angle : angle;
}

/** More than EstimateAzimuthDegrees() and AzimuthDegrees() differ by, degrees. */
constexpr double AzimuthSlack = 0.001;

/** A point is near the half-planes y = 0 if its azimuth is less away from them, rad. There rounding
 * may carry the cosine of AzimuthDegrees() to 1 and beyond. Above the same, in mm, it is not near
 * the axis either, where squares may underflow. */
constexpr double NearAxis = 1e-6;

/** LocateAzimuth() without an arc cosine. False is not final near the borders of bins. */
inline bool LocateAzimuthWithin(const trelGridBins& bins, double dx, double dy, std::int32_t* bin)
{
  const double azimuth = EstimateAzimuthDegrees(dx, dy);
  std::int32_t last = 0;
  return bins.LocateWithin(azimuth - AzimuthSlack, bin) &&
         bins.LocateWithin(azimuth + AzimuthSlack, &last) && *bin == last;
}

/** LocateCell() in cells of r, azimuth and z, with @p rings of one azimuth. False is not final at
 * the edges and near the axis. */
template <bool rings>
inline bool LocateCylinderWithin(const trelGridWindow& window, const double position[3],
                                 std::size_t* cell)
{
  const double dx = position[0] - window.Center[0];
  const double dy = position[1] - window.Center[1];
  const double r = std::sqrt(dx * dx + dy * dy);
  std::int32_t ring = 0, sector = 0, layer = 0;
  if (!(std::fabs(dy) > NearAxis * (r + NearAxis)) || !window.Bins[GridR].LocateWithin(r, &ring) ||
      !window.Bins[GridZ].LocateWithin(position[2], &layer)) {
    return false;
  }
  if (!rings && !LocateAzimuthWithin(window.Bins[GridA], dx, dy, &sector)) return false;
  const auto sectors = rings ? 1 : static_cast<std::size_t>(window.Bins[GridA].Count);
  *cell = (static_cast<std::size_t>(ring) * sectors + static_cast<std::size_t>(sector)) *
              static_cast<std::size_t>(window.Bins[GridZ].Count) +
          static_cast<std::size_t>(layer);
  return true;
}

/** LocateAzimuth() of the exact rules: a point on the axis has the first azimuth. */
bool LocateAzimuthExactly(const trelGridBins& bins, double dx, double dy, std::int32_t* bin);

/** Whether the bins are one for the whole turn, as in a grid of rings: no angle is needed then. */
inline bool IsWholeTurn(const trelGridBins& bins)
{
  return bins.Count == 1 && bins.Minimum <= 0.0 && bins.Maximum >= 360.0;
}

/** LocateBin() of the exact rules, within the window or also at its edges. */
template <trelGridAxis axis, bool within>
inline bool LocateBinExactly(const trelGridWindow& window, const double position[3],
                             std::int32_t* bin)
{
  const trelGridBins& bins = window.Bins[axis];
  const auto locate = [&](double q) {
    return within ? bins.LocateWithin(q, bin) : bins.LocateClosed(q, bin);
  };
  if constexpr (axis <= GridZ) {
    return locate(position[axis]);
  } else {
    const double dx = position[0] - window.Center[0];
    const double dy = position[1] - window.Center[1];
    if constexpr (axis == GridR) return locate(std::sqrt(dx * dx + dy * dy));
    *bin = 0;
    if (within || IsWholeTurn(bins)) return IsWholeTurn(bins);
    return LocateAzimuthExactly(bins, dx, dy, bin);
  }
}

/** The cell of LocateCellExactly(), if @p within by the short forms alone. */
template <bool within, trelGridAxis... axes>
inline bool CombineBinsExactly(const trelGridWindow& window, const double position[3],
                               std::size_t* cell)
{
  std::size_t index = 0;
  std::int32_t bin = 0;
  const bool found = ((LocateBinExactly<axes, within>(window, position, &bin) &&
                       (index = index * static_cast<std::uint32_t>(window.Bins[axes].Count) +
                                static_cast<std::uint32_t>(bin),
                        true)) &&
                      ...);
  if (found) *cell = index;
  return found;
}

/** LocateCellExactly() at an edge, outside, and by an angle. */
template <trelGridAxis... axes>
TREL_RARE bool LocateCellExactlyAtEdge(const trelGridWindow& window, const double position[3],
                                       std::size_t* cell)
{
  return CombineBinsExactly<false, axes...>(window, position, cell);
}

/** LocateCell() of the exact rules: no point of the region is without a cell. */
template <trelGridAxis... axes>
bool LocateCellExactly(const trelGridWindow& window, const double position[3], std::size_t* cell)
{
  return CombineBinsExactly<true, axes...>(window, position, cell) ||
         LocateCellExactlyAtEdge<axes...>(window, position, cell);
}

/**
 * The cell on the surface of an ellipsoid, by deflection and azimuth about its centre. The rows are
 * stored from high deflection to low; files and the imaging of detectors depend on it.
 */
bool LocateCellDA(const trelGridWindow& window, const double position[3], std::size_t* cell);

/** LocateCellDA() of the exact rules, in the same order of rows. */
bool LocateCellDAExactly(const trelGridWindow& window, const double position[3], std::size_t* cell);

/** The bins of LocateCellDA() as they are counted, from low deflection to high. */
bool LocateBinsDA(const trelGridWindow& window, const double position[3], std::int32_t* binD,
                  std::int32_t* binA);

#endif
