#include "trelExactEvents.h"

#include <algorithm>
#include <cmath>

#include "trelFresnel.h"
#include "trelMediumResult.h"
#include "trelSimulationResult.h"

void trelExactTally::TakeRecord(std::int32_t spectrum)
{
  Selected = spectrum;
  const auto index = static_cast<std::size_t>(spectrum);
  Grids = Tables->GetMedium(index);
  FiberGrids = Tables->GetFibers(index);
  SpectrumMediumResult = Result ? Result->GetMediumResult(spectrum) : nullptr;
  Record = index < Ledger.Records.size() ? &Ledger.Records[index] : nullptr;
}

static double GetLight(const trelExactPacket& packet)
{
  return packet.SourceWeight * packet.Weight;
}

/** Adds to the path what the packet has flown since it was last done: before its refractive index
 *  or its clock changes, and where it leaves. */
static void SettlePath(trelExactPacket& packet)
{
  packet.PathLength += (packet.FlyTime - packet.PathTime) * trelExactModel::SpeedOfLight /
                       packet.Here->RefractiveIndex;
  packet.PathTime = packet.FlyTime;
}

void EndPacket(trelExactPacket& packet, trelLedgerPart part, trelExactTally& tally)
{
  packet.Dead = true;
  if (tally.Observer) tally.Observer->End(packet, part);
  if (tally.Record) tally.Record->Parts[part].AddPacket(GetLight(packet));
}

/** Enters what the dye @p i takes of light. Emission excites nothing. */
static void SettleDye(std::size_t i, double taken, const trelExactPacket& packet,
                      const trelExactModel& model, trelExactTally& tally)
{
  const trelDye& dye = model.Dyes[i];
  tally.Record->Dyes[i].AddWeight(taken);
  if (packet.IsEmission) return;
  const double converted = taken * dye.QuantumYield;
  tally.Record->Parts[LedgerConverted].AddWeight(converted);
  tally.Record->Parts[LedgerWithoutEmission].AddWeight(taken - converted);
  tally.Ledger.Records[static_cast<std::size_t>(dye.WavelengthIndex)]
      .Parts[LedgerConvertedInto]
      .AddWeight(converted);
}

void SettleAbsorption(trelExactPacket& packet, const trelExactModel& model, trelExactTally& tally)
{
  const double taken = packet.SourceWeight * (packet.Settled - packet.Weight);
  packet.Settled = packet.Weight;
  if (!tally.Record || taken == 0.0) return;
  const double dyes = packet.Dyes != 0 ? model.SumDyes(packet) : 0.0;
  const double absorption = packet.Here->Absorption + dyes;
  // Where nothing absorbs, the weight changes by rounding.
  if (!(absorption > 0.0)) return;
  tally.Record->Tissues[static_cast<std::size_t>(packet.TissueIndex)].AddWeight(
      taken * (packet.Here->Absorption / absorption));
  for (std::size_t i = 0; dyes > 0.0 && i < model.Dyes.size(); ++i) {
    if (model.Takes(i, packet))
      SettleDye(i, taken * (model.Dyes[i].Absorption / absorption), packet, model, tally);
  }
}

void ScoreClearPath(const trelExactPacket& packet, double distance, const trelExactModel& model,
                    trelExactTally& tally)
{
  const double slowness = packet.Here->RefractiveIndex / trelExactModel::SpeedOfLight;
  ScorePath(packet, distance, slowness, tally, model);
  if (HasElements(model, tally))
    ScorePathByElement(packet, {distance, slowness, model.Elements, packet.Place}, tally, model);
}

void PlayExactRoulette(trelExactPacket& packet, trelPacketNumbers& numbers, trelExactTally& tally)
{
  if (numbers.NextRandom() < RouletteChance) {
    const double gained = packet.Weight / RouletteChance - packet.Weight;
    packet.Weight /= RouletteChance;
    packet.Settled += gained;
    if (tally.Record) tally.Record->Parts[LedgerRoulette].AddWeight(-packet.SourceWeight * gained);
    return;
  }
  EndPacket(packet, LedgerRoulette, tally);
}

