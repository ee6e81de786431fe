#ifndef trelExactScores_h
#define trelExactScores_h

#include "trelAbsorbedTotals.h"
#include "trelElementLocator.h"
#include "trelPacketScores.h"
#include "trelTransportModel.h"

/**
 * @file trelExactScores.h
 * What packets leave behind by the exact rules, in all domains that are on. Cells and time gates
 * are closed at the upper end of their range; weights count in units of the source.
 */

/** One event that is scored. */
struct trelScoredEvent
{
  const trelGridWindow& Window;
  const trelScoreTarget& Target;
  std::size_t Cell;
  double Time;   ///< of flight, ps
  double Value;  ///< in source units
};

/** Adds the value of @p event to the grids of all domains that are on. */
void ScoreEvent(const trelPacketScores& scores, const trelTransportModel& model,
                const trelScoredEvent& event);

/** ScoreInteraction() where more than the continuous wave is on. */
TREL_RARE void ScoreInteractionInDomains(const trelPacket& packet, const trelPacketScores& scores,
                                         const trelTransportModel& model, std::size_t cell,
                                         double absorbedWeight, double fluence);

/**
 * Scores an interaction where the packet is: @p absorbedWeight is what the tissue and its dyes take
 * there, @p fluence is w / mut' in mm with the weight w before; both in units of the packet
 * (SourceWeight multiplies them). The grids get one or the other, as the run asks.
 */
inline void ScoreInteraction(const trelPacket& packet, const trelPacketScores& scores,
                             const trelTransportModel& model, double absorbedWeight, double fluence)
{
  if (!model.SaveAbsorption) return;
  const trelScoreTable& table = *scores.Grids;
  std::size_t cell = 0;
  if (!table.Absorption.Locate || !LocateScoreCell(packet, scores, table.Absorption, &cell)) return;
  if (!model.OnlyCW) {
    ScoreInteractionInDomains(packet, scores, model, cell, absorbedWeight, fluence);
    return;
  }
  if (!table.Absorption.CW) return;
  const double absorbed = packet.SourceWeight * absorbedWeight;
  if (!table.TakesFluence()) {
    AddToCell(scores, table.Absorption.CW + cell, absorbed);
    return;
  }
  AddToCell(scores, table.AbsorbedStripes + trelAbsorbedTotals::GetOffset(cell), absorbed);
  AddToCell(scores, table.Absorption.CW + cell, packet.SourceWeight * fluence);
}

/**
 * Scores the fluence of a straight path of @p length mm through tissue without interaction, ahead
 * of the packet, which has not moved yet: the weight times the length in each cell, time gate and
 * phase. Nothing unless the grids take fluence. @p slowness is the time of flight of 1 mm, ps.
 */
void ScorePath(const trelPacket& packet, double length, double slowness,
               const trelPacketScores& scores, const trelTransportModel& model);

/** A way through tetrahedra: @p Length mm in tissue without interaction, of which 1 mm takes
 *  @p Slowness ps. */
struct trelElementPath
{
  double Length;
  double Slowness;
  const trelElementLocator& Elements;
  trelElementPlace Place;
};

/** ScorePath() in the tetrahedra. */
void ScorePathByElement(const trelPacket& packet, trelElementPath path,
                        const trelPacketScores& scores, const trelTransportModel& model);

/** Scores the weight of a packet that leaves the medium through the face of its Boundary. */
void ScoreEscape(const trelPacket& packet, const trelPacketScores& scores,
                 const trelTransportModel& model);

/** Scores the weight of a packet that meets @p face of the fibre detector @p detector where it is.
 */
void ScoreFiber(const trelPacket& packet, int face, std::int32_t detector,
                const trelPacketScores& scores, const trelTransportModel& model);

#endif
