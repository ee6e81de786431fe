#include "trelMediumResult.h"

#include <algorithm>
#include <limits>

#include "trelFluence.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"

static constexpr trelGridDomains DomainsCW = {GridCW, GridCW};
static constexpr trelGridDomains DomainsTD = {GridTD, GridTD};
static constexpr trelGridDomains DomainsFD = {GridFDReal, GridFDPha};

/** By trelGridKind. */
static constexpr const char* OutOfMemoryTexts[] = {
    "Out of memory while allocating memory for absorption matrix, please check the settings of "
    "ROI and ROI Separation!",
    "Out of memory while allocating memory for transmittance matrix, please check the settings of "
    "ROI and ROI Separation!"};
static constexpr const char* FailureTexts[] = {
    "Error happens while initializing absorption results!",
    "Error happens while initializing transmittance results!"};

trelMediumResult::~trelMediumResult()
{
  trelMediumResult::ReleaseResults();
  ReleaseReference(Tetrahedra);
}

bool trelMediumResult::Initialize(const trelSimulationParameter* parameter)
{
  if (!parameter) return false;
  InitializeRoi(parameter);  // without the faces of its mesh a run still has its other grids
  if (ScoresFluence && !AbsorbedTotals.Allocate(Window.Time.Count)) {
    ErrorMacro(OutOfMemoryTexts[GridAbsorption]);
    return false;
  }
  if (DomainCW && !(InitializeCWAbsorption(parameter) && InitializeCWTransmittance(parameter) &&
                    InitializePhotonFlyTimes(parameter))) {
    return false;
  }
  if (DomainTD && !(InitializeTDAbsorption(parameter) && InitializeTDTransmittance(parameter))) {
    return false;
  }
  return !DomainFD || (InitializeFDAbsorption(parameter) && InitializeFDTransmittance(parameter));
}

bool trelMediumResult::InitializeRoi(const trelSimulationParameter* parameter)
{
  const trelShapeObject* shape = parameter->GetOuterShape();
  Window = parameter->GetScoringRegion().MakeWindow(shape);
  DomainCW = parameter->GetContinuousWave();
  DomainTD = parameter->GetTimeDomain();
  DomainFD = parameter->GetFrequencyDomain();
  AbsorptionOutput = parameter->GetSaveAbsorption();
  TransmittanceOutput = parameter->GetSaveTransmittance();
  Rules = parameter->GetRules();
  ScoresFluence = Rules == RulesExact && AbsorptionOutput && parameter->GetSaveFluenceRate();
  if (DomainTD) {
    Window.Time = {parameter->GetTimeStart(), parameter->GetTimeEnd(), parameter->GetTimeStep(),
                   parameter->GetNumberOfTimeSteps()};
  }
  TakeElements(*parameter);
  return !shape || CopyMesh(*shape);
}

/** Holds the mesh whose elements have cells, if the run scores them. */
void trelMediumResult::TakeElements(const trelSimulationParameter& parameter)
{
  ReleaseReference(Tetrahedra);
  Window.Bins[GridElement].Count = 0;
  if (!parameter.GetScoresElements()) return;
  ReplaceReference(Tetrahedra, parameter.GetMedium()->GetTetrahedron());
  Window.Bins[GridElement].Count = static_cast<std::int32_t>(Tetrahedra->GetNumberOfTetrahedra());
}

