#include "trelLaneKernel.h"

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

/** Numbers in the lanes of @p D, what trelElementary.inc asks of a number. */
template <class D>
struct trelLaneNumber
{
  using Vector = hn::Vec<D>;
  Vector V;

  trelLaneNumber() = default;
  HWY_INLINE trelLaneNumber(double x) : V(hn::Set(D(), x)) {}
  HWY_INLINE explicit trelLaneNumber(Vector v) : V(v) {}
  static HWY_INLINE trelLaneNumber Load(const double* from)
  {
    return trelLaneNumber(hn::Load(D(), from));
  }
  HWY_INLINE void Store(double* to) const { hn::Store(V, D(), to); }
};

/** Comparisons of numbers. */
template <class D>
struct trelLaneMask
{
  hn::Mask<D> M;
};

#define TREL_LANE_OPERATOR(op, name)                                                 \
  template <class D>                                                                 \
  HWY_INLINE trelLaneNumber<D> operator op(trelLaneNumber<D> a, trelLaneNumber<D> b) \
  {                                                                                  \
    return trelLaneNumber<D>(hn::name(a.V, b.V));                                    \
  }
TREL_LANE_OPERATOR(+, Add)
TREL_LANE_OPERATOR(-, Sub)
TREL_LANE_OPERATOR(*, Mul)
TREL_LANE_OPERATOR(/, Div)
#undef TREL_LANE_OPERATOR

#define TREL_LANE_COMPARISON(op, name)                                             \
  template <class D>                                                               \
  HWY_INLINE trelLaneMask<D> operator op(trelLaneNumber<D> a, trelLaneNumber<D> b) \
  {                                                                                \
    return {hn::name(a.V, b.V)};                                                   \
  }
TREL_LANE_COMPARISON(<, Lt)
TREL_LANE_COMPARISON(<=, Le)
TREL_LANE_COMPARISON(>=, Ge)
#undef TREL_LANE_COMPARISON

template <class D>
HWY_INLINE trelLaneMask<D> operator&(trelLaneMask<D> a, trelLaneMask<D> b)
{
  return {hn::And(a.M, b.M)};
}
template <class D>
HWY_INLINE trelLaneMask<D> AndNot(trelLaneMask<D> no, trelLaneMask<D> yes)
{
  return {hn::AndNot(no.M, yes.M)};
}
/** The lanes in which it holds, a bit each. */
template <class D>
HWY_INLINE unsigned BitsOf(trelLaneMask<D> mask)
{
  alignas(8) std::uint8_t bytes[8] = {};
  hn::StoreMaskBits(D(), mask.M, bytes);
  return bytes[0];
}
template <class D>
HWY_INLINE trelLaneMask<D> MaskOf(unsigned bits)
{
  alignas(8) const std::uint8_t bytes[8] = {static_cast<std::uint8_t>(bits)};
  return {hn::LoadMaskBits(D(), bytes)};
}

template <class D>
HWY_INLINE trelLaneNumber<D> operator-(trelLaneNumber<D> a)
{
  return trelLaneNumber<D>(hn::Neg(a.V));
}
template <class D>
HWY_INLINE trelLaneNumber<D> Select(trelLaneMask<D> which, trelLaneNumber<D> yes,
                                    trelLaneNumber<D> no)
{
  return trelLaneNumber<D>(hn::IfThenElse(which.M, yes.V, no.V));
}
template <class D>
HWY_INLINE trelLaneNumber<D> Clamp(trelLaneNumber<D> x, trelLaneNumber<D> low,
                                   trelLaneNumber<D> high)
{
  return trelLaneNumber<D>(hn::Min(hn::Max(x.V, low.V), high.V));
}
template <class D>
HWY_INLINE trelLaneNumber<D> SquareRoot(trelLaneNumber<D> x)
{
  return trelLaneNumber<D>(hn::Sqrt(x.V));
}
template <class D>
HWY_INLINE trelLaneNumber<D> WithSignOf(trelLaneNumber<D> magnitude, trelLaneNumber<D> sign)
{
  return trelLaneNumber<D>(hn::CopySignToAbs(magnitude.V, sign.V));
}
template <class D>
HWY_INLINE trelLaneNumber<D> WholePart(trelLaneNumber<D> x)
{
  return trelLaneNumber<D>(hn::Floor(x.V));
}
template <class D>
HWY_INLINE trelLaneNumber<D> RoundToSingle(trelLaneNumber<D> x)
{
  const hn::Rebind<float, D> single;
  return trelLaneNumber<D>(hn::PromoteTo(D(), hn::DemoteTo(single, x.V)));
}

