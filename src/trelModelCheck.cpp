#include "trelModelCheck.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <sstream>

#include "trelExactLaunch.h"
#include "trelExactModel.h"
#include "trelFiberDetector.h"
#include "trelGridTable.h"
#include "trelLaunchContext.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelMemory.h"
#include "trelModelTraps.h"
#include "trelOpticalParameter.h"
#include "trelPacketNumbers.h"
#include "trelPhoton.h"
#include "trelPlaneDetector.h"
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
/** Cells of the map of tissues that is enough for them. */
static constexpr double pilotCells = 1e4;

static const char* const modeWords[] = {"BLT", "FMT", "DOT"};
/** By trelGridAxis, whose first ones are those of trelAxis. */
static const char* const axisNames[NumberOfGridAxes] = {
    "x", "y", "z", "radius", "azimuth", "deflection", "triangles", "vertices", "elements"};
static const char* const cellWords[] = {"polar", "cartesian", "cylindrical", "spherical"};
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
  if (WantedCut && !CutTissues(parameter, *WantedCut, &Cut.emplace())) Cut.reset();
  LookAtOverlaps(parameter);
  LookAtMeshes(parameter, allowOpen);
  LookAtSources(parameter);
  LookAtDetectors(parameter);
  LookAtScoring(parameter);
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
    std::sort(Tissues[i].LiesIn.begin(), Tissues[i].LiesIn.end());
    std::sort(Tissues[i].Touches.begin(), Tissues[i].Touches.end());
  }
  RelationPairs = relations.Pairs;
}

/** Whether a box reaches through all of the outermost tissue but along one axis: a layer or a half
 *  space, which is meant to be wider. */
static bool IsLayer(const trelCheckedShape& shape, const trelCheckedShape& outermost)
{
  if (shape.Kind != "cube" && shape.Kind != "rectangle") return false;
  const int dimension = shape.Kind == "cube" ? 3 : 2;
  int through = 0;
  for (int axis = 0; axis < dimension; ++axis) {
    const bool covers = shape.Box.Low[axis] <= outermost.Box.Low[axis] &&
                        shape.Box.High[axis] >= outermost.Box.High[axis];
    through += covers ? 1 : 0;
  }
  return through == dimension - 1;
}