/** Copies the faces of a mesh that bounds the medium; other shapes have none. */
bool trelMediumResult::CopyMesh(const trelShapeObject& shape)
{
  if (!shape.GetTraits().IsMesh()) return true;
  const bool isTetraMesh = shape.GetShapeType() == ShapeTetrahedron;
  const auto* mesh = dynamic_cast<const trelTraceableMesh*>(&shape);
  if (!mesh) return AllocateMeshFaces(0, 0, isTetraMesh);
  const auto faces = static_cast<std::int32_t>(mesh->GetNumberOfTriangles());
  if (!AllocateMeshFaces(faces, static_cast<std::int32_t>(mesh->GetNumberOfVertices()),
                         isTetraMesh)) {
    return false;
  }
  for (std::int32_t f = 0; f < faces; ++f) {
    const trelTraceableTriangle& triangle = mesh->GetTriangleArray()[f];
    std::copy_n(triangle.Vertices, 3, Mesh.GetMeshFaces()[f].Vertices);
    Mesh.GetMeshFaces()[f].Area = triangle.Area;
  }
  if (isTetraMesh) {
    const auto& tetrahedra = static_cast<const trelMCTetrahedron&>(*mesh);
    for (std::int32_t f = 0; f < faces; ++f) {
      Mesh.GetMeshFaceOnBoundary()[f] = tetrahedra.IsOuterTriangle(static_cast<std::uint32_t>(f));
    }
  }
  return true;
}

bool trelMediumResult::AllocateMeshFaces(std::int32_t faces, std::int32_t vertices,
                                         bool isTetraMesh)
{
  const bool allocated = Mesh.Allocate(faces, vertices, isTetraMesh);
  Window.Bins[GridMeshFace].Count = Mesh.GetCountMeshFace();
  Window.Bins[GridMeshVertex].Count = Mesh.GetCountMeshVertex();
  if (!allocated) {
    ErrorMacro("Out of memory while intializing ROI, the number of mesh is too big!");
  }
  return allocated;
}

bool trelMediumResult::InitializeCWAbsorption(const trelSimulationParameter* parameter)
{
  return InitializeGrids(*parameter, GridAbsorption, DomainsCW);
}

bool trelMediumResult::InitializeTDAbsorption(const trelSimulationParameter* parameter)
{
  return InitializeGrids(*parameter, GridAbsorption, DomainsTD);
}

bool trelMediumResult::InitializeFDAbsorption(const trelSimulationParameter* parameter)
{
  return InitializeGrids(*parameter, GridAbsorption, DomainsFD);
}

bool trelMediumResult::InitializeCWTransmittance(const trelSimulationParameter* parameter)
{
  return InitializeGrids(*parameter, GridTransmittance, DomainsCW);
}

bool trelMediumResult::InitializeTDTransmittance(const trelSimulationParameter* parameter)
{
  return InitializeGrids(*parameter, GridTransmittance, DomainsTD);
}

bool trelMediumResult::InitializeFDTransmittance(const trelSimulationParameter* parameter)
{
  return InitializeGrids(*parameter, GridTransmittance, DomainsFD);
}

/** The grids of @p kind that the outer shape and the coordinate type ask for; none if they do not
 *  fit or there is no shape. */
static trelGridUses FindUses(const trelSimulationParameter& parameter, trelGridKind kind)
{
  const trelShapeObject* shape = parameter.GetOuterShape();
  if (!shape) return {};
  if (kind != GridAbsorption)
    return GetTransmittanceUses(shape->GetShapeType(), parameter.GetTransmittanceCoordinate());
  trelGridUses uses = GetAbsorptionUses(shape->GetShapeType(), parameter.GetAbsorptionCoordinate());
  if (!uses.IsEmpty() && parameter.GetScoresElements()) uses.Add({AnyFace, AbsorptionElement});
  return uses;
}

bool trelMediumResult::InitializeGrids(const trelSimulationParameter& parameter, trelGridKind kind,
                                       trelGridDomains domains)
{
  ReleaseGrids(kind, domains);
  Save[SaveAlways] = true;
  const bool isAbsorption = kind == GridAbsorption;
  if (!(isAbsorption ? parameter.GetSaveAbsorption() : parameter.GetSaveTransmittance())) {
    return true;
  }
  if (!isAbsorption) CopySaveFlags(parameter);
  const trelGridUses uses = FindUses(parameter, kind);
  if ((domains.First != GridTD || AllocateTimeTotals(kind)) && !uses.IsEmpty()) {
    if (AllocateGrids(uses, kind, domains)) return true;
    if (uses.begin()->Grid == TransmittanceMeshFace && domains.First == GridCW) {
      ErrorMacro("Initial transmit result error!");
      return false;
    }
  }
  ErrorMacro(FailureTexts[kind]);
  return false;
}