/** The bits of a whole number from 0 to 2^52, in the low bits of the sum with 2^52. */
template <class D>
HWY_INLINE hn::Vec<hn::RebindToUnsigned<D>> BitsOfWhole(trelLaneNumber<D> x)
{
  const hn::RebindToUnsigned<D> words;
  return hn::BitCast(words, hn::Add(x.V, hn::Set(D(), 0x1p52)));
}

/** See SplitBinary() of one number. */
template <class D>
HWY_INLINE void SplitBinary(trelLaneNumber<D> x, trelLaneNumber<D>* k, trelLaneNumber<D>* mantissa)
{
  const D d;
  const hn::RebindToUnsigned<D> words;
  const auto sqrtHalf = hn::Set(words, 0x3fe6a09e667f3bcd);
  const auto fraction = hn::Set(words, 0xfffffffffffff);
  const auto shifted = hn::Sub(hn::BitCast(words, x.V), sqrtHalf);
  mantissa->V = hn::BitCast(d, hn::Add(hn::And(shifted, fraction), sqrtHalf));
  // The exponent and 1024 in the low bits of a number of 1.5 2^52.
  const auto biased = hn::ShiftRight<52>(hn::Add(shifted, hn::Set(words, 0x4000000000000000)));
  const auto number = hn::Add(biased, hn::Set(words, 0x4338000000000000));
  k->V = hn::Sub(hn::BitCast(d, number), hn::Set(d, 0x1.8p52 + 1024.0));
}

/** See TurnByQuarters() of one number. The last bit of the quarters swaps the two; its
 *  exclusive or with the one before is the cosine's sign, that one the sine's. */
template <class D>
HWY_INLINE void TurnByQuarters(trelLaneNumber<D> quarters, trelLaneNumber<D>* cosine,
                               trelLaneNumber<D>* sine)
{
  const D d;
  const auto bits = BitsOfWhole(quarters);
  const auto last = hn::BitCast(d, hn::ShiftLeft<63>(bits));
  const auto before = hn::BitCast(d, hn::ShiftLeft<62>(bits));
  const auto sign = hn::SignBit(d);
  const auto newCosine = hn::IfNegativeThenElse(last, sine->V, cosine->V);
  const auto newSine = hn::IfNegativeThenElse(last, cosine->V, sine->V);
  cosine->V = hn::Xor(newCosine, hn::And(hn::Xor(last, before), sign));
  sine->V = hn::Xor(newSine, hn::And(before, sign));
}

/** Words of 64 bits in the lanes of @p D. */
template <class D>
struct trelLaneWord
{
  using Words = hn::RebindToUnsigned<D>;
  hn::Vec<Words> V;

  static HWY_INLINE trelLaneWord Load(const std::uint64_t* from)
  {
    return {hn::Load(Words(), from)};
  }
  HWY_INLINE void Store(std::uint64_t* to) const { hn::Store(V, Words(), to); }
};

template <class D>
HWY_INLINE trelLaneWord<D> operator+(trelLaneWord<D> a, trelLaneWord<D> b)
{
  return {hn::Add(a.V, b.V)};
}
template <class D>
HWY_INLINE trelLaneWord<D> operator^(trelLaneWord<D> a, trelLaneWord<D> b)
{
  return {hn::Xor(a.V, b.V)};
}
template <int bits, class D>
HWY_INLINE trelLaneWord<D> RotateLeft(trelLaneWord<D> x)
{
  return {hn::RotateRight<64 - bits>(x.V)};
}
template <int bits, class D>
HWY_INLINE trelLaneWord<D> ShiftLeft(trelLaneWord<D> x)
{
  return {hn::ShiftLeft<bits>(x.V)};
}
template <class D>
HWY_INLINE trelLaneWord<D> SelectWord(trelLaneMask<D> which, trelLaneWord<D> yes,
                                      trelLaneWord<D> no)
{
  const D d;
  const typename trelLaneWord<D>::Words words;
  return {hn::BitCast(words, hn::IfThenElse(which.M, hn::BitCast(d, yes.V), hn::BitCast(d, no.V)))};
}

