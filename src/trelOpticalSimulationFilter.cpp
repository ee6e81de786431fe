#include "trelOpticalSimulationFilter.h"

#include "trelBioluminescenceVRMC.h"
#include "trelDiffuseVRMC.h"
#include "trelExactMonteCarlo.h"
#include "trelFluorescenceVRMC.h"
#include "trelFreespacePinhole.h"
#include "trelModelTraps.h"
#include "trelModelTypes.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"

trelOpticalSimulationFilter::~trelOpticalSimulationFilter()
{
  DropOutput();
  ClearAlgorithms();
  ReleaseReference(Input);
}

void trelOpticalSimulationFilter::SetInput(trelSimulationParameter* input)
{
  ReplaceReference(Input, input);
}

trelSimulationResult* trelOpticalSimulationFilter::GetOutput()
{
  if (!Output) {
    Output = new trelSimulationResult;
    OutputIsOwn = true;
  }
  return Output;
}

trelMediumFilter* trelOpticalSimulationFilter::GetMediumFilter()
{
  if (!AlgorithmsCreated) CreateAlgorithms();
  return MediumFilter;
}

trelFreespaceFilter* trelOpticalSimulationFilter::GetFreespaceFilter()
{
  if (!AlgorithmsCreated) CreateAlgorithms();
  return FreespaceFilter;
}

static trelMediumFilter* MakeClassicFilter(SimulationType simulationType)
{
  switch (simulationType) {
    case BLT:
      return new trelBioluminescenceVRMC;
    case FMT:
      return new trelFluorescenceVRMC;
    case DOT:
      return new trelDiffuseVRMC;
    default:
      return nullptr;
  }
}

/** The simulation of the rules of @p parameter. */
static trelMediumFilter* MakeMediumFilter(const trelSimulationParameter& parameter)
{
  if (parameter.GetRules() == RulesExact) return new trelExactMonteCarlo;
  return MakeClassicFilter(parameter.GetSimulationType());
}

void trelOpticalSimulationFilter::CreateAlgorithms()
{
  if (AlgorithmsCreated) return;
  ClearAlgorithms();
  if (!Input) return;
  MediumAlgorithm = Input->GetMediumAlgorithm();
  FreespaceAlgorithm = Input->GetFreespaceAlgorithm();
  if (MediumAlgorithm != MediumVRMC) return;
  if (FreespaceAlgorithm < FreespaceVRMC || FreespaceAlgorithm > FreespacePinhole) return;
  MediumFilter = MakeMediumFilter(*Input);
  if (FreespaceAlgorithm == FreespacePinhole) FreespaceFilter = new trelFreespacePinhole;
  AlgorithmsCreated = true;
}

void trelOpticalSimulationFilter::ClearAlgorithms()
{
  if (!OutputIsOwn) Output = nullptr;  // the medium filter may destroy it
  if (FreespaceFilter) FreespaceFilter->Delete();
  FreespaceFilter = nullptr;
  if (MediumFilter) MediumFilter->Delete();
  MediumFilter = nullptr;
  AlgorithmsCreated = false;
}

bool trelOpticalSimulationFilter::Execute()
{
  if (!AlgorithmsCreated) CreateAlgorithms();
  if (!Input) return false;
  if (MediumAlgorithm != MediumVRMC) {
    ErrorMacro("The type of algorithm is error!");
    return false;
  }
  // Nothing is simulated with "vrmc", "hrrt" or "lambert"; scripts count on the empty result.
  if (FreespaceAlgorithm == FreespaceVRMC || FreespaceAlgorithm == FreespaceLambert) return true;
  if (FreespaceAlgorithm != FreespacePinhole || !MediumFilter) {
    ErrorMacro("The type of algorithm is error!");
    return false;
  }
  MediumFilter->SetInput(Input);
  if (auto* exact = dynamic_cast<trelExactMonteCarlo*>(MediumFilter)) {
    exact->SetListCameras([this](trelSimulationResult& prepared) {
      return trelFreespacePinhole::ListCells(*Input, prepared);
    });
  }
  MediumFilter->SetMediumFilterMode(2);
  InMedium = true;
  InFreespace = false;
  for (const trelModelTrap& trap : FindModelTraps(*Input))
    WarningMacro(trap.Text);
  const bool simulated = MediumFilter->Update();
  if (!simulated) ErrorMacro("Error happens while simulating light propagation in medium!");
  TakeMediumOutput();
  if (!simulated) return false;
  if (!MediumFilter->HasResults()) return true;
  if (Input->GetNumberOfDetectors() == Input->CountFiberDetectors()) return true;
  InMedium = false;
  InFreespace = true;
  return SimulateFreespace();
}

void trelOpticalSimulationFilter::TakeMediumOutput()
{
  DropOutput();
  Output = MediumFilter->GetOutput();
}

/** Lets go of the output: one made here is destroyed unless somebody holds it, the medium filter's
 *  belongs to that filter. */
void trelOpticalSimulationFilter::DropOutput()
{
  if (Output && OutputIsOwn) Output->Delete();
  Output = nullptr;
  OutputIsOwn = false;
}

bool trelOpticalSimulationFilter::SimulateFreespace()
{
  FreespaceFilter->SetParameter(Input);
  FreespaceFilter->SetIsOfErrors(false);
  FreespaceFilter->SetResult(Output);
  const bool isDone = FreespaceFilter->Update();
  if (trelSimulationResult* errors = MediumFilter->GetErrors()) {
    FreespaceFilter->SetIsOfErrors(true);
    FreespaceFilter->SetResult(errors);
    FreespaceFilter->Update();
  }
  if (isDone) return true;
  ErrorMacro("Error happens while simulating light propagation in freespace!");
  return false;
}
