#include "trelSurfaceElement.h"

#include <cmath>

std::int32_t IndexInBins(const trelGridBins& bins, double q)
{
  constexpr double limit = 2147483647.0;
  const double index = (q - bins.Minimum) / bins.Separation;
  return std::fabs(index) < limit ? static_cast<std::int32_t>(index) : -2147483647;
}

double AzimuthOfSinglePi(const trelGridWindow& window, const trelVector& hit, double* r)
{
  constexpr double twoPiSingle = 6.2831854820251465;
  const double dx = hit.X - window.Center[0];
  const double dy = hit.Y - window.Center[1];
  *r = std::sqrt(dx * dx + dy * dy);
  const double angle = std::acos(dx / *r);
  return (dy < 0.0 ? twoPiSingle - angle : angle) * 180.0 / PiSingle;
}

/** The normal of a flat face. */
static trelVector FlatNormal(trelFacePlace place)
{
  trelVector normal;
  normal[place / 2] = place % 2 == 1 ? 1.0 : -1.0;
  return normal;
}

void MakeFlatElement(const trelGridWindow& window, trelFacePlace place, const trelVector& hit,
                     SurfaceElement* element)
{
  element->Center = hit;
  element->Normal = FlatNormal(place);
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

void MakeDiscElement(const trelGridWindow& window, trelFacePlace place, const trelVector& hit,
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
  element->Center = {rm * std::cos(am) + window.Center[0], rm * std::sin(am) + window.Center[1],
                     hit.Z};
  element->Normal = FlatNormal(place);
  // The same area at every radius; images depend on it.
  element->Area = PiSingle * radial.Separation * radial.Separation * azimuth.Separation / 360.0;
}
