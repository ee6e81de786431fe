#include "trelModelTraps.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <sstream>

#include "trelFiberDetector.h"
#include "trelGridAxes.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMedium.h"
#include "trelScaleTraps.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"
#include "trelTissue.h"
#include "trelTissueTraps.h"

/** The light sources for which @p isConcerned holds, counted from 1. */
template <class Test>
static std::vector<int> SelectSources(const trelSimulationParameter& parameter, Test isConcerned)
{
  std::vector<int> found;
  int number = 0;
  for (const trelLightSource* source : parameter.GetLightSources()->GetItems<trelLightSource>()) {
    ++number;
    if (isConcerned(*source)) found.push_back(number);
  }
  return found;
}

static bool IsFluorophore(const trelLightSource& source)
{
  return source.GetLuminousType() == LuminousEmission;
}

/** Whether an entry of a source that shines by itself has what @p isConcerned looks for. */
template <class Test>
static bool HasEntry(const trelLightSource& source, Test isConcerned)
{
  if (IsFluorophore(source)) return false;
  const auto entries = source.GetSpectra()->GetItems<trelSpectrum>();
  return std::any_of(entries.begin(), entries.end(),
                     [&](const trelSpectrum* entry) { return isConcerned(*entry); });
}

static std::string FindMissingPackets(const trelSimulationParameter& parameter)
{
  const auto hasPackets = [](const trelSpectrum& entry) { return entry.GetPhotonNumber() > 0; };
  if (SelectSources(parameter, [&](const trelLightSource& source) {
        return HasEntry(source, hasPackets);
      }).empty()) {
    return "lightsourcespectrumindex: got 0 packets in all: every result is 0; give a source that"
           " shines by itself a number of packets";
  }
  const std::vector<int> found = SelectSources(parameter, [&](const trelLightSource& source) {
    return HasEntry(source, [&](const trelSpectrum& entry) {
      return entry.GetEnergy() > 0.0 && !hasPackets(entry);
    });
  });
  if (found.empty()) return "";
  return "lightsourcespectrumindex: got an energy but 0 packets for " +
         ListNumbers("light source", found) + ": nothing starts there; write a number of packets";
}

static std::string FindMissingEnergy(const trelSimulationParameter& parameter)
{
  const std::vector<int> found = SelectSources(parameter, [](const trelLightSource& source) {
    return HasEntry(source, [](const trelSpectrum& entry) {
      return entry.GetPhotonNumber() > 0 && entry.GetEnergy() == 0.0;
    });
  });
  if (found.empty()) return "";
  return "lightsourcespectrumindex: got packets but an energy of 0 for " +
         ListNumbers("light source", found) +
         ": they are traced and add nothing to a result; write an energy";
}

static std::string FindFluorescenceOnThreads(const trelSimulationParameter& parameter)
{
  if (parameter.GetSimulationType() != FMT || parameter.GetThreadNumber() <= 1) return "";
  if (SelectSources(parameter, IsFluorophore).empty()) return "";
  return "threadnum: got " + std::to_string(parameter.GetThreadNumber()) +
         " with FMT: only packets of the first thread make a fluorophore emit, and the emission is"
         " too weak by an unknown factor; write threadnum 1";
}

/** Kind and box of a shape: two analytic shapes that agree in them are the same. */
using trelModelTrapsKey = std::array<double, 7>;

static trelModelTrapsKey GetKey(const trelShapeObject& shape)
{
  trelModelTrapsKey key;
  shape.GetBoundingBox(key.data());
  key[6] = shape.GetShapeType();
  return key;
}

static std::string FindDyesOnTissues(const trelSimulationParameter& parameter)
{
  std::map<trelModelTrapsKey, int> tissues;
  int number = 0;
  for (const trelTissue* tissue : parameter.GetMedium()->GetTissues()->GetItems<trelTissue>()) {
    ++number;
    if (tissue->GetShape()) tissues.emplace(GetKey(*tissue->GetShape()), number);
  }
  const std::vector<int> found = SelectSources(parameter, [&](const trelLightSource& source) {
    return IsFluorophore(source) && source.GetShape() &&
           tissues.count(GetKey(*source.GetShape())) > 0;
  });
  if (found.empty()) return "";
  return "lightsourceaxis: the fluorophore of " + ListNumbers("light source", found) +
         " is exactly the shape of a tissue: packets that stop at the boundary convert there too,"
         " and the emission is too strong; make the fluorophore 1e-6 mm smaller";
}