#include "trelElementary.inc"

/** A whole number up to 2^53 as a double: its two halves by the exponents 2^84 and 2^52. */
template <class D>
HWY_INLINE trelLaneNumber<D> NumberOf(trelLaneWord<D> word)
{
  const D d;
  const typename trelLaneWord<D>::Words words;
  const auto low = hn::And(word.V, hn::Set(words, 0xffffffff));
  const auto high = hn::ShiftRight<32>(word.V);
  const auto lowNumber = hn::BitCast(d, hn::Or(low, hn::Set(words, 0x4330000000000000)));
  const auto highNumber = hn::BitCast(d, hn::Or(high, hn::Set(words, 0x4530000000000000)));
  return trelLaneNumber<D>(hn::Add(hn::Sub(highNumber, hn::Set(d, 0x1p84 + 0x1p52)), lowNumber));
}

/** The streams of the packets in the lanes. */
template <class D>
struct trelLaneStreams
{
  trelLaneWord<D> Words[4];

  HWY_INLINE trelLaneWord<D> NextInteger() { return {hn::ShiftRight<11>(NextWordOf(Words).V)}; }
  /** Uniform on [0, 1). */
  HWY_INLINE trelLaneNumber<D> NextRandom()
  {
    return NumberOf(NextInteger()) * trelLaneNumber<D>(0x1.0p-53);
  }
  /** Uniform on (0, 1]. */
  HWY_INLINE trelLaneNumber<D> NextPositiveRandom()
  {
    const typename trelLaneWord<D>::Words words;
    const trelLaneWord<D> one = {hn::Set(words, 1)};
    return NumberOf(NextInteger() + one) * trelLaneNumber<D>(0x1.0p-53);
  }
  /** Goes on where @p which holds, and stands still elsewhere. */
  HWY_INLINE void Advance(trelLaneMask<D> which, const trelLaneStreams& to)
  {
    for (int k = 0; k < 4; ++k)
      Words[k] = SelectWord(which, to.Words[k], Words[k]);
  }
};

/** A whole number from 0 to 2^52 in each lane. */
template <class D>
HWY_INLINE void StoreWhole(trelLaneNumber<D> x, std::uint64_t* to)
{
  const hn::RebindToUnsigned<D> words;
  hn::Store(hn::And(BitsOfWhole(x), hn::Set(words, 0xfffffffffffff)), words, to);
}

/** The steps of as many packets as @p D has lanes. */
template <class D>
class trelLaneSteps
{
public:
  using Number = trelLaneNumber<D>;
  using Mask = trelLaneMask<D>;

  explicit trelLaneSteps(trelPacketLanes& lanes) : Lanes(lanes), S(lanes.State) {}

  void Fly()
  {
    Lanes.Begin(Width());
    while (Lanes.GetActive() != 0)
      TakeStep();
  }

private:
  static constexpr int Width() { return static_cast<int>(hn::MaxLanes(D())); }
  static HWY_INLINE Number Read(const double* from) { return Number::Load(from); }

  /** Visits the lanes of these bits. */
  template <class Visit>
  static HWY_INLINE void ForEach(unsigned bits, Visit visit)
  {
    for (; bits != 0; bits &= bits - 1)
      visit(__builtin_ctz(bits));
  }

  HWY_INLINE Number FindSafeDistance(Number x, Number y, Number z) const;
  HWY_INLINE Mask FindCell(Number x, Number y, Number z, Number* cell) const;
  HWY_INLINE static Mask FindBin(const trelGridBins& bins, Number q, Number* bin);
  HWY_INLINE void Score(unsigned plain, Number x, Number y, Number z, Number absorbed,
                        Number fluence);
  HWY_INLINE void TakeStep();
  HWY_INLINE void Interact(Mask plain, unsigned bits);

  trelPacketLanes& Lanes;
  trelLaneState& S;
};

