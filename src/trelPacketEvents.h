#ifndef trelPacketEvents_h
#define trelPacketEvents_h

#include <cmath>

#include "trelPacketScores.h"
#include "trelPhaseFunction.h"
#include "trelTransportModel.h"

/**
 * @file trelPacketEvents.h
 * What happens to a packet in a step: functions of the packet, the random numbers, the model and
 * where it is scored. What happens in most steps is inline.
 */

/** What a boundary does to a packet. */
enum trelBoundaryTurn
{
  BoundaryReflects,
  BoundaryTransmits
};

/** The optical depth at which a packet interacts next, exponential with the mean 1, from a uniform
 * number above 0. */
inline double SampleDepth(double random)
{
  return -std::log(random);
}

/** Draws the length of the step. */
inline void NewStep(trelPacket& packet, trelRandomNumbers& numbers)
{
  const trelCoefficients& here = *packet.Here;
  if (here.IsNonInteracting()) {
    packet.StepSize = ClearStep;
    packet.StepLeft = 0.0;
  } else if (packet.StepLeft != 0.0) {
    packet.StepSize = packet.StepLeft / here.Interaction;
    packet.StepLeft = 0.0;
  } else {
    packet.StepSize = SampleDepth(numbers.NextPositiveRandom()) / here.Interaction;
  }
}

/** Moves the packet to @p end, the end of its step. The refractive index is that of the tissue that
 * it leaves there, if any. */
inline void Hop(trelPacket& packet, const trelVector& end)
{
  packet.Position = end;
  packet.PathLength += packet.StepSize;
  packet.FlyTime += GetTimeOfFlight(packet.Here->RefractiveIndex, packet.StepSize);
}

/** Scores @p weight, a fraction of the packet as launched, as absorbed where the packet is. */
inline void ScoreAbsorbed(const trelPacket& packet, const trelPacketScores& scores,
                          const trelTransportModel& model, double weight)
{
  if (!model.SaveAbsorption) return;
  const double value = packet.SourceWeight * weight;
  if (model.OnlyCW) {
    ScoreCW(packet, scores, scores.Grids->Absorption, value);
  } else {
    ScoreInDomains(packet, scores, model, scores.Grids->Absorption, value);
  }
}

/** The same out of line. */
TREL_RARE void ScoreElsewhere(const trelPacket& packet, const trelPacketScores& scores,
                              const trelTransportModel& model, double weight);

/** Takes @p weight off the packet and scores it. */
inline void Absorb(trelPacket& packet, const trelPacketScores& scores,
                   const trelTransportModel& model, double weight)
{
  packet.Weight -= weight;
  ScoreAbsorbed(packet, scores, model, weight);
}

/** What an interaction absorbs of @p weight: the share mua / (mua + mus). */
inline double GetAbsorbedWeight(const trelCoefficients& here, double weight)
{
  return here.Absorption * weight / here.Interaction;
}

/** The absorption of an interaction, if the packet has moved. */
inline void Deposit(trelPacket& packet, const trelPacketScores& scores,
                    const trelTransportModel& model)
{
  if (std::fabs(packet.StepSize) < GeometryTolerance) return;
  Absorb(packet, scores, model, GetAbsorbedWeight(*packet.Here, packet.Weight));
}

/** The end of a step that no boundary cut: the packet scatters and leaves a part of its weight. */
inline void Scatter(trelPacket& packet, trelRandomNumbers& numbers, const trelTransportModel& model,
                    const trelPacketScores& scores)
{
  const trelCoefficients& here = *packet.Here;
  const bool isPlanar = model.Dimension == Dimension2D;
  if (isPlanar) Scatter2D(packet.Direction, numbers);  // in clear tissue too
  if (here.IsNonInteracting()) return;
  if (!isPlanar) Scatter3D(packet.Direction, numbers, here.Anisotropy);
  Deposit(packet, scores, model);
}

/** Brings a direction that rounding has stretched back to unit length; leaves a null vector alone.
 */
inline void RenormalizeDirection(trelVector& direction)
{
  const double square = Dot(direction, direction);
  if (std::fabs(square - 1.0) < UnitSquareTolerance) return;
  const double length = std::sqrt(square);
  if (std::fabs(length) < GeometryTolerance || std::fabs(length - 1.0) < GeometryTolerance) return;
  direction = direction / length;
}

/** The packet survives with its weight over the chance to do so, or all of it is absorbed. */
TREL_RARE void PlayRoulette(trelPacket& packet, trelRandomNumbers& numbers,
                            const trelTransportModel& model, trelPacketScores& scores);

/** Russian roulette for a faint packet. */
inline void Roulette(trelPacket& packet, trelRandomNumbers& numbers,
                     const trelTransportModel& model, trelPacketScores& scores)
{
  if (packet.Weight < RouletteThreshold && !packet.Dead) {
    PlayRoulette(packet, numbers, model, scores);
  }
}

/** Draws what the packet's Boundary does, and stores the angle of refraction there. */
TREL_RARE trelBoundaryTurn ResolveBoundary(trelPacket& packet, trelRandomNumbers& numbers,
                                           const trelTransportModel& model);

/** Carries @p turn out once the packet has been moved to the boundary. */
TREL_RARE void UpdateDirection(trelPacket& packet, const trelTransportModel& model,
                               const trelPacketScores& scores, trelBoundaryTurn turn);

/** Ends a packet whose step ends outside although no boundary was found: it counts as transmitted
 * and is scored nowhere. */
TREL_RARE void EndOutside(trelPacket& packet, const trelPacketScores& scores);

/**
 * Ends the packet at the fibre detector that its step reaches, if any; true if it did.
 * @p scoresMissed: it is scored there also if no surface is found on its way.
 */
TREL_RARE bool EndAtFiberDetector(trelPacket& packet, const trelTransportModel& model,
                                  const trelPacketScores& scores, bool scoresMissed);

#endif
