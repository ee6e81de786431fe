#include "trelPacketGeometry.h"

/** Ends the step at the boundary and keeps the rest of it, as an optical depth; turns the normal
 *  along the travel. */
static trelCrossing CutStep(trelPacket& packet)
{
  trelHit& hit = packet.Boundary.Hit;
  if (Dot(hit.Normal, packet.Direction) < 0.0) hit.Normal = -hit.Normal;
  packet.StepLeft = (packet.StepSize - hit.Distance) * packet.Here->Interaction;
  packet.StepSize = hit.Distance;
  return MeetsBoundary;
}

bool trelShapeGeometry::IsWithinShape(const trelTransportModel& model, double x, double y, double z,
                                      std::int32_t tissue)
{
  return FindTissue(model, {x, y, z}, tissue) == tissue;
}

trelCrossing trelShapeGeometry::MoveToBoundaryAnalytic(const trelTransportModel& model,
                                                       trelPacket& packet)
{
  trelBoundary& boundary = packet.Boundary;
  const bool isOutside = boundary.NextTissue == -1;
  const bool entersInner = packet.TissueIndex == model.OutermostTissue && !isOutside;
  const trelShapeObject& shape =
      *model.TissueShapes[entersInner ? boundary.NextTissue : packet.TissueIndex];
  boundary.Hit.Distance = packet.StepSize;
  if (shape.FindHit(packet.GetRay(), entersInner ? RayEnters : RayLeaves, &boundary.Hit)) {
    return CutStep(packet);
  }
  return isOutside ? EndsOutside : EndsElsewhere;
}

trelCrossing trelTetrahedralGeometry::MoveToBoundaryTetrahedral(const trelTransportModel& model,
                                                                trelPacket& packet)
{
  std::int32_t& next = packet.Boundary.NextTissue;
  trelHit& hit = packet.Boundary.Hit;
  hit.Distance = packet.StepSize;
  const bool isHit =
      model.Tetrahedron->FindHitInRegion(packet.GetRay(), packet.TissueIndex, &hit, &next);
  if (!isHit) next = model.Tetrahedron->FindRegion(packet.GetEnd());
  if (!model.IsTissue(next)) next = -1;
  if (isHit) return CutStep(packet);
  return next == -1 ? EndsOutside : EndsElsewhere;
}