/** Whether all packets start on the line along z through @p axis and stay on it until they scatter.
 *  A half turn has a sine of 1e-16, which is lost or not in the sum, as in a packet's coordinate.
 */
static bool ShinesAlong(const trelLightSource& source, const trelVector& axis)
{
  if (IsFluorophore(source) || !source.GetShape()) return false;
  const trelVector center = source.GetShape()->GetCenter();
  const trelVector halfAxes = source.GetShape()->GetHalfAxes();
  double deflection[2];
  source.GetDeflectionRange(&deflection[0], &deflection[1]);
  for (int i = 0; i < 2; ++i) {
    if (center[i] != axis[i] || halfAxes[i] != 0.0) return false;
    for (const double angle : deflection) {
      if (axis[i] + std::sin(angle) != axis[i]) return false;
    }
  }
  return true;
}

static bool HasCellsAboutAxis(const trelSimulationParameter& parameter)
{
  return parameter.GetDimension() == Dimension3D &&
         ((parameter.GetSaveAbsorption() &&
           parameter.GetAbsorptionCoordinate() == CoordinateCylindrical) ||
          (parameter.GetSaveTransmittance() &&
           parameter.GetTransmittanceCoordinate() == CoordinateCylindrical));
}

static std::string FindSourcesOnAxis(const trelSimulationParameter& parameter)
{
  const trelShapeObject* outer = parameter.GetOuterShape();
  if (!outer || !HasCellsAboutAxis(parameter)) return "";
  const std::vector<int> found = SelectSources(parameter, [&](const trelLightSource& source) {
    return ShinesAlong(source, outer->GetCenter());
  });
  if (found.empty()) return "";
  return "lightsourcecenter: all packets of " + ListNumbers("light source", found) +
         " start on the axis of the cylindrical cells and along it: what is scored exactly on the"
         " axis is in no cell; shift the source by 1e-5 mm";
}

/** Whether a cell is larger than the solid that it cuts, along an axis of the solid's grids. */
static bool HasTooLargeCells(const trelShapeObject& fiber, const double separations[NumberOfAxes])
{
  const trelVector halfAxes = fiber.GetHalfAxes();
  bool tooLarge = separations[AxisAzimuth] > 360.0;
  if (fiber.GetTraits().IsAllRound()) return tooLarge || separations[AxisDeflection] > 180.0;
  for (int axis = 0; axis < 3; ++axis)
    tooLarge = tooLarge || separations[axis] > 2.0 * halfAxes[axis];
  return tooLarge;
}

static std::string FindTooLargeFiberCells(const trelSimulationParameter& parameter)
{
  double separations[NumberOfAxes];
  parameter.GetSeparations(separations);
  std::vector<int> found;
  int number = 0;
  for (const trelDetector* detector : parameter.GetDetectors()->GetItems<trelDetector>()) {
    ++number;
    if (detector->GetDetectorType() != DetectorFiber) continue;
    const auto* shape = static_cast<const trelFiberDetector*>(detector)->GetShape();
    if (shape && HasTooLargeCells(*shape, separations)) found.push_back(number);
  }
  if (found.empty()) return "";
  return "roiseparation: its cells are larger than the fibre of " + ListNumbers("detector", found) +
         ": what it collects is divided by the area of a whole cell and comes out too small; make"
         " the cells no larger than the fibre";
}

/** Whether the region, as cut to the medium, is the whole of it along an axis in space. */
static bool IsWholeAlong(const trelSimulationParameter& parameter, trelAxis axis)
{
  double roi[2 * NumberOfAxes];
  parameter.GetROI(roi);
  const trelBox box = parameter.GetOuterShape()->GetBox();
  return axis <= AxisZ && roi[2 * axis] == box.Low[axis] && roi[2 * axis + 1] == box.High[axis];
}

