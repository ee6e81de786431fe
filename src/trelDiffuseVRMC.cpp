#include "trelDiffuseVRMC.h"

trelDiffuseVRMC::~trelDiffuseVRMC() = default;

bool trelDiffuseVRMC::LaunchPhoton(trelVarianceReductionMonteCarlo* filter, trelPhoton* photon,
                                   trelSpectrum* spectrum, trelLightSource* light)
{
  return LaunchFromAnySource(filter, photon, spectrum, light);
}