/** See trelTissueMap::GetSafeDistance(). */
template <class D>
HWY_INLINE trelLaneNumber<D> trelLaneSteps<D>::FindSafeDistance(Number x, Number y, Number z) const
{
  const trelSafeCells& safe = Lanes.Safe;
  const Number zero = 0.0;
  if (!safe.Distances) return zero;
  const Number i = (x - Number(safe.Low.X)) * Number(safe.PerStep.X);
  const Number j = (y - Number(safe.Low.Y)) * Number(safe.PerStep.Y);
  const Number k = (z - Number(safe.Low.Z)) * Number(safe.PerStep.Z);
  const Mask within = (i >= zero) & (j >= zero) & (k >= zero) & (i < Number(safe.Cells.X)) &
                      (j < Number(safe.Cells.Y)) & (k < Number(safe.Cells.Z));
  const Number row = WholePart(i) * Number(safe.Cells.Y) + WholePart(j);
  const Number cell = row * Number(safe.Cells.Z) + WholePart(k);
  alignas(64) std::uint64_t places[MaximumLanes];
  StoreWhole(Select(within, cell, zero), places);
  for (int lane = 0; lane < Width(); ++lane)
    places[lane] = safe.Distances[places[lane]];
  const Number quanta = NumberOf(trelLaneWord<D>::Load(places));
  const Number distance = Number(safe.Quantum) * quanta - Number(safe.ToCorner);
  return Select(within & (zero < distance), distance, zero);
}

/** See trelGridBins::LocateWithin(). */
template <class D>
HWY_INLINE trelLaneMask<D> trelLaneSteps<D>::FindBin(const trelGridBins& bins, Number q,
                                                     Number* bin)
{
  const Number index = (q - Number(bins.Minimum)) / Number(bins.Separation);
  *bin = WholePart(index);
  return (index >= Number(0.0)) & (q <= Number(bins.Maximum)) & (index < Number(bins.EndIndex));
}

/** The cell, and where it is found: within the edges of the grid. */
template <class D>
HWY_INLINE trelLaneMask<D> trelLaneSteps<D>::FindCell(Number x, Number y, Number z,
                                                      Number* cell) const
{
  const trelLaneGrid& grid = Lanes.Grid;
  Number bins[3] = {0.0, 0.0, 0.0};
  if (grid.Cells == trelLaneGrid::Rings) {
    const Number dx = x - Number(grid.Center[0]);
    const Number dy = y - Number(grid.Center[1]);
    const Mask within = FindBin(grid.Bins[0], SquareRoot(dx * dx + dy * dy), &bins[0]) &
                        FindBin(grid.Bins[1], z, &bins[1]);
    *cell = bins[0] * Number(grid.Bins[1].Count) + bins[1];
    return within;
  }
  const Mask within = FindBin(grid.Bins[0], x, &bins[0]) & FindBin(grid.Bins[1], y, &bins[1]) &
                      FindBin(grid.Bins[2], z, &bins[2]);
  *cell = (bins[0] * Number(grid.Bins[1].Count) + bins[1]) * Number(grid.Bins[2].Count) + bins[2];
  return within;
}

/** Scores the interactions of the lanes @p plain. */
template <class D>
HWY_INLINE void trelLaneSteps<D>::Score(unsigned plain, Number x, Number y, Number z,
                                        Number absorbed, Number fluence)
{
  if (Lanes.Grid.Cells == trelLaneGrid::Nothing) return;
  alignas(64) double weights[MaximumLanes], paths[MaximumLanes];
  absorbed.Store(weights);
  unsigned apart = plain;
  if (Lanes.ScoresPlainly) {
    alignas(64) std::uint64_t cells[MaximumLanes];
    alignas(64) double values[MaximumLanes];
    Number cell = 0.0;
    const unsigned within = BitsOf(FindCell(x, y, z, &cell));
    StoreWhole(cell, cells);
    (Read(S.SourceWeight) * absorbed).Store(values);
    ForEach(plain & within, [&](int lane) HWY_ATTR {
      AddToCell(Lanes.Tally, S.Absorption[lane] + cells[lane], values[lane]);
    });
    apart &= ~within;
  }
  if (apart == 0) return;
  fluence.Store(paths);
  ForEach(apart, [&](int lane) HWY_ATTR { Lanes.Score(lane, weights[lane], paths[lane]); });
}

/** One segment of each packet, as TakeExactStep(): the plain ones here, the others by the packet's
 *  own functions. */