/** How many numbers of a line "roi" reach the largest value along the axis; a plane has no z. */
static int CountNumbersUpTo(trelAxis axis, SimulationDimension dimension)
{
  return 2 * axis + (dimension == Dimension2D && axis > AxisZ ? 0 : 2);
}

static std::string FindShortRegion(const trelSimulationParameter& parameter)
{
  if (!parameter.GetOuterShape()) return "";
  const SimulationDimension dimension = parameter.GetDimension();
  std::string words;
  int needed = 0;
  for (const trelAxis axis : parameter.GetScoringDemand().Axes) {
    // In space the angles that are left out are those of a whole turn.
    if (dimension == Dimension3D && axis >= AxisAzimuth) continue;
    if (2 * axis + 2 <= parameter.GetROINumbersGiven() || IsWholeAlong(parameter, axis)) continue;
    const std::string word = GetAxisWord(axis);
    if (words.find(word) == std::string::npos) words += (words.empty() ? "" : ", ") + word;
    needed = std::max(needed, CountNumbersUpTo(axis, dimension));
  }
  if (words.empty()) return "";
  return "roi: got fewer than the " + std::to_string(needed) +
         " numbers that the cells need: those left out are 0, and along " + words +
         " nothing or only a part of the medium is saved; write all of them, or no roi";
}

static std::string FindMissingTimeGates(const trelSimulationParameter& parameter)
{
  if (!parameter.GetOuterShape() || !parameter.GetTimeDomain()) return "";
  if (parameter.GetNumberOfTimeSteps() != 0) return "";
  std::ostringstream text;
  text << "domain: got td " << parameter.GetTimeStart() << " " << parameter.GetTimeEnd() << " "
       << parameter.GetTimeStep()
       << ": there is no time gate, and nothing is saved by time; write an end after the start and"
          " a step above 0 ps";
  return text.str();
}

/** Which rules have a trap. */
enum trelModelTrapsRules
{
  TrapOfClassic,
  TrapOfBoth,
  TrapOfExact  ///< or of both, but the log of a classic run is fixed
};

/** A row of the table: a check, which rules have the trap, and how grave it is. */
struct trelModelTrapsRow
{
  std::string (*Check)(const trelSimulationParameter& parameter);
  trelModelTrapsRules Rules;
  trelFindingKind Kind;
};

std::vector<trelModelTrap> FindModelTraps(const trelSimulationParameter& parameter)
{
  static const trelModelTrapsRow rows[] = {
      {FindEqualIndices, TrapOfClassic, FindingWarning},
      {FindSharedFaces, TrapOfClassic, FindingWarning},
      {FindNestedTissues, TrapOfClassic, FindingWarning},
      {FindThinTissues, TrapOfClassic, FindingWarning},
      {FindNearlyClearTissues, TrapOfClassic, FindingWarning},
      {FindMeshesOutOfScale, TrapOfBoth, FindingMistake},
      {FindMissingPackets, TrapOfBoth, FindingMistake},
      {FindMissingEnergy, TrapOfBoth, FindingWarning},
      {FindSourcesOnAxis, TrapOfClassic, FindingWarning},
      {FindDyesOnTissues, TrapOfClassic, FindingWarning},
      {FindFluorescenceOnThreads, TrapOfClassic, FindingWarning},
      {FindTooLargeFiberCells, TrapOfBoth, FindingWarning},
      {FindShortRegion, TrapOfBoth, FindingWarning},
      {FindMissingTimeGates, TrapOfBoth, FindingMistake},
      {FindEngulfingTissues, TrapOfExact, FindingWarning},
      {FindTissuesBeside, TrapOfExact, FindingWarning},
      {FindWideSources, TrapOfExact, FindingWarning},
      {FindFibersThatCollectNothing, TrapOfExact, FindingWarning}};
  std::vector<trelModelTrap> traps;
  if (!parameter.GetMedium() || !parameter.GetLightSources()) return traps;
  const auto other = parameter.GetRules() == RulesExact ? TrapOfClassic : TrapOfExact;
  for (const trelModelTrapsRow& row : rows) {
    if (row.Rules == other) continue;
    std::string text = row.Check(parameter);
    if (!text.empty()) traps.push_back({row.Kind, std::move(text)});
  }
  return traps;
}
