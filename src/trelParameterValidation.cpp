#include "trelParameterValidation.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "trelOpticalParameter.h"

/** The kinds of light that the sources of a simulation may have, and what is said of any other. */
struct trelParameterValidationLuminousRule
{
  SimulationType Simulation;
  LuminousType Allowed;
  LuminousType AlsoAllowed;
  const char* Fault;
};

static const trelParameterValidationLuminousRule luminousRules[] = {
    {FMT, LuminousExcitation, LuminousEmission,
     "The luminous type of the light source in FMT must be Excitation or Emission!\n"},
    {BLT, LuminousBioluminescence, LuminousBioluminescence,
     "The luminous type of the light source in BLT is wrong!\n"},
    {DOT, LuminousDiffuse, LuminousDiffuse,
     "The luminous type of the light source in DOT is wrong!\n"}};

const char* FindLuminousFault(SimulationType simulation, LuminousType luminous)
{
  for (const trelParameterValidationLuminousRule& rule : luminousRules) {
    if (rule.Simulation != simulation) continue;
    if (luminous != rule.Allowed && luminous != rule.AlsoAllowed) return rule.Fault;
  }
  return nullptr;
}

/** Whether a coefficient lies in its range; infinity and what is not a number lie in none. */
static bool IsWithin(double value, double least,
                     double greatest = std::numeric_limits<double>::max())
{
  return value >= least && value <= greatest;
}

const char* FindOpticalFault(const trelOpticalParameter& optics)
{
  if (!IsWithin(optics.GetAbsorption(), 0.0)) return "Non-physical absorption coefficient!\n";
  if (!IsWithin(optics.GetScattering(), 0.0)) return "Non-physical scattering coefficient!\n";
  if (!IsWithin(optics.GetAnisotropy(), -1.0, 1.0)) return "Non-physical anisotropy coefficient!\n";
  return IsWithin(optics.GetRefractiveIndex(), 1.0) ? nullptr : "Index of refraction < 1!\n";
}

// The rectangle's word is not the coordinate that it gets: logs are
// searched for the text as it is.
static const trelSurfaceCoordinateRule surfaceCoordinateRules[] = {
    {ShapeRectangle, CoordinateCartesian, CoordinateCartesian, "Polar"},
    {ShapeEllipse, CoordinatePolar, CoordinatePolar, "Polar"},
    {ShapeEllipsoid, CoordinateSpherical, CoordinateSpherical, "Spherical"},
    {ShapeCylinder, CoordinateCartesian, CoordinateCylindrical, "Cartesian"},
    {ShapeTriangleMesh, CoordinateCartesian, CoordinateCartesian, "Cartesian"},
    {ShapeCube, CoordinateCartesian, CoordinateCartesian, "Cartesian"},
    {ShapeTetrahedron, CoordinateCartesian, CoordinateCartesian, "Cartesian"}};

const trelSurfaceCoordinateRule* FindSurfaceCoordinateRule(ShapeType shape)
{
  for (const trelSurfaceCoordinateRule& rule : surfaceCoordinateRules) {
    if (rule.Shape == shape) return &rule;
  }
  return nullptr;
}

const char* GetAxisWord(trelAxis axis)
{
  static const char* const words[NumberOfAxes] = {"X-Axis",
                                                  "Y-Axis",
                                                  "Z-Axis",
                                                  "radial direction",
                                                  "azimuth angle direction",
                                                  "deflection angle direction"};
  return words[axis];
}

std::vector<trelAxis> GetAbsorptionAxes(CoordinateType coordinate, SimulationDimension dimension)
{
  const bool solid = dimension == Dimension3D;
  switch (coordinate) {
    case CoordinateCartesian:
      return solid ? std::vector<trelAxis>{AxisX, AxisY, AxisZ}
                   : std::vector<trelAxis>{AxisX, AxisY};
    case CoordinatePolar:
    case CoordinateCylindrical:
      return solid ? std::vector<trelAxis>{AxisZ, AxisRadial, AxisAzimuth}
                   : std::vector<trelAxis>{AxisRadial, AxisAzimuth};
    default:
      return {};
  }
}

/** The axes along which the surface of an outer shape is divided. */
struct trelParameterValidationAxesRule
{
  CoordinateType Coordinate;
  SimulationDimension Dimension;
  ShapeType Shape;
  std::vector<trelAxis> Axes;
};

std::vector<trelAxis> GetTransmittanceAxes(CoordinateType coordinate, SimulationDimension dimension,
                                           ShapeType shape)
{
  static const trelParameterValidationAxesRule rules[] = {
      {CoordinatePolar, Dimension2D, ShapeEllipse, {AxisRadial, AxisAzimuth}},
      {CoordinateCartesian, Dimension2D, ShapeRectangle, {AxisX, AxisY}},
      {CoordinateCartesian, Dimension3D, ShapeCube, {AxisX, AxisY, AxisZ}},
      {CoordinateCartesian, Dimension3D, ShapeCylinder, {AxisX, AxisY, AxisZ, AxisAzimuth}},
      {CoordinateCylindrical, Dimension3D, ShapeCylinder, {AxisZ, AxisRadial, AxisAzimuth}},
      {CoordinateSpherical, Dimension3D, ShapeEllipsoid, {AxisAzimuth, AxisDeflection}}};
  for (const trelParameterValidationAxesRule& rule : rules) {
    if (rule.Coordinate == coordinate && rule.Dimension == dimension && rule.Shape == shape) {
      return rule.Axes;
    }
  }
  return {};
}

std::int32_t CountCells(double range, double separation)
{
  const double cells = std::ceil(range / separation);
  if (std::isnan(cells)) return 0;
  constexpr double least = std::numeric_limits<std::int32_t>::min();
  constexpr double most = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(cells, least, most));
}

void CutRange(double lo, double hi, double* min, double* max)
{
  if (hi < *min || lo > *min) *min = lo;
  if (lo > *max || hi < *max) *max = hi;
}
