#include "trelPacketEvents.h"

#include "trelFresnel.h"
#include "trelMediumResult.h"

void ScoreElsewhere(const trelPacket& packet, const trelPacketScores& scores,
                    const trelTransportModel& model, double weight)
{
  ScoreAbsorbed(packet, scores, model, weight);
}

void PlayRoulette(trelPacket& packet, trelRandomNumbers& numbers, const trelTransportModel& model,
                  trelPacketScores& scores)
{
  if (numbers.NextRandom() < RouletteChance) {
    packet.Weight /= RouletteChance;
    return;
  }
  packet.Dead = true;
  Absorb(packet, scores, model, packet.Weight);
  scores.SpectrumMediumResult->IncrementAbsorpPhotonNum();
}

trelBoundaryTurn ResolveBoundary(trelPacket& packet, trelRandomNumbers& numbers,
                                 const trelTransportModel& model)
{
  trelBoundary& boundary = packet.Boundary;
  const std::int32_t next = boundary.NextTissue;
  boundary.IndexHere = packet.Here->RefractiveIndex;
  boundary.IndexNext = next == -1
                           ? model.AmbientRefractiveIndex
                           : model.GetCoefficients(next, packet.WavelengthIndex).RefractiveIndex;
  if (boundary.IndexHere == boundary.IndexNext) return BoundaryTransmits;
  const double cosIncidence = CosIncidence(packet.Direction, boundary.Hit.Normal);
  double reflectance = 1.0;
  double cosTransmit = 0.0;
  if (CriticalCosine(boundary.IndexHere, boundary.IndexNext) < cosIncidence) {
    reflectance =
        FresnelReflectance(boundary.IndexHere, boundary.IndexNext, cosIncidence, &cosTransmit);
  }
  // Drawn at total reflection too: the order of the draws is part of the stream.
  const double random = numbers.NextRandom();
  if (random <= reflectance || reflectance == 1.0) return BoundaryReflects;
  boundary.TransmitAngle = std::acos(cosTransmit);
  return BoundaryTransmits;
}

/** Counts and scores a packet that has left the medium through its boundary. */
static void Escape(trelPacket& packet, const trelTransportModel& model,
                   const trelPacketScores& scores)
{
  packet.Dead = true;
  trelMediumResult& result = *scores.SpectrumMediumResult;
  const std::int64_t row = result.IncrementTransmitPhotonNum();
  if (model.SavePhotonFlyTime) result.RecordFlyTime(row, packet.Position, packet.FlyTime);
  if (!model.SaveTransmittance) return;
  if (const trelScoreTarget* target = FindTransmittanceTarget(packet, *scores.Grids)) {
    ScoreInDomains(packet, scores, model, *target, packet.SourceWeight * packet.Weight);
  }
}

/** Carries the packet over the boundary. Between equal indices it is refracted by the angle of the
 *  last real refraction of its thread (0 before it), so that the direction is not preserved there;
 *  results depend on it. */
static void Transmit(trelPacket& packet, const trelTransportModel& model,
                     const trelPacketScores& scores)
{
  const trelBoundary& boundary = packet.Boundary;
  packet.Direction = Refract(packet.Direction, boundary.Hit.Normal, boundary.TransmitAngle);
  if (boundary.NextTissue == -1) {
    packet.TissueIndex = -1;
    Escape(packet, model, scores);
  } else {
    model.PlaceIn(boundary.NextTissue, packet);
  }
}

void UpdateDirection(trelPacket& packet, const trelTransportModel& model,
                     const trelPacketScores& scores, trelBoundaryTurn turn)
{
  if (turn == BoundaryTransmits) {
    Transmit(packet, model, scores);
  } else {
    packet.Direction = Reflect(packet.Direction, packet.Boundary.Hit.Normal);
  }
}

void EndOutside(trelPacket& packet, const trelPacketScores& scores)
{
  packet.TissueIndex = -1;
  packet.Dead = true;
  scores.SpectrumMediumResult->IncrementTransmitPhotonNum();
}

/** Whether one end of the step lies in a fibre detector and the other does not: the first such
 *  detector of the list becomes CurrentDetector. */
static bool CrossesFiberDetector(trelPacket& packet, const trelTransportModel& model)
{
  const trelVector end = packet.GetEnd();
  for (std::size_t i = 0; i < model.FiberShapes.size(); ++i) {
    const trelShapeObject* shape = model.FiberShapes[i];
    if (!shape || shape->LocatePoint(packet.Position) == shape->LocatePoint(end)) continue;
    packet.CurrentDetector = static_cast<std::int32_t>(i);
    return true;
  }
  return false;
}

/** Finds the face of CurrentDetector that the step meets. The ray is asked as one that enters, also
 *  from inside: an ellipsoid around the source is then never hit, a cylinder is. The packet is not
 *  moved, nor its step cut. */
static bool IntersectFiberDetector(trelPacket& packet, const trelTransportModel& model)
{
  trelHit& hit = packet.Boundary.Hit;
  hit.Distance = packet.StepSize;
  return model.FiberShapes[static_cast<std::size_t>(packet.CurrentDetector)]->FindHit(
      packet.GetRay(), RayEnters, &hit);
}

bool EndAtFiberDetector(trelPacket& packet, const trelTransportModel& model,
                        const trelPacketScores& scores, bool scoresMissed)
{
  if (!CrossesFiberDetector(packet, model)) return false;
  if (IntersectFiberDetector(packet, model) || scoresMissed) ScoreFiberDetector(packet, scores);
  packet.Dead = true;
  return true;
}
