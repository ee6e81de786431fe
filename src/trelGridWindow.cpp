#include "trelGridWindow.h"

#include <algorithm>

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
