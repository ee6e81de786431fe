#include "trelParameterValidation.h"

#include <algorithm>
#include <limits>

#include "trelGridAxes.h"
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

/** What is wrong with the profile of a source; null if nothing, or if it has none. */
static const char* FindProfileFault(const trelLightSource& source)
{
  if (source.GetProfileWidth() == 0.0) return nullptr;
  const trelShapeObject* shape = source.GetShape();
  double h[3] = {};
  if (shape) shape->GetHalfAxes(&h[0], &h[1], &h[2]);
  const bool isDisc = shape && shape->GetShapeType() == ShapeCylinder && h[2] == 0.0;
  if (isDisc && source.IsSolid()) return nullptr;
  return "lightsourceprofile: expected a solid disc, a cylinder of half-height 0\n";
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
      // By the exact rules such tissue is as good as any.
      const bool isTold = parameter.GetRules() == RulesClassic;
      if (isTold && optics->GetScattering() == 0.0 && !(optics->GetAbsorption() < 0.0)) {
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
    if (const char* fault = FindProfileFault(*source)) return fault;
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

// Defined here so that trelSimulationParameter.cpp does not depend on the rules.
bool trelSimulationParameter::Validate()
{
  const auto warn = [this](const std::string& text) { ShowWarning(text); };
  std::string fault = FindModelFault(*this, warn);
  if (fault.empty()) {
    TransmittanceCoordinate = FitTransmittanceCoordinate(*this, warn);
    // The region as it stands: the set one, not yet cut to the shape.
    fault = FindGridFault(*this, Region);
  }
  if (!fault.empty()) ShowError(fault);
  return fault.empty();
}