// Emission.

/** A direction of all with equal chance, in space or in the plane. */
static trelVector DrawDirection(trelPacketNumbers& numbers, const trelExactModel& model)
{
  const trelUnitCircle azimuth = PointOfTurn(numbers.NextRandom());
  if (model.Dimension == Dimension2D) return {azimuth.Cosine, azimuth.Sine, 0.0};
  const double z = 2.0 * numbers.NextRandom() - 1.0;
  const double r = std::sqrt(1.0 - z * z);
  return {r * azimuth.Cosine, r * azimuth.Sine, z};
}

/** Flies a packet of the emission of @p dye from where @p excitation is, on a stream of its own. */
static void Emit(const trelExactPacket& excitation, const trelDye& dye,
                 trelPacketNumbers& excitationNumbers, const trelExactModel& model,
                 trelExactTally& tally)
{
  trelPacketNumbers numbers = excitationNumbers.Branch();
  trelExactPacket packet = excitation;
  packet.IsEmission = true;
  packet.Wavelength = dye.Wavelength;
  packet.WavelengthIndex = dye.WavelengthIndex;
  packet.SourceWeight = dye.PacketWeight;
  packet.Weight = packet.Settled = 1.0;
  SettlePath(packet);
  packet.StepCount = 0;
  packet.Depth = trelExactPacket::NotDrawn;
  packet.Skip = 0.0;
  packet.BoundariesInRow = 0;
  packet.Dead = false;
  packet.Direction = DrawDirection(numbers, model);
  packet.FlyTime -= dye.LifeTime * NaturalLogarithm(numbers.NextPositiveRandom());
  packet.PathTime = packet.FlyTime;
  model.Enter(packet.TissueIndex, packet);
  const std::int32_t spectrum = excitation.WavelengthIndex;
  tally.SelectRecord(dye.WavelengthIndex);
  if (tally.Record) tally.Record->Parts[LedgerEmitted].AddPacket(dye.PacketWeight);
  if (tally.Observer) tally.Observer->Start(packet);
  if (packet.FlyTime > model.TimeLimit) EndPacket(packet, LedgerEndedByTime, tally);
  tally.Trace(packet, numbers, model, tally);
  tally.SelectRecord(spectrum);
}

void Excite(const trelExactPacket& packet, double share, trelPacketNumbers& numbers,
            const trelExactModel& model, trelExactTally& tally)
{
  for (std::size_t i = 0; i < model.Dyes.size(); ++i) {
    if (!model.Takes(i, packet)) continue;
    const trelDye& dye = model.Dyes[i];
    const double converted = packet.SourceWeight * share * dye.Absorption * dye.QuantumYield;
    tally.Converted[i] += converted;
    if (!tally.Trace || !(dye.PacketWeight > 0.0)) continue;
    const double packets = std::floor(converted / dye.PacketWeight + numbers.NextRandom());
    for (double n = 0.0; n < packets; ++n)
      Emit(packet, dye, numbers, model, tally);
  }
}

// The end of a segment that meets something.

/** Uses up the optical depth of @p distance and moves there. */
static void Advance(trelExactPacket& packet, double distance, const trelExactModel& model,
                    trelExactTally& tally)
{
  if (packet.Depth >= 0.0) {
    packet.Depth = std::max(0.0, packet.Depth - distance * packet.Interaction);
  }
  Travel(packet, distance, model, tally);
}

/** The packet stands on the surface of @p change and goes on in its direction. */
static void StandOn(const trelTissueChange& change, const trelExactModel& model,
                    trelExactPacket& packet, trelExactTally& tally)
{
  packet.Skip = change.ReachAlong(packet.Direction);
  if (!model.Dyes.empty()) {
    SettleAbsorption(packet, model, tally);
    packet.Dyes = model.FindDyes(packet.Position + packet.Skip * packet.Direction);
  }
  if (packet.TissueIndex >= 0) model.UpdateInteraction(packet);
}

/** The fibre whose surface the ray enters first, up to @p limit; -1 if there is none. One that the
 *  ray leaves is none: the packet was launched inside. */
