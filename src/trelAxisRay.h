#ifndef trelAxisRay_h
#define trelAxisRay_h

#include <cmath>
#include <type_traits>

#include "trelGeometryTolerance.h"
#include "trelMeshPredicates.h"

/**
 * @file trelAxisRay.h
 * The test of an axis-parallel ray against a triangle, compiled for each of the six directions:
 * point location in a mesh consists of it.
 */

/** The coordinate along a RayAxis. */
constexpr int AxisAlong(int axis)
{
  return 2 - axis / 2;
}

constexpr bool IsTowardsMin(int axis)
{
  return axis % 2 == 1;
}

/** The two coordinates that are left when the one along the ray is dropped, ascending. */
constexpr int FirstAcross(int axis)
{
  return axis >= RayAxisXMax ? 1 : 0;
}

constexpr int SecondAcross(int axis)
{
  return axis >= RayAxisYMax ? 2 : 1;
}

/** Calls @p visit with the direction @p axis, a RayAxis, as a constant of its own type. */
template <class Visit>
inline auto VisitAxis(int axis, Visit visit)
{
  switch (axis) {
    case RayAxisZMax:
      return visit(std::integral_constant<int, RayAxisZMax>());
    case RayAxisZMin:
      return visit(std::integral_constant<int, RayAxisZMin>());
    case RayAxisYMax:
      return visit(std::integral_constant<int, RayAxisYMax>());
    case RayAxisYMin:
      return visit(std::integral_constant<int, RayAxisYMin>());
    case RayAxisXMax:
      return visit(std::integral_constant<int, RayAxisXMax>());
    default:
      return visit(std::integral_constant<int, RayAxisXMin>());
  }
}

/**
 * What ProjectedCrossingTest() answers where no corner is level with the point and no edge close to
 * it, so that no move is in question; -1 otherwise. The same differences and quotients, each once.
 */
inline int CrossAtFirstSight(double a, double b, const trelTracedTriangle& triangle, int u, int w)
{
  const auto& corners = triangle.Corners;
  const double du[3] = {corners[0][u] - a, corners[1][u] - a, corners[2][u] - a};
  const double dw[3] = {corners[0][w] - b, corners[1][w] - b, corners[2][w] - b};
  int sides = 0;
  for (int v = 0; v < 3; ++v) {
    if (!(std::fabs(du[v]) > GeometryTolerance && std::fabs(dw[v]) > GeometryTolerance)) return -1;
    sides |= (du[v] > 0.0 ? 1 : 0) << v;
  }
  if (sides == 0 || sides == 7) return 2;
  // The two edges at the corner that lies alone on its side are those that span the point.
  const int alone = sides == 1 || sides == 6 ? 0 : sides == 2 || sides == 5 ? 1 : 2;
  bool odd = false;
  for (const int start : {(alone + 2) % 3, alone}) {
    const int end = (start + 1) % 3;
    if (dw[start] > 0.0 && dw[end] > 0.0) {
      odd = !odd;
    } else if (dw[start] > 0.0 || dw[end] > 0.0) {
      const double height = dw[start] - du[start] / (du[end] - du[start]) * (dw[end] - dw[start]);
      if (!(std::fabs(height) > GeometryTolerance)) return -1;
      if (height > 0.0) odd = !odd;
    }
  }
  return odd ? 0 : 2;
}

/** AxisRayTriangleTest() for one direction. */
template <int axis>
inline int TestAxisRay(const double point[3], const trelTracedTriangle& triangle)
{
  constexpr int along = AxisAlong(axis), u = FirstAcross(axis), w = SecondAcross(axis);
  const auto& corners = triangle.Corners;
  const double p = point[along];
  const double a = corners[0][along], b = corners[1][along], c = corners[2][along];
  if (IsTowardsMin(axis) ? p < a && p < b && p < c : p > a && p > b && p > c) return AxisRayMisses;

  const double* normal = triangle.Normal;
  if (normal[along] == 0.0) {
    const int where = PointInTriangle(point[0], point[1], point[2], triangle);
    return where == 0 ? AxisRayStartsOn : AxisRayMisses;
  }
  int where = CrossAtFirstSight(point[u], point[w], triangle, u, w);
  if (where < 0) where = ProjectedCrossingTest(point[u], point[w], triangle, axis, 1);
  if (where != 0) return AxisRayMisses;
  const double crossing = corners[0][along] - ((point[u] - corners[0][u]) * normal[u] +
                                               (point[w] - corners[0][w]) * normal[w]) /
                                                  normal[along];
  const double t = IsTowardsMin(axis) ? p - crossing : crossing - p;
  if (t > GeometryTolerance) return AxisRayCrosses;
  return std::fabs(t) < GeometryTolerance ? AxisRayStartsOn : AxisRayMisses;
}

#endif
