#ifndef trelExactSteps_h
#define trelExactSteps_h

#include "trelExactEvents.h"

/**
 * @file trelExactSteps.h
 * The steps of a packet by the exact rules. A step is a segment: it ends at the nearest point on
 * its way where anything changes, whatever lies between its ends. Where a lower bound of the
 * distance to all that is longer than the segment, nothing is asked; the path is the same to the
 * last bit.
 */

/** Whether the segment of @p length to @p end is known to meet nothing. Most are told by what is
 * left of the bound of an earlier one, which costs a comparison; else the cell's is read. */
inline bool IsClearAhead(trelExactPacket& packet, double length, const trelVector& end,
                         const trelExactModel& model)
{
  double clear = packet.Clear;
  if (!(length < clear))
    clear = trelExactPacket::ClearPart * model.GetSafeDistance(packet.Position);
  packet.Clear = clear - length;
  return length < clear && model.Map.StaysWithin(end) && !packet.IsUnsure;
}

/** One segment and what happens at its end. */
template <bool LooksForElements>
inline void TakeExactStep(trelExactPacket& packet, trelPacketNumbers& numbers,
                          const trelExactModel& model, trelExactTally& tally)
{
  double length = std::numeric_limits<double>::infinity();
  if (packet.Interaction > 0.0) {
    if (packet.Depth < 0.0) packet.Depth = Elementary.OpticalDepth(numbers.NextPositiveRandom());
    length = packet.Depth / packet.Interaction;
    const trelVector end = EndOfWay(packet.Position, packet.Direction, length);
    const double time = Elementary.TimeOfFlight(length, packet.Here->RefractiveIndex);
    if (IsClearAhead(packet, length, end, model) && !(packet.FlyTime + time > model.TimeLimit)) {
      packet.Position = end;
      packet.FlyTime += time;
      Interact<LooksForElements>(packet, numbers, model, tally);
      return;
    }
  }
  FollowSegment(packet, LookAhead(packet, length, model), numbers, model, tally);
}

/** All steps to the packet's end. */
template <bool LooksForElements>
inline void TakeExactSteps(trelExactPacket& packet, trelPacketNumbers& numbers,
                           const trelExactModel& model, trelExactTally& tally)
{
  while (!packet.Dead) {
    TakeExactStep<LooksForElements>(packet, numbers, model, tally);
    if (++packet.StepCount > model.StepLimit && !packet.Dead)
      EndPacket(packet, LedgerEndedBySteps, tally);
  }
  SettleAbsorption(packet, model, tally);
}

/** The same steps, of which the observer of the tally is told. */
inline void TakeObservedSteps(trelExactPacket& packet, trelPacketNumbers& numbers,
                              const trelExactModel& model, trelExactTally& tally)
{
  while (!packet.Dead) {
    const trelStepStart before = {packet.Direction, packet.TissueIndex, packet.Interactions,
                                  packet.Settled};
    TakeExactStep<true>(packet, numbers, model, tally);
    if (++packet.StepCount > model.StepLimit && !packet.Dead)
      EndPacket(packet, LedgerEndedBySteps, tally);
    tally.Observer->Step(before, packet);
  }
  SettleAbsorption(packet, model, tally);
}

#endif
