#include "trelSurfaceElement.h"

#include <algorithm>
#include <cmath>

std::int32_t IndexInBins(const trelGridBins& bins, double q)
{
  constexpr double limit = 2147483647.0;
  const double index = (q - bins.Minimum) / bins.Separation;
  return std::fabs(index) < limit ? static_cast<std::int32_t>(index) : -2147483647;
}

double AzimuthOfSinglePi(const trelGridWindow& window, const double hit[3], double* r)
{
  constexpr double twoPiSingle = 6.2831854820251465;
  const double dx = hit[0] - window.Center[0];
  const double dy = hit[1] - window.Center[1];
  *r = std::sqrt(dx * dx + dy * dy);
  const double angle = std::acos(dx / *r);
  return (dy < 0.0 ? twoPiSingle - angle : angle) * 180.0 / PiSingle;
}

void SetVector(double v[3], double x, double y, double z)
{
  v[0] = x;
  v[1] = y;
  v[2] = z;
}

/** The normal of a flat face. */
static void SetFlatNormal(trelFacePlace place, double normal[3])
{
  SetVector(normal, 0.0, 0.0, 0.0);
  normal[place / 2] = place % 2 == 1 ? 1.0 : -1.0;
}

void MakeFlatElement(const trelGridWindow& window, trelFacePlace place, const double hit[3],
                     SurfaceElement* element)
{
  std::copy_n(hit, 3, element->Center);
  SetFlatNormal(place, element->Normal);
  element->Area = 1.0;
  int inPlane = 0;
  for (int axis = 0; axis < 3; ++axis) {
    if (axis == place / 2) continue;
    const trelGridBins& bins = window.Bins[axis];
    const std::int32_t index = IndexInBins(bins, hit[axis]);
    element->Index[inPlane++] = index;
    element->Center[axis] = bins.Midpoint(index);
    element->Area *= bins.Separation;
  }
}

void MakeDiscElement(const trelGridWindow& window, trelFacePlace place, const double hit[3],
                     SurfaceElement* element)
{
  const trelGridBins& radial = window.Bins[GridR];
  const trelGridBins& azimuth = window.Bins[GridA];
  double r = 0.0;
  const double degrees = AzimuthOfSinglePi(window, hit, &r);
  element->Index[0] = IndexInBins(radial, r);
  element->Index[1] = IndexInBins(azimuth, degrees);
  const double rm = radial.Midpoint(element->Index[0]);
  const double am = RadiansOfSinglePi(azimuth.Midpoint(element->Index[1]));
  SetVector(element->Center, rm * std::cos(am) + window.Center[0],
            rm * std::sin(am) + window.Center[1], hit[2]);
  SetFlatNormal(place, element->Normal);
  // The same area at every radius; images depend on it.
  element->Area = PiSingle * radial.Separation * radial.Separation * azimuth.Separation / 360.0;
}