static std::int32_t FindFiber(const trelRay& ray, double after, double limit,
                              const trelExactModel& model, trelHit* nearest)
{
  std::int32_t found = -1;
  trelHit hit;
  for (std::size_t i = 0; i < model.FiberShapes.size(); ++i) {
    const trelShapeObject* fiber = model.FiberShapes[i];
    if (!fiber || !fiber->FindCrossing(ray, after, limit, &hit)) continue;
    if (Dot(hit.Normal, ray.Direction) >= 0.0) continue;
    *nearest = hit;
    limit = hit.Distance;
    found = static_cast<std::int32_t>(i);
  }
  return found;
}

/** The face that the packet crossed, from 0; a surface in one piece is not numbered, or by its
 *  triangles. */
static std::size_t FindFace(const trelExactPacket& packet, const trelExactModel& model)
{
  const int faces = GetShapeTraits(model.MediumShapeType).GetNumberOfFaces();
  const int face = packet.Boundary.Hit.Face;
  return static_cast<std::size_t>(faces == 1 ? 0 : std::clamp(face, 0, faces - 1));
}

/** Tells of a packet that leaves the medium or, with @p fiber from 0, meets a fibre. */
static void TellExit(const trelExactPacket& packet, std::int32_t fiber, const trelExactModel& model,
                     trelExactTally& tally)
{
  if (!tally.Observer) return;
  const bool isOutside = packet.TissueIndex < 0;
  const auto face = isOutside ? static_cast<std::int32_t>(FindFace(packet, model)) : -1;
  tally.Observer->Leave(packet, {fiber + 1, face + 1});
}

/** Ends and scores a packet at the face of a fibre. */
static void EndInFiber(trelExactPacket& packet, std::int32_t fiber, const trelHit& face,
                       const trelExactModel& model, trelExactTally& tally)
{
  packet.Dead = true;
  SettlePath(packet);
  TellExit(packet, fiber, model, tally);
  if (tally.Record)
    tally.Record->Fibers[static_cast<std::size_t>(fiber)].AddExit(GetLight(packet), packet.FlyTime,
                                                                  packet.PathLength);
  ScoreFiber(packet, face.Face, fiber, tally, model);
}

bool EndAtFiberHere(trelExactPacket& packet, const trelExactModel& model, trelExactTally& tally)
{
  if (!model.HasFiberDetectors) return false;
  const trelRay back = {packet.Position - packet.Skip * packet.Direction, packet.Direction};
  trelHit face;
  const std::int32_t fiber = FindFiber(back, 0.0, 2.0 * packet.Skip, model, &face);
  if (fiber >= 0) EndInFiber(packet, fiber, face, model, tally);
  return fiber >= 0;
}

/** Ends and scores a packet that has left the medium, towards Direction. */
static void Escape(trelExactPacket& packet, const trelExactModel& model, trelExactTally& tally)
{
  packet.Dead = true;
  packet.TissueIndex = -1;
  if (EndAtFiberHere(packet, model, tally)) return;
  TellExit(packet, -1, model, tally);
  if (tally.Record)
    tally.Record->Faces[FindFace(packet, model)].AddExit(GetLight(packet), packet.FlyTime,
                                                         packet.PathLength);
  if (tally.SpectrumMediumResult && model.SavePhotonFlyTime) {
    const std::int64_t row = tally.SpectrumMediumResult->IncrementTransmitPhotonNum();
    tally.SpectrumMediumResult->RecordFlyTime(row, packet.Position, packet.FlyTime);
  }
  ScoreEscape(packet, tally, model);
}

void EscapeAtStart(const trelHit& skin, trelExactPacket& packet, const trelExactModel& model,
                   trelExactTally& tally)
{
  packet.Boundary.Hit = skin;
  Escape(packet, model, tally);
}

/** What a boundary does to a packet that has come to it: Fresnel's share is reflected, the rest
 *  refracted by Snell's law about the true normal. Between equal indices it goes straight on, and
 *  no random number is drawn. */
