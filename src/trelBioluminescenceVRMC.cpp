#include "trelBioluminescenceVRMC.h"

#include "trelLightSource.h"
#include "trelMedium.h"
#include "trelPhoton.h"

trelBioluminescenceVRMC::~trelBioluminescenceVRMC() = default;

bool trelBioluminescenceVRMC::LaunchPhoton(trelVarianceReductionMonteCarlo* filter,
                                           trelPhoton* photon, trelSpectrum* spectrum,
                                           trelLightSource* light)
{
  if (!light->LaunchPhoton(filter, photon, spectrum)) return false;
  photon->TissueIndex = Model.CachedMedium->GetTissueIndex(photon->GetPosition());
  return photon->TissueIndex != -1;
}