bool trelMediumResult::AllocateTimeTotals(trelGridKind kind)
{
  if (TimeTotals.Allocate(kind, Window.Time.Count)) return true;
  // The first of the arrays of absorption has a report of its own.
  const bool isFirst = kind == GridAbsorption && !TimeTotals.GetTotals(TotalOfAbsorption2D);
  ErrorMacro((isFirst ? "2d " : "") << OutOfMemoryTexts[kind]);
  return false;
}

bool trelMediumResult::AllocateGrids(const trelGridUses& uses, trelGridKind kind,
                                     trelGridDomains domains)
{
  for (int domain = domains.First; domain <= domains.Last; ++domain) {
    if (!Grids[domain].Allocate(uses, Save, Window)) {
      ErrorMacro(OutOfMemoryTexts[kind]);
      return false;
    }
  }
  return true;
}

void trelMediumResult::CopySaveFlags(const trelSimulationParameter& parameter)
{
  std::copy_n(parameter.GetFaceFlags(), NumberOfSaveFlags, Save);
}

bool trelMediumResult::InitializePhotonFlyTimes(const trelSimulationParameter* parameter)
{
  if (!parameter->GetSavePhotonFlyTime()) return true;
  const bool allocated = PhotonFlyTimes.Allocate(PhotonNumber);
  if (!allocated) ErrorMacro("Out of memory while allocating memory for TOF!");
  return allocated;
}

void trelMediumResult::ReleaseGrids(trelGridKind kind, trelGridDomains domains)
{
  for (int domain = domains.First; domain <= domains.Last; ++domain) {
    Grids[domain].Release(kind);
    if (kind == GridAbsorption) Grids[domain].Release(GridElementAbsorption);
  }
  if (domains.First == GridTD) TimeTotals.Release(kind);
  if (domains.First != GridCW) return;
  for (int total = 0; total < NumberOfTotals; ++total) {
    if (GetTotalKind(static_cast<trelGridTotal>(total)) == kind) Totals[total] = 0.0;
  }
}

void trelMediumResult::ReleaseResults()
{
  for (const trelGridKind kind : {GridAbsorption, GridTransmittance}) {
    for (const trelGridDomains domains : {DomainsCW, DomainsTD, DomainsFD})
      ReleaseGrids(kind, domains);
  }
  AbsorbedTotals.Release();
  PhotonFlyTimes.Release();
  Mesh.Release();
}

void trelMediumResult::Finalize(const trelSimulationParameter* parameter, bool fluenceRate)
{
  if (Rules == RulesExact) {
    FinalizeExactly();
    return;
  }
  if (DomainCW) {
    SumCWAbsorption();
    SumCWTransmittance();
    NormalizeCWAbsorption();
    NormalizeCWTransmittance();
  }
  if (DomainTD) {
    SumTDAbsorption();
    SumTDTransmittance();
    NormalizeTDAbsorption();
    NormalizeTDTransmittance();
  }
  if (DomainFD) {
    NormalizeFDAbsorption();
    NormalizeFDTransmittance();
  }
  if (fluenceRate) ConvertToFluence(parameter);
  if (DomainFD) ComputeAmplitudeAndPhase();
}

void trelMediumResult::FinalizeExactly()
{
  SumTotals();
  DivideExactly();
  if (DomainFD) ComputeAmplitudeAndPhase();
}

void trelMediumResult::DivideExactly()
{
  DivideByTrueMeasures(Grids, Window);
  if (Tetrahedra) DivideByVolumes(Grids, *Tetrahedra);
  for (const trelGridDomain domain : DensityDomains) {
    if (!Grids[domain].SettleMesh(Mesh)) ErrorMacro(OutOfMemoryTexts[GridTransmittance]);
  }
}

