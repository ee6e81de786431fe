#include "trelLaneKernel.h"

#ifndef TREL_WITHOUT_LANES

#include <algorithm>
#include <cmath>

#include "trelPacketLanes.h"

// Processors that lack what SSE4 has fly packets one by one.
#define HWY_DISABLED_TARGETS HWY_SSSE3
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "trelLaneKernel.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#include "trelLaneKernel.inc"

#define TREL_FORMULA HWY_INLINE
#include "trelElementary.inc"
#undef TREL_FORMULA

/** The bins of an axis in all lanes. */
template <class Number>
struct trelLaneBins
{
  Number Minimum, Separation, Count;
  /** Where the index is safely within the range. */
  Number Limit;
  /** How far from the borders of a bin the index of an inaccurate number has to be. */
  Number Border;
};

/** The steps of as many packets as @p D has lanes. */
template <class D>
class trelLaneSteps : private trelFormulas<trelLaneNumber<D>>
{
public:
  using Number = trelLaneNumber<D>;
  using Mask = trelLaneMask<D>;
  using Word = trelLaneWord<D>;
  using Formulas = trelFormulas<Number>;

  explicit trelLaneSteps(trelPacketLanes& lanes);
  void Fly();

private:
  /** The streams of the packets. */
  struct Streams
  {
    Word Words[4];
  };

  static constexpr int Width() { return static_cast<int>(hn::MaxLanes(D())); }
  static constexpr unsigned All = (1U << Width()) - 1;
  static HWY_INLINE Number Read(const double* from) { return Number::Load(from); }
  /** Writes in the lanes of @p which, or in every one. */
  template <bool every>
  static HWY_INLINE void Write(Mask which, Number value, double* to)
  {
    if (every)
      value.Store(to);
    else
      Formulas::Select(which, value, Read(to)).Store(to);
  }
  /** Visits the lanes of these bits. */
  template <class Visit>
  static HWY_INLINE void ForEach(unsigned bits, Visit visit)
  {
    for (; bits != 0; bits &= bits - 1)
      visit(__builtin_ctz(bits));
  }

  HWY_INLINE Word NextInteger(Streams& streams) const
  {
    return {hn::ShiftRight<11>(NextWordOf(streams.Words).V)};
  }
  /** Uniform on [0, 1). */
  HWY_INLINE Number NextRandom(Streams& streams) const
  {
    return this->NumberOf(NextInteger(streams)) * this->Ulp;
  }
  /** Uniform on (0, 1]. */
  HWY_INLINE Number NextPositiveRandom(Streams& streams) const
  {
    return this->NumberOf(NextInteger(streams) + this->OneWord) * this->Ulp;
  }

  void TakeBins(const trelGridBins& bins, trelLaneBins<Number>* taken) const;
  HWY_INLINE Mask StaysWithin(const trelVectorOf<Number>& end) const;
  HWY_INLINE Number FindSafeDistance(const trelLaneState& s) const;
  HWY_INLINE Mask FindBin(const trelLaneBins<Number>& bins, Number q, Number* bin) const;
  HWY_INLINE Mask FindAzimuth(Number dx, Number dy, Number* bin) const;
  HWY_INLINE Mask FindCell(const trelVectorOf<Number>& place, Number* cell) const;
  HWY_INLINE void AddToCells(unsigned bits, double* const* grids, Word cell, Number value) const;
  HWY_INLINE void ScoreInDomains(unsigned bits, const trelLaneState& s, Number cell, Number time,
                                 Number value, Number absorbed) const;
  HWY_INLINE void ScoreInGates(unsigned bits, const trelLaneState& s, Number cell, Number time,
                               Number value, Number absorbed) const;
  HWY_INLINE void ScoreAtPhase(unsigned bits, const trelLaneState& s, Word cell, Number time,
                               Number value) const;
  HWY_INLINE void Score(unsigned bits, const trelVectorOf<Number>& place, const trelLaneState& s,
                        Number time, Number absorbed, Number fluence) const;
  HWY_INLINE void TakeStep(trelLaneState& s) const;
  template <bool every>
  HWY_INLINE void Interact(Mask plain, unsigned bits, const trelVectorOf<Number>& end, Number time,
                           trelLaneState& s) const;
  template <bool every>
  HWY_INLINE void Scatter(Mask plain, Mask goesOn, bool allGoOn, trelLaneState& s) const;

