#include "trelParameterValidation.h"

#include <algorithm>
#include <limits>

#include "trelLightSource.h"
#include "trelList.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"
#include "trelTissue.h"

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

/** What is wrong with a light source of this kind in a simulation of this type; null if nothing. */
static const char* FindLuminousFault(SimulationType simulation, LuminousType luminous)
{
  for (const trelParameterValidationLuminousRule& rule : luminousRules) {
    if (rule.Simulation != simulation) continue;
    if (luminous != rule.Allowed && luminous != rule.AlsoAllowed) return rule.Fault;
  }
  return nullptr;
}

/** Whether a coefficient lies in its range; infinity and NaN lie in none. */
static bool IsWithin(double value, double least,
                     double greatest = std::numeric_limits<double>::max())
{
  return value >= least && value <= greatest;
}

/** What makes the coefficients impossible; null if nothing. */
static const char* FindOpticalFault(const trelOpticalParameter& optics)
{
  if (!IsWithin(optics.GetAbsorption(), 0.0)) return "Non-physical absorption coefficient!\n";
  if (!IsWithin(optics.GetScattering(), 0.0)) return "Non-physical scattering coefficient!\n";
  if (!IsWithin(optics.GetAnisotropy(), -1.0, 1.0)) return "Non-physical anisotropy coefficient!\n";
  return IsWithin(optics.GetRefractiveIndex(), 1.0) ? nullptr : "Index of refraction < 1!\n";
}

/** The entries of @p list that belong to a wavelength: there may be more. */
template <class Entry>
static std::vector<Entry*> EntriesInUse(const trelList* list, std::int32_t wavelengths)
{
  std::vector<Entry*> entries = ItemsOf<Entry>(list);
  entries.resize(std::min(entries.size(), static_cast<std::size_t>(wavelengths)));
  return entries;
}

static bool HasNegativeEnergy(const trelSimulationParameter& parameter)
{
  const std::int32_t wavelengths = parameter.GetNumberOfWavelengths();
  for (const trelLightSource* source : ItemsOf<trelLightSource>(parameter.GetLightSources())) {
    for (const trelSpectrum* spectrum :
         EntriesInUse<trelSpectrum>(source->GetSpectra(), wavelengths)) {
      if (spectrum->GetEnergy() < 0.0) return true;
    }
  }
  return false;
}

static std::string FindTissueFault(const trelSimulationParameter& parameter,
                                   const trelWarningTaker& warn)
{
  const std::int32_t wavelengths = parameter.GetNumberOfWavelengths();
  const trelMedium* medium = parameter.GetMedium();
  for (const trelTissue* tissue : ItemsOf<trelTissue>(medium ? medium->GetTissues() : nullptr)) {
    for (const trelOpticalParameter* optics :
         EntriesInUse<trelOpticalParameter>(tissue->GetOpticalParameters(), wavelengths)) {
      if (optics->GetScattering() == 0.0 && !(optics->GetAbsorption() < 0.0)) {
        warn("Zero scattering coefficient!\n");
      }
      if (const char* fault = FindOpticalFault(*optics)) return fault;
    }
  }
  return "";
}

std::string FindModelFault(const trelSimulationParameter& parameter, const trelWarningTaker& warn)
{
  const bool isTimed = parameter.GetTimeDomain() || parameter.GetFrequencyDomain();
  const SimulationType simulation = parameter.GetSimulationType();
  if (isTimed && simulation == BLT) {
    return "The simulation of BLT cannot be conducted in time-domain or frequency-domain!\n";
  }
  for (const trelLightSource* source : ItemsOf<trelLightSource>(parameter.GetLightSources())) {
    if (const char* fault = FindLuminousFault(simulation, source->GetLuminousType())) return fault;
  }
  if (HasNegativeEnergy(parameter)) return "Spectrum Energy < 0!\n";
  return FindTissueFault(parameter, warn);
}

/** Which cells the surface of an outer shape can have. */
struct trelParameterValidationCoordinateRule
{
  ShapeType Shape;
  CoordinateType Accepted; /**< replaces one that is not accepted */
  CoordinateType AlsoAccepted;
  const char* Word; /**< how the warning about the replacement calls it */
};

// The rectangle's word is not the coordinate that it gets: logs are searched for the text as it is.
static const trelParameterValidationCoordinateRule surfaceCoordinateRules[] = {
    {ShapeRectangle, CoordinateCartesian, CoordinateCartesian, "Polar"},
    {ShapeEllipse, CoordinatePolar, CoordinatePolar, "Polar"},
    {ShapeEllipsoid, CoordinateSpherical, CoordinateSpherical, "Spherical"},
    {ShapeCylinder, CoordinateCartesian, CoordinateCylindrical, "Cartesian"},
    {ShapeTriangleMesh, CoordinateCartesian, CoordinateCartesian, "Cartesian"},
    {ShapeCube, CoordinateCartesian, CoordinateCartesian, "Cartesian"},
    {ShapeTetrahedron, CoordinateCartesian, CoordinateCartesian, "Cartesian"}};

CoordinateType FitTransmittanceCoordinate(const trelSimulationParameter& parameter,
                                          const trelWarningTaker& warn)
{
  const CoordinateType coordinate = parameter.GetTransmittanceCoordinate();
  const trelShapeObject* shape = parameter.GetOuterShape();
  for (const trelParameterValidationCoordinateRule& rule : surfaceCoordinateRules) {
    if (!shape || rule.Shape != shape->GetShapeType()) continue;
    if (coordinate == rule.Accepted || coordinate == rule.AlsoAccepted) return coordinate;
    warn("The coordinate type for saving the transmittance is modified to the " +
         std::string(rule.Word) + " automatically!\n");
    return rule.Accepted;
  }
  return coordinate;
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

std::string FindGridFault(const trelSimulationParameter& parameter, const trelScoringRegion& region)
{
  const bool isSeen = parameter.GetContinuousWave() && parameter.GetSaveTransmittance();
  if (parameter.GetNumberOfDetectors() > 0 && !isSeen) {
    return "The simulation of light propagation in freespace must be conducted in continue-wave "
           "domain!\n";
  }
  for (const trelAxis axis : parameter.GetScoringDemand().Axes) {
    if (region.GetSeparations()[axis] == 0.0) {
      return "The separation of ROI along " + std::string(GetAxisWord(axis)) + " cannot be zero!\n";
    }
  }
  // The deflection range is not tested: a reversed one has a negative number of cells, or none, and
  // the grids that need it then find no memory.
  for (const trelAxis axis : {AxisX, AxisY, AxisZ, AxisRadial, AxisAzimuth}) {
    if (region.GetROI()[2 * axis + 1] < region.GetROI()[2 * axis]) {
      return "The minimum cannot be greater than maximum in the setting of ROI along " +
             std::string(GetAxisWord(axis)) + "!\n";
    }
  }
  return "";
}
