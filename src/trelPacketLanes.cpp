#include "trelPacketLanes.h"

#include <algorithm>
#include <cmath>
#include <limits>

static constexpr double infinity = std::numeric_limits<double>::infinity();

trelPacketLanes::trelPacketLanes(const trelExactModel& model, trelExactTally& tally,
                                 trelPacketSupplier& supplier)
    : State(), Model(model), Tally(tally), Supplier(supplier)
{
  if (!model.HasMarkers) Safe = model.Map.GetSafeCells();
  Convex = model.Map.GetConvexOutermost();
  ResolveGrid();
}

bool trelPacketLanes::CanFly(const trelExactModel& model, const trelExactTally& tally)
{
  return !tally.Observer && model.Elements.IsEmpty() && model.Dimension == Dimension3D;
}

static bool HaveSameBins(const trelGridBins& a, const trelGridBins& b)
{
  return a.Minimum == b.Minimum && a.Maximum == b.Maximum && a.Separation == b.Separation &&
         a.Count == b.Count;
}

/** Whether two spectra are scored alike. */
static bool HaveSameAxes(const trelScoreTable& a, const trelScoreTable& b)
{
  bool isSame = a.AbsorptionGrid == b.AbsorptionGrid && a.TakesFluence() == b.TakesFluence() &&
                HaveSameBins(a.Window.Time, b.Window.Time);
  for (int axis = 0; axis < NumberOfGridAxes; ++axis)
    isSame = isSame && HaveSameBins(a.Window.Bins[axis], b.Window.Bins[axis]);
  return isSame;
}

/** Whether all grids are there that plain steps score in. */
static bool HasAllGrids(const trelScoreTarget& target, const trelExactModel& model)
{
  return (!model.DomainCW || target.CW) && (!model.DomainTD || target.TD) &&
         (!model.DomainFD || (target.FDReal && target.FDImag));
}

void trelPacketLanes::ResolveGrid()
{
  if (!Model.SaveAbsorption) return;
  const trelScoreTable* first = nullptr;
  bool isSame = true;
  for (std::int32_t spectrum = 0; spectrum < Model.NumberOfSpectra; ++spectrum) {
    const trelScoreTable* table = Tally.Tables->GetMedium(static_cast<std::size_t>(spectrum));
    if (!table || !table->Absorption.Locate) continue;
    if (!first) first = table;
    isSame = isSame && HaveSameAxes(*table, *first) && HasAllGrids(table->Absorption, Model);
  }
  if (!first) return;
  Grid.Cells = trelLaneGrid::Others;
  if (isSame) TakeGrid(*first);
}

void trelPacketLanes::TakeGrid(const trelScoreTable& table)
{
  const trelGridWindow& window = table.Window;
  if (table.AbsorptionGrid == AbsorptionXYZ) {
    Grid.Cells = trelLaneGrid::Boxes;
    for (int axis = 0; axis < 3; ++axis)
      Grid.Bins[axis] = window.Bins[axis];
  } else if (table.AbsorptionGrid == AbsorptionRAZ) {
    Grid.Cells = IsWholeTurn(window.Bins[GridA]) ? trelLaneGrid::Rings : trelLaneGrid::Sectors;
    Grid.Bins[0] = window.Bins[GridR];
    Grid.Bins[1] = window.Bins[GridZ];
    Grid.Bins[2] = window.Bins[GridA];
    std::copy_n(window.Center, 2, Grid.Center);
  }
  Time = window.Time;
  NumberOfCells = table.Absorption.NumberOfCells;
  TakesFluence = table.TakesFluence();
}

void trelPacketLanes::Begin(int lanes, const void* steps)
{
  Steps = steps;
  for (int lane = 0; lane < lanes; ++lane)
    Fill(lane);
}

/** The next packet that has a way to fly goes into the lane; without one it rests. */
void trelPacketLanes::Fill(int lane)
{
  const unsigned bit = 1U << lane;
  Active &= ~bit;
  if (!Supplier.TakeNext(&Packets[lane], &Numbers[lane])) {
    State.Interaction[lane] = 1.0;
    State.Depth[lane] = infinity;
    return;
  }
  Active |= bit;
  GoOn(lane);
}

/** The packet as its lane has it. */
void trelPacketLanes::Store(int lane)
{
  trelExactPacket& packet = Packets[lane];
  packet.Position = {State.X[lane], State.Y[lane], State.Z[lane]};
  packet.Direction = {State.UX[lane], State.UY[lane], State.UZ[lane]};
  packet.Weight = State.Weight[lane];
  packet.FlyTime = State.FlyTime[lane];
  packet.Clear = State.Clear[lane];
  const auto steps = static_cast<std::uint32_t>(State.Steps[lane]);
  State.Steps[lane] = 0.0;
  if (steps > 0) {
    packet.StepCount += steps;
    packet.Interactions += steps;
    packet.Skip = 0.0;
  }
  std::uint64_t* const words = Numbers[lane].GetState();
  for (int k = 0; k < 4; ++k)
    words[k] = State.Stream[k][lane];
}

void trelPacketLanes::PointToCells(int lane)
{
  const trelScoreTable* table =
      Tally.Tables->GetMedium(static_cast<std::size_t>(Packets[lane].WavelengthIndex));
  if (!table) return;
  State.Absorption[lane] = table->Absorption.CW;
  State.Gates[lane] = table->Absorption.TD;
  State.Real[lane] = table->Absorption.FDReal;
  State.Imaginary[lane] = table->Absorption.FDImag;
  State.Totals[lane] = table->AbsorbedStripes;
  State.TotalsOfGates[lane] = table->AbsorbedGates;
}

/** Whether the packet's next step is no plain one for sure: in clear tissue, beside a surface
 * within rounding, and where dyes take light. */
