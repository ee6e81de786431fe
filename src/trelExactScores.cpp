#include "trelExactScores.h"

#include <algorithm>
#include <cmath>

#include "trelCellBorders.h"

/** The modulation's angular frequency, rad/ps, from MHz. */
static double GetAngularFrequency(const trelTransportModel& model)
{
  return 2.0 * Pi * model.Frequency * 1e-6;
}

/** Adds a value to real and imaginary part; the phase, rad, grows with the time of flight. */
static void AddAtPhase(const trelPacketScores& scores, const trelScoreTarget& target,
                       std::size_t cell, double value, double phase)
{
  if (target.FDReal) AddToCell(scores, target.FDReal + cell, value * std::cos(phase));
  if (target.FDImag) AddToCell(scores, target.FDImag + cell, value * std::sin(phase));
}

void ScoreEvent(const trelPacketScores& scores, const trelTransportModel& model,
                const trelScoredEvent& event)
{
  const trelScoreTarget& target = event.Target;
  std::int32_t gate = 0;
  if (model.DomainCW && target.CW) AddToCell(scores, target.CW + event.Cell, event.Value);
  if (model.DomainTD && target.TD && event.Window.Time.LocateClosed(event.Time, &gate)) {
    AddToCell(scores,
              target.TD + static_cast<std::size_t>(gate) * target.NumberOfCells + event.Cell,
              event.Value);
  }
  if (model.DomainFD) {
    AddAtPhase(scores, target, event.Cell, event.Value, GetAngularFrequency(model) * event.Time);
  }
}

void ScoreInteractionInDomains(const trelPacket& packet, const trelPacketScores& scores,
                               const trelTransportModel& model, std::size_t cell,
                               double absorbedWeight, double fluence)
{
  const trelScoreTable& table = *scores.Grids;
  const double absorbed = packet.SourceWeight * absorbedWeight;
  const bool takesFluence = table.TakesFluence();
  ScoreEvent(scores, model,
             {table.Window, table.Absorption, cell, packet.FlyTime,
              takesFluence ? packet.SourceWeight * fluence : absorbed});
  if (!takesFluence) return;
  std::int32_t gate = 0;
  if (model.DomainCW) {
    AddToCell(scores, table.AbsorbedStripes + trelAbsorbedTotals::GetOffset(cell), absorbed);
  }
  if (model.DomainTD && table.Window.Time.LocateClosed(packet.FlyTime, &gate)) {
    AddToCell(scores, table.AbsorbedGates + gate, absorbed);
  }
}

/** The borders that a path crosses in the cells of a grid, and in the time gates. */
struct trelPathBorders
{
  trelLineBorders Lines[4];  ///< x, y, z, time
  trelRingBorders Rings;
  trelAzimuthBorders Azimuths;

  trelPathBorders(const trelRay& ray, trelGridId grid, const trelGridWindow& window);

  /** The next border at or behind @p from, infinite if there is none; the list goes on behind it.
   */
  double Take(double from)
  {
    double next = std::min(Rings.GetNext(), Azimuths.GetNext());
    for (const trelLineBorders& line : Lines)
      next = std::min(next, line.GetNext());
    if (!std::isfinite(next)) return next;
    for (trelLineBorders& line : Lines)
      if (line.GetNext() == next) line.Advance();
    if (Rings.GetNext() == next) Rings.Advance();
    if (Azimuths.GetNext() == next) Azimuths.Advance();
    return std::max(next, from);
  }
};

trelPathBorders::trelPathBorders(const trelRay& ray, trelGridId grid, const trelGridWindow& window)
{
  const trelVector& p = ray.Origin;
  const trelVector& u = ray.Direction;
  const double x = p.X - window.Center[0];
  const double y = p.Y - window.Center[1];
  const trelGridDescription& row = GetGridDescription(grid);
  for (int k = 0; k < row.NumberOfAxes; ++k) {
    const trelGridAxis axis = row.Axes[k];
    const trelGridBins& bins = window.Bins[axis];
    if (axis <= GridZ) Lines[axis] = trelLineBorders(bins, p[axis], u[axis]);
    if (axis == GridR) Rings = trelRingBorders(bins, x, y, u.X, u.Y);
    if (axis == GridA) Azimuths = trelAzimuthBorders(bins, x, y, u.X, u.Y);
  }
}

/** A part of a path that lies in one cell and one time gate: from @p From to @p To along it, mm. */
struct trelPathPiece
{
  double From;
  double To;
  double Slowness;

  double GetLength() const { return To - From; }
  double GetMiddle() const { return From + 0.5 * GetLength(); }
};

/** Scores a piece in a cell: the phase is integrated along it, cos(phase of the middle) sin(h) / h
 * with the half h of its change. */