/** What an overlap in part with the outermost tissue means is that it clips the other. */
static void TellOverlaps(const std::vector<trelCheckedOverlap>& overlaps,
                         const std::vector<trelCheckedTissue>& tissues, int outermost,
                         trelModelFindings& findings)
{
  const auto shapeOf = [&](int number) -> const trelCheckedShape& {
    return tissues[static_cast<std::size_t>(number - 1)].Shape;
  };
  for (const trelCheckedOverlap& overlap : overlaps) {
    const bool isClipped = overlap.First == outermost || overlap.Second == outermost;
    const int inner = overlap.First == outermost ? overlap.Second : overlap.First;
    if (isClipped && IsLayer(shapeOf(inner), shapeOf(outermost))) continue;
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
  // Nothing is asked where a grid would help.
  if (medium.GetShapeIsTetrahedron() || !map.Build(medium, 1.0)) return;
  for (const trelTissueOverlap& overlap : map.FindOverlaps(&OverlapPairs))
    Overlaps.push_back({overlap.First + 1, overlap.Second + 1, overlap.Winner + 1});
  if (parameter.GetRules() == RulesExact)
    TellOverlaps(Overlaps, Tissues, medium.GetOutermostTissueIndex() + 1, Findings);
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
  int number = 0;
  for (const trelTissue* tissue : ItemsOf<trelTissue>(medium.GetTissues()))
    AddSurface("tissue " + std::to_string(++number), "tissuepath", tissue->GetShape(), allowOpen);
  number = 0;
  for (const trelLightSource* source : ItemsOf<trelLightSource>(parameter.GetLightSources())) {
    AddSurface("lightsource " + std::to_string(++number), "lightsourcepath", source->GetShape(),
               allowOpen);
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
    IsReady = IsExact ? parameter.GetOuterShape() && Model.Resolve(parameter, pilotCells)
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
    if (!IsReady || (IsExact && !launch.Prepare(source, entry, entry.GetPhotonNumber(), Model)))
      return;
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

/** Where a source shines, in the words of the file. */
static void LookAtDirections(const trelLightSource& source, trelCheckedSource& checked)
{
  checked.Direction = source.GetDirection();
  checked.ProfileWidth = source.GetProfileWidth();
  source.GetAzimuthRange(&checked.Azimuth[0], &checked.Azimuth[1]);
  source.GetDeflectionRange(&checked.Deflection[0], &checked.Deflection[1]);
  for (double* range : {checked.Azimuth, checked.Deflection}) {
    // The file's degrees come back but for what rounding made of them.
    for (int i = 0; i < 2; ++i)
      range[i] = std::round(range[i] * (180.0 / Pi) * 1e9) / 1e9;
  }
}

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

/** A packet has a bit for each line of a dye that absorbs. */
static void TellTooManyDyes(const trelSimulationParameter& parameter, trelModelFindings& findings)
{
  std::size_t dyes = 0;
  int number = 0;
  for (const trelLightSource* source : ItemsOf<trelLightSource>(parameter.GetLightSources())) {
    ++number;
    if (source->GetLuminousType() != LuminousEmission) continue;
    int line = 0;
    for (const trelSpectrum* entry : ItemsOf<trelSpectrum>(source->GetSpectra())) {
      ++line;
      if (entry->GetFluorophoreAbsorption() == 0.0) continue;
      if (++dyes <= trelExactModel::MaximumDyes) continue;
      findings.Add(FindingError,
                   findings.GetLineOf("lightsource " + std::to_string(number),
                                      "lightsourcespectrumindex " + std::to_string(line)),
                   0,
                   "there are more than " + std::to_string(trelExactModel::MaximumDyes) +
                       " lines of dyes, as many as one model can have",
                   "let dyes of one kind share a mesh of several bodies, or leave some out");
      return;
    }
  }
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

/** Warns of a source none of whose packets gets into the medium. */
static void TellLost(const trelCheckedSource& source, trelModelFindings& findings)
{
  // What is wrong already may well be why.
  const bool isTold = findings.CountErrors() > 0;
  if (source.Tried > 0 && source.Met == 0 && !isTold) TellNotMet(source, findings);
  if (source.Reflected > 0 && source.Reflected == source.Met) TellReflected(source, findings);
}

/** The lines of a source; returns their packets. */
static std::uint64_t LookAtEntries(const trelLightSource& source, trelCheckedSource& checked)
{
  std::uint64_t packets = 0;
  for (const trelSpectrum* entry : ItemsOf<trelSpectrum>(source.GetSpectra())) {
    checked.Entries.push_back(
        {entry->GetWavelength(), entry->GetPhotonNumber(), entry->GetEnergy()});
    packets += entry->GetPhotonNumber();
    if (source.GetLuminousType() != LuminousEmission || entry->GetWavelength() == 0) continue;
    checked.Dyes.push_back({entry->GetWavelength(), entry->GetExcitationWavelength(),
                            entry->GetQuantumYield(), entry->GetFluorophoreAbsorption(),
                            entry->GetLifeTime()});
  }
  return packets;
}

void trelModelCheck::LookAtSources(trelSimulationParameter& parameter)
{
  if (parameter.GetRules() == RulesExact) TellTooManyDyes(parameter, Findings);
  std::optional<trelModelCheckPilot> pilot;
  if (LaunchesPilot) pilot.emplace(parameter);
  int number = 0;
  for (const trelLightSource* source : parameter.GetLightSources()->GetItems<trelLightSource>()) {
    trelCheckedSource checked{++number,
                              lightWords[source->GetLuminousType()],
                              source->IsInternal(),
                              source->IsSolid(),
                              source->IsSpecular(),
                              LookAtShape(source->GetShape()),
                              {}};
    const std::uint64_t packets = LookAtEntries(*source, checked);
    LookAtDirections(*source, checked);
    const bool shines = source->GetLuminousType() != LuminousEmission;
    if (pilot && shines && source->GetShape()) pilot->Launch(*source, checked);
    if (packets > 0) TellLost(checked, Findings);
    Sources.push_back(std::move(checked));
  }
}

static void LookAtCamera(const trelPlaneDetector& camera, trelCheckedDetector& checked)
{
  checked.Kind = "camera";
  checked.Center = camera.GetCenter();
  checked.Normal = camera.GetNormal();
  camera.GetSize(&checked.Width, &checked.Height);
  camera.GetResolution(&checked.Columns, &checked.Rows);
  checked.FocalLength = camera.GetFocalLength();
  checked.ImageDistance = camera.GetImageDistance();
  checked.Plane = PlaneNames[camera.GetVerticalPlane()];
}

void trelModelCheck::LookAtDetectors(const trelSimulationParameter& parameter)
{
  for (const trelDetector* detector : ItemsOf<trelDetector>(parameter.GetDetectors())) {
    trelCheckedDetector checked;
    checked.Number = static_cast<int>(Detectors.size()) + 1;
    if (detector->GetDetectorType() == DetectorPlane) {
      LookAtCamera(static_cast<const trelPlaneDetector&>(*detector), checked);
    } else {
      checked.Kind = "fiber";
      checked.Shape = LookAtShape(static_cast<const trelFiberDetector*>(detector)->GetShape());
    }
    Detectors.push_back(std::move(checked));
  }
}

void trelModelCheck::LookAtScoring(const trelSimulationParameter& parameter)
{
  const bool isExact = parameter.GetRules() == RulesExact;
  Scoring.IsCW = parameter.GetContinuousWave();
  if (parameter.GetTimeDomain()) {
    Scoring.Time = {"time", parameter.GetTimeStart(), parameter.GetTimeEnd(),
                    parameter.GetTimeStep()};
    Scoring.Gates = std::max(parameter.GetNumberOfTimeSteps(), 0);
  }
  if (parameter.GetFrequencyDomain()) Scoring.Frequency = parameter.GetFrequency();
  if (parameter.GetSaveAbsorption())
    Scoring.Absorption = cellWords[parameter.GetAbsorptionCoordinate()];
  if (parameter.GetSaveTransmittance())
    Scoring.Transmittance = cellWords[parameter.GetTransmittanceCoordinate()];
  Scoring.HasFluence = parameter.GetSaveFluenceRate();
  Scoring.HasFlyTimes = parameter.GetSavePhotonFlyTime();
  if (!isExact || parameter.GetFlyTimeMaxGiven()) Scoring.TimeLimit = parameter.GetFlyTimeMax();
  if (!isExact || parameter.GetStepNumberMaxGiven())
    Scoring.StepLimit = parameter.GetStepNumberMax();
  double roi[2 * NumberOfAxes], widths[NumberOfAxes];
  parameter.GetROI(roi);
  parameter.GetSeparations(widths);
  for (int axis = 0; axis < NumberOfAxes; ++axis) {
    if (Dimension == 2 && (axis == AxisZ || axis == AxisDeflection)) continue;
    Scoring.Region.push_back({axisNames[axis], roi[2 * axis], roi[2 * axis + 1], widths[axis]});
  }
}

/** How many cells a grid has along an axis. */
static std::int64_t CountBins(trelGridAxis axis, const trelGridWindow& window,
                              const trelShapeObject& outer)
{
  if (axis < GridMeshFace) return std::max(window.Bins[axis].Count, 0);
  if (axis == GridElement)
    return static_cast<const trelMCTetrahedron&>(outer).GetNumberOfTetrahedra();
  const auto& mesh = static_cast<const trelTraceableMesh&>(outer);
  return axis == GridMeshFace ? mesh.GetNumberOfTriangles() : mesh.GetNumberOfVertices();
}

/** The grids of one kind in one domain, which holds @p copies numbers in each cell and gate. */
static void AddGrids(const trelSimulationParameter& parameter, const trelGridUses& uses,
                     const trelCheckedGrid& domain, double copies,
                     std::vector<trelCheckedGrid>& grids)
{
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
      grid.Axes.emplace_back(axisNames[axis], CountBins(axis, window, outer));
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

void trelModelCheck::TellTooLargeGrids()
{
  double bytes = 0.0;
  for (const trelCheckedGrid& grid : Grids)
    bytes += grid.Bytes * SetsOfGrids;
  constexpr double mostAddressable = 1e18;
  if (bytes < mostAddressable && TakeMemory(static_cast<std::size_t>(bytes))) {
    ReturnMemory(static_cast<std::size_t>(bytes));
    return;
  }
  std::ostringstream text;
  text << "the grids take " << bytes / 1e9 << " GB";
  if (SetsOfGrids > 1) text << " with those of errors";
  text << ", more than the memory that is free";
  Findings.Add(
      FindingMistake, Findings.GetLineOf("", "roiseparation"), 0, text.str(),
      std::string("write larger cells in roiseparation, a smaller roi, or fewer time gates") +
          (SetsOfGrids > 1 ? "; --batches 1 takes a third, and has no errors" : ""));
}

void trelModelCheck::LookAtGrids(const trelSimulationParameter& parameter)
{
  const trelShapeObject* outer = parameter.GetOuterShape();
  if (!outer) return;
  const ShapeType shape = outer->GetShapeType();
  trelGridUses absorption, transmittance;
  if (parameter.GetSaveAbsorption())
    absorption = GetAbsorptionUses(shape, parameter.GetAbsorptionCoordinate());
  if (!absorption.IsEmpty() && parameter.GetScoresElements())
    absorption.Add({AnyFace, AbsorptionElement});
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
  TellTooLargeGrids();
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