  trelPacketLanes& Lanes;
  Number TimeLimit, ClearPart, Threshold;
  // Of the grid of safe distances.
  Number Low[3], PerStep[3], Cells[3], Last[3], Quantum, ToCorner;
  // Of a convex outermost body.
  Number Center[3], HalfAxes[3], Inverse[3], Limit;
  // Of the grid that is scored.
  trelLaneBins<Number> Bins[3];
  Number GridCenter[2];
  trelLaneBins<Number> Gates;
  Number FirstTime, LastTime;  ///< safely outside of all gates, ps
  Number NumberOfCells, TurnsPerTime;
  /** Of the arc tangent, the highest power first. */
  Number ArcTangents[9] = {0.0028662257,  -0.0161657367, 0.0429096138,
                           -0.0752896400, 0.1065626393,  -0.1420889944,
                           0.1999355085,  -0.3333314528, 1.0};
  Number DegreesPerRadian = 1.0 / RadiansPerDegree;
  Number Degrees90 = 90.0, Degrees180 = 180.0, Degrees360 = 360.0;
};

template <class D>
trelLaneSteps<D>::trelLaneSteps(trelPacketLanes& lanes)
    : Lanes(lanes),
      TimeLimit(lanes.Model.TimeLimit),
      ClearPart(trelExactPacket::ClearPart),
      Threshold(RouletteThreshold),
      Quantum(lanes.Safe.Quantum),
      ToCorner(lanes.Safe.ToCorner),
      Limit(lanes.Convex.Limit)
{
  for (int axis = 0; axis < 3; ++axis) {
    Low[axis] = lanes.Safe.Low[axis];
    PerStep[axis] = lanes.Safe.PerStep[axis];
    Cells[axis] = lanes.Safe.Cells[axis];
    Last[axis] = lanes.Safe.Cells[axis] - 1.0;
    Center[axis] = lanes.Convex.Center[axis];
    HalfAxes[axis] = lanes.Convex.HalfAxes[axis];
    Inverse[axis] = lanes.Convex.Inverse[axis];
    TakeBins(lanes.Grid.Bins[axis], &Bins[axis]);
  }
  TakeBins(lanes.Time, &Gates);
  const double slack =
      4.0 * GridTolerance * (1.0 + std::fabs(lanes.Time.Minimum) + std::fabs(lanes.Time.Maximum));
  FirstTime = lanes.Time.Minimum - slack;
  LastTime = lanes.Time.Maximum + slack;
  NumberOfCells = static_cast<double>(lanes.NumberOfCells);
  TurnsPerTime = lanes.Model.Frequency * 1e-6;
  GridCenter[0] = lanes.Grid.Center[0];
  GridCenter[1] = lanes.Grid.Center[1];
}

/** The index is below Limit only where trelGridBins::LocateWithin() finds it: rounding stays below
 * a part in 10^12. */
template <class D>
void trelLaneSteps<D>::TakeBins(const trelGridBins& bins, trelLaneBins<Number>* taken) const
{
  constexpr double shortened = 1.0 - 1e-12, inaccuracy = 1e-5;
  const double whole = (bins.Maximum - bins.Minimum) / bins.Separation * shortened;
  taken->Minimum = bins.Minimum;
  taken->Separation = bins.Separation;
  taken->Count = bins.Count;
  taken->Limit = bins.EndIndex > 0.0 ? std::min(bins.EndIndex, whole) : 0.0;
  taken->Border = inaccuracy / bins.Separation;
}

