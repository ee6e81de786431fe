#include "trelOpticalParameter.h"

void trelOpticalParameter::SetOpticalCoefficients(double absorption, double scattering,
                                                  double anisotropy, double refractiveIndex)
{
  Absorption = absorption;
  Scattering = scattering;
  Anisotropy = anisotropy;
  RefractiveIndex = refractiveIndex;
}