static void MeetBoundary(trelExactPacket& packet, const trelTissueChange& change,
                         trelPacketNumbers& numbers, const trelExactModel& model,
                         trelExactTally& tally)
{
  const trelVector& normal = change.Hit.Normal;
  const double indexHere = packet.Here->RefractiveIndex;
  const double indexNext =
      change.Tissue < 0
          ? model.AmbientRefractiveIndex
          : model.GetCoefficients(change.Tissue, packet.WavelengthIndex).RefractiveIndex;
  packet.Boundary.Hit = change.Hit;
  if (indexHere != indexNext) {
    const double cosine = Dot(normal, packet.Direction);
    const trelInterface met = MeetInterface(indexHere, indexNext, std::fabs(cosine));
    if (met.Reflectance >= 1.0 || numbers.NextRandom() < met.Reflectance) {
      packet.Direction = Normalized(packet.Direction - 2.0 * cosine * normal);
      StandOn(change, model, packet, tally);
      return;
    }
    packet.Direction = Normalized(RefractByCosines(packet.Direction, normal, indexHere / indexNext,
                                                   std::fabs(cosine), met.CosTransmit));
  }
  SettleAbsorption(packet, model, tally);
  SettlePath(packet);
  if (change.Tissue >= 0)
    model.PlaceIn(change.Tissue, packet);
  else
    packet.TissueIndex = -1;
  StandOn(change, model, packet, tally);
  if (change.Tissue < 0) Escape(packet, model, tally);
}

/** The nearest border of a dye's region up to @p limit. */
static bool FindDyeBorder(const trelRay& ray, double after, double limit,
                          const trelExactModel& model, trelHit* nearest)
{
  bool found = false;
  for (const trelDye& dye : model.Dyes) {
    if (!dye.Region->FindCrossing(ray, after, limit, nearest)) continue;
    limit = nearest->Distance;
    found = true;
  }
  return found;
}

/** Whether an interaction changes a packet's way for good, or its weight: light on a line between
 * mirrors stays on it, however often it is scattered by 0 or 180 degrees. */
static bool IsChangedByInteraction(const trelExactPacket& packet)
{
  const trelCoefficients& here = *packet.Here;
  return std::fabs(here.Anisotropy) < 1.0 || packet.Interaction > here.Scattering;
}

/** Whether the packet gets trapped at the surface that it has come to. */
static bool CountBoundary(trelExactPacket& packet, trelExactTally& tally)
{
  if (packet.Interactions != packet.InteractionsBefore && IsChangedByInteraction(packet))
    packet.BoundariesInRow = 0;
  packet.InteractionsBefore = packet.Interactions;
  if (++packet.BoundariesInRow <= trelExactModel::MaximumBoundariesInRow) return false;
  EndPacket(packet, LedgerTrapped, tally);
  return true;
}

/** The end of a segment that nothing cut. */
static void EndSegment(trelExactPacket& packet, double limit, bool endsByTime,
                       trelPacketNumbers& numbers, const trelExactModel& model,
                       trelExactTally& tally)
{
  if (!(limit < std::numeric_limits<double>::infinity())) {
    EndPacket(packet, LedgerLost, tally);
    return;
  }
  Travel(packet, limit, model, tally);
  if (!endsByTime) {
    Interact<true>(packet, numbers, model, tally);
    return;
  }
  EndPacket(packet, LedgerEndedByTime, tally);
}

/** Ends the segment at a fibre or a dye's border that lies ahead of where it would end, @p distance
 *  away, with or without a change of tissue there. A fibre behind a boundary at its place, in the
 *  medium, wins over it, one outside of the medium does not. A dye's border is settled with the
 *  boundary, and a fibre at its place wins over it. */
