#include "trelModelCheck.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

#include "trelExactLaunch.h"
#include "trelExactModel.h"
#include "trelGridTable.h"
#include "trelLaunchContext.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelModelTraps.h"
#include "trelOpticalParameter.h"
#include "trelPacketNumbers.h"
#include "trelPhoton.h"
#include "trelScoringRegion.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"
#include "trelTissue.h"
#include "trelTissueMap.h"
#include "trelTraceableMesh.h"

/** Pilot packets of a source, and how long they may take: a source in a mesh that is nearly flat
 *  draws thousands of points for each. */
static constexpr int mostPilotPackets = 4000;
static constexpr int fewestPilotPackets = 100;
static constexpr std::chrono::milliseconds mostPilotTime{500};

static const char* const modeWords[] = {"BLT", "FMT", "DOT"};
static const char* const lightWords[] = {"bioluminescence", "diffuse", "excitation", "emission"};

static trelCheckedShape LookAtShape(const trelShapeObject* shape)
{
  trelCheckedShape checked;
  if (!shape) return checked;
  const std::string words = shape->GetTraits().Words;
  checked.Kind = words.substr(0, words.find(' '));
  checked.Box = shape->GetBox();
  checked.Measure = shape->ComputeMeasure();
  return checked;
}

void trelModelCheck::Look(trelSimulationParameter& parameter, bool allowOpen)
{
  Rules = parameter.GetRules() == RulesExact ? "exact" : "classic";
  Mode = modeWords[parameter.GetSimulationType()];
  Dimension = parameter.GetDimension() == Dimension2D ? 2 : 3;
  Threads = parameter.GetThreadNumber();
  Packets = parameter.ComputeTotalPhotons();
  if (!parameter.GetMedium() || !parameter.GetLightSources()) return;
  AmbientRefractiveIndex = parameter.GetMedium()->GetAmbientRefractiveIndex();
  parameter.PrepareGeometry();
  LookAtTissues(parameter);
  LookAtOverlaps(parameter);
  LookAtMeshes(parameter, allowOpen);
  LookAtSources(parameter);
  LookAtGrids(parameter);
  LookAtTraps(parameter);
}

void trelModelCheck::LookAtTraps(const trelSimulationParameter& parameter)
{
  for (const trelModelTrap& trap : FindModelTraps(parameter)) {
    const int line = Findings.GetLineOfText(trap.Text);
    // The remedy stands behind the last semicolon.
    const std::size_t end = trap.Text.rfind("; ");
    Findings.Add(trap.Kind, line, 0, trap.Text.substr(0, end),
                 end == std::string::npos ? "" : trap.Text.substr(end + 2));
  }
  if (parameter.GetRules() == RulesExact) FindNearFaces(parameter, Findings);
}

void trelModelCheck::LookAtTissues(const trelSimulationParameter& parameter)
{
  const trelMedium& medium = *parameter.GetMedium();
  int index = 0;
  for (const trelTissue* tissue : medium.GetTissues()->GetItems<trelTissue>()) {
    trelCheckedTissue checked{index + 1,
                              tissue->GetName(),
                              LookAtShape(tissue->GetShape()),
                              index == medium.GetOutermostTissueIndex(),
                              {},
                              {},
                              {}};
    for (const trelOpticalParameter* optics :
         tissue->GetOpticalParameters()->GetItems<trelOpticalParameter>()) {
      const double interaction = optics->GetAbsorption() + optics->GetScattering();
      checked.Optics.push_back({optics->GetWavelength(), optics->GetAbsorption(),
                                optics->GetScattering(), optics->GetAnisotropy(),
                                optics->GetRefractiveIndex(), 1.0 / interaction});
    }
    Tissues.push_back(std::move(checked));
    ++index;
  }
  trelTissueRelations relations = RelateTissues(parameter);
  for (std::size_t i = 0; i < Tissues.size(); ++i) {
    Tissues[i].LiesIn = std::move(relations.LiesIn[i]);
    Tissues[i].Touches = std::move(relations.Touches[i]);
  }
  RelationsCut = relations.IsCut;
}

