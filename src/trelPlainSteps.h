#ifndef trelPlainSteps_h
#define trelPlainSteps_h

#include "trelDrawnSteps.h"
#include "trelPacketEvents.h"
#include "trelPacketGeometry.h"

/**
 * @file trelPlainSteps.h
 * Steps at whose end a packet only scatters, in a loop of their own.
 *
 * A step is plain if it interacts within its tissue, leaves a weight above the roulette's, and
 * reaches no limit. What is not is left to the general step of trelPacketSteps.h before a random
 * number is used up. Both do the same to the last bit: they share the formulas, whose order of
 * operations shows in results.
 *
 * What differs is where values stand: the packet in registers, and what is drawn without a look at
 * it, lengths and turns, for some steps at a time, which the compiler computes side by side.
 */

/** Of a trelPacket what plain steps change. */
struct trelFlight
{
  explicit trelFlight(const trelPacket& packet)
      : Position(packet.Position),
        Direction(packet.Direction),
        Weight(packet.Weight),
        PathLength(packet.PathLength),
        FlyTime(packet.FlyTime)
  {
  }
  void Store(trelPacket& packet) const
  {
    packet.Position = Position;
    packet.Direction = Direction;
    packet.Weight = Weight;
    packet.PathLength = PathLength;
    packet.FlyTime = FlyTime;
  }

  trelVector Position, Direction;
  double Weight, PathLength, FlyTime;
};

/** Absorption in a grid of x, y and z. */
struct trelCartesianCells
{
  static bool Locate(const trelGridWindow& window, const trelVector& position, std::size_t* cell)
  {
    const double coordinates[3] = {position.X, position.Y, position.Z};
    return CombineBins<true, GridX, GridY, GridZ>(window, coordinates, cell);
  }
};

/** Absorption in cells of r, azimuth and z. */
template <bool rings>
struct trelCylinderCells
{
  static bool Locate(const trelGridWindow& window, const trelVector& position, std::size_t* cell)
  {
    const double coordinates[3] = {position.X, position.Y, position.Z};
    return LocateCylinderWithin<rings>(window, coordinates, cell);
  }
};

/** Any other grid, more domains, or no grid. */
struct trelOtherCells
{
  static bool Locate(const trelGridWindow& /*window*/, const trelVector& /*position*/,
                     std::size_t* /*cell*/)
  {
    return false;
  }
};

/** A run of plain steps of one packet in one tissue. */
template <class Geometry, class Cells>
struct trelPlainRun
{
  trelPacket& Packet;
  const trelTransportModel& Model;
  const trelPacketScores& Scores;
  const trelCoefficients Here;
  const std::int32_t Tissue;

  /** Takes step @p i of @p drawn, whose number is @p random, unless it is not plain. */
  bool TakeStep(trelFlight& flight, const trelDrawnSteps& drawn, int i, double random) const
  {
    const double length = drawn.Length[i];
    const trelVector end = flight.Position + length * flight.Direction;
    const double time = flight.FlyTime + drawn.FlyTime[i];
    const double absorbed = GetAbsorbedWeight(Here, flight.Weight);
    const double weight = flight.Weight - absorbed;
    if (!(random > 0.0 && length >= GeometryTolerance)) return false;
    if (!(weight >= RouletteThreshold && time <= Model.FlyTimeMax)) return false;
    if (!Geometry::IsWithin(Model, end, Tissue)) return false;
    flight.Position = end;
    flight.PathLength += length;
    flight.FlyTime = time;
    flight.Weight = weight;
    Score(flight, absorbed);
    flight.Direction = TurnDirection(flight.Direction, drawn.GetTurn(i));
    RenormalizeDirection(flight.Direction);
    return true;
  }

  void Score(const trelFlight& flight, double absorbed) const
  {
    const trelScoreTable& grids = *Scores.Grids;
    std::size_t cell = 0;
    if (Cells::Locate(grids.Window, flight.Position, &cell)) {
      AddToCell(Scores, grids.Absorption.CW + cell, Packet.SourceWeight * absorbed);
    } else {
      Packet.Position = flight.Position;
      Packet.FlyTime = flight.FlyTime;
      ScoreElsewhere(Packet, Scores, Model, absorbed);
    }
  }

  /** Draws @p count steps and takes those ahead of the first that is not plain; true if all are. */
  bool TakeSteps(trelFlight& flight, trelRandomNumbers& numbers, int count) const
  {
    constexpr int perStep = trelDrawnSteps::NumbersPerStep;
    const std::int64_t left = Model.StepNumberMax - static_cast<std::int64_t>(Packet.StepCount);
    if (left < count || !numbers.HasNext(count * perStep)) return false;
    const double* const next = numbers.GetNext();
    trelDrawnSteps drawn;
    DrawSteps(next, Here, count, drawn);
    int taken = 0;
    while (taken < count && TakeStep(flight, drawn, taken, next[perStep * taken]))
      ++taken;
    numbers.Skip(perStep * taken);
    Packet.StepCount += static_cast<std::uint32_t>(taken);
    return taken == count;
  }

  /** Takes plain steps until one is not. */
  void Fly(trelRandomNumbers& numbers) const
  {
    trelFlight flight(Packet);
    int count = trelDrawnSteps::Few;
    while (TakeSteps(flight, numbers, count))
      count = trelDrawnSteps::Count;
    flight.Store(Packet);
  }
};

/** Whether the packet's next step may be plain, and those after it. */
template <class Geometry>
inline bool MayStepPlainly(const trelPacket& packet, const trelTransportModel& model,
                           const trelPacketScores& scores)
{
  if (packet.Dead || packet.StepLeft != 0.0 || scores.Trajectory) return false;
  if (model.HasFiberDetectors || model.Dimension == Dimension2D) return false;
  const trelCoefficients& here = *packet.Here;
  return !here.IsNonInteracting() && std::fabs(here.Anisotropy) < 1.0 &&
         Geometry::KnowsTissue(model, packet.TissueIndex);
}

/** Takes plain steps until one is not; none if the next cannot be. */
template <class Geometry>
inline void TakePlainSteps(trelPacket& packet, trelRandomNumbers& numbers,
                           const trelTransportModel& model, const trelPacketScores& scores)
{
  if (!MayStepPlainly<Geometry>(packet, model, scores)) return;
  const auto run = [&](auto cells) {
    trelPlainRun<Geometry, decltype(cells)>{packet, model, scores, *packet.Here, packet.TissueIndex}
        .Fly(numbers);
  };
  const trelScoreTable& grids = *scores.Grids;
  if (!model.SaveAbsorption || !model.OnlyCW || !grids.Absorption.CW) return run(trelOtherCells());
  switch (grids.AbsorptionGrid) {
    case AbsorptionXYZ:
      return run(trelCartesianCells());
    case AbsorptionRAZ:
      return IsFullRing(grids.Window.Bins[GridA]) ? run(trelCylinderCells<true>())
                                                  : run(trelCylinderCells<false>());
    default:
      return run(trelOtherCells());
  }
}

#endif
