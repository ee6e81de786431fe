#ifndef trelPacketGeometry_h
#define trelPacketGeometry_h

#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelTransportModel.h"

/**
 * @file trelPacketGeometry.h
 * The question that a step asks of its medium: what becomes of a packet between its position and
 * the end of its step? One struct for each kind of medium answers it; the steps are a template over
 * them.
 *
 * Only the end of the step is tested: a step that enters a thin tissue and leaves it again sees no
 * boundary. Results depend on it.
 */

/** The answer. */
enum trelCrossing
{
  CrossesNothing,  ///< the step ends in the tissue that it started in
  MeetsBoundary,   ///< the step is cut at the packet's Boundary, and its rest is kept
  EndsElsewhere,   ///< the end lies in Boundary.NextTissue, but no boundary was found on the way
  EndsOutside      ///< the same outside of the medium
};

/**
 * A medium of shapes. The outermost tissue holds all others, and each of these counts as lying
 * directly in it: a packet that leaves an inner tissue enters the outermost one, even where another
 * inner tissue lies. Results depend on it.
 */
struct trelShapeGeometry
{
  static trelCrossing FindCrossing(const trelTransportModel& model, const trelVector& end,
                                   trelPacket& packet)
  {
    if (!CrossesBoundaryAnalytic(model, end, packet)) return CrossesNothing;
    return MoveToBoundaryAnalytic(model, packet);
  }
  /** Whether IsWithin() may be asked about the tissue. */
  static bool KnowsTissue(const trelTransportModel& model, std::int32_t tissue)
  {
    return model.CachedMedium->CanSettle(tissue);
  }
  /** Whether a step in @p tissue that ends at @p end crosses nothing. */
  static bool IsWithin(const trelTransportModel& model, const trelVector& end, std::int32_t tissue)
  {
    return model.CachedMedium->IsSettledIn(end, tissue) ||
           IsWithinShape(model, end.X, end.Y, end.Z, tissue);
  }

private:
  /** The tissue at @p end as a packet in @p tissue sees it. */
  static std::int32_t FindTissue(const trelTransportModel& model, const trelVector& end,
                                 std::int32_t tissue)
  {
    if (tissue == model.OutermostTissue) return model.CachedMedium->GetTissueIndex(end);
    const bool leaves = model.TissueShapes[tissue]->LocatePoint(end) == PointOutside;
    return leaves ? model.OutermostTissue : tissue;
  }
  /** IsWithin() by the shapes. Separate coordinates are passed in registers. */
  TREL_RARE static bool IsWithinShape(const trelTransportModel& model, double x, double y, double z,
                                      std::int32_t tissue);
  /** Whether @p end lies in another tissue, which becomes NextTissue then. */
  static bool CrossesBoundaryAnalytic(const trelTransportModel& model, const trelVector& end,
                                      trelPacket& packet)
  {
    const std::int32_t found = FindTissue(model, end, packet.TissueIndex);
    packet.Boundary.NextTissue =
        packet.TissueIndex == model.OutermostTissue ? found : model.OutermostTissue;
    return found != packet.TissueIndex;
  }
  TREL_RARE static trelCrossing MoveToBoundaryAnalytic(const trelTransportModel& model,
                                                       trelPacket& packet);
};

/** A medium that is one tetrahedral mesh, whose regions are the tissues; any two may touch. */
struct trelTetrahedralGeometry
{
  static trelCrossing FindCrossing(const trelTransportModel& model, const trelVector& end,
                                   trelPacket& packet)
  {
    if (IsWithin(model, end, packet.TissueIndex)) return CrossesNothing;
    return MoveToBoundaryTetrahedral(model, packet);
  }
  /** As in trelShapeGeometry. */
  static bool KnowsTissue(const trelTransportModel& /*model*/, std::int32_t /*tissue*/)
  {
    return true;
  }
  static bool IsWithin(const trelTransportModel& model, const trelVector& end, std::int32_t tissue)
  {
    return model.Tetrahedron->LocatePointInRegion(end, tissue) != PointOutside;
  }

private:
  TREL_RARE static trelCrossing MoveToBoundaryTetrahedral(const trelTransportModel& model,
                                                          trelPacket& packet);
};

#endif