static void ScorePiece(const trelPacket& packet, const trelPathPiece& piece,
                       const trelScoreTarget& target, std::size_t cell,
                       const trelPacketScores& scores, const trelTransportModel& model)
{
  const trelScoreTable& table = *scores.Grids;
  const double value = packet.SourceWeight * packet.Weight * piece.GetLength();
  const double time = packet.FlyTime + piece.Slowness * piece.GetMiddle();
  std::int32_t gate = 0;
  if (model.DomainCW && target.CW) AddToCell(scores, target.CW + cell, value);
  if (model.DomainTD && target.TD && table.Window.Time.LocateClosed(time, &gate)) {
    AddToCell(scores, target.TD + static_cast<std::size_t>(gate) * target.NumberOfCells + cell,
              value);
  }
  if (!model.DomainFD) return;
  const double frequency = GetAngularFrequency(model);
  const double half = 0.5 * frequency * piece.Slowness * piece.GetLength();
  AddAtPhase(scores, target, cell, half == 0.0 ? value : value * std::sin(half) / half,
             frequency * time);
}

/** The same in the cell of its middle, if it has one. */
static void LocateAndScorePiece(const trelPacket& packet, const trelPathPiece& piece,
                                const trelPacketScores& scores, const trelTransportModel& model)
{
  const trelScoreTarget& target = scores.Grids->Absorption;
  const trelVector middle = packet.Position + piece.GetMiddle() * packet.Direction;
  const double position[3] = {middle.X, middle.Y, middle.Z};
  std::size_t cell = 0;
  if (target.Locate(scores.Grids->Window, position, &cell))
    ScorePiece(packet, piece, target, cell, scores, model);
}

void ScorePath(const trelPacket& packet, double length, double slowness,
               const trelPacketScores& scores, const trelTransportModel& model)
{
  const trelScoreTable& table = *scores.Grids;
  if (!model.SaveAbsorption || !table.TakesFluence() || !table.Absorption.Locate) return;
  trelPathBorders borders(packet.GetRay(), table.AbsorptionGrid, table.Window);
  if (model.DomainTD) borders.Lines[3] = {table.Window.Time, packet.FlyTime, slowness};
  double from = 0.0;
  while (from < length) {
    const double to = std::min(borders.Take(from), length);
    if (to > from) LocateAndScorePiece(packet, {from, to, slowness}, scores, model);
    from = to;
  }
}

void ScorePathByElement(const trelPacket& packet, trelElementPath path,
                        const trelPacketScores& scores, const trelTransportModel& model)
{
  const trelScoreTable& table = *scores.Grids;
  trelLineBorders gates;
  if (model.DomainTD) gates = {table.Window.Time, packet.FlyTime, path.Slowness};
  double from = 0.0;
  while (from < path.Length) {
    const double inside = from + path.Elements.GetShortStep();
    path.Elements.Find(packet.Position + inside * packet.Direction, &path.Place);
    const std::int32_t element = path.Place.Element;
    double end = inside;
    if (element >= 0) end = std::max(end, path.Elements.FindExit(packet.GetRay(), element));
    end = std::min(end, path.Length);
    while (element >= 0 && from < end) {
      const double to = std::clamp(gates.GetNext(), from, end);
      if (to > from)
        ScorePiece(packet, {from, to, path.Slowness}, table.Elements,
                   static_cast<std::size_t>(element), scores, model);
      if (to < end) gates.Advance();
      from = to;
    }
    from = end;
  }
}

void ScoreEscape(const trelPacket& packet, const trelPacketScores& scores,
                 const trelTransportModel& model)
{
  if (!model.SaveTransmittance) return;
  const trelScoreTarget* target = FindTransmittanceTarget(packet, *scores.Grids);
  std::size_t cell = 0;
  if (!target || !LocateScoreCell(packet, scores, *target, &cell)) return;
  ScoreEvent(
      scores, model,
      {scores.Grids->Window, *target, cell, packet.FlyTime, packet.SourceWeight * packet.Weight});
}

void ScoreFiber(const trelPacket& packet, int face, std::int32_t detector,
                const trelPacketScores& scores, const trelTransportModel& model)
{
  if (!scores.FiberGrids) return;
  const trelScoreTable& table = scores.FiberGrids[detector];
  const int place = table.FaceSelects ? face : 0;
  if (place < 0 || place >= MaximumNumberOfFaces) return;
  const trelScoreTarget& target = table.Transmittance[place];
  const double position[3] = {packet.Position.X, packet.Position.Y, packet.Position.Z};
  std::size_t cell = 0;
  if (!target.Locate || !target.Locate(table.Window, position, &cell)) return;
  ScoreEvent(scores, model,
             {table.Window, target, cell, packet.FlyTime, packet.SourceWeight * packet.Weight});
}