template <class D>
HWY_INLINE void trelLaneSteps<D>::TakeStep()
{
  const Number length = Read(S.Depth) / Read(S.Interaction);
  const Number x = Read(S.X), y = Read(S.Y), z = Read(S.Z);
  Number clear = Read(S.Clear);
  Mask isClear = length < clear;
  constexpr unsigned all = (1U << Width()) - 1;
  if (BitsOf(isClear) != all) {
    const Number safe = Number(trelExactPacket::ClearPart) * FindSafeDistance(x, y, z);
    clear = Select(isClear, clear, safe);
    isClear = length < clear;
  }
  (clear - length).Store(S.Clear);
  const Number time =
      Read(S.FlyTime) + length * Read(S.RefractiveIndex) / Number(trelExactModel::SpeedOfLight);
  Mask plain = isClear & (time <= Number(Lanes.Model.TimeLimit));
  unsigned bits = BitsOf(plain);
  if (bits != all) {
    alignas(64) double lengths[MaximumLanes];
    length.Store(lengths);
    ForEach(all & ~bits & Lanes.GetActive(), [&](int lane) HWY_ATTR {
      if (Lanes.LooksClear(lane, lengths[lane])) bits |= 1U << lane;
    });
    if (bits == 0) return;
    plain = MaskOf<D>(bits);
  }
  Select(plain, x + length * Read(S.UX), Read(S.X)).Store(S.X);
  Select(plain, y + length * Read(S.UY), Read(S.Y)).Store(S.Y);
  Select(plain, z + length * Read(S.UZ), Read(S.Z)).Store(S.Z);
  Select(plain, time, Read(S.FlyTime)).Store(S.FlyTime);
  Interact(plain, bits);
}

/** As Interact() of one packet, and what is drawn ahead of the next step. */
template <class D>
HWY_INLINE void trelLaneSteps<D>::Interact(Mask plain, unsigned bits)
{
  const Number weight = Read(S.Weight);
  const Number share = weight / Read(S.Interaction);
  const Number kept = share * Read(S.Scattering);
  Score(bits, Read(S.X), Read(S.Y), Read(S.Z), weight - kept, share);
  Select(plain, kept, weight).Store(S.Weight);
  const Number steps = Read(S.Steps) + Number(1.0);
  Select(plain, steps, Read(S.Steps)).Store(S.Steps);
  const Mask strong = (kept >= Number(RouletteThreshold)) & (steps <= Read(S.MostSteps));

  trelLaneStreams<D> streams = {
      {trelLaneWord<D>::Load(S.Stream[0]), trelLaneWord<D>::Load(S.Stream[1]),
       trelLaneWord<D>::Load(S.Stream[2]), trelLaneWord<D>::Load(S.Stream[3])}};
  trelLaneStreams<D> ahead = streams;
  const Number cosTheta = CosineInSpaceOf(Read(S.Anisotropy), ahead.NextRandom());
  const trelVectorOf<Number> before = {Read(S.UX), Read(S.UY), Read(S.UZ)};
  const trelVectorOf<Number> after = DeflectionOf(before, cosTheta, ahead.NextRandom());
  Select(plain, after.X, before.X).Store(S.UX);
  Select(plain, after.Y, before.Y).Store(S.UY);
  Select(plain, after.Z, before.Z).Store(S.UZ);
  streams.Advance(plain, ahead);

  const Mask goesOn = plain & strong;
  const Number depth = -NaturalLogarithmOf(ahead.NextPositiveRandom());
  Select(goesOn, depth, Read(S.Depth)).Store(S.Depth);
  streams.Advance(goesOn, ahead);
  for (int k = 0; k < 4; ++k)
    streams.Words[k].Store(S.Stream[k]);
  ForEach(bits & ~BitsOf(strong), [&](int lane) HWY_ATTR { Lanes.EndOrGoOn(lane); });
}

/** As many packets as are asked for, or the target has lanes. */
void FlyOnTarget(trelPacketLanes& lanes)
{
  constexpr int half = MaximumLanes / 2;
  if (lanes.Asked == 1)
    trelLaneSteps<hn::CappedTag<double, 1>>(lanes).Fly();
  else if (lanes.Asked > 0 && lanes.Asked <= half)
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

void FlyLanes(trelPacketLanes& lanes)
{
  HWY_DYNAMIC_DISPATCH(FlyOnTarget)(lanes);
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
