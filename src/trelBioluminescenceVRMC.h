#ifndef trelBioluminescenceVRMC_h
#define trelBioluminescenceVRMC_h

#include "trelVarianceReductionMonteCarlo.h"

/**
 * @class   trelBioluminescenceVRMC
 * @brief   transport for bioluminescence tomography (BLT): the sources lie in the medium
 */
class trelBioluminescenceVRMC final : public trelVarianceReductionMonteCarlo
{
  trelTypeMacro(trelBioluminescenceVRMC, trelVarianceReductionMonteCarlo)

public:
  ~trelBioluminescenceVRMC() override;

  bool LaunchPhoton(trelVarianceReductionMonteCarlo* filter, trelPhoton* photon,
                    trelSpectrum* spectrum, trelLightSource* light) override;
};

#endif
