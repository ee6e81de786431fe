#ifndef trelExactEvents_h
#define trelExactEvents_h

#include "trelElementary.h"
#include "trelExactModel.h"
#include "trelExactScores.h"
#include "trelInlining.h"
#include "trelLedger.h"
#include "trelPacketNumbers.h"
#include "trelPacketObserver.h"
#include "trelPhaseFunction.h"

struct trelRunCounter;

/**
 * @file trelExactEvents.h
 * What happens to a packet on its way by the exact rules: functions of the packet, its random
 * numbers, the model and where it is scored. The forms of the classic rules stand in
 * trelPacketEvents.h; docs/physics.md compares the two.
 */

/** Where the packets of a thread are scored, and what became of them. Energies in the unit of the
 *  sources' energy. */
struct trelExactTally : trelPacketScores
{
  std::uint64_t Interactions = 0;  ///< of the packets of sources
  /** What became of the packets of this thread. Sized before them; empty in the pilot. */
  trelLedger Ledger;
  /** The one of its records that scores are directed to; null if it is empty. */
  trelLedgerRecord* Record = nullptr;
  /** By dye: the weight that was converted. Sized before the packets. */
  std::vector<double> Converted;
  /** Flies a packet to its end: an emission packet where it starts. Null in the pilot, in which
   *  conversions are counted and nothing is emitted. */
  void (*Trace)(trelExactPacket& packet, trelPacketNumbers& numbers, const trelExactModel& model,
                trelExactTally& tally) = nullptr;
  /** Where the thread counts for those who watch the run; null in the pilot. */
  trelRunCounter* Counter = nullptr;
  /** Who looks at the packets of the thread; mostly null. */
  trelPacketObserver* Observer = nullptr;
  const trelScoreTables* Tables = nullptr;
  trelSimulationResult* Result = nullptr;

  /** Directs scores to the record of a spectrum. */
  void SelectRecord(std::int32_t spectrum)
  {
    if (spectrum != Selected) TakeRecord(spectrum);
  }

private:
  TREL_RARE void TakeRecord(std::int32_t spectrum);

  std::int32_t Selected = -1;
};

/** Ends the packet and enters what is left of it in the ledger. */
TREL_RARE void EndPacket(trelExactPacket& packet, trelLedgerPart part, trelExactTally& tally);

/** Enters in the ledger what tissue and dyes have taken of the packet since it was last done:
 *  before either changes, and at the packet's end. What the weight has fallen by is shared by their
 *  coefficients. */
TREL_RARE void SettleAbsorption(trelExactPacket& packet, const trelExactModel& model,
                                trelExactTally& tally);

/** Moves the packet by @p distance; its fluence in tissue without interaction is scored by the
 *  path. */
TREL_RARE void ScoreClearPath(const trelExactPacket& packet, double distance,
                              const trelExactModel& model, trelExactTally& tally);

inline void Travel(trelExactPacket& packet, double distance, const trelExactModel& model,
                   trelExactTally& tally)
{
  if (model.SaveFluence && packet.Interaction == 0.0) {
    ScoreClearPath(packet, distance, model, tally);
  }
  packet.Position = EndOfWay(packet.Position, packet.Direction, distance);
  packet.FlyTime += Elementary.TimeOfFlight(distance, packet.Here->RefractiveIndex);
}

/** The conversion of what the dyes take of a weight @p weight at an interaction. */
TREL_RARE void Excite(const trelExactPacket& packet, double weight, trelPacketNumbers& numbers,
                      const trelExactModel& model, trelExactTally& tally);

/** Of a weak packet a tenth goes on with the tenfold weight. Nothing is scored: the mean of what is
 *  scored later is that of all. */
TREL_RARE void PlayExactRoulette(trelExactPacket& packet, trelPacketNumbers& numbers,
                                 trelExactTally& tally);

/** The new direction: of Henyey and Greenstein in space, of their law for two dimensions in the
 *  plane. */
inline void Scatter(trelExactPacket& packet, trelPacketNumbers& numbers,
                    const trelExactModel& model)
{
  const double g = packet.Here->Anisotropy;
  const double random = numbers.NextRandom();
  if (model.Dimension == Dimension2D) {
    const trelUnitCircle turn = DrawTurnInPlane(g, random);
    const trelVector u = packet.Direction;
    packet.Direction = {u.X * turn.Cosine - u.Y * turn.Sine, u.X * turn.Sine + u.Y * turn.Cosine,
                        0.0};
  } else {
    const double cosTheta = DrawCosineInSpace(g, random);
    packet.Direction = Deflect(packet.Direction, cosTheta, numbers.NextRandom());
  }
}

