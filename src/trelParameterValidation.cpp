#include "trelParameterValidation.h"

#include <algorithm>
#include <limits>
#include <set>

#include "trelLightSource.h"
#include "trelList.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelShapeObject.h"
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

CoordinateType FitTransmittanceCoordinate(const trelSimulationParameter& parameter,
                                          const trelWarningTaker& warn)
{
  const CoordinateType coordinate = parameter.GetTransmittanceCoordinate();
  const trelShapeObject* shape = parameter.GetOuterShape();
  if (!shape || shape->GetTraits().Admits(coordinate)) return coordinate;
  warn("The coordinate type for saving the transmittance is modified to the " +
       std::string(shape->GetTraits().CoordinateWord) + " automatically!\n");
  return shape->GetTraits().Coordinate;
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

/** Adds the axes along which light through @p place is divided in a shape of @p dimension. */
static void AddAxes(trelFacePlace place, CoordinateType coordinate, int dimension,
                    std::set<trelAxis>& axes)
{
  const bool isCartesian = coordinate == CoordinateCartesian;
  if (IsFlatPlace(place) && isCartesian) {
    for (int axis = 0; axis < dimension; ++axis)
      if (axis != place / 2) axes.insert(static_cast<trelAxis>(axis));
  } else if (IsFlatPlace(place)) {
    axes.insert({AxisRadial, AxisAzimuth});
  } else if (place == PlaceAroundZ) {
    axes.insert({AxisZ, AxisAzimuth});
  } else if (place == PlaceAllRound) {
    // The outline of an ellipse has azimuths alone, but models without a radial separation fail.
    axes.insert({coordinate == CoordinatePolar ? AxisRadial : AxisDeflection, AxisAzimuth});
  }
}

std::vector<trelAxis> GetTransmittanceAxes(CoordinateType coordinate, SimulationDimension dimension,
                                           const trelShapeTraits& shape)
{
  const SimulationDimension fitting = shape.IsPlanar() ? Dimension2D : Dimension3D;
  if (dimension != fitting || !shape.Admits(coordinate)) return {};
  std::set<trelAxis> axes;
  for (const trelShapeFace& face : shape)
    AddAxes(face.Place, coordinate, shape.Dimension, axes);
  return {axes.begin(), axes.end()};
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
