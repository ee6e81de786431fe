#ifndef trelFluorescenceVRMC_h
#define trelFluorescenceVRMC_h

#include "trelVarianceReductionMonteCarlo.h"

/**
 * @class   trelFluorescenceVRMC
 * @brief   transport for fluorescence molecular tomography (FMT)
 *
 * Excitation sources emit. After each step that leaves an excitation packet alive in the region of
 * a fluorophore (the shape of an emission source), a part of its weight is absorbed there, and a
 * packet of the emission wavelength is traced from there to its end before the excitation goes on.
 *
 * Only packets of the master thread convert, since that thread alone is told that it traces
 * excitation: of T threads' packets at best one in T, fewer as emission holds the master up.
 * Results depend on it; docs/physics.md tells users to run quantitative fluorescence with one
 * thread.
 */
class trelFluorescenceVRMC final : public trelVarianceReductionMonteCarlo
{
  trelTypeMacro(trelFluorescenceVRMC, trelVarianceReductionMonteCarlo)

public:
  ~trelFluorescenceVRMC() override;

  bool Execute() override;
  bool LaunchPhoton(trelVarianceReductionMonteCarlo* filter, trelPhoton* photon,
                    trelSpectrum* spectrum, trelLightSource* light) override;
  /** The step of the base, with roulette in non-interacting tissue too, and the conversion. */
  void StepAnalytic(ThreadState* state) override;
  void StepTetrahedral(ThreadState* state) override;

protected:
  bool HasOwnSteps() const override { return true; }

private:
  /** One conversion: the region and wavelength that it takes light from, and what it emits. */
  struct trelFluorophore
  {
    const trelShapeObject* Shape;
    std::int32_t ExcitationWavelength;
    std::int32_t Wavelength;
    std::uint32_t WavelengthIndex;
    double Absorption;    ///< muf, 1/mm
    double QuantumYield;  ///< emitted of absorbed light
    double LifeTime;      ///< mean delay of the emission, ps
  };

  void CollectFluorophores();
  void ConvertIfExcited(ThreadState& state);
  void ConvertToEmission(ThreadState& state);
  /** The conversion by one fluorophore; the packet's weight falls by what that absorbs. */
  void Convert(ThreadState& state, const trelFluorophore& fluorophore);
  void MakeEmissionPacket(ThreadState& state, const trelFluorophore& fluorophore);
  void SimulateEmission(ThreadState& state);

  std::vector<trelFluorophore> Fluorophores;  ///< by source and spectrum, in the order of the model
};

#endif