static bool EndAtMarker(trelExactPacket& packet, double distance, const trelTissueChange* change,
                        const trelExactModel& model, trelExactTally& tally)
{
  const trelRay ray = packet.GetRay();
  const double slack = change ? change->ReachAlong(packet.Direction) : 0.0;
  double limit = change && change->Tissue >= 0 ? distance + slack : distance - slack;
  trelHit border, face;
  trelTissueChange mark;
  const bool meetsDye = FindDyeBorder(ray, packet.Skip, distance - slack, model, &border);
  if (meetsDye) {
    mark = model.Map.MakeMark(border);
    limit = border.Distance + mark.ReachAlong(packet.Direction);
  }
  const std::int32_t fiber = FindFiber(ray, packet.Skip, limit, model, &face);
  if (fiber < 0 && !meetsDye) return false;
  if (CountBoundary(packet, tally)) return true;
  Advance(packet, fiber < 0 ? border.Distance : face.Distance, model, tally);
  if (fiber < 0)
    StandOn(mark, model, packet, tally);
  else
    EndInFiber(packet, fiber, face, model, tally);
  return true;
}

/** Whether a way of @p length may end on the surface that it starts on: it crosses nothing then,
 * and its end may lie on either side. */
static bool GoesAlongSurface(const trelExactPacket& packet, double length,
                             const trelExactModel& model)
{
  constexpr double many = 1e3;
  if (packet.IsUnsure) return true;
  if (packet.Skip == 0.0) return false;
  const double away = std::fabs(Dot(packet.Boundary.Hit.Normal, packet.Direction)) * length;
  return !(away > many * model.Map.GetMargin());
}

/** Whether the packet is off all surfaces, and on the right side of them. */
static bool IsInItsTissue(const trelExactPacket& packet, const trelExactModel& model)
{
  return model.Map.BoundDistance(packet.Position) > 0.0 &&
         model.Map.FindTissue(packet.Position) == packet.TissueIndex;
}

/** The change of tissue on the segment. What lies behind its end by less than rounding makes its
 * end unsure. */
static bool FindChange(trelExactPacket& packet, double limit, bool within,
                       const trelExactModel& model, trelTissueChange* change)
{
  const bool isKnown = packet.Skip == 0.0 && !packet.IsUnsure;
  // On the surface itself a point is in either tissue.
  const double after =
      packet.IsUnsure ? std::max(packet.Skip, model.Map.GetShortestReach()) : packet.Skip;
  const bool found = model.Map.FindChange(packet.GetRay(), packet.TissueIndex, after,
                                          limit + model.Map.GetMargin(), change, isKnown, within);
  packet.IsUnsure = found && change->Hit.Distance > limit;
  return found && !packet.IsUnsure;
}

trelSegment LookAhead(const trelExactPacket& packet, double length, const trelExactModel& model)
{
  const double timeLeft = (model.TimeLimit - packet.FlyTime) * trelExactModel::SpeedOfLight /
                          packet.Here->RefractiveIndex;
  trelSegment segment{};
  segment.EndsByTime = timeLeft < length;
  segment.Limit = segment.EndsByTime ? std::max(timeLeft, 0.0) : length;
  segment.IsClear = segment.Limit < std::numeric_limits<double>::infinity() &&
                    model.IsClear(packet, segment.Limit, &segment.Clearance);
  return segment;
}

void FollowSegment(trelExactPacket& packet, const trelSegment& segment, trelPacketNumbers& numbers,
                   const trelExactModel& model, trelExactTally& tally)
{
  const double limit = segment.Limit;
  if (segment.IsClear) {
    packet.Clear = segment.GetClearBehind();
    EndSegment(packet, limit, segment.EndsByTime, numbers, model, tally);
    return;
  }
  packet.Clear = 0.0;
  trelTissueChange change;
  const bool goesAlong = GoesAlongSurface(packet, limit, model);
  const bool changes = FindChange(packet, limit, segment.Clearance.IsWithin, model, &change);
  const double distance = changes ? change.Hit.Distance : limit;
  if (model.HasMarkers && EndAtMarker(packet, distance, changes ? &change : nullptr, model, tally))
    return;
  if (!changes) {
    EndSegment(packet, limit, segment.EndsByTime, numbers, model, tally);
    if (goesAlong && !IsInItsTissue(packet, model)) packet.IsUnsure = true;
  } else if (!CountBoundary(packet, tally)) {
    Advance(packet, distance, model, tally);
    MeetBoundary(packet, change, numbers, model, tally);
  }
}