void trelMediumResult::FinalizeErrors()
{
  DivideExactly();
  for (const trelGridSet& grids : Grids) {
    trelGrid* vertices = grids.Get(TransmittanceMeshVertex);
    if (!vertices) continue;
    std::fill_n(vertices->GetCells(), vertices->GetNumberOfCells(),
                std::numeric_limits<double>::quiet_NaN());
  }
}

void trelMediumResult::SumTotals()
{
  if (DomainCW) SumSteadyTotals();
  if (DomainTD) SumTotalsByGate();
}

void trelMediumResult::SumSteadyTotals()
{
  Grids[GridCW].Sum(GridTransmittance, Totals);
  if (!ScoresFluence) {
    Grids[GridCW].Sum(GridAbsorption, Totals);
    return;
  }
  for (const trelGridId id : GetGridIds(GridAbsorption))
    if (Grids[GridCW].Get(id)) Totals[GetGridDescription(id).Total] = AbsorbedTotals.Sum();
}

void trelMediumResult::SumTotalsByGate()
{
  TimeTotals.Sum(GridTransmittance, Grids[GridTD]);
  if (!ScoresFluence) {
    TimeTotals.Sum(GridAbsorption, Grids[GridTD]);
    return;
  }
  for (const trelGridId id : GetGridIds(GridAbsorption)) {
    if (!Grids[GridTD].Get(id)) continue;
    for (std::int32_t gate = 0; gate < Window.Time.Count; ++gate)
      TimeTotals.AddBin(GetGridDescription(id).Total, gate, AbsorbedTotals.GetGates()[gate]);
  }
}

void trelMediumResult::NormalizeCWAbsorption()
{
  Normalize(GridAbsorption, DomainsCW);
}

void trelMediumResult::NormalizeTDAbsorption()
{
  Normalize(GridAbsorption, DomainsTD);
}

void trelMediumResult::NormalizeFDAbsorption()
{
  Normalize(GridAbsorption, {GridFDReal, GridFDImag});
}

void trelMediumResult::NormalizeCWTransmittance()
{
  Normalize(GridTransmittance, DomainsCW);
}

void trelMediumResult::NormalizeTDTransmittance()
{
  Normalize(GridTransmittance, DomainsTD);
}

void trelMediumResult::NormalizeFDTransmittance()
{
  Normalize(GridTransmittance, {GridFDReal, GridFDImag});
}

void trelMediumResult::Normalize(trelGridKind kind, trelGridDomains domains)
{
  for (int domain = domains.First; domain <= domains.Last; ++domain) {
    Grids[domain].Normalize(kind, Window);
    if (kind == GridTransmittance && !Grids[domain].SettleMesh(Mesh)) {
      ErrorMacro(OutOfMemoryTexts[kind]);
    }
  }
}

void trelMediumResult::ConvertToFluence(const trelSimulationParameter* parameter)
{
  trelMedium* medium = parameter ? parameter->GetMedium() : nullptr;
  if (medium) trelFluence(*medium, SpectrumId, Window).Convert(Grids);
}

void trelMediumResult::ComputeAmplitudeAndPhase()
{
  ::ComputeAmplitudeAndPhase(Grids, Rules);
}

void trelMediumResult::ComputeRanges()
{
  const bool isOn[NumberOfGridDomains] = {DomainCW, DomainTD, false, false, DomainFD, DomainFD};
  for (const trelGridKind kind : {GridAbsorption, GridTransmittance}) {
    for (int domain = 0; domain < NumberOfGridDomains; ++domain) {
      if (isOn[domain]) Ranges[domain][kind] = Grids[domain].GetRange(kind);
    }
    if (DomainTD) TimeTotals.ComputeRanges(kind, Grids[GridTD]);
  }
}
