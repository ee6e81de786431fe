#ifndef trelExactPacket_h
#define trelExactPacket_h

#include <cstdint>

#include "trelElementLocator.h"
#include "trelPacket.h"

/** A packet in flight by the exact rules: what a packet is, and what its way through the medium has
 *  told so far. */
struct trelExactPacket : trelPacket
{
  /** No optical depth has been drawn for the way to the next interaction. */
  static constexpr double NotDrawn = -1.0;
  /** What Clear takes of a bound. The rest pays for the rounding of the many lengths that are taken
   *  off. */
  static constexpr double ClearPart = 1.0 - 1e-6;

  /** Optical depth to the next interaction, used up across boundaries; or NotDrawn. */
  double Depth;
  /** Interaction coefficient here, of the tissue and of the dyes, 1/mm. */
  double Interaction;
  /** What lies ahead by less, mm, the packet stands on and has passed. */
  double Skip;
  /** Whichever way the packet goes, nothing changes within this distance, mm, but for the surface
   * of a convex outermost body: what its path since has left of the last bound that was asked for.
   */
  double Clear;
  /** The last segment ended within rounding of a surface: the packet may lie beside its tissue. */
  bool IsUnsure;
  /** The dyes in whose regions the packet is, a bit each, in the order of the model. */
  std::uint64_t Dyes;
  /** The time of flight up to which PathLength is told: with the refractive index the time since
   *  then tells the rest. */
  double PathTime;
  /** The weight when what was absorbed until then was last entered in the ledger. */
  double Settled;
  std::uint32_t Interactions;
  /** Boundaries since the last interaction that changed the packet's way or weight. */
  std::int32_t BoundariesInRow;
  /** Interactions up to the last boundary. */
  std::uint32_t InteractionsBefore;
  /** Emission excites nothing. */
  bool IsEmission;
  /** Where it was sought among tetrahedra, if absorption is scored by these. */
  trelElementPlace Place;
};

#endif