/** What an overlap in part with the outermost tissue means is that it clips the other. */
static void TellOverlaps(const std::vector<trelCheckedOverlap>& overlaps, int outermost,
                         trelModelFindings& findings)
{
  for (const trelCheckedOverlap& overlap : overlaps) {
    const bool isClipped = overlap.First == outermost || overlap.Second == outermost;
    const int inner = overlap.First == outermost ? overlap.Second : overlap.First;
    const std::string name = "tissue " + std::to_string(inner);
    const int line = findings.GetLineOf(name, "tissue");
    if (isClipped) {
      findings.Add(FindingWarning, line, 0,
                   name + " sticks out of tissue " + std::to_string(outermost) +
                       ", the outermost, which clips it",
                   "enclose both in a larger outermost tissue if that is not meant");
      continue;
    }
    findings.Add(FindingWarning, line, 0,
                 "tissues " + std::to_string(overlap.First) + " and " +
                     std::to_string(overlap.Second) + " overlap in part: tissue " +
                     std::to_string(overlap.Winner) + ", the smaller, has what they share",
                 "let one lie in the other, or beside it, if that is not meant");
  }
}

void trelModelCheck::LookAtOverlaps(const trelSimulationParameter& parameter)
{
  const trelMedium& medium = *parameter.GetMedium();
  trelTissueMap map;
  if (medium.GetShapeIsTetrahedron() || RelationsCut || !map.Build(medium)) return;
  for (const trelTissueMap::Overlap& overlap : map.FindOverlaps())
    Overlaps.push_back({overlap.First + 1, overlap.Second + 1, overlap.Winner + 1});
  if (parameter.GetRules() == RulesExact)
    TellOverlaps(Overlaps, medium.GetOutermostTissueIndex() + 1, Findings);
}

void trelModelCheck::AddSurface(const std::string& owner, const std::string& setting,
                                const trelShapeObject* shape, bool allowOpen)
{
  if (!shape || shape->GetShapeType() != ShapeTriangleMesh || shape->IsEmpty()) return;
  trelMeshCheck mesh = CheckSurface(static_cast<const trelTraceableMesh&>(*shape));
  mesh.Owner = owner;
  const int line = Findings.GetLineOf(owner, setting);
  if (!mesh.IsClosed()) {
    Findings.Add(allowOpen ? FindingWarning : FindingMistake, line, 1,
                 "the surface of " + owner + " is not closed: " + std::to_string(mesh.OpenEdges) +
                     " edges have one triangle, " + std::to_string(mesh.NonManifoldEdges) +
                     " have more than two, and its inside is undefined",
                 "close it in a mesh editor, or run it as it is with --allow-open");
  }
  if (mesh.Inverted > 0) {
    Findings.Add(FindingWarning, line, 1,
                 "the triangles of " + owner + " do not all face outward: " +
                     std::to_string(mesh.Inverted) + " edges join two that face opposite sides",
                 "let the mesh editor orient the surface");
  }
  Meshes.push_back(std::move(mesh));
}

void trelModelCheck::LookAtMeshes(const trelSimulationParameter& parameter, bool allowOpen)
{
  const trelMedium& medium = *parameter.GetMedium();
  if (medium.GetTetrahedron() && !medium.GetTetrahedron()->IsEmpty()) {
    Meshes.push_back(CheckTetrahedra(*medium.GetTetrahedron()));
    Meshes.back().Owner = "medium";
    if (Meshes.back().Regions > static_cast<int>(Tissues.size())) {
      Findings.Add(FindingMistake, Findings.GetLineOf("", "tissuenum"), 1,
                   "the mesh has " + std::to_string(Meshes.back().Regions) +
                       " regions, but there are " + std::to_string(Tissues.size()) + " tissues",
                   "describe a tissue for each region, in their order");
    }
  }
  for (int i = 0; i < parameter.GetNumberOfTissues(); ++i) {
    AddSurface("tissue " + std::to_string(i + 1), "tissuepath", parameter.GetTissue(i)->GetShape(),
               allowOpen);
  }
  for (int i = 0; i < parameter.GetNumberOfLightSources(); ++i) {
    AddSurface("lightsource " + std::to_string(i + 1), "lightsourcepath",
               parameter.GetLightSource(i)->GetShape(), allowOpen);
  }
}

/** Launches packets of sources by the rules of a model, to see whether they meet it. */
class trelModelCheckPilot final : public trelLaunchContext
{
public:
  /** Takes the model, whose geometry must have been prepared. */
  explicit trelModelCheckPilot(trelSimulationParameter& parameter)
      : Medium(parameter.GetMedium()), IsExact(parameter.GetRules() == RulesExact)
  {
    Numbers.Start(1, 0, 0);
    IsReady = IsExact ? parameter.GetOuterShape() && Model.Resolve(parameter)
                      : Medium->IsGridReady() || HasMesh();
  }
  double NextRandom() override { return Numbers.NextRandom(); }
  trelMedium* GetMedium() override { return Medium; }

