#ifndef trelPacket_h
#define trelPacket_h

#include <cstdint>

#include "trelVector.h"

struct trelCoefficients;

/** A boundary that a packet met. Its values carry over to the thread's next packet: not every shape
 * writes all parts of a hit, and equal indices refract by the angle of the previous refraction. */
struct trelBoundary
{
  trelHit Hit;              ///< the normal is turned along the travel
  std::int32_t NextTissue;  ///< tissue behind the boundary, -1 for outside
  double IndexHere;         ///< refractive index before it
  double IndexNext;         ///< refractive index behind it
  double TransmitAngle;     ///< rad; of the last transmission through a change of index, else 0
};

/**
 * A weighted packet in flight, as the packet loop has it: a plain value. Lengths in mm, times in
 * ps.
 *
 * @sa trelPhoton, the same packet as light sources fill it
 */
struct trelPacket
{
  trelVector Position;
  trelVector Direction;          ///< unit vector
  double Weight;                 ///< fraction of the packet that is still alive
  double SourceWeight;           ///< weight as launched; scoring multiplies by it
  double StepSize;               ///< length of the current step
  double StepLeft;               ///< optical depth left over from a step that was cut short, else 0
  double PathLength;             ///< geometric path so far
  double FlyTime;                ///< time of flight so far
  std::int32_t TissueIndex;      ///< tissue that the packet is in, from 0; -1 outside of the medium
  std::int32_t Wavelength;       ///< as the parameter file gives it
  std::int32_t WavelengthIndex;  ///< selects coefficients and records
  std::uint32_t StepCount;       ///< steps done
  bool Dead;                     ///< the packet has ended
  /** Coefficients of its tissue at its wavelength; trelTransportModel::PlaceIn keeps them. */
  const trelCoefficients* Here;
  std::int32_t CurrentDetector;  ///< the fibre detector that the step reached, -1 before
  trelBoundary Boundary;         ///< the last boundary

  /** Where the step ends. */
  trelVector GetEnd() const { return Position + StepSize * Direction; }
  trelRay GetRay() const { return {Position, Direction}; }
};

#endif
