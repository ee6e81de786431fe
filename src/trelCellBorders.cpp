#include "trelCellBorders.h"

#include <algorithm>
#include <cmath>

#include "trelGeometryTolerance.h"

static constexpr double Never = std::numeric_limits<double>::infinity();

/** The first border above @p q, or with @p rising false the last one below, which may be one beyond
 *  either end of the list: Count + 1 or -1. Which side a border in @p q itself is on matters
 *  nothing: the piece up to it has no length. */
static std::int32_t FindBorder(const trelGridBins& bins, double q, bool rising)
{
  const double index = (q - bins.Minimum) / bins.Separation;
  if (rising) {
    if (!(q < bins.Maximum)) return bins.Count + 1;
    return static_cast<std::int32_t>(std::clamp(std::floor(index) + 1.0, 0.0, 1.0 * bins.Count));
  }
  if (q > bins.Maximum) return bins.Count;
  return static_cast<std::int32_t>(std::clamp(std::ceil(index) - 1.0, -1.0, bins.Count - 1.0));
}

trelLineBorders::trelLineBorders(const trelGridBins& bins, double start, double slope)
    : Bins(&bins), Start(start), Slope(slope)
{
  if (!(bins.EndIndex > 0.0) || slope == 0.0) return;
  Border = FindBorder(bins, start, slope > 0.0);
  Compute();
}

void trelLineBorders::Compute()
{
  const bool exists = Border >= 0 && Border <= Bins->Count;
  Next = exists ? (Bins->GetBorder(Border) - Start) / Slope : Never;
}

void trelLineBorders::Advance()
{
  Border += Slope > 0.0 ? 1 : -1;
  Compute();
}

trelRingBorders::trelRingBorders(const trelGridBins& bins, double x, double y, double dx, double dy)
    : Bins(&bins), Speed(std::sqrt(dx * dx + dy * dy))
{
  if (!(bins.EndIndex > 0.0) || Speed == 0.0) return;
  Middle = -(x * dx + y * dy) / (Speed * Speed);
  Distance = std::fabs(x * dy - y * dx) / Speed;
  Inwards = Middle > 0.0;
  Border = FindBorder(bins, std::sqrt(x * x + y * y), !Inwards);
  Compute();
}

/** The border is crossed half a chord before or behind the middle. */
void trelRingBorders::Compute()
{
  if (Inwards && (Border < 0 || !(GetRadius() > Distance))) {
    Inwards = false;
    ++Border;
  }
  while (!Inwards && Border >= 0 && Border <= Bins->Count && !(GetRadius() > Distance))
    ++Border;
  if (Border > Bins->Count) {
    Next = Never;
    return;
  }
  const double radius = GetRadius();
  const double chord = std::sqrt((radius - Distance) * (radius + Distance)) / Speed;
  Next = Inwards ? Middle - chord : Middle + chord;
}

void trelRingBorders::Advance()
{
  Border += Inwards ? -1 : 1;
  Compute();
}

trelAzimuthBorders::trelAzimuthBorders(const trelGridBins& bins, double x, double y, double dx,
                                       double dy)
    : Bins(&bins)
{
  const double speed = std::sqrt(dx * dx + dy * dy);
  if (!(bins.EndIndex > 0.0) || speed == 0.0) return;
  const double across = x * dy - y * dx;
  const double along = x * dx + y * dy;
  if (across == 0.0) {
    // Through the axis: the azimuth turns by half there, or not at all on the way out.
    Border = -1;
    Next = along < 0.0 ? -along / (speed * speed) : Never;
    return;
  }
  Sense = across > 0.0 ? 1 : -1;
  Reach = std::atan2(std::fabs(across), along);
  Scale = std::sqrt(x * x + y * y) / speed;
  Start = std::atan2(y, x) / RadiansPerDegree;
  if (Start < 0.0) Start += 360.0;
  Border = FindBorder(bins, Start, Sense > 0);
  Compute();
}

/** By the law of sines in the triangle of axis, start and crossing. */
void trelAzimuthBorders::Compute()
{
  if (Border > Bins->Count || Border < 0) {
    Border = Sense > 0 ? 0 : Bins->Count;
    Turned += 360.0;
  }
  const double angle = (Sense * (Bins->GetBorder(Border) - Start) + Turned) * RadiansPerDegree;
  const double rest = Reach - angle;
  Next = rest > 0.0 ? Scale * std::sin(angle) / std::sin(rest) : Never;
}

void trelAzimuthBorders::Advance()
{
  if (Reach == 0.0) {
    Next = Never;
    return;
  }
  Border += Sense;
  Compute();
}
