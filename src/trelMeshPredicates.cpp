#include "trelMeshPredicates.h"

#include <algorithm>
#include <cmath>

#include "trelAxisRay.h"
#include "trelGeometryTolerance.h"

static void Subtract(const double a[3], const double b[3], double difference[3])
{
  for (int i = 0; i < 3; ++i)
    difference[i] = a[i] - b[i];
}

static double Dot(const double a[3], const double b[3])
{
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

static void Cross(const double a[3], const double b[3], double product[3])
{
  product[0] = a[1] * b[2] - a[2] * b[1];
  product[1] = a[2] * b[0] - a[0] * b[2];
  product[2] = a[0] * b[1] - a[1] * b[0];
}

/** (v1 - v0) x (v2 - v0), and its length. */
static double FaceNormal(const double v0[3], const double v1[3], const double v2[3],
                         double normal[3])
{
  double e1[3], e2[3];
  Subtract(v1, v0, e1);
  Subtract(v2, v0, e2);
  Cross(e1, e2, normal);
  return std::sqrt(Dot(normal, normal));
}

void FaceUnitNormal(const double v0[3], const double v1[3], const double v2[3], double normal[3])
{
  const double length = FaceNormal(v0, v1, v2, normal);
  if (length == 0.0) return;
  for (int i = 0; i < 3; ++i)
    normal[i] /= length;
}

double TriangleArea(const double v0[3], const double v1[3], const double v2[3])
{
  double normal[3];
  return 0.5 * FaceNormal(v0, v1, v2, normal);
}

bool PlaneBoxOverlap(const double normal[3], double d, const double half[3])
{
  // The corners of the box that lie farthest back and farthest ahead along the normal.
  double back[3], ahead[3];
  for (int i = 0; i < 3; ++i) {
    back[i] = normal[i] > 0.0 ? -half[i] : half[i];
    ahead[i] = -back[i];
  }
  if (Dot(normal, back) + d > GeometryTolerance) return false;
  const double farthest = Dot(normal, ahead) + d;
  return farthest > GeometryTolerance || std::fabs(farthest) < GeometryTolerance;
}

/**
 * True if the product of the edge @p f with one of the three axes separates the box from the
 * triangle. Both ends of the edge have the same projection, so that one end @p p and the third
 * corner @p q are enough.
 */
static bool EdgeSeparates(const double f[3], const double p[3], const double q[3],
                          const double half[3])
{
  for (int axis = 0; axis < 3; ++axis) {
    const int y = (axis + 1) % 3, z = (axis + 2) % 3;
    const double a = f[z] * p[y] - f[y] * p[z];
    const double b = f[z] * q[y] - f[y] * q[z];
    const double r = half[y] * std::fabs(f[z]) + half[z] * std::fabs(f[y]);
    if (std::min(a, b) - r > GeometryTolerance || std::max(a, b) + r < -GeometryTolerance) {
      return true;
    }
  }
  return false;
}

bool TriangleBoxOverlap(const double center[3], const double half[3], const double corners[3][3])
{
  double u[3][3], f[3][3];
  for (int v = 0; v < 3; ++v)
    Subtract(corners[v], center, u[v]);
  for (int v = 0; v < 3; ++v)
    Subtract(u[(v + 1) % 3], u[v], f[v]);
  for (int v = 0; v < 3; ++v)
    if (EdgeSeparates(f[v], u[v], u[(v + 2) % 3], half)) return false;
  for (int i = 0; i < 3; ++i) {
    const auto range = std::minmax({u[0][i], u[1][i], u[2][i]});
    if (range.first - half[i] > GeometryTolerance || range.second + half[i] < -GeometryTolerance) {
      return false;
    }
  }
  double normal[3];
  Cross(f[0], f[1], normal);
  return PlaneBoxOverlap(normal, -Dot(normal, u[0]), half);
}

/** True if the coordinate @p p lies beyond all three corners along @p axis, on either side. */
static bool IsBeyondCorners(double p, const trelTracedTriangle& triangle, int axis)
{
  const double a = triangle.Corners[0][axis];
  const double b = triangle.Corners[1][axis];
  const double c = triangle.Corners[2][axis];
  return (p < a && p < b && p < c) || (p > a && p > b && p > c);
}

int PointInTriangle(double x, double y, double z, const trelTracedTriangle& triangle)
{
  const double point[3] = {x, y, z};
  for (int axis = 0; axis < 3; ++axis)
    if (IsBeyondCorners(point[axis], triangle, axis)) return 2;
  int dropped = 0;
  for (int axis = 1; axis < 3; ++axis)
    if (std::fabs(triangle.Normal[axis]) > std::fabs(triangle.Normal[dropped])) dropped = axis;
  const int u = (dropped + 1) % 3, v = (dropped + 2) % 3;
  for (int edge = 0; edge < 3; ++edge) {
    const double* start = triangle.Corners[edge];
    const double* end = triangle.Corners[(edge + 1) % 3];
    const double* opposite = triangle.Corners[(edge + 2) % 3];
    const auto line = [&](const double p[3]) {
      return (end[u] - start[u]) * (p[v] - start[v]) - (end[v] - start[v]) * (p[u] - start[u]);
    };
    if (line(point) * line(opposite) < -GeometryTolerance) return 2;
  }
  return 0;
}

/** 0 near zero, 1 above, 2 below; 3 at exactly the tolerance and for what is not a number. */
static int SignClass(double value)
{
  if (std::fabs(value) < GeometryTolerance) return 0;
  if (value > GeometryTolerance) return 1;
  return value < -GeometryTolerance ? 2 : 3;
}

/** What an edge means for the half-line from the origin along w > 0. */
enum EdgeCrossing
{
  EdgeMissed,
  EdgeCrossed,
  EdgeTooClose
};

/** Looks at the edge from (@p ua, @p wa) to (@p ub, @p wb), relative to the point. */
static EdgeCrossing CrossEdge(double ua, double wa, double ub, double wb)
{
  const int startSide = SignClass(ua), endSide = SignClass(ub);
  if (startSide == 0 || endSide == 0) return EdgeTooClose;
  const bool spans = (startSide == 1 && endSide == 2) || (startSide == 2 && endSide == 1);
  if (!spans) return EdgeMissed;
  const int startHeight = SignClass(wa), endHeight = SignClass(wb);
  if (startHeight == 1 && endHeight == 1) return EdgeCrossed;
  if (startHeight == 2 && endHeight == 2) return EdgeMissed;
  const double w = wa - ua / (ub - ua) * (wb - wa);
  if (std::fabs(w) < GeometryTolerance) return EdgeTooClose;
  return w > GeometryTolerance ? EdgeCrossed : EdgeMissed;
}

int ProjectedCrossingTest(double a, double b, const trelTracedTriangle& triangle, int axis,
                          int toggle)
{
  constexpr int maximumMoves = 1000;
  const int u = FirstAcross(axis), w = SecondAcross(axis);
  const int answer = CrossAtFirstSight(a, b, triangle, u, w);
  if (answer >= 0) return answer;
  for (int move = 0; move <= maximumMoves; ++move) {
    if (IsBeyondCorners(a, triangle, u) || IsBeyondCorners(b, triangle, w)) return 2;
    int crossings = 0;
    bool tooClose = false;
    for (int edge = 0; edge < 3 && !tooClose; ++edge) {
      const double* start = triangle.Corners[edge];
      const double* end = triangle.Corners[(edge + 1) % 3];
      const EdgeCrossing crossing = CrossEdge(start[u] - a, start[w] - b, end[u] - a, end[w] - b);
      tooClose = crossing == EdgeTooClose;
      if (crossing == EdgeCrossed) ++crossings;
    }
    if (!tooClose) return crossings % 2 == 1 ? 0 : 2;
    (toggle == 1 ? b : a) += 2.0 * GeometryTolerance;
    toggle = toggle == 1 ? 0 : 1;
  }
  return 2;
}

int AxisRayTriangleTest(double x, double y, double z, const trelTracedTriangle& triangle, int axis)
{
  if (axis < RayAxisZMax || axis > RayAxisXMin) return AxisRayUnknown;
  const double point[3] = {x, y, z};
  return VisitAxis(axis, [&](auto direction) {
    return TestAxisRay<decltype(direction)::value>(point, triangle);
  });
}

double RayTriangleDistance(const double origin[3], const double direction[3],
                           const trelTracedTriangle& triangle)
{
  constexpr double miss = -1.0;
  double e1[3], e2[3], p[3], q[3], fromCorner[3];
  Subtract(triangle.Corners[1], triangle.Corners[0], e1);
  Subtract(triangle.Corners[2], triangle.Corners[0], e2);
  Subtract(origin, triangle.Corners[0], fromCorner);
  Cross(direction, e2, p);
  // 0 for a ray in the plane: the quotients are then infinite or not a number, and so is the answer
  // unless a bound turns it down. Callers take both for a miss.
  const double det = Dot(e1, p);
  const double u = Dot(fromCorner, p) / det;
  if (u < -GeometryTolerance || u - 1.0 > GeometryTolerance) return miss;
  Cross(fromCorner, e1, q);
  const double v = Dot(direction, q) / det;
  if (v < -GeometryTolerance) return miss;
  if (u + v - 1.0 > GeometryTolerance) return miss;
  return Dot(e2, q) / det;
}

bool RayBoxOverlap(const double min[3], const double max[3], const double origin[3],
                   const double direction[3])
{
  double first = 0.0, last = 0.0;
  for (int i = 0; i < 3; ++i) {
    const double inverse = 1.0 / direction[i];
    double enter = (min[i] - origin[i]) * inverse;
    double leave = (max[i] - origin[i]) * inverse;
    if (inverse < 0.0) std::swap(enter, leave);
    if (i == 0) {
      first = enter;
      last = leave;
      continue;
    }
    if (i == 2) return first <= leave && enter <= last;
    if (first > leave || enter > last) return false;
    if (enter > first) first = enter;
    if (leave < last) last = leave;
  }
  return true;
}
