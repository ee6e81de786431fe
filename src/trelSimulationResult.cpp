#include "trelSimulationResult.h"

#include <algorithm>

#include "trelDetectorArrayResult.h"
#include "trelLightSource.h"
#include "trelMedium.h"
#include "trelMediumResult.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"

trelSimulationResult::trelSimulationResult()
    : MediumResults(new trelList), DetectorResults(new trelList)
{
}

trelSimulationResult::~trelSimulationResult()
{
  ReleaseResults();
}

void trelSimulationResult::ReleaseResults()
{
  DeleteMediumResults();
  DeleteDetectorResults();
  Trajectory.Release();
  TrajectorySize = 0;
}

void trelSimulationResult::DeleteMediumResults()
{
  ReleaseList<trelMediumResult>(MediumResults, &trelMediumResult::Delete);
}

void trelSimulationResult::DeleteDetectorResults()
{
  ReleaseList<trelDetectorArrayResult>(DetectorResults, &trelDetectorArrayResult::Delete);
}

bool trelSimulationResult::Initialize(trelSimulationParameter* parameter)
{
  if (!parameter || !parameter->Validate()) return false;
  Dimension = parameter->GetDimension();
  DomainCW = parameter->GetContinuousWave();
  DomainTD = parameter->GetTimeDomain();
  DomainFD = parameter->GetFrequencyDomain();
  AbsorptionOutput = parameter->GetSaveAbsorption();
  TransmittanceOutput = parameter->GetSaveTransmittance();
  return InitializeMediumResults(parameter) && InitializeDetectorResults(parameter) &&
         InitializeTrajectory(parameter);
}

bool trelSimulationResult::InitializeGrids(trelSimulationParameter* parameter)
{
  if (!InitializeMediumResults(parameter) || !InitializeDetectorResults(parameter)) return false;
  for (int i = 0; GetMediumResult(i); ++i)
    GetMediumResult(i)->ReleaseFlyTimes();
  return true;
}

/** The specular reflectances of all sources, summed by spectrum entry. Asking a source for its own
 *  also fixes the weight of a packet of that entry. */
static std::vector<double> SumSpecularReflectances(const trelSimulationParameter& parameter)
{
  std::vector<double> sums(static_cast<std::size_t>(parameter.GetNumberOfWavelengths()), 0.0);
  if (!parameter.GetLightSources()) return sums;
  for (const trelLightSource* source : parameter.GetLightSources()->GetItems<trelLightSource>()) {
    if (!source->GetSpectra()) continue;
    const auto spectra = source->GetSpectra()->GetItems<trelSpectrum>();
    for (std::size_t i = 0; i < std::min(spectra.size(), sums.size()); ++i)
      sums[i] += spectra[i]->GetSpecularReflectance(source->IsSpecular(), parameter.GetMedium());
  }
  return sums;
}

bool trelSimulationResult::InitializeMediumResults(trelSimulationParameter* parameter)
{
  DeleteMediumResults();
  MediumResults = new trelList;
  if (!parameter->GetMedium()) return true;
  const std::vector<double> specular = SumSpecularReflectances(*parameter);
  for (int i = 0; i < parameter->GetNumberOfWavelengths(); ++i) {
    const std::uint32_t wavelength = parameter->GetWavelength(i);
    auto* result = new trelMediumResult;
    MediumResults->Append(result);
    result->SetSpectrumId(static_cast<std::int32_t>(wavelength));
    result->SetPhotonNumber(static_cast<std::int64_t>(parameter->GetNumberOfPhotons(wavelength)));
    result->SetSpecularReflectance(specular[static_cast<std::size_t>(i)]);
    if (!result->Initialize(parameter)) {
      ErrorMacro("initial simulation result (Absorption and Trasnmeittance) error!");
      return false;
    }
  }
  return true;
}

bool trelSimulationResult::InitializeDetectorResults(trelSimulationParameter* parameter)
{
  DeleteDetectorResults();
  if (!parameter->GetDetectors()) return true;
  DetectorResults = new trelList;
  if (parameter->GetNumberOfDetectors() == 0) return true;
  for (int i = 0; i < parameter->GetNumberOfWavelengths(); ++i) {
    auto* result = new trelDetectorArrayResult;
    DetectorResults->Append(result);
    result->SetSpectrumId(static_cast<std::int32_t>(parameter->GetWavelength(i)));
    if (!result->Initialize(parameter)) {
      ErrorMacro("Initial detection result error!");
      return false;
    }
  }
  return true;
}

bool trelSimulationResult::InitializeTrajectory(trelSimulationParameter* parameter)
{
  const bool allocated = Trajectory.Allocate(std::max(parameter->GetStepNumberMax(), 0));
  if (!allocated) ErrorMacro("initial photon trajectory result error!");
  TrajectorySize = static_cast<std::uint32_t>(Trajectory.GetNumberOfRows());
  return allocated;
}

trelMediumResult* trelSimulationResult::GetMediumResult(int i) const
{
  return MediumResults ? MediumResults->GetItem<trelMediumResult>(i) : nullptr;
}

trelDetectorArrayResult* trelSimulationResult::GetDetectorArrayResult(int i) const
{
  return DetectorResults ? DetectorResults->GetItem<trelDetectorArrayResult>(i) : nullptr;
}

trelMediumResult* trelSimulationResult::GetMediumResultBySpectrum(std::int32_t spectrumId) const
{
  const int last = MediumResults ? MediumResults->GetNumberOfItems() - 1 : -1;
  for (int i = 0; i < last; ++i) {
    trelMediumResult* result = GetMediumResult(i);
    if (result->GetSpectrumId() == spectrumId) return result;
  }
  return GetMediumResult(last);
}

void trelSimulationResult::FinalizeMediumResults(trelSimulationParameter* parameter,
                                                 bool fluenceRate)
{
  for (int i = 0; GetMediumResult(i); ++i) {
    GetMediumResult(i)->Finalize(parameter, fluenceRate);
  }
  for (int i = 0; GetMediumResult(i); ++i) {
    GetMediumResult(i)->ComputeRanges();
  }
}

void trelSimulationResult::FinalizeDetectorResults(trelSimulationParameter* parameter)
{
  for (int i = 0; GetDetectorArrayResult(i); ++i) {
    GetDetectorArrayResult(i)->Finalize(parameter);
  }
  for (int i = 0; GetDetectorArrayResult(i); ++i) {
    GetDetectorArrayResult(i)->ComputeRanges(parameter);
  }
}