/** Whether what happens is scored by tetrahedron. Without elements there may be no grids either. */
inline bool HasElements(const trelExactModel& model, const trelExactTally& tally)
{
  return !model.Elements.IsEmpty() && tally.Grids->Elements.NumberOfCells != 0;
}

/** Scores an interaction, as ScoreInteraction(), in the tetrahedron where the packet is. */
inline void ScoreElement(trelExactPacket& packet, const trelExactModel& model,
                         double absorbedWeight, double fluence, trelExactTally& tally)
{
  if (!packet.Place.Holds(packet.Position)) model.Elements.Find(packet.Position, &packet.Place);
  if (packet.Place.Element < 0) return;
  const trelScoreTable& table = *tally.Grids;
  const auto cell = static_cast<std::size_t>(packet.Place.Element);
  const double value = packet.SourceWeight * (table.TakesFluence() ? fluence : absorbedWeight);
  if (model.OnlyCW) {
    AddToCell(tally, table.Elements.CW + cell, value);
  } else {
    ScoreEvent(tally, model, {table.Window, table.Elements, cell, packet.FlyTime, value});
  }
}

/** The interaction at the packet's place. Of the weight w the share mua / mut' is absorbed by the
 *  tissue, muf / mut' by each dye, and mus / mut' goes on; w / mut' is its part of the fluence.
 * Where no element is looked for, none is scored. */
template <bool LooksForElements>
inline void Interact(trelExactPacket& packet, trelPacketNumbers& numbers,
                     const trelExactModel& model, trelExactTally& tally)
{
  const auto [share, kept] =
      Elementary.ShareWeight(packet.Weight, packet.Interaction, packet.Here->Scattering);
  ScoreInteraction(packet, tally, model, packet.Weight - kept, share);
  if (LooksForElements && HasElements(model, tally))
    ScoreElement(packet, model, packet.Weight - kept, share, tally);
  if (packet.Dyes != 0 && !packet.IsEmission) Excite(packet, share, numbers, model, tally);
  packet.Weight = kept;
  packet.Depth = trelExactPacket::NotDrawn;
  packet.Skip = 0.0;
  ++packet.Interactions;
  if (!(packet.Weight > 0.0)) {
    EndPacket(packet, LedgerAbsorbedWhole, tally);
    return;
  }
  Scatter(packet, numbers, model);
  if (packet.Weight < RouletteThreshold) PlayExactRoulette(packet, numbers, tally);
}

/** Scores a packet that starts on the skin, at @p skin, and outward: it is gone at once. */
void EscapeAtStart(const trelHit& skin, trelExactPacket& packet, const trelExactModel& model,
                   trelExactTally& tally);

/** Ends and scores a packet on the skin that goes into a fibre whose surface lies at its place: one
 *  that has left the medium into a fibre outside, or enters it into one inside. */
bool EndAtFiberHere(trelExactPacket& packet, const trelExactModel& model, trelExactTally& tally);

/** The segment ahead of a packet, and what is known of its way. */
struct trelSegment
{
  double Limit;     ///< its length, mm, which may be infinite
  bool EndsByTime;  ///< there the limit of time is reached, else the way to the next interaction
  bool IsClear;     ///< it is known to meet nothing
  trelClearance Clearance;

  /** What is left at the end of a clear segment of the bound that told so. */
  double GetClearBehind() const { return trelExactPacket::ClearPart * Clearance.Radius - Limit; }
};

/** The segment of @p length, which may be infinite, or to the limit of time. */
TREL_RARE trelSegment LookAhead(const trelExactPacket& packet, double length,
                                const trelExactModel& model);

/** Follows the packet's segment to the first of its end, a change of tissue, a dye's border and a
 *  fibre, and does what happens there. */
TREL_RARE void FollowSegment(trelExactPacket& packet, const trelSegment& segment,
                             trelPacketNumbers& numbers, const trelExactModel& model,
                             trelExactTally& tally);

#endif
