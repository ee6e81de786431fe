#include "trelFluorescenceVRMC.h"

#include <cmath>

#include "trelLightSource.h"
#include "trelList.h"
#include "trelPhoton.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"
#include "trelThreadState.h"

trelFluorescenceVRMC::~trelFluorescenceVRMC() = default;

bool trelFluorescenceVRMC::Execute()
{
  CollectFluorophores();
  return trelVarianceReductionMonteCarlo::Execute();
}

void trelFluorescenceVRMC::CollectFluorophores()
{
  Fluorophores.clear();
  if (!Input) return;
  for (const trelLightSource* light : Input->GetLightSources()->GetItems<trelLightSource>()) {
    const trelShapeObject* region = light->GetShape();
    if (light->GetLuminousType() != LuminousEmission || !region || region->IsEmpty()) continue;
    for (const trelSpectrum* entry : light->GetSpectra()->GetItems<trelSpectrum>()) {
      const trelSpectrum& spectrum = *entry;
      Fluorophores.push_back({region, static_cast<std::int32_t>(spectrum.GetExcitationWavelength()),
                              static_cast<std::int32_t>(spectrum.GetWavelength()),
                              spectrum.GetWavelengthIndex(), spectrum.GetFluorophoreAbsorption(),
                              spectrum.GetQuantumYield(), spectrum.GetLifeTime()});
    }
  }
}

bool trelFluorescenceVRMC::LaunchPhoton(trelVarianceReductionMonteCarlo* filter, trelPhoton* photon,
                                        trelSpectrum* spectrum, trelLightSource* light)
{
  return LaunchFromAnySource(filter, photon, spectrum, light);
}

void trelFluorescenceVRMC::StepAnalytic(ThreadState* state)
{
  TakeAnalyticStep(*state, true);
  ConvertIfExcited(*state);
}

void trelFluorescenceVRMC::StepTetrahedral(ThreadState* state)
{
  TakeTetrahedralStep(*state, false);
  ConvertIfExcited(*state);
}

void trelFluorescenceVRMC::ConvertIfExcited(ThreadState& state)
{
  if (!state.Photon->Dead && state.CurrentLuminousType == LuminousExcitation) {
    ConvertToEmission(state);
  }
}

void trelFluorescenceVRMC::ConvertToEmission(ThreadState& state)
{
  const trelPhoton& photon = *state.Photon;
  for (const trelFluorophore& fluorophore : Fluorophores) {
    if (fluorophore.ExcitationWavelength != photon.Wavelength) continue;
    const PointRelation relation =
        fluorophore.Shape->LocatePoint(photon.PositionX, photon.PositionY, photon.PositionZ);
    if (relation != PointOutside) Convert(state, fluorophore);
  }
}

/**
 * With mua and mus of the tissue, muf of the fluorophore, q its yield, W the weight after the
 * step's absorption and S the weight of the packet as launched:
 *
 *     Wb = W (mua + mus) / mus               before that absorption, which is undone
 *     W' = Wb mus / (muf + mua + mus)        the interaction anew, with the fluorophore in it
 *     wf = S Wb muf mus / ((muf + mua + mus) (mua + mus))    scored as absorbed by the fluorophore
 *     S' = q S Wb muf / (muf + mua + mus)    the weight that is emitted
 *
 * Without scattering Wb divides by 0, and what follows is what floating point makes of it.
 */
void trelFluorescenceVRMC::Convert(ThreadState& state, const trelFluorophore& fluorophore)
{
  trelPhoton& photon = *state.Photon;
  const trelCoefficients& here = CoefficientsOf(photon.TissueIndex, photon);
  const double sourceWeight = state.SourceWeight;
  const double mus = here.Scattering;
  const double muf = fluorophore.Absorption;
  const double m = here.Interaction;
  const double mf = muf + here.Absorption + mus;
  const double before = m * photon.Weight / mus;
  photon.Weight = before * mus / mf;
  const double absorbed = sourceWeight * before * (muf * mus) / (mf * m);
  // Scored whether or not absorption is saved; without a grid it has no cell.
  if (const trelScoreTarget* target = AbsorptionTarget(state)) {
    ScoreInDomains(state, *target, absorbed);
  }
  trelPhoton excitation;
  excitation.CopyPacket(photon);
  state.SourceWeight = fluorophore.QuantumYield * sourceWeight * before * muf / mf;
  MakeEmissionPacket(state, fluorophore);
  if (state.Scores) SimulateEmission(state);
  state.SourceWeight = sourceWeight;
  state.CurrentLuminousType = LuminousExcitation;
  photon.CopyPacket(excitation);
  SelectRecord(state, static_cast<std::uint32_t>(photon.WavelengthIndex));
}

/** The packet goes on where it is, in its direction, as emission that has waited for the lifetime.
 */
void trelFluorescenceVRMC::MakeEmissionPacket(ThreadState& state,
                                              const trelFluorophore& fluorophore)
{
  trelPhoton& photon = *state.Photon;
  photon.Weight = 1.0;
  photon.Wavelength = fluorophore.Wavelength;
  photon.WavelengthIndex = static_cast<std::int32_t>(fluorophore.WavelengthIndex);
  photon.StepSize = photon.StepLeft = photon.PathLength = 0.0;
  photon.StepCount = 0;
  photon.FlyTime += -fluorophore.LifeTime * std::log(state.NextPositiveRandom());
  state.CurrentLuminousType = LuminousEmission;
  SelectRecord(state, fluorophore.WavelengthIndex);
}

void trelFluorescenceVRMC::SimulateEmission(ThreadState& state)
{
  state.ReflectPending = false;
  state.TransmitPending = false;
  state.PartialAbsorption = true;
  if (ShapeIsTetrahedron) {
    TraceTetrahedral(state);
  } else {
    TraceAnalytic(state);
  }
}