  /** Fills in what became of some thousand packets of the source. */
  void Launch(const trelLightSource& source, trelCheckedSource& checked)
  {
    // A copy: an entry keeps the weight that its first launch worked out.
    trelSpectrum entry;
    entry.SetPhotonNumber(1);
    trelExactLaunch launch;
    if (!IsReady || (IsExact && !launch.Prepare(source, entry, Model))) return;
    const auto start = std::chrono::steady_clock::now();
    while (checked.Tried < mostPilotPackets) {
      const bool isLate = std::chrono::steady_clock::now() - start > mostPilotTime;
      if (isLate && checked.Tried >= fewestPilotPackets) break;
      ++checked.Tried;
      const trelLaunchOutcome outcome = IsExact ? Try(launch) : Try(source, entry);
      checked.Met += outcome == LaunchNotMet ? 0 : 1;
      checked.Reflected += outcome == LaunchReflected ? 1 : 0;
    }
  }

private:
  bool HasMesh() const
  {
    return Medium->GetShapeIsTetrahedron() && Medium->GetTetrahedron() &&
           !Medium->GetTetrahedron()->IsEmpty();
  }
  trelLaunchOutcome Try(const trelExactLaunch& launch)
  {
    trelLaunched launched;
    return launch.Launch(Model.Map, Numbers, &launched);
  }
  trelLaunchOutcome Try(const trelLightSource& source, trelSpectrum& entry)
  {
    trelPhoton photon;
    if (!source.LaunchPhoton(this, &photon, &entry)) return LaunchNotMet;
    const bool meets =
        !source.IsInternal() ||
        Medium->GetTissueIndex(photon.PositionX, photon.PositionY, photon.PositionZ) >= 0;
    return meets ? LaunchDone : LaunchNotMet;
  }

  trelPacketNumbers Numbers;
  trelMedium* Medium;
  trelExactModel Model;
  bool IsExact;
  bool IsReady;
};

/** Tells that the pilot of a source that has packets launched none. */
static void TellNotMet(const trelCheckedSource& source, trelModelFindings& findings)
{
  const std::string owner = "lightsource " + std::to_string(source.Number);
  const int center = findings.GetLineOf(owner, "lightsourcecenter");
  findings.Add(FindingMistake, center > 0 ? center : findings.GetLineOf(owner, "lightsource"), 0,
               "nothing is launched: of " + std::to_string(source.Tried) + " packets of " + owner +
                   " none " + (source.IsInternal ? "starts in the medium" : "meets the medium"),
               source.IsInternal
                   ? "put it into the medium, or write lightsourceproperty external"
                   : "point it at the medium with lightsourcecenter, lightsourceazimuthangle"
                     " and lightsourcedeflectangle");
}

/** Warns of a source whose packets all meet the medium beyond the critical angle. */
static void TellReflected(const trelCheckedSource& source, trelModelFindings& findings)
{
  const std::string owner = "lightsource " + std::to_string(source.Number);
  findings.Add(FindingWarning, findings.GetLineOf(owner, "lightsource"), 0,
               "no light enters: what meets the medium of the " + std::to_string(source.Tried) +
                   " packets of " + owner +
                   " that were tried is reflected beyond the critical"
                   " angle",
               "turn it towards the surface with lightsourcedeflectangle, or see whether"
               " ambientmediumr is meant");
}

void trelModelCheck::LookAtSources(trelSimulationParameter& parameter)
{
  trelModelCheckPilot pilot(parameter);
  int number = 0;
  for (const trelLightSource* source : parameter.GetLightSources()->GetItems<trelLightSource>()) {
    trelCheckedSource checked{++number,
                              lightWords[source->GetLuminousType()],
                              source->IsInternal(),
                              source->IsSolid(),
                              source->IsSpecular(),
                              LookAtShape(source->GetShape()),
                              {}};
    std::uint64_t packets = 0;
    for (const trelSpectrum* entry : source->GetSpectra()->GetItems<trelSpectrum>()) {
      checked.Entries.push_back(
          {entry->GetWavelength(), entry->GetPhotonNumber(), entry->GetEnergy()});
      packets += entry->GetPhotonNumber();
    }
    const bool shines = source->GetLuminousType() != LuminousEmission;
    if (shines && source->GetShape()) pilot.Launch(*source, checked);
    // What is wrong already may well be why.
    const bool isTold = Findings.CountErrors() > 0;
    if (packets > 0 && checked.Tried > 0 && checked.Met == 0 && !isTold)
      TellNotMet(checked, Findings);
    if (packets > 0 && checked.Reflected > 0 && checked.Reflected == checked.Met)
      TellReflected(checked, Findings);
    Sources.push_back(std::move(checked));
  }
}

