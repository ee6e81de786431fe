#include "trelSimulationParameter.h"

#include <algorithm>

#include "trelDetector.h"
#include "trelGridAxes.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelMedium.h"
#include "trelShapeObject.h"
#include "trelTissue.h"

trelSimulationParameter::trelSimulationParameter()
    : Medium(new trelMedium), LightSources(new trelList), Detectors(new trelList)
{
  Medium->Register();
}

trelSimulationParameter::~trelSimulationParameter()
{
  trelSimulationParameter::ClearModel();
}

void trelSimulationParameter::ClearModel()
{
  ReleaseReference(Medium);
  ReleaseList<trelLightSource>(LightSources, &trelObject::UnRegister);
  ReleaseList<trelDetector>(Detectors, &trelObject::UnRegister);
}

std::int32_t trelSimulationParameter::GetNumberOfTissues() const
{
  return Medium ? Medium->GetNumberOfTissues() : 0;
}

trelTissue* trelSimulationParameter::GetTissue(int i) const
{
  return Medium ? Medium->GetTissue(i) : nullptr;
}

trelShapeObject* trelSimulationParameter::GetOuterShape() const
{
  return Medium ? Medium->GetOuterShape() : nullptr;
}

void trelSimulationParameter::SetLightSources(trelList* sources)
{
  if (sources == LightSources) return;
  ReleaseList<trelLightSource>(LightSources, &trelObject::UnRegister);
  LightSources = sources;
}

bool trelSimulationParameter::GetScoresElements() const
{
  const trelMedium* medium = GetMedium();
  return SaveElements && Rules == RulesExact && SaveAbsorption && medium &&
         medium->GetShapeIsTetrahedron() && medium->GetTetrahedron();
}

std::int32_t trelSimulationParameter::GetNumberOfLightSources() const
{
  return LightSources ? LightSources->GetNumberOfItems() : 0;
}

trelLightSource* trelSimulationParameter::GetLightSource(int i) const
{
  return LightSources ? LightSources->GetItem<trelLightSource>(i) : nullptr;
}

void trelSimulationParameter::SetDetectors(trelList* detectors)
{
  if (detectors == Detectors) return;
  ReleaseList<trelDetector>(Detectors, &trelObject::UnRegister);
  Detectors = detectors;
}

std::int32_t trelSimulationParameter::GetNumberOfDetectors() const
{
  return Detectors ? Detectors->GetNumberOfItems() : 0;
}

trelDetector* trelSimulationParameter::GetDetector(int i) const
{
  return Detectors ? Detectors->GetItem<trelDetector>(i) : nullptr;
}

void trelSimulationParameter::AddDetector(trelDetector* detector)
{
  if (!detector) return;
  if (!Detectors) Detectors = new trelList;
  detector->Register();
  Detectors->Append(detector);
}

std::vector<int> trelSimulationParameter::ListCameras() const
{
  std::vector<int> cameras;
  if (Dimension != Dimension3D || !ContinuousWave || !SaveTransmittance) return cameras;
  for (int i = 0; i < GetNumberOfDetectors(); ++i)
    if (GetDetector(i)->GetDetectorType() == DetectorPlane) cameras.push_back(i);
  return cameras;
}

std::int32_t trelSimulationParameter::CountFiberDetectors()
{
  FiberDetectorCount = 0;
  for (const trelDetector* detector : ItemsOf<trelDetector>(Detectors)) {
    if (detector->GetDetectorType() == DetectorFiber) ++FiberDetectorCount;
  }
  return FiberDetectorCount;
}

std::int32_t trelSimulationParameter::GetNumberOfWavelengths() const
{
  return static_cast<std::int32_t>(Wavelengths.size());
}

std::uint32_t trelSimulationParameter::GetWavelength(int i) const
{
  return i < 0 || i >= GetNumberOfWavelengths() ? 0 : Wavelengths[i];
}

std::uint64_t trelSimulationParameter::GetNumberOfPhotons(std::uint32_t wavelength) const
{
  std::uint64_t number = 0;
  for (const trelLightSource* source : ItemsOf<trelLightSource>(LightSources))
    number += source->GetNumberOfPhotonsAt(wavelength);
  return number;
}

