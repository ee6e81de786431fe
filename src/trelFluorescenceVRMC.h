#ifndef trelFluorescenceVRMC_h
#define trelFluorescenceVRMC_h

#include <vector>

#include "trelInlining.h"
#include "trelVarianceReductionMonteCarlo.h"

/**
 * @class   trelFluorescenceVRMC
 * @brief   transport for fluorescence molecular tomography (FMT)
 *
 * Excitation sources emit. After each step that leaves an excitation packet alive in the region of
 * a fluorophore (the shape of an emission source), a part of its weight is absorbed there, and a
 * packet of the emission wavelength is traced from there to its end before the excitation goes on.
 *
 * Only packets of the master thread convert, since only its state says that it traces excitation:
 * with T threads at most one packet in T, and fewer, since tracing the emission slows the master
 * down. Results depend on it; docs/physics.md tells users to run quantitative fluorescence with one
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
  void TraceAnalytic(trelPacket& packet, ThreadState& state) override;
  void TraceTetrahedral(trelPacket& packet, ThreadState& state) override;

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
  /** All steps of a packet, of the thread's kind of light; excitation converts after each. */
  template <class Geometry>
  void TraceLight(trelPacket& packet, ThreadState& state);
  template <class Geometry>
  void StepLight(ThreadState& state);
  TREL_RARE void ConvertToEmission(trelPacket& packet, ThreadState& state);
  /** The conversion by one fluorophore; the packet's weight falls by what that absorbs. */
  void Convert(trelPacket& packet, ThreadState& state, const trelFluorophore& fluorophore);
  /** Turns a copy of the excitation packet into the emission packet and traces it to its end. */
  void SimulateEmission(trelPacket& packet, ThreadState& state, const trelFluorophore& fluorophore);

  std::vector<trelFluorophore> Fluorophores;  ///< by source and spectrum, in the order of the model
};

#endif
