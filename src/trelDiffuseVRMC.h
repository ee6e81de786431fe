#ifndef trelDiffuseVRMC_h
#define trelDiffuseVRMC_h

#include "trelVarianceReductionMonteCarlo.h"

/**
 * @class   trelDiffuseVRMC
 * @brief   transport for diffuse optical tomography (DOT): the sources send diffuse light, from
 * inside or outside
 */
class trelDiffuseVRMC : public trelVarianceReductionMonteCarlo
{
  trelTypeMacro(trelDiffuseVRMC, trelVarianceReductionMonteCarlo)

public:
  ~trelDiffuseVRMC() override;

  bool LaunchPhoton(trelVarianceReductionMonteCarlo* filter, trelPhoton* photon,
                    trelSpectrum* spectrum, trelLightSource* light) override;
};

#endif