/** How many cells a grid has along an axis. */
static std::int64_t CountBins(trelGridAxis axis, const trelGridWindow& window,
                              const trelShapeObject& outer)
{
  if (axis < GridMeshFace) return std::max(window.Bins[axis].Count, 0);
  const auto& mesh = static_cast<const trelTraceableMesh&>(outer);
  return axis == GridMeshFace ? mesh.GetNumberOfTriangles() : mesh.GetNumberOfVertices();
}

/** The grids of one kind in one domain, which holds @p copies numbers in each cell and gate. */
static void AddGrids(const trelSimulationParameter& parameter, const trelGridUses& uses,
                     const trelCheckedGrid& domain, double copies,
                     std::vector<trelCheckedGrid>& grids)
{
  static const char* const names[NumberOfGridAxes] = {
      "x", "y", "z", "radius", "azimuth", "deflection", "triangles", "vertices"};
  const trelShapeObject& outer = *parameter.GetOuterShape();
  const trelGridWindow window = parameter.GetScoringRegion().MakeWindow(&outer);
  bool isDone[NumberOfGrids] = {};
  for (const trelGridUse& use : uses) {
    const bool isSaved = use.Save == SaveAlways || parameter.GetFaceFlags()[use.Save];
    if (!isSaved || isDone[use.Grid]) continue;
    isDone[use.Grid] = true;
    const trelGridDescription& description = GetGridDescription(use.Grid);
    trelCheckedGrid grid = domain;
    grid.Name = description.Name;
    grid.Cells = 1.0;
    for (int i = 0; i < description.NumberOfAxes; ++i) {
      const trelGridAxis axis = description.Axes[i];
      grid.Axes.emplace_back(names[axis], CountBins(axis, window, outer));
      grid.Cells *= static_cast<double>(grid.Axes.back().second);
    }
    if (domain.Domain == "TD") {
      grid.Axes.emplace_back("gates", std::max(parameter.GetNumberOfTimeSteps(), 0));
      grid.Cells *= static_cast<double>(grid.Axes.back().second);
    }
    grid.Bytes = grid.Cells * copies * sizeof(double) * parameter.GetNumberOfWavelengths();
    grids.push_back(std::move(grid));
  }
}

void trelModelCheck::LookAtGrids(const trelSimulationParameter& parameter)
{
  const trelShapeObject* outer = parameter.GetOuterShape();
  if (!outer) return;
  const ShapeType shape = outer->GetShapeType();
  trelGridUses absorption, transmittance;
  if (parameter.GetSaveAbsorption())
    absorption = GetAbsorptionUses(shape, parameter.GetAbsorptionCoordinate());
  if (parameter.GetSaveTransmittance())
    transmittance = GetTransmittanceUses(shape, parameter.GetTransmittanceCoordinate());
  const struct
  {
    const char* Name;
    bool IsOn;
    double Copies;
  } domains[] = {{"CW", parameter.GetContinuousWave(), 1.0},
                 {"TD", parameter.GetTimeDomain(), 1.0},
                 {"FD", parameter.GetFrequencyDomain(), 4.0}};
  for (const auto& domain : domains) {
    trelCheckedGrid grid;
    grid.Domain = domain.Name;
    if (!domain.IsOn) continue;
    AddGrids(parameter, absorption, grid, domain.Copies, Grids);
    AddGrids(parameter, transmittance, grid, domain.Copies, Grids);
  }
  if (parameter.GetSavePhotonFlyTime()) {
    trelCheckedGrid rows;
    rows.Name = "PhotonFlyTimes";
    rows.Domain = "CW";
    rows.Axes = {{"packets", static_cast<std::int64_t>(Packets)}};
    rows.Cells = static_cast<double>(Packets);
    rows.Bytes = rows.Cells * 4.0 * sizeof(double);
    Grids.push_back(std::move(rows));
  }
}
