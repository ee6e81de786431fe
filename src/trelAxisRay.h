#ifndef trelAxisRay_h
#define trelAxisRay_h

#include <cmath>
#include <cstdint>
#include <type_traits>

#include "trelGeometryTolerance.h"
#include "trelMeshPredicates.h"

/**
 * @file trelAxisRay.h
 * The test of an axis-parallel ray against a triangle, compiled for each of the six directions:
 * point location in a mesh consists of it.
 */

/** The direction of an axis-parallel ray, by which the inside of a mesh is told from the outside.
 */
enum RayAxis : std::uint8_t
{
  RayAxisZMax = 0,  ///< towards +z
  RayAxisZMin = 1,
  RayAxisYMax = 2,
  RayAxisYMin = 3,
  RayAxisXMax = 4,
  RayAxisXMin = 5
};

/** What AxisRayTriangleTest() answers. */
enum AxisRayAnswer : int
{
  AxisRayCrosses = 0,
  AxisRayStartsOn = 1,
  AxisRayMisses = 2,
  AxisRayUnknown = 3
};

/** The coordinate along a RayAxis. */
constexpr int AxisAlong(int axis)
{
  return 2 - axis / 2;
}

/** Whether the coordinate along a RayAxis falls on the way. */
constexpr bool IsTowardsMin(int axis)
{
  return axis % 2 == 1;
}

/** The lower one of the two coordinates across a RayAxis. */
constexpr int FirstAcross(int axis)
{
  return axis >= RayAxisXMax ? 1 : 0;
}

/** The higher one. */
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

/** Where a point lies in relation to a triangle as seen along an axis. */
enum ProjectedRelation
{
  ProjectedInside,
  ProjectedOutside,
  ProjectedTooClose  ///< to an edge, or level with a corner: the point has to be moved
};

/** What an edge means for the half-line from the point along w > 0. */
enum EdgeCrossing
{
  EdgeMissed,
  EdgeCrossed,
  EdgeTooClose
};

/** The corners of a triangle relative to a point, in the coordinates u and w across an axis. */
struct trelProjectedTriangle
{
  double U[3], W[3];

  /** As seen from (@p a, @p b), the coordinates @p u and @p w of a point. */
  trelProjectedTriangle(double a, double b, const trelTracedTriangle& triangle, int u, int w)
  {
    for (int v = 0; v < 3; ++v) {
      U[v] = triangle.Corners[v][u] - a;
      W[v] = triangle.Corners[v][w] - b;
    }
  }

  /** True if corner @p v is level with the point in neither coordinate. */
  bool IsClearOf(int v) const
  {
    return std::fabs(U[v]) > GeometryTolerance && std::fabs(W[v]) > GeometryTolerance;
  }

  /** Where the edge from corner @p start to corner @p end meets the line u = 0. */
  double HeightOfEdge(int start, int end) const
  {
    return W[start] - U[start] / (U[end] - U[start]) * (W[end] - W[start]);
  }

  /** What the edge from @p start means, whose ends lie on either side of the point in u. */
  EdgeCrossing CrossSpanningEdge(int start) const
  {
    const int end = (start + 1) % 3;
    if (W[start] > 0.0 && W[end] > 0.0) return EdgeCrossed;
    if (!(W[start] > 0.0 || W[end] > 0.0)) return EdgeMissed;
    const double height = HeightOfEdge(start, end);
    if (!(std::fabs(height) > GeometryTolerance)) return EdgeTooClose;
    return height > 0.0 ? EdgeCrossed : EdgeMissed;
  }
};

/** Where the point lies if no corner is level with it and no edge close to it, so that no move is
 *  in question; else too close. */
