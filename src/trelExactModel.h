#ifndef trelExactModel_h
#define trelExactModel_h

#include <limits>
#include <vector>

#include "trelElementLocator.h"
#include "trelElementary.h"
#include "trelExactPacket.h"
#include "trelLedger.h"
#include "trelTissueMap.h"
#include "trelTransportModel.h"

/** One line of a fluorophore: where it takes light of which wavelength, and what it gives back. */
struct trelDye
{
  const trelShapeObject* Region;
  std::int32_t ExcitationWavelength;
  std::int32_t Wavelength;       ///< of the emission
  std::int32_t WavelengthIndex;  ///< of the emission
  double Absorption;             ///< muf, 1/mm
  double QuantumYield;           ///< emitted of absorbed light
  double LifeTime;               ///< mean delay of the emission, ps
  /** Weight of an emission packet in the unit of the sources' energy; fixed by a pilot run. */
  double PacketWeight;
};

/** What the packet loop of the exact rules reads of the model. Constant while packets travel. */
struct trelExactModel : trelTransportModel
{
  /** As many dyes as a packet has bits for. */
  static constexpr std::size_t MaximumDyes = 64;
  /** A packet that meets so many boundaries without an interaction is trapped. */
  static constexpr std::int32_t MaximumBoundariesInRow = 10000;
  /** Speed of light in vacuum, mm/ps. */
  static constexpr double SpeedOfLight = Elementary.SpeedOfLight;

  /** Copies everything; the geometry must have been prepared. @p cells: see trelTissueMap::Build.
   *  False if memory runs out or there are too many dyes. */
  bool Resolve(trelSimulationParameter& parameter, double cells = trelTissueMap::MostCells);

  /** Puts the packet into @p tissue with the coefficients there. */
  void Enter(std::int32_t tissue, trelExactPacket& packet) const
  {
    PlaceIn(tissue, packet);
    UpdateInteraction(packet);
  }
  /** The interaction coefficient of the packet's tissue and dyes. */
  void UpdateInteraction(trelExactPacket& packet) const
  {
    packet.Interaction = packet.Here->Interaction;
    if (packet.Dyes != 0) packet.Interaction += SumDyes(packet);
  }
  /** What the dyes that take light of the packet absorb together, 1/mm. */
  double SumDyes(const trelExactPacket& packet) const;
  /** Whether the dye @p i takes light of the packet. */
  bool Takes(std::size_t i, const trelExactPacket& packet) const
  {
    return (packet.Dyes >> i & 1) != 0 && Dyes[i].ExcitationWavelength == packet.Wavelength;
  }
  /** The dyes at a point, as bits. */
  std::uint64_t FindDyes(const trelVector& point) const;
  /** Whether the way of @p length ahead of the packet is known to meet nothing that ends
   *  a segment, and what is known of it otherwise. */
  bool IsClear(const trelExactPacket& packet, double length, trelClearance* clearance) const;
  /** A lower bound of that distance for all points of a cell; 0 where it is not known. */
  double GetSafeDistance(const trelVector& point) const
  {
    return HasMarkers ? 0.0 : Map.GetSafeDistance(point);
  }

  /** What the ledger tells apart. */
  trelLedgerSizes GetLedgerSizes() const
  {
    return {static_cast<std::size_t>(NumberOfTissues), Dyes.size(), FiberShapes.size(),
            MediumShapeType};
  }

  trelTissueMap Map;
  /** Empty unless absorption is scored by element. */
  trelElementLocator Elements;
  std::vector<trelDye> Dyes;
  /** Regions of dyes and fibres: they end segments beside the tissues. */
  std::vector<const trelShapeObject*> Markers;
  bool HasMarkers = false;
  bool SaveFluence = false;
  std::uint32_t StepLimit = std::numeric_limits<std::uint32_t>::max();
  double TimeLimit = std::numeric_limits<double>::infinity();  ///< ps

private:
  void CollectDyes(trelSimulationParameter& parameter);
  void CollectMarkers();
};

#endif
