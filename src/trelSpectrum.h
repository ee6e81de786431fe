#ifndef trelSpectrum_h
#define trelSpectrum_h

#include <atomic>
#include <cstdint>

#include "trelSimulationObject.h"

class trelMedium;

/**
 * @class   trelSpectrum
 * @brief   what one light source emits at one wavelength
 *
 * Energy and number of packets of an emitting source; of a fluorophore, which emits only what
 * excitation packets bring to it, the wavelength that excites it and how it answers.
 */
class trelSpectrum final : public trelSimulationObject
{
  trelTypeMacro(trelSpectrum, trelSimulationObject)

public:
  /** Energy of all packets of this entry together, 0 or above, in the user's unit; default 0. */
  trelSetGetMacro(double, Energy)
  /** Number of packets to launch, default 0. */
  trelSetGetMacro(std::uint32_t, PhotonNumber)
  /** Wavelength as the parameter file gives it, an integer; default 0. */
  trelSetGetMacro(std::uint32_t, Wavelength)
  /** Place among the wavelengths, from 0; selects optical parameters and results. */
  trelSetGetMacro(std::uint32_t, WavelengthIndex)

  /** Fluorophore: fraction of the absorbed light that is emitted, [0, 1], default 0. */
  trelSetGetMacro(double, QuantumYield)
  /** Fluorophore: the wavelength that excites this emission, default 0. */
  trelSetGetMacro(std::uint32_t, ExcitationWavelength)
  /** Fluorophore: its absorption coefficient in 1/mm, default 0. */
  trelSetGetMacro(double, FluorophoreAbsorption)
  /** Fluorophore: scale of the exponential delay of the emission in ps, default 0. */
  trelSetGetMacro(double, LifeTime)

  /**
   * The part of the light that the surface of @p medium reflects at normal incidence (Fresnel),
   * ((n0 - n1) / (n0 + n1))^2 with n0 of the surroundings and n1 of the outermost tissue; 0 if
   * @p specular is false. Computed together with the packet weight by the first call of either
   * operation and kept from then on, whatever later calls say.
   */
  double GetSpecularReflectance(bool specular, const trelMedium* medium);

  /**
   * The start weight of one packet, (Energy - SpecularReflectance) / PhotonNumber. The reflectance
   * is subtracted from the energy also when the energy is not 1: results are normalised with that.
   *
   * Threads may call this at the same time with the same arguments; each that finds no weight yet
   * stores the same values, so there is no lock.
   */
  double GetPhotonWeight(bool specular, const trelMedium* medium);

private:
  void ComputeWeight(bool specular, const trelMedium* medium);

  double Energy = 0.0;
  std::atomic<double> PhotonWeight{0.0};
  std::uint32_t PhotonNumber = 0;
  std::uint32_t Wavelength = 0;
  std::uint32_t WavelengthIndex = 0;
  /** PhotonWeight and SpecularReflectance are valid. */
  std::atomic<bool> WeightComputed{false};
  std::atomic<double> SpecularReflectance{0.0};
  double QuantumYield = 0.0;
  std::uint32_t ExcitationWavelength = 0;
  double FluorophoreAbsorption = 0.0;
  double LifeTime = 0.0;
};

#endif
