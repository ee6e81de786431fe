#include "trelSpectrum.h"

#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelTissue.h"

double trelSpectrum::GetSpecularReflectance(bool specular, const trelMedium* medium)
{
  if (!WeightComputed.load(std::memory_order_acquire)) ComputeWeight(specular, medium);
  return SpecularReflectance.load(std::memory_order_relaxed);
}

double trelSpectrum::GetPhotonWeight(bool specular, const trelMedium* medium)
{
  if (!WeightComputed.load(std::memory_order_acquire)) ComputeWeight(specular, medium);
  return PhotonWeight.load(std::memory_order_relaxed);
}

/** The share that the step of refractive index at the surface reflects at normal incidence
 * (Fresnel); 0 for a medium without an outermost tissue or without coefficients at this wavelength.
 */
static double NormalReflectance(const trelMedium* medium, std::uint32_t wavelengthIndex)
{
  const trelTissue* outermost = medium ? medium->GetOutermostTissue() : nullptr;
  const trelOpticalParameter* optics =
      outermost ? outermost->GetOpticalParameter(static_cast<int>(wavelengthIndex)) : nullptr;
  if (!optics) return 0.0;
  const double n0 = medium->GetAmbientRefractiveIndex();
  const double n1 = optics->GetRefractiveIndex();
  const double amplitude = (n0 - n1) / (n0 + n1);
  return amplitude * amplitude;
}

void trelSpectrum::ComputeWeight(bool specular, const trelMedium* medium)
{
  const double reflectance = specular ? NormalReflectance(medium, WavelengthIndex) : 0.0;
  SpecularReflectance.store(reflectance, std::memory_order_relaxed);
  PhotonWeight.store((Energy - reflectance) / PhotonNumber, std::memory_order_relaxed);
  WeightComputed.store(true, std::memory_order_release);
}
