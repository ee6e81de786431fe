#ifndef trelGridWindow_h
#define trelGridWindow_h

#include <cmath>
#include <cstddef>
#include <cstdint>

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
  NumberOfGridAxes
};

/** Slack of every window test, in the unit of the tested quantity (mm, degrees, ps). A point on the
 *  rim of the window must not be lost to rounding. */
constexpr double GridTolerance = 1e-12;

/** Pi as a 32-bit float, held in a double. All bin measures use it; files depend on its last
 * digits. */
constexpr double PiSingle = 3.1415927410125732;

/**
 * The bins along one axis: [Minimum, Maximum] cut into Count bins of width Separation, the last one
 * perhaps wider than what is left of the range.
 */
struct trelGridBins
{
  double Minimum = 0.0;
  double Maximum = 0.0;
  double Separation = 0.0;
  std::int32_t Count = 0;

  /**
   * The bin of @p q: trunc((q - Minimum) / Separation). False, and @p bin untouched, if q lies
   * outside the window by more than GridTolerance, is not a number, or the bin is not one of the
   * Count bins: so a value just below the minimum has bin 0, and the upper edge of the last bin is
   * open.
   */
  bool Locate(double q, std::int32_t* bin) const
  {
    if (!(q - Minimum >= -GridTolerance && q - Maximum <= GridTolerance)) return false;
    const double index = (q - Minimum) / Separation;
    if (!(index > -1.0 && index < Count) || Count == 0) return false;
    *bin = static_cast<std::int32_t>(index);
    return true;
  }

  double Midpoint(std::int32_t bin) const { return (bin + 0.5) * Separation + Minimum; }
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

/** Azimuth in degrees of the point (dx, dy) at distance r from the centre; not a number at r = 0.
 */
inline double AzimuthDegrees(double dx, double dy, double r)
{
  constexpr double pi = 3.141592653589793;
  const double angle = std::acos(dx / r);
  return (dy < 0.0 ? 6.283185307179586 - angle : angle) * 180.0 / pi;
}

/** The coordinate of the point @p position along @p axis. */
template <trelGridAxis axis>
inline double GridCoordinate(const trelGridWindow& window, const double position[3])
{
  if constexpr (axis <= GridZ) {
    return position[axis];
  } else {
    const double dx = position[0] - window.Center[0];
    const double dy = position[1] - window.Center[1];
    const double r = std::sqrt(dx * dx + dy * dy);
    return axis == GridR ? r : AzimuthDegrees(dx, dy, r);
  }
}

/**
 * The cell of @p position in a grid whose dimensions are @p axes, the first outermost: row-major,
 * so cell = (bin0 * Count1 + bin1) * Count2 + bin2. False if the point has no bin on some axis.
 */
template <trelGridAxis... axes>
bool LocateCell(const trelGridWindow& window, const double position[3], std::size_t* cell)
{
  std::size_t index = 0;
  std::int32_t bin = 0;
  const bool found =
      ((window.Bins[axes].Locate(GridCoordinate<axes>(window, position), &bin) &&
        (index = index * static_cast<std::size_t>(window.Bins[axes].Count) + bin, true)) &&
       ...);
  *cell = index;
  return found;
}

/**
 * The cell on the surface of an ellipsoid, by deflection and azimuth about its centre. The rows are
 * stored from high deflection to low; files and the imaging of detectors depend on it. The azimuth
 * divides by sin(D) R, which is the distance from the axis only on a sphere.
 */
bool LocateCellDA(const trelGridWindow& window, const double position[3], std::size_t* cell);

#endif
