#ifndef trelPhoton_h
#define trelPhoton_h

#include <cstdint>

#include "trelSimulationObject.h"
#include "trelVector.h"

/**
 * @class   trelPhoton
 * @brief   one weighted packet in flight
 *
 * A plain record, which light sources fill; each thread has one, used again for each packet.
 * Lengths in mm, times in ps.
 */
class trelPhoton final : public trelSimulationObject
{
  trelTypeMacro(trelPhoton, trelSimulationObject)

public:
  /** Puts all fields back to the values that they have here. */
  void ResetPhoton();

  /** Where it is and where it goes, as vectors. */
  trelVector GetPosition() const { return {PositionX, PositionY, PositionZ}; }
  void SetPosition(const trelVector& position);
  trelVector GetDirection() const { return {DirectionX, DirectionY, DirectionZ}; }
  void SetDirection(const trelVector& direction);
  trelRay GetRay() const { return {GetPosition(), GetDirection()}; }

  /** World coordinates. */
  double PositionX = 0.0;
  double PositionY = 0.0;
  double PositionZ = 0.0;
  /** Unit direction. */
  double DirectionX = 0.0;
  double DirectionY = 0.0;
  double DirectionZ = 1.0;
  /** Fraction of the packet that is still alive; at launch, the energy that it stands for. */
  double Weight = 0.0;
  /** The packet has ended. */
  bool Dead = false;
  /** The tissue that the packet is in, from 0; -1 outside of the medium. */
  std::int32_t TissueIndex = -1;
  /** Length of the current step. */
  double StepSize = 0.0;
  /** Optical depth (dimensionless) left over from a step that a boundary cut short, else 0. */
  double StepLeft = 0.0;
  std::int32_t Wavelength = 0;
  /** Selects a tissue's optical parameter and the result record. */
  std::int32_t WavelengthIndex = 0;
  /** Geometric path so far. */
  double PathLength = 0.0;
  /** Time of flight so far. */
  double FlyTime = 0.0;
  /** Steps done. */
  std::uint32_t StepCount = 0;
};

#endif