static bool FliesAlone(const trelExactPacket& packet)
{
  return !(packet.Interaction > 0.0) || packet.IsUnsure || packet.Dyes != 0;
}

void trelPacketLanes::Load(int lane)
{
  const trelExactPacket& packet = Packets[lane];
  State.X[lane] = packet.Position.X;
  State.Y[lane] = packet.Position.Y;
  State.Z[lane] = packet.Position.Z;
  State.UX[lane] = packet.Direction.X;
  State.UY[lane] = packet.Direction.Y;
  State.UZ[lane] = packet.Direction.Z;
  State.Weight[lane] = packet.Weight;
  State.SourceWeight[lane] = packet.SourceWeight;
  State.FlyTime[lane] = packet.FlyTime;
  State.Clear[lane] = packet.Clear;
  State.MostSteps[lane] = static_cast<double>(Model.StepLimit) - packet.StepCount;
  // An infinite way is no plain one.
  const bool isPlain = !FliesAlone(packet);
  State.Interaction[lane] = isPlain ? packet.Interaction : 1.0;
  State.Depth[lane] = isPlain ? packet.Depth : infinity;
  State.Scattering[lane] = packet.Here->Scattering;
  State.Anisotropy[lane] = packet.Here->Anisotropy;
  State.RefractiveIndex[lane] = packet.Here->RefractiveIndex;
  const std::uint64_t* const words = Numbers[lane].GetState();
  for (int k = 0; k < 4; ++k)
    State.Stream[k][lane] = words[k];
  PointToCells(lane);
}

/** After an event: the packet flies on, with the way to its next interaction drawn, or another
 * takes its lane. */
void trelPacketLanes::GoOn(int lane)
{
  trelExactPacket& packet = Packets[lane];
  if (packet.Dead) {
    SettleAbsorption(packet, Model, Tally);
    Supplier.End(packet);
    Fill(lane);
    return;
  }
  if (packet.Interaction > 0.0 && packet.Depth < 0.0)
    packet.Depth = Elementary.OpticalDepth(Numbers[lane].NextPositiveRandom());
  Load(lane);
}

void trelPacketLanes::SelectRecord(int lane)
{
  Tally.SelectRecord(Packets[lane].WavelengthIndex);
}

/** What answers most questions near a mesh. */
bool trelPacketLanes::IsClearBesideMesh(int lane, double length)
{
  const trelVector from = {State.X[lane], State.Y[lane], State.Z[lane]};
  const trelVector direction = {State.UX[lane], State.UY[lane], State.UZ[lane]};
  const double time =
      State.FlyTime[lane] + Elementary.TimeOfFlight(length, State.RefractiveIndex[lane]);
  if (Model.HasMarkers || !(length < infinity) || time > Model.TimeLimit) return false;
  trelClearance clearance;
  const trelWay way = {from, EndOfWay(from, direction, length), length, Model.Map.GetMargin()};
  if (!Model.Map.IsClearBesideMesh(way, &clearance)) return false;
  State.Clear[lane] = trelExactPacket::ClearPart * clearance.Radius - length;
  return true;
}

bool trelPacketLanes::LooksClear(int lane, double length)
{
  if (IsClearBesideMesh(lane, length)) return true;
  trelExactPacket& packet = Packets[lane];
  packet.Position = {State.X[lane], State.Y[lane], State.Z[lane]};
  packet.Direction = {State.UX[lane], State.UY[lane], State.UZ[lane]};
  packet.FlyTime = State.FlyTime[lane];
  const bool isAlone = State.Depth[lane] == infinity;
  if (!isAlone)
    packet.Depth = State.Depth[lane];
  else if (packet.Interaction > 0.0)
    length = packet.Depth / packet.Interaction;
  const trelSegment segment = LookAhead(packet, length, Model);
  if (segment.IsClear && !segment.EndsByTime && !isAlone) {
    State.Clear[lane] = segment.GetClearBehind();
    return true;
  }
  Store(lane);
  SelectRecord(lane);
  FollowSegment(packet, segment, Numbers[lane], Model, Tally);
  if (++packet.StepCount > Model.StepLimit && !packet.Dead)
    EndPacket(packet, LedgerEndedBySteps, Tally);
  GoOn(lane);
  return false;
}

void trelPacketLanes::EndOrGoOn(int lane)
{
  trelExactPacket& packet = Packets[lane];
  Store(lane);
  packet.Depth = trelExactPacket::NotDrawn;
  SelectRecord(lane);
  if (!(packet.Weight > 0.0))
    EndPacket(packet, LedgerAbsorbedWhole, Tally);
  else if (packet.Weight < RouletteThreshold)
    PlayExactRoulette(packet, Numbers[lane], Tally);
  if (packet.StepCount > Model.StepLimit && !packet.Dead)
    EndPacket(packet, LedgerEndedBySteps, Tally);
  GoOn(lane);
}

void trelPacketLanes::Score(int lane, double absorbed, double fluence)
{
  trelExactPacket& packet = Packets[lane];
  packet.Position = {State.X[lane], State.Y[lane], State.Z[lane]};
  packet.FlyTime = State.FlyTime[lane];
  SelectRecord(lane);
  ScoreInteraction(packet, Tally, Model, absorbed, fluence);
}

void trelPacketLanes::ScoreInGate(int lane, std::size_t cell, double value, double absorbed)
{
  std::int32_t gate = 0;
  if (!Time.LocateClosed(State.FlyTime[lane], &gate)) return;
  AddToCell(Tally, State.Gates[lane] + static_cast<std::size_t>(gate) * NumberOfCells + cell,
            value);
  if (TakesFluence) AddToCell(Tally, State.TotalsOfGates[lane] + gate, absorbed);
}