inline ProjectedRelation CrossAtFirstSight(const trelProjectedTriangle& seen)
{
  int sides = 0;  // a bit for each corner, set if it lies above in u
  for (int v = 0; v < 3; ++v) {
    if (!seen.IsClearOf(v)) return ProjectedTooClose;
    sides |= (seen.U[v] > 0.0 ? 1 : 0) << v;
  }
  if (sides == 0 || sides == 7) return ProjectedOutside;
  // The two edges at the corner that lies alone on its side are those that span the point.
  const int alone = sides == 1 || sides == 6 ? 0 : sides == 2 || sides == 5 ? 1 : 2;
  const EdgeCrossing before = seen.CrossSpanningEdge((alone + 2) % 3);
  if (before == EdgeTooClose) return ProjectedTooClose;
  const EdgeCrossing after = seen.CrossSpanningEdge(alone);
  if (after == EdgeTooClose) return ProjectedTooClose;
  return before != after ? ProjectedInside : ProjectedOutside;
}

/** The rest of ProjectedCrossingTest(): moves the point until it is close to nothing. */
bool CrossAfterMoves(double a, double b, const trelTracedTriangle& triangle, int axis, bool toggle);

/**
 * True if the point (@p a, @p b) lies in the triangle as seen along @p axis: a half-line from it in
 * the plane of the other two coordinates crosses an odd number of edges. A point within 1e-12 of an
 * edge or level with a corner is moved by 2e-12 and tested anew, alternately in the second
 * coordinate (first if @p toggle is true) and in the first, so that of two triangles that share an
 * edge exactly one has it. After 1000 moves the answer is no: at large coordinates a double does
 * not take up so small a move.
 */
inline bool ProjectedCrossingTest(double a, double b, const trelTracedTriangle& triangle, int axis,
                                  bool toggle)
{
  const ProjectedRelation relation =
      CrossAtFirstSight({a, b, triangle, FirstAcross(axis), SecondAcross(axis)});
  if (relation != ProjectedTooClose) return relation == ProjectedInside;
  return CrossAfterMoves(a, b, triangle, axis, toggle);
}

/** What a ray does that meets the triangle at the distance @p t, negative if behind its start. */
inline AxisRayAnswer AnswerOfDistance(double t)
{
  if (t > GeometryTolerance) return AxisRayCrosses;
  return std::fabs(t) < GeometryTolerance ? AxisRayStartsOn : AxisRayMisses;
}

/** True if all corners lie behind the start of the ray. */
template <int axis>
inline bool IsBehind(double p, const trelTracedTriangle& triangle)
{
  constexpr int along = AxisAlong(axis);
  const auto& corners = triangle.Corners;
  const double a = corners[0][along], b = corners[1][along], c = corners[2][along];
  return IsTowardsMin(axis) ? p < a && p < b && p < c : p > a && p > b && p > c;
}

/** AxisRayTriangleTest() for one direction. */
template <int axis>
inline AxisRayAnswer TestAxisRay(const trelVector& point, const trelTracedTriangle& triangle)
{
  constexpr int along = AxisAlong(axis), u = FirstAcross(axis), w = SecondAcross(axis);
  const double p = point[along];
  if (IsBehind<axis>(p, triangle)) return AxisRayMisses;

  const trelVector& normal = triangle.Normal;
  if (normal[along] == 0.0) {
    const trelVector copy = point;  // so that the point itself need not be in memory
    return PointInTriangle(copy, triangle) ? AxisRayStartsOn : AxisRayMisses;
  }
  if (!ProjectedCrossingTest(point[u], point[w], triangle, axis, true)) return AxisRayMisses;
  const trelVector& corner = triangle.Corners[0];
  const double crossing =
      corner[along] -
      ((point[u] - corner[u]) * normal[u] + (point[w] - corner[w]) * normal[w]) / normal[along];
  return AnswerOfDistance(IsTowardsMin(axis) ? p - crossing : crossing - p);
}

/**
 * Whether the ray from @p point along @p axis (a RayAxis) crosses the triangle, or starts on it. A
 * triangle that lies along the ray is not crossed; if PointInTriangle() has the point in it, the
 * ray starts on it.
 */
AxisRayAnswer AxisRayTriangleTest(const trelVector& point, const trelTracedTriangle& triangle,
                                  int axis);

#endif
