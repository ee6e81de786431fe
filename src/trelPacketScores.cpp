#include "trelPacketScores.h"

#include <cmath>

#include "trelSimulationResult.h"
#include "trelTransportModel.h"

void ScoreTD(const trelPacket& packet, const trelPacketScores& scores,
             const trelScoreTarget& target, double value)
{
  std::int32_t bin = 0;
  std::size_t cell = 0;
  if (target.TD && scores.Grids->Window.Time.Locate(packet.FlyTime, &bin) &&
      LocateScoreCell(packet, scores, target, &cell)) {
    AddToCell(scores, target.TD + bin * target.NumberOfCells + cell, value);
  }
}

void ScoreFD(const trelPacket& packet, const trelPacketScores& scores,
             const trelScoreTarget& target, double value, double phase)
{
  std::size_t cell = 0;
  if (!(target.FDReal || target.FDImag) || !LocateScoreCell(packet, scores, target, &cell)) return;
  if (target.FDReal) AddToCell(scores, target.FDReal + cell, std::cos(phase) * value);
  if (target.FDImag) AddToCell(scores, target.FDImag + cell, std::sin(phase) * value);
}

/** The phase of the modulation at the packet's time of flight, rad: 2 pi f t with f in MHz and t in
 * ps. */
static double GetPhase(const trelPacket& packet, double frequency)
{
  return (packet.FlyTime + packet.FlyTime) * Pi * frequency / 1000000.0;
}

void ScoreInDomains(const trelPacket& packet, const trelPacketScores& scores,
                    const trelTransportModel& model, const trelScoreTarget& target, double value)
{
  if (model.DomainTD) ScoreTD(packet, scores, target, value);
  if (model.DomainCW) ScoreCW(packet, scores, target, value);
  if (model.DomainFD) {
    ScoreFD(packet, scores, target, value, GetPhase(packet, model.Frequency));
  }
}

const trelScoreTarget* FindTransmittanceTarget(const trelPacket& packet,
                                               const trelScoreTable& grids)
{
  const int face = grids.FaceSelects ? packet.Boundary.Hit.Face : 0;
  return face >= 0 && face < MaximumNumberOfFaces ? &grids.Transmittance[face] : nullptr;
}

void ScoreFiberDetector(const trelPacket& packet, const trelPacketScores& scores)
{
  if (!scores.FiberGrids) return;
  const trelScoreTable& grids = scores.FiberGrids[packet.CurrentDetector];
  const trelScoreTarget* target = FindTransmittanceTarget(packet, grids);
  if (!target || !target->CW) return;
  const double position[3] = {packet.Position.X, packet.Position.Y, packet.Position.Z};
  std::size_t cell = 0;
  if (target->Locate(grids.Window, position, &cell)) {
    AddToCell(scores, target->CW + cell, packet.SourceWeight * packet.Weight);
  }
}

void KeepTrajectoryPoint(const trelPacket& packet, const trelPacketScores& scores)
{
  if (packet.StepCount >= scores.Trajectory->GetTrajectorySize()) return;
  trelTrajectoryRow& row = scores.Trajectory->GetTrajectory()[packet.StepCount];
  row[0] = packet.Position.X;
  row[1] = packet.Position.Y;
  row[2] = packet.Position.Z;
}

void KeepTrajectoryLength(const trelPacket& packet, const trelPacketScores& scores)
{
  if (scores.Trajectory)
    scores.Trajectory->SetTrajectoryStepNum(static_cast<int>(packet.StepCount));
}
