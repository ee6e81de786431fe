#include "trelMeshPredicates.h"

#include <algorithm>
#include <cmath>

#include "trelGeometryTolerance.h"

trelVector FaceUnitNormal(const trelVector& v0, const trelVector& v1, const trelVector& v2)
{
  return Normalized(Cross(v1 - v0, v2 - v0));
}

double TriangleArea(const trelVector& v0, const trelVector& v1, const trelVector& v2)
{
  return 0.5 * Length(Cross(v1 - v0, v2 - v0));
}

bool PlaneBoxOverlap(const trelVector& normal, double d, const trelVector& half)
{
  // The corners of the box that lie farthest back and farthest ahead along the normal.
  const trelVector back = {normal.X > 0.0 ? -half.X : half.X, normal.Y > 0.0 ? -half.Y : half.Y,
                           normal.Z > 0.0 ? -half.Z : half.Z};
  if (Dot(normal, back) + d > GeometryTolerance) return false;
  const double farthest = Dot(normal, -back) + d;
  return farthest > GeometryTolerance || std::fabs(farthest) < GeometryTolerance;
}

/** True if the range from @p a to @p b, in either order, lies beyond @p reach on either side. */
static bool IsBeyond(double a, double b, double reach)
{
  return std::min(a, b) - reach > GeometryTolerance || std::max(a, b) + reach < -GeometryTolerance;
}

/**
 * True if the product of the edge @p f with one of the three axes separates the box from the
 * triangle. Both ends of the edge have the same projection, so that one end @p p and the third
 * corner @p q are enough.
 */
static bool EdgeSeparates(const trelVector& f, const trelVector& p, const trelVector& q,
                          const trelVector& half)
{
  for (int axis = 0; axis < 3; ++axis) {
    const int y = (axis + 1) % 3, z = (axis + 2) % 3;
    const double a = f[z] * p[y] - f[y] * p[z];
    const double b = f[z] * q[y] - f[y] * q[z];
    if (IsBeyond(a, b, half[y] * std::fabs(f[z]) + half[z] * std::fabs(f[y]))) return true;
  }
  return false;
}

bool TriangleBoxOverlap(const trelVector& center, const trelVector& half,
                        const trelVector corners[3])
{
  const trelVector u[3] = {corners[0] - center, corners[1] - center, corners[2] - center};
  const trelVector f[3] = {u[1] - u[0], u[2] - u[1], u[0] - u[2]};
  for (int v = 0; v < 3; ++v)
    if (EdgeSeparates(f[v], u[v], u[(v + 2) % 3], half)) return false;
  for (int i = 0; i < 3; ++i) {
    const auto [low, high] = std::minmax({u[0][i], u[1][i], u[2][i]});
    if (IsBeyond(low, high, half[i])) return false;
  }
  const trelVector normal = Cross(f[0], f[1]);
  return PlaneBoxOverlap(normal, -Dot(normal, u[0]), half);
}

/** The axis along which @p v is longest, the first of equals. */
static int LongestAxis(const trelVector& v)
{
  int longest = 0;
  for (int axis = 1; axis < 3; ++axis)
    if (std::fabs(v[axis]) > std::fabs(v[longest])) longest = axis;
  return longest;
}

bool PointInTriangle(const trelVector& point, const trelTracedTriangle& triangle)
{
  for (int axis = 0; axis < 3; ++axis)
    if (IsBeyondCorners(point[axis], triangle, axis)) return false;
  const int dropped = LongestAxis(triangle.Normal);
  const int u = (dropped + 1) % 3, v = (dropped + 2) % 3;
  for (int edge = 0; edge < 3; ++edge) {
    const trelVector& start = triangle.Corners[edge];
    const trelVector& end = triangle.Corners[(edge + 1) % 3];
    const trelVector& opposite = triangle.Corners[(edge + 2) % 3];
    const auto line = [&](const trelVector& p) {
      return (end[u] - start[u]) * (p[v] - start[v]) - (end[v] - start[v]) * (p[u] - start[u]);
    };
    if (line(point) * line(opposite) < -GeometryTolerance) return false;
  }
  return true;
}

double RayTriangleDistance(const trelRay& ray, const trelTracedTriangle& triangle)
{
  constexpr double miss = -1.0;
  const trelVector e1 = triangle.Corners[1] - triangle.Corners[0];
  const trelVector e2 = triangle.Corners[2] - triangle.Corners[0];
  const trelVector fromCorner = ray.Origin - triangle.Corners[0];
  const trelVector p = Cross(ray.Direction, e2);
  // 0 for a ray in the plane: the quotients are then infinite or NaN, and so is the answer unless a
  // bound turns it down. Callers take both for a miss.
  const double det = Dot(e1, p);
  const double u = Dot(fromCorner, p) / det;
  if (u < -GeometryTolerance || u - 1.0 > GeometryTolerance) return miss;
  const trelVector q = Cross(fromCorner, e1);
  const double v = Dot(ray.Direction, q) / det;
  if (v < -GeometryTolerance) return miss;
  if (u + v - 1.0 > GeometryTolerance) return miss;
  return Dot(e2, q) / det;
}

/** The stretch of a ray between two planes across an axis, in lengths of its direction. */
struct trelSlabCrossing
{
  double Enter, Leave;

  trelSlabCrossing(double low, double high, double origin, double direction)
  {
    const double inverse = 1.0 / direction;
    Enter = (low - origin) * inverse;
    Leave = (high - origin) * inverse;
    if (inverse < 0.0) std::swap(Enter, Leave);
  }
  bool IsApartFrom(const trelSlabCrossing& other) const
  {
    return Enter > other.Leave || other.Enter > Leave;
  }
};

bool RayBoxOverlap(const trelBox& box, const trelRay& ray)
{
  const auto cross = [&](int axis) {
    return trelSlabCrossing(box.Low[axis], box.High[axis], ray.Origin[axis], ray.Direction[axis]);
  };
  trelSlabCrossing both = cross(0);
  const trelSlabCrossing inY = cross(1);
  if (both.IsApartFrom(inY)) return false;
  if (inY.Enter > both.Enter) both.Enter = inY.Enter;
  if (inY.Leave < both.Leave) both.Leave = inY.Leave;
  const trelSlabCrossing inZ = cross(2);
  return both.Enter <= inZ.Leave && inZ.Enter <= both.Leave;
}