template <class D>
void trelLaneSteps<D>::Fly()
{
  Lanes.Begin(Width(), this);
  while (Lanes.GetActive() != 0)
    TakeStep(Lanes.State);
}

/** See trelTissueMap::StaysWithin(). */
template <class D>
HWY_INLINE trelLaneMask<D> trelLaneSteps<D>::StaysWithin(const trelVectorOf<Number>& end) const
{
  const Number p[3] = {end.X - Center[0], end.Y - Center[1], end.Z - Center[2]};
  const int curved = Lanes.Convex.CurvedAxes;
  if (curved == 0)
    return (Magnitude(p[0]) < HalfAxes[0]) & (Magnitude(p[1]) < HalfAxes[1]) &
           (Magnitude(p[2]) < HalfAxes[2]);
  Number squares = this->Zero;
  for (int axis = 0; axis < curved; ++axis) {
    const Number q = p[axis] * Inverse[axis];
    squares = squares + q * q;
  }
  const Mask within = squares < Limit;
  return curved == 3 ? within : within & (Magnitude(p[2]) < HalfAxes[2]);
}

/** See trelTissueMap::GetSafeDistance(). What rounding has put beside the grid belongs to its rim.
 */
template <class D>
HWY_INLINE trelLaneNumber<D> trelLaneSteps<D>::FindSafeDistance(const trelLaneState& s) const
{
  const std::uint8_t* const distances = Lanes.Safe.Distances;
  if (!distances) return this->Zero;
  const double* const positions[3] = {s.X, s.Y, s.Z};
  Number index[3];
  for (int axis = 0; axis < 3; ++axis) {
    const Number cells = (Read(positions[axis]) - Low[axis]) * PerStep[axis];
    index[axis] = this->WholePart(Least(Most(cells, this->Zero), Last[axis]));
  }
  const Number cell = (index[0] * Cells[1] + index[1]) * Cells[2] + index[2];
  alignas(64) std::uint64_t places[MaximumLanes];
  alignas(64) double quanta[MaximumLanes];
  this->WordOfWhole(cell).Store(places);
  for (int lane = 0; lane < Width(); ++lane)
    quanta[lane] = distances[places[lane]];
  return ClearPart * (Quantum * Read(quanta) - ToCorner);
}

/** See trelGridBins::LocateWithin(). */
template <class D>
HWY_INLINE trelLaneMask<D> trelLaneSteps<D>::FindBin(const trelLaneBins<Number>& bins, Number q,
                                                     Number* bin) const
{
  const Number index = (q - bins.Minimum) / bins.Separation;
  *bin = this->WholePart(index);
  return (index >= this->Zero) & (index < bins.Limit);
}

/** The azimuth about the grid's centre, within 10^-5 degrees (M. Abramowitz, I. Stegun, Handbook of
 *  Mathematical Functions, 4.4.49), where that is enough to know its bin. */
template <class D>
HWY_INLINE trelLaneMask<D> trelLaneSteps<D>::FindAzimuth(Number dx, Number dy, Number* bin) const
{
  const Number x = Magnitude(dx), y = Magnitude(dy);
  const Number t = Least(x, y) / Most(x, y);
  const Number square = t * t;
  Number sum = ArcTangents[0];
  for (int k = 1; k < 9; ++k)
    sum = sum * square + ArcTangents[k];
  const Number small = DegreesPerRadian * (t * sum);
  const Number acute = this->Select(x < y, Degrees90 - small, small);
  const Number half = this->Select(dx < this->Zero, Degrees180 - acute, acute);
  const Number angle = this->Select(dy < this->Zero, Degrees360 - half, half);
  const Mask within = FindBin(Bins[2], angle, bin);
  const Number part = (angle - Bins[2].Minimum) / Bins[2].Separation - *bin;
  return within & (part >= Bins[2].Border) & (part < this->One - Bins[2].Border);
}

