#ifndef trelPacketSteps_h
#define trelPacketSteps_h

#include "trelPacketEvents.h"
#include "trelPacketGeometry.h"
#include "trelPlainSteps.h"
#include "trelTransportRules.h"

/**
 * @file trelPacketSteps.h
 * The steps of a packet, templates over what answers for the geometry (trelPacketGeometry.h) and
 * over the constants of a set of rules (trelTransportRules.h).
 */

/** One whole step. */
template <class Geometry, class Rules>
inline void TakeStep(trelPacket& packet, trelRandomNumbers& numbers,
                     const trelTransportModel& model, trelPacketScores& scores)
{
  const bool startsInClearTissue = packet.Here->IsNonInteracting();
  NewStep(packet, numbers);
  if (model.HasFiberDetectors &&
      EndAtFiberDetector(packet, model, scores, Rules::ScoresMissedFiber)) {
    return;
  }
  const trelVector end = packet.GetEnd();
  const trelCrossing crossing = Geometry::FindCrossing(model, end, packet);
  if (crossing == EndsOutside) {
    EndOutside(packet, scores);
    return;
  }
  if (crossing == MeetsBoundary) {
    const trelBoundaryTurn turn = ResolveBoundary(packet, numbers, model);
    Hop(packet, packet.GetEnd());
    UpdateDirection(packet, model, scores, turn);
  } else {
    if (crossing == EndsElsewhere) model.PlaceIn(packet.Boundary.NextTissue, packet);
    Hop(packet, end);
    Scatter(packet, numbers, model, scores);
  }
  RenormalizeDirection(packet.Direction);
  if (Rules::RouletteInClearTissue || !startsInClearTissue) {
    Roulette(packet, numbers, model, scores);
  }
}

/** What follows a step: count it and look at the limits. True if the packet goes on. */
inline bool EndStep(trelPacket& packet, const trelTransportModel& model, trelPacketScores& scores)
{
  if (scores.Trajectory) KeepTrajectoryPoint(packet, scores);
  ++packet.StepCount;
  if (static_cast<std::int64_t>(packet.StepCount) > model.StepNumberMax) {
    if (!packet.Dead) ++scores.EndedByLimit;
    packet.Dead = true;
  }
  if (packet.FlyTime > model.FlyTimeMax) packet.Dead = true;
  return !packet.Dead;
}

/** All steps to the packet's end, at least one; @p afterStep is called after each. */
template <class Geometry, class Rules, class AfterStep>
inline void TakeSteps(trelPacket& packet, trelRandomNumbers& numbers,
                      const trelTransportModel& model, trelPacketScores& scores,
                      AfterStep afterStep)
{
  do {
    TakeStep<Geometry, Rules>(packet, numbers, model, scores);
    afterStep();
  } while (EndStep(packet, model, scores));
}

/** The same with nothing after a step: plain steps in a loop of their own. */
template <class Geometry, class Rules>
inline void TakeSteps(trelPacket& packet, trelRandomNumbers& numbers,
                      const trelTransportModel& model, trelPacketScores& scores)
{
  do {
    TakePlainSteps<Geometry>(packet, numbers, model, scores);
    TakeStep<Geometry, Rules>(packet, numbers, model, scores);
  } while (EndStep(packet, model, scores));
}

#endif
