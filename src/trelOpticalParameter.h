#ifndef trelOpticalParameter_h
#define trelOpticalParameter_h

#include <cstdint>

#include "trelSimulationObject.h"

/**
 * @class   trelOpticalParameter
 * @brief   the optical coefficients of one tissue at one wavelength
 */
class trelOpticalParameter final : public trelSimulationObject
{
  trelTypeMacro(trelOpticalParameter, trelSimulationObject)

public:
  /** Stores all four coefficients. */
  void SetOpticalCoefficients(double absorption, double scattering, double anisotropy,
                              double refractiveIndex);

  /** Wavelength as the parameter file gives it, an integer; default 0. */
  trelSetGetMacro(std::uint32_t, Wavelength)
  /** Absorption coefficient in 1/mm, 0 or above, default 0. */
  trelSetGetMacro(double, Absorption)
  /** Scattering coefficient in 1/mm, 0 or above, default 0. */
  trelSetGetMacro(double, Scattering)
  /** Mean cosine of the scattering angle, dimensionless, [-1, 1], default 0. */
  trelSetGetMacro(double, Anisotropy)
  /** Index of refraction, dimensionless, 1 or above, default 0. */
  trelSetGetMacro(double, RefractiveIndex)

private:
  std::uint32_t Wavelength = 0;
  double Absorption = 0.0;
  double Scattering = 0.0;
  double Anisotropy = 0.0;
  double RefractiveIndex = 0.0;
};

#endif