/** The cell of each packet, and where it is found: within the edges of the grid. */
template <class D>
HWY_INLINE trelLaneMask<D> trelLaneSteps<D>::FindCell(const trelVectorOf<Number>& place,
                                                      Number* cell) const
{
  Number bins[3];
  const Number &x = place.X, &y = place.Y, &z = place.Z;
  if (Lanes.Grid.Cells == trelLaneGrid::Boxes) {
    const Mask within = FindBin(Bins[0], x, &bins[0]) & FindBin(Bins[1], y, &bins[1]) &
                        FindBin(Bins[2], z, &bins[2]);
    *cell = (bins[0] * Bins[1].Count + bins[1]) * Bins[2].Count + bins[2];
    return within;
  }
  const Number dx = x - GridCenter[0], dy = y - GridCenter[1];
  Mask within = FindBin(Bins[0], this->SquareRoot(dx * dx + dy * dy), &bins[0]) &
                FindBin(Bins[1], z, &bins[1]);
  Number ring = bins[0];
  if (Lanes.Grid.Cells == trelLaneGrid::Sectors) {
    within = within & FindAzimuth(dx, dy, &bins[2]);
    ring = ring * Bins[2].Count + bins[2];
  }
  *cell = ring * Bins[1].Count + bins[1];
  return within;
}

/** Adds to a cell of each of these lanes. */
template <class D>
HWY_INLINE void trelLaneSteps<D>::AddToCells(unsigned bits, double* const* grids, Word cell,
                                             Number value) const
{
  alignas(64) std::uint64_t cells[MaximumLanes];
  alignas(64) double values[MaximumLanes];
  cell.Store(cells);
  value.Store(values);
  if (bits == All && Lanes.Tally.OneThread) {
    for (int lane = 0; lane < Width(); ++lane)
      grids[lane][cells[lane]] += values[lane];
    return;
  }
  ForEach(bits, [&](int lane)
                    HWY_ATTR { AddToCell(Lanes.Tally, grids[lane] + cells[lane], values[lane]); });
}

/** In the time gates. Who is neither safely in one nor safely outside of all is looked at alone. */
template <class D>
HWY_INLINE void trelLaneSteps<D>::ScoreInGates(unsigned bits, const trelLaneState& s, Number cell,
                                               Number time, Number value, Number absorbed) const
{
  Number gate;
  const unsigned within = bits & BitsOf(FindBin(Gates, time, &gate));
  AddToCells(within, s.Gates, this->WordOfWhole(gate * NumberOfCells + cell), value);
  if (Lanes.TakesFluence) AddToCells(within, s.TotalsOfGates, this->WordOfWhole(gate), absorbed);
  const unsigned apart = bits & ~within & BitsOf((FirstTime <= time) & (time <= LastTime));
  if (apart == 0) return;
  alignas(64) std::uint64_t cells[MaximumLanes];
  alignas(64) double values[MaximumLanes], weights[MaximumLanes];
  this->WordOfWhole(cell).Store(cells);
  value.Store(values);
  absorbed.Store(weights);
  ForEach(apart, [&](int lane) HWY_ATTR {
    Lanes.ScoreInGate(lane, cells[lane], values[lane], weights[lane]);
  });
}

/** Real and imaginary part: the phase grows with the time of flight. */
template <class D>
HWY_INLINE void trelLaneSteps<D>::ScoreAtPhase(unsigned bits, const trelLaneState& s, Word cell,
                                               Number time, Number value) const
{
  const Number turns = time * TurnsPerTime;
  const trelCircleOf<Number> phase = this->PointOfTurn(turns - this->WholePart(turns));
  AddToCells(bits, s.Real, cell, value * phase.Cosine);
  AddToCells(bits, s.Imaginary, cell, value * phase.Sine);
}