std::uint64_t trelSimulationParameter::ComputeTotalPhotons()
{
  TotalPhotons = 0;
  for (trelLightSource* source : ItemsOf<trelLightSource>(LightSources))
    TotalPhotons += source->ComputePhotonTotal();
  return TotalPhotons;
}

const trelScoringRegion& trelSimulationParameter::GetScoringRegion() const
{
  if (!Region.IsValid()) ComputeCounts();
  return Region;
}

void trelSimulationParameter::ComputeCounts() const
{
  const trelShapeObject* shape = GetOuterShape();
  if (shape) Region.Compute(*shape, GetScoringDemand());
}

trelScoringDemand trelSimulationParameter::GetScoringDemand() const
{
  trelScoringDemand demand{{}, SaveTransmittance, TimeDomain, Rules == RulesClassic};
  if (SaveAbsorption) demand.Axes = GetAbsorptionAxes(AbsorptionCoordinate, Dimension);
  const trelShapeObject* shape = GetOuterShape();
  if (SaveTransmittance && shape) {
    const std::vector<trelAxis> surface =
        GetTransmittanceAxes(TransmittanceCoordinate, Dimension, shape->GetTraits());
    demand.Axes.insert(demand.Axes.end(), surface.begin(), surface.end());
  }
  return demand;
}

void trelSimulationParameter::SetSeparations(double x, double y, double z, double radial,
                                             double azimuth, double deflection)
{
  const double separations[NumberOfAxes] = {x, y, z, radial, azimuth, deflection};
  Region.SetSeparations(separations);
}

void trelSimulationParameter::GetSeparations(double separations[NumberOfAxes]) const
{
  std::copy_n(Region.GetSeparations(), NumberOfAxes, separations);
}

void trelSimulationParameter::GetROI(double roi[2 * NumberOfAxes]) const
{
  std::copy_n(GetScoringRegion().GetROI(), 2 * NumberOfAxes, roi);
}

void trelSimulationParameter::GetCounts(std::int32_t counts[NumberOfAxes]) const
{
  std::copy_n(GetScoringRegion().GetCounts(), NumberOfAxes, counts);
}

const bool* trelSimulationParameter::GetFaceFlags() const
{
  return GetScoringRegion().GetFaceFlags();
}

/** Builds the voxel table of @p shape if it is a triangle mesh, and what the exact rules ask. */
/** Tables that a look at the model has made serve its run, too. */
static void BuildTables(const trelTraceableMesh& mesh, int threads)
{
  if (!mesh.GetVoxelTable().IsBuilt()) mesh.BuildVoxelTable(threads);
}

static void PrepareShape(trelShapeObject* shape, trelRules rules, int threads)
{
  if (!shape || shape->GetShapeType() != ShapeTriangleMesh) return;
  BuildTables(*static_cast<trelMCTriangleMesh*>(shape), threads);
  if (rules == RulesExact) shape->PrepareCrossings(threads);
}

void trelSimulationParameter::PrepareGeometry()
{
  if (!Medium) return;
  const bool tetrahedral = Medium->GetShapeIsTetrahedron();
  if (tetrahedral) {
    if (Medium->GetTetrahedron()) BuildTables(*Medium->GetTetrahedron(), ThreadNumber);
  } else {
    for (const trelTissue* tissue : ItemsOf<trelTissue>(Medium->GetTissues()))
      PrepareShape(tissue->GetShape(), Rules, ThreadNumber);
  }
  for (const trelLightSource* source : ItemsOf<trelLightSource>(LightSources))
    PrepareShape(source->GetShape(), Rules, ThreadNumber);
  if (!tetrahedral && Rules == RulesClassic) Medium->BuildTissueGrid();
}

void trelSimulationParameter::ShowError(const std::string& text)
{
  ErrorMacro(text);
}

void trelSimulationParameter::ShowWarning(const std::string& text)
{
  WarningMacro(text);
}
