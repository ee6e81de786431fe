#include "trelTransportModel.h"

#include <algorithm>

#include "trelFiberDetector.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelSimulationParameter.h"
#include "trelTissue.h"

void trelTransportModel::Resolve(trelSimulationParameter& parameter)
{
  CopySettings(parameter);
  CachedMedium = parameter.GetMedium();
  AmbientRefractiveIndex = CachedMedium->GetAmbientRefractiveIndex();
  ShapeIsTetrahedron = CachedMedium->GetShapeIsTetrahedron();
  Tetrahedron = CachedMedium->GetTetrahedron();
  OutermostTissue = CachedMedium->GetOutermostTissueIndex();
  if (const trelShapeObject* shape = parameter.GetOuterShape()) {
    MediumShapeType = shape->GetShapeType();
  }
  CopyTissues();
  CopyFiberShapes(parameter);
}

void trelTransportModel::CopySettings(const trelSimulationParameter& parameter)
{
  DomainCW = parameter.GetContinuousWave();
  DomainTD = parameter.GetTimeDomain();
  DomainFD = parameter.GetFrequencyDomain();
  OnlyCW = DomainCW && !DomainTD && !DomainFD;
  Dimension = parameter.GetDimension();
  SaveAbsorption = parameter.GetSaveAbsorption();
  SaveTransmittance = parameter.GetSaveTransmittance();
  SavePhotonFlyTime = parameter.GetSavePhotonFlyTime();
  Frequency = parameter.GetFrequency();
  StepNumberMax = parameter.GetStepNumberMax();
  FlyTimeMax = parameter.GetFlyTimeMax();
  NumberOfSpectra = parameter.GetNumberOfWavelengths();
}

static trelCoefficients CopyCoefficients(const trelOpticalParameter* optics)
{
  trelCoefficients c{};
  if (!optics) return c;
  c.Absorption = optics->GetAbsorption();
  c.Scattering = optics->GetScattering();
  c.Interaction = c.Absorption + c.Scattering;
  c.Anisotropy = optics->GetAnisotropy();
  c.RefractiveIndex = optics->GetRefractiveIndex();
  return c;
}

void trelTransportModel::CopyTissues()
{
  Coefficients.clear();
  TissueShapes.clear();
  for (const trelTissue* tissue : CachedMedium->GetTissues()->GetItems<trelTissue>()) {
    TissueShapes.push_back(tissue->GetShape());
    for (int spectrum = 0; spectrum < NumberOfSpectra; ++spectrum)
      Coefficients.push_back(CopyCoefficients(tissue->GetOpticalParameter(spectrum)));
  }
  NumberOfTissues = static_cast<std::int32_t>(TissueShapes.size());
  // FindRegion() of a mesh that could not be loaded returns a number, although there is no region.
  if (ShapeIsTetrahedron && Tetrahedron) {
    NumberOfTissues = std::min(NumberOfTissues, Tetrahedron->GetNumberOfRegions());
  }
}

void trelTransportModel::CopyFiberShapes(trelSimulationParameter& parameter)
{
  HasFiberDetectors = parameter.CountFiberDetectors() != 0;
  FiberShapes.clear();
  for (int i = 0; i < parameter.GetNumberOfDetectors(); ++i) {
    const trelDetector* detector = parameter.GetDetector(i);
    const bool isFiber = detector->GetDetectorType() == DetectorFiber;
    FiberShapes.push_back(isFiber ? static_cast<const trelFiberDetector*>(detector)->GetShape()
                                  : nullptr);
  }
}