/** In all domains that are on. */
template <class D>
HWY_INLINE void trelLaneSteps<D>::ScoreInDomains(unsigned bits, const trelLaneState& s, Number cell,
                                                 Number time, Number value, Number absorbed) const
{
  const trelExactModel& model = Lanes.Model;
  const Word place = this->WordOfWhole(cell);
  if (model.DomainCW) {
    AddToCells(bits, s.Absorption, place, value);
    if (Lanes.TakesFluence) {
      alignas(64) std::uint64_t cells[MaximumLanes];
      place.Store(cells);
      for (int lane = 0; lane < Width(); ++lane)
        cells[lane] = trelAbsorbedTotals::GetOffset(cells[lane]);
      AddToCells(bits, s.Totals, Word::Load(cells), absorbed);
    }
  }
  if (model.DomainTD) ScoreInGates(bits, s, cell, time, value, absorbed);
  if (model.DomainFD) ScoreAtPhase(bits, s, place, time, value);
}

/** Scores the interactions of these lanes at @p place. */
template <class D>
HWY_INLINE void trelLaneSteps<D>::Score(unsigned bits, const trelVectorOf<Number>& place,
                                        const trelLaneState& s, Number time, Number absorbed,
                                        Number fluence) const
{
  const trelLaneGrid::Form form = Lanes.Grid.Cells;
  if (form == trelLaneGrid::Nothing) return;
  unsigned apart = bits;
  if (form != trelLaneGrid::Others) {
    Number cell;
    const unsigned within = bits & BitsOf(FindCell(place, &cell));
    const Number weight = Read(s.SourceWeight) * absorbed;
    if (Lanes.Model.OnlyCW && !Lanes.TakesFluence)
      AddToCells(within, s.Absorption, this->WordOfWhole(cell), weight);
    else
      ScoreInDomains(within, s, cell, time,
                     Lanes.TakesFluence ? Read(s.SourceWeight) * fluence : weight, weight);
    apart &= ~within;
  }
  if (apart == 0) return;
  alignas(64) double weights[MaximumLanes], paths[MaximumLanes];
  absorbed.Store(weights);
  fluence.Store(paths);
  ForEach(apart, [&](int lane) HWY_ATTR { Lanes.Score(lane, weights[lane], paths[lane]); });
}

/** One segment of each packet, as TakeExactStep(): the plain ones here, the others by the packet's
 *  own functions. */
template <class D>
HWY_INLINE void trelLaneSteps<D>::TakeStep(trelLaneState& s) const
{
  const Number length = Read(s.Depth) / Read(s.Interaction);
  Number clear = Read(s.Clear);
  Mask isClear = length < clear;
  if (BitsOf(isClear) != All) {
    clear = this->Select(isClear, clear, FindSafeDistance(s));
    isClear = length < clear;
  }
  (clear - length).Store(s.Clear);
  const Number time = Read(s.FlyTime) + this->TimeOfFlight(length, Read(s.RefractiveIndex));
  Mask plain = isClear & (time <= TimeLimit);
  const trelVectorOf<Number> end = this->EndOfWay({Read(s.X), Read(s.Y), Read(s.Z)},
                                                  {Read(s.UX), Read(s.UY), Read(s.UZ)}, length);
  if (Lanes.Convex.IsKnown) plain = plain & StaysWithin(end);
  unsigned bits = BitsOf(plain);
  if (bits == All) {
    Interact<true>(plain, bits, end, time, s);
    return;
  }
  alignas(64) double lengths[MaximumLanes];
  length.Store(lengths);
  ForEach(All & ~bits & Lanes.GetActive(), [&](int lane) HWY_ATTR {
    if (Lanes.LooksClear(lane, lengths[lane])) bits |= 1U << lane;
  });
  if (bits != 0) Interact<false>(MaskOf<D>(bits), bits, end, time, s);
}

