#ifndef trelPacketScores_h
#define trelPacketScores_h

#include <cstdint>

#include "trelInlining.h"
#include "trelPacket.h"
#include "trelScoreTable.h"

class trelMediumResult;
class trelSimulationResult;
struct trelTransportModel;

/**
 * @file trelPacketScores.h
 * What packets leave behind: weight in the cells of grids, positions in the trajectory. All threads
 * of a team add to the same cells, atomically. What has no cell is dropped.
 */

/** Where the packets of one thread are scored. */
struct trelPacketScores
{
  trelMediumResult* SpectrumMediumResult;  ///< record of the current spectrum
  const trelScoreTable* Grids;             ///< its grids, flat
  const trelScoreTable* FiberGrids;        ///< those of the fibre detectors, by detector
  trelSimulationResult* Trajectory;        ///< keeps the positions of the packet; mostly null
  bool OneThread;                          ///< the team is this thread alone: no atomic adds
  std::uint64_t EndedByLimit;              ///< packets of this region that took too many steps
};

/** Adds to a cell that all threads of the team share. */
inline void AddToCell(const trelPacketScores& scores, double* cell, double value)
{
  if (scores.OneThread) {
    *cell += value;
    return;
  }
#pragma omp atomic
  *cell += value;
}

/** The cell of the packet's position, or of the mesh face that it crossed. */
inline bool LocateScoreCell(const trelPacket& packet, const trelPacketScores& scores,
                            const trelScoreTarget& target, std::size_t* cell)
{
  if (!target.Locate) {
    *cell = static_cast<std::size_t>(packet.Boundary.Hit.Face);
    return *cell < target.NumberOfCells;
  }
  const double position[3] = {packet.Position.X, packet.Position.Y, packet.Position.Z};
  return target.Locate(scores.Grids->Window, position, cell);
}

/** Adds in one domain: @p value is a weight in source units, @p phase in rad. */
inline void ScoreCW(const trelPacket& packet, const trelPacketScores& scores,
                    const trelScoreTarget& target, double value)
{
  std::size_t cell = 0;
  if (target.CW && LocateScoreCell(packet, scores, target, &cell)) {
    AddToCell(scores, target.CW + cell, value);
  }
}
/** In the time gate of the packet's FlyTime; outside of all gates it is dropped. */
void ScoreTD(const trelPacket& packet, const trelPacketScores& scores,
             const trelScoreTarget& target, double value);
/** The real and the imaginary part, @p value times cosine and sine of @p phase. */
void ScoreFD(const trelPacket& packet, const trelPacketScores& scores,
             const trelScoreTarget& target, double value, double phase);

/** Scores @p value in all domains that are on: TD, CW, FD. */
TREL_RARE void ScoreInDomains(const trelPacket& packet, const trelPacketScores& scores,
                              const trelTransportModel& model, const trelScoreTarget& target,
                              double value);

/** Where weight that leaves through the face that the packet crossed is scored; null for nowhere.
 */
const trelScoreTarget* FindTransmittanceTarget(const trelPacket& packet,
                                               const trelScoreTable& grids);

/** Adds the weight, at the place where the step starts, to the grids of CurrentDetector. */
void ScoreFiberDetector(const trelPacket& packet, const trelPacketScores& scores);

/** Stores the position as row StepCount of the Trajectory, which must not be null; nothing behind
 *  its end. */
TREL_RARE void KeepTrajectoryPoint(const trelPacket& packet, const trelPacketScores& scores);
/** Sets how many rows are in use; nothing without a Trajectory. */
void KeepTrajectoryLength(const trelPacket& packet, const trelPacketScores& scores);

#endif
