#include "trelGridWindow.h"

#include <algorithm>

bool trelGridBins::LocateAtBounds(double q, std::int32_t* bin) const
{
  const double slack = GridTolerance * (1.0 + std::fabs(Minimum) + std::fabs(Maximum));
  if (!(EndIndex > 0.0 && q >= Minimum - slack && q <= Maximum + slack)) return false;
  const double last = EndIndex - 1.0;
  *bin = static_cast<std::int32_t>(std::clamp((q - Minimum) / Separation, 0.0, last));
  return true;
}

bool LocateAzimuthExactly(const trelGridBins& bins, double dx, double dy, std::int32_t* bin)
{
  if (dx == 0.0 && dy == 0.0) return bins.LocateClosed(bins.Minimum, bin);
  const double angle = std::atan2(dy, dx) / RadiansPerDegree;
  // The ray of azimuth 0 is that of 360, too.
  const double other = angle + 360.0;
  return bins.LocateClosed(angle < 0.0 ? other : angle, bin) ||
         bins.LocateClosed(angle < 0.0 ? angle : other, bin);
}

bool LocateBinsDA(const trelGridWindow& window, const double position[3], std::int32_t* binD,
                  std::int32_t* binA)
{
  constexpr double pi = 3.141592653589793;
  const double dx = position[0] - window.Center[0];
  const double dy = position[1] - window.Center[1];
  const double dz = position[2] - window.Center[2];
  const double radius = std::sqrt(dx * dx + dy * dy + dz * dz);
  const double deflection = std::acos(dz / radius) * 180.0 / pi;
  if (!window.Bins[GridD].Locate(deflection, binD)) return false;
  // Rounding may make the distance from the axis smaller than |dx|, near the poles by much; the
  // bound keeps the cosine of the azimuth within [-1, 1].
  const double r = std::max(std::sin(deflection * pi / 180.0) * radius, std::fabs(dx));
  return window.Bins[GridA].Locate(AzimuthDegrees(dx, dy, r), binA);
}

bool LocateCellDA(const trelGridWindow& window, const double position[3], std::size_t* cell)
{
  std::int32_t binD = 0;
  std::int32_t binA = 0;
  if (!LocateBinsDA(window, position, &binD, &binA)) return false;
  const std::size_t row = static_cast<std::size_t>(window.Bins[GridD].Count - binD - 1);
  *cell = row * static_cast<std::size_t>(window.Bins[GridA].Count) + binA;
  return true;
}

bool LocateCellDAExactly(const trelGridWindow& window, const double position[3], std::size_t* cell)
{
  std::int32_t binD = 0;
  std::int32_t binA = 0;
  const double dx = position[0] - window.Center[0];
  const double dy = position[1] - window.Center[1];
  const double dz = position[2] - window.Center[2];
  const double deflection = std::atan2(std::sqrt(dx * dx + dy * dy), dz) / RadiansPerDegree;
  if (!window.Bins[GridD].LocateClosed(deflection, &binD)) return false;
  if (!LocateAzimuthExactly(window.Bins[GridA], dx, dy, &binA)) return false;
  const auto row = static_cast<std::size_t>(window.Bins[GridD].Count - binD - 1);
  *cell = row * static_cast<std::size_t>(window.Bins[GridA].Count) + static_cast<std::size_t>(binA);
  return true;
}