/** Moves the packets to the ends of their segments, where they interact, as Interact() of one. */
template <class D>
template <bool every>
HWY_INLINE void trelLaneSteps<D>::Interact(Mask plain, unsigned bits,
                                           const trelVectorOf<Number>& end, Number time,
                                           trelLaneState& s) const
{
  Write<every>(plain, end.X, s.X);
  Write<every>(plain, end.Y, s.Y);
  Write<every>(plain, end.Z, s.Z);
  Write<every>(plain, time, s.FlyTime);
  const Number weight = Read(s.Weight);
  const trelShareOf<Number> share =
      this->ShareWeight(weight, Read(s.Interaction), Read(s.Scattering));
  const Number kept = share.Kept;
  const Number steps = Read(s.Steps) + this->One;
  const Mask strong = (kept >= Threshold) & (steps <= Read(s.MostSteps));
  const unsigned weak = bits & ~BitsOf(strong);
  Score(bits, end, s, time, weight - kept, share.Fluence);
  Write<every>(plain, kept, s.Weight);
  Write<every>(plain, steps, s.Steps);
  Scatter<every>(plain, plain & strong, every && weak == 0, s);
  ForEach(weak, [&](int lane) HWY_ATTR { Lanes.EndOrGoOn(lane); });
}

/** Draws the new directions, and the ways to the next interactions of packets that go on. */
template <class D>
template <bool every>
HWY_INLINE void trelLaneSteps<D>::Scatter(Mask plain, Mask goesOn, bool allGoOn,
                                          trelLaneState& s) const
{
  Streams streams;
  for (int k = 0; k < 4; ++k)
    streams.Words[k] = Word::Load(s.Stream[k]);
  const Number cosTheta = this->CosineInSpace(Read(s.Anisotropy), NextRandom(streams));
  const trelVectorOf<Number> before = {Read(s.UX), Read(s.UY), Read(s.UZ)};
  const trelVectorOf<Number> after = this->Deflect(before, cosTheta, NextRandom(streams));
  Write<every>(plain, after.X, s.UX);
  Write<every>(plain, after.Y, s.UY);
  Write<every>(plain, after.Z, s.UZ);
  const Streams behind = streams;
  const Number depth = this->OpticalDepth(NextPositiveRandom(streams));
  if (allGoOn) {
    depth.Store(s.Depth);
    for (int k = 0; k < 4; ++k)
      streams.Words[k].Store(s.Stream[k]);
    return;
  }
  Write<false>(goesOn, depth, s.Depth);
  for (int k = 0; k < 4; ++k) {
    const Word kept = this->Select(plain, behind.Words[k], Word::Load(s.Stream[k]));
    this->Select(goesOn, streams.Words[k], kept).Store(s.Stream[k]);
  }
}

/** As many packets as are asked for, or the target has lanes. */
void FlyOnTarget(trelPacketLanes& lanes, int asked)
{
  constexpr int half = MaximumLanes / 2;
  if (asked == 1)
    trelLaneSteps<hn::CappedTag<double, 1>>(lanes).Fly();
  else if (asked > 0 && asked <= half)
    trelLaneSteps<hn::CappedTag<double, half>>(lanes).Fly();
  else
    trelLaneSteps<hn::CappedTag<double, MaximumLanes>>(lanes).Fly();
}

const char* NameTarget()
{
  return hwy::TargetName(HWY_TARGET);
}

int CountOnTarget()
{
  return static_cast<int>(hn::MaxLanes(hn::CappedTag<double, MaximumLanes>()));
}

}  // namespace HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

HWY_EXPORT(FlyOnTarget);
HWY_EXPORT(NameTarget);
HWY_EXPORT(CountOnTarget);

void FlyLanes(trelPacketLanes& lanes, int asked)
{
  HWY_DYNAMIC_DISPATCH(FlyOnTarget)(lanes, asked);
}

const char* GetLaneTarget()
{
  return HWY_DYNAMIC_DISPATCH(NameTarget)();
}

int GetLaneCount()
{
  return HWY_DYNAMIC_DISPATCH(CountOnTarget)();
}

#endif

#else

void FlyLanes(trelPacketLanes& /*lanes*/, int /*asked*/) {}

const char* GetLaneTarget()
{
  return "none";
}

int GetLaneCount()
{
  return 0;
}

#endif
