#include "trelFluorescenceVRMC.h"

#include <cmath>

#include "trelLightSource.h"
#include "trelList.h"
#include "trelPacketSteps.h"
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

template <class Geometry>
inline void trelFluorescenceVRMC::TraceLight(trelPacket& packet, ThreadState& state)
{
  const auto convert = [&] {
    if (!packet.Dead) ConvertToEmission(packet, state);
  };
  if (state.CurrentLuminousType == LuminousExcitation) {
    TakeSteps<Geometry, trelClassicFluorescenceRules>(packet, state, Model, state, convert);
  } else {
    TakeSteps<Geometry, trelClassicFluorescenceRules>(packet, state, Model, state);
  }
}

template <class Geometry>
inline void trelFluorescenceVRMC::StepLight(ThreadState& state)
{
  trelPacket packet = state.LoadPacket();
  Model.PlaceIn(packet.TissueIndex, packet);
  TakeStep<Geometry, trelClassicFluorescenceRules>(packet, state, Model, state);
  if (!packet.Dead && state.CurrentLuminousType == LuminousExcitation) {
    ConvertToEmission(packet, state);
  }
  state.StorePacket(packet);
}

void trelFluorescenceVRMC::TraceAnalytic(trelPacket& packet, ThreadState& state)
{
  TraceLight<trelShapeGeometry>(packet, state);
}

void trelFluorescenceVRMC::TraceTetrahedral(trelPacket& packet, ThreadState& state)
{
  TraceLight<trelTetrahedralGeometry>(packet, state);
}

void trelFluorescenceVRMC::StepAnalytic(ThreadState* state)
{
  StepLight<trelShapeGeometry>(*state);
}

void trelFluorescenceVRMC::StepTetrahedral(ThreadState* state)
{
  StepLight<trelTetrahedralGeometry>(*state);
}

void trelFluorescenceVRMC::ConvertToEmission(trelPacket& packet, ThreadState& state)
{
  for (const trelFluorophore& fluorophore : Fluorophores) {
    if (fluorophore.ExcitationWavelength != packet.Wavelength) continue;
    if (fluorophore.Shape->LocatePoint(packet.Position) == PointOutside) continue;
    Convert(packet, state, fluorophore);
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
void trelFluorescenceVRMC::Convert(trelPacket& packet, ThreadState& state,
                                   const trelFluorophore& fluorophore)
{
  const trelCoefficients& here = *packet.Here;
  const double sourceWeight = packet.SourceWeight;
  const double mus = here.Scattering;
  const double muf = fluorophore.Absorption;
  const double m = here.Interaction;
  const double mf = muf + here.Absorption + mus;
  const double before = m * packet.Weight / mus;
  packet.Weight = before * mus / mf;
  const double absorbed = sourceWeight * before * (muf * mus) / (mf * m);
  // Scored whether or not absorption is saved; without a grid it has no cell.
  ScoreInDomains(packet, state, Model, state.Grids->Absorption, absorbed);
  trelPacket emission = packet;
  emission.SourceWeight = fluorophore.QuantumYield * sourceWeight * before * muf / mf;
  SimulateEmission(emission, state, fluorophore);
  // The values that carry over from packet to packet are now those of the emission.
  packet.Boundary = emission.Boundary;
  SelectRecord(state, static_cast<std::uint32_t>(packet.WavelengthIndex));
}

void trelFluorescenceVRMC::SimulateEmission(trelPacket& packet, ThreadState& state,
                                            const trelFluorophore& fluorophore)
{
  packet.Weight = 1.0;
  packet.Wavelength = fluorophore.Wavelength;
  packet.WavelengthIndex = static_cast<std::int32_t>(fluorophore.WavelengthIndex);
  packet.StepSize = packet.StepLeft = packet.PathLength = 0.0;
  packet.StepCount = 0;
  // Position and direction stay; the delay is exponential with the mean LifeTime.
  packet.FlyTime += -fluorophore.LifeTime * std::log(state.NextPositiveRandom());
  state.CurrentLuminousType = LuminousEmission;
  SelectRecord(state, fluorophore.WavelengthIndex);
  if (state.Grids) Trace(packet, state);
  state.CurrentLuminousType = LuminousExcitation;
}
