#include "trelAxisRay.h"

/** On which side of 0 a number lies. */
enum SignClass
{
  SignZero,   ///< within the tolerance
  SignAbove,  ///< beyond the tolerance
  SignBelow,
  SignUnknown  ///< at exactly the tolerance, or NaN
};

static SignClass SignOf(double value)
{
  if (std::fabs(value) < GeometryTolerance) return SignZero;
  if (value > GeometryTolerance) return SignAbove;
  return value < -GeometryTolerance ? SignBelow : SignUnknown;
}

/** What the edge from corner @p start means. */
static EdgeCrossing CrossEdge(const trelProjectedTriangle& seen, int start)
{
  const int end = (start + 1) % 3;
  const SignClass startSide = SignOf(seen.U[start]), endSide = SignOf(seen.U[end]);
  if (startSide == SignZero || endSide == SignZero) return EdgeTooClose;
  const bool spans = (startSide == SignAbove && endSide == SignBelow) ||
                     (startSide == SignBelow && endSide == SignAbove);
  if (!spans) return EdgeMissed;
  const SignClass startHeight = SignOf(seen.W[start]), endHeight = SignOf(seen.W[end]);
  if (startHeight == SignAbove && endHeight == SignAbove) return EdgeCrossed;
  if (startHeight == SignBelow && endHeight == SignBelow) return EdgeMissed;
  const SignClass height = SignOf(seen.HeightOfEdge(start, end));
  if (height == SignZero) return EdgeTooClose;
  return height == SignAbove ? EdgeCrossed : EdgeMissed;
}

/** Counts the edges that the half-line crosses. */
static ProjectedRelation CrossEdges(const trelProjectedTriangle& seen)
{
  bool odd = false;
  for (int edge = 0; edge < 3; ++edge) {
    const EdgeCrossing crossing = CrossEdge(seen, edge);
    if (crossing == EdgeTooClose) return ProjectedTooClose;
    if (crossing == EdgeCrossed) odd = !odd;
  }
  return odd ? ProjectedInside : ProjectedOutside;
}

bool CrossAfterMoves(double a, double b, const trelTracedTriangle& triangle, int axis, bool toggle)
{
  constexpr int maximumMoves = 1000;
  const int u = FirstAcross(axis), w = SecondAcross(axis);
  for (int move = 0; move <= maximumMoves; ++move) {
    if (IsBeyondCorners(a, triangle, u) || IsBeyondCorners(b, triangle, w)) return false;
    const ProjectedRelation relation = CrossEdges({a, b, triangle, u, w});
    if (relation != ProjectedTooClose) return relation == ProjectedInside;
    (toggle ? b : a) += 2.0 * GeometryTolerance;
    toggle = !toggle;
  }
  return false;
}

AxisRayAnswer AxisRayTriangleTest(const trelVector& point, const trelTracedTriangle& triangle,
                                  int axis)
{
  if (axis < RayAxisZMax || axis > RayAxisXMin) return AxisRayUnknown;
  return VisitAxis(axis, [&](auto direction) {
    return TestAxisRay<decltype(direction)::value>(point, triangle);
  });
}
