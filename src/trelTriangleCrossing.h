#ifndef trelTriangleCrossing_h
#define trelTriangleCrossing_h

#include <algorithm>
#include <cmath>
#include <utility>

#include "trelMeshRecords.h"

/**
 * @file trelTriangleCrossing.h
 * Whether a ray crosses a triangle, without a tolerance; see trelMeshCrossings.
 */

/** A ray in whose frame triangles are tested: z along the direction, x and y across it. */
struct trelShearedRay
{
  trelVector Origin;
  int X, Y, Z;
  double ShearX, ShearY, ScaleZ;

  explicit trelShearedRay(const trelRay& ray) : Origin(ray.Origin), X(1), Y(2), Z(0)
  {
    const trelVector& d = ray.Direction;
    for (int axis = 1; axis < 3; ++axis)
      if (std::fabs(d[axis]) > std::fabs(d[Z])) Z = axis;
    X = (Z + 1) % 3;
    Y = (Z + 2) % 3;
    if (d[Z] < 0.0) std::swap(X, Y);  // right-handed either way
    ShearX = d[X] / d[Z];
    ShearY = d[Y] / d[Z];
    ScaleZ = 1.0 / d[Z];
  }

  /** The corner, relative to the origin, across the ray. */
  trelVector Shear(const trelVector& corner) const
  {
    const trelVector a = corner - Origin;
    return {a[X] - ShearX * a[Z], a[Y] - ShearY * a[Z], a[Z]};
  }
};

/** What rounding took from the product @p ab of @p a and @p b (T. J. Dekker, Numer. Math. 18 (1971)
 *  224). */
inline double ProductError(double a, double b, double ab)
{
  constexpr double split = 134217729.0;  // 2^27 + 1
  const auto high = [](double x) {
    const double c = split * x;
    return c - (c - x);
  };
  const double ah = high(a), al = a - ah, bh = high(b), bl = b - bh;
  return ((ah * bh - ab) + ah * bl + al * bh) + al * bl;
}

/**
 * On which side the edge from @p a to @p b passes the ray: 1 anticlockwise as seen against it, -1
 * clockwise, and the opposite for the edge from b to a. Rounding keeps the order of the products,
 * so that only equal ones need a second look. The infinitesimal move is by (-e^2, e): an edge
 * through the ray passes as if that lay to the left of the way from its lower end. 0 for an edge
 * along the ray.
 */
inline int EdgeSide(const trelVector& a, const trelVector& b)
{
  const double left = a.X * b.Y, right = a.Y * b.X;
  if (left != right) return left > right ? 1 : -1;
  const double more = ProductError(a.X, b.Y, left), less = ProductError(a.Y, b.X, right);
  if (more != less) return more > less ? 1 : -1;
  if (a.X != b.X) return a.X < b.X ? 1 : -1;
  return a.Y == b.Y ? 0 : a.Y < b.Y ? 1 : -1;
}

/** Which way the ray crosses the triangle, 1 along its normal, and how far away; 0 if it passes. */
inline int CrossTriangle(const trelShearedRay& ray, const trelTracedTriangle& triangle,
                         double* distance)
{
  const trelVector a = ray.Shear(triangle.Corners[0]), b = ray.Shear(triangle.Corners[1]);
  const int side = EdgeSide(a, b);
  if (side == 0) return 0;
  const trelVector c = ray.Shear(triangle.Corners[2]);
  if (EdgeSide(b, c) != side || EdgeSide(c, a) != side) return 0;
  const double u = b.X * c.Y - b.Y * c.X;
  const double v = c.X * a.Y - c.Y * a.X;
  const double w = a.X * b.Y - a.Y * b.X;
  const double sum = u + v + w;
  const double az = ray.ScaleZ * a.Z, bz = ray.ScaleZ * b.Z, cz = ray.ScaleZ * c.Z;
  *distance = sum == 0.0 ? (az + bz + cz) / 3.0 : (u * az + v * bz + w * cz) / sum;
  return side;
}

/** A stretch of a ray, for what triangles it cannot meet. */
struct trelTestedStretch
{
  trelVector First, Last;
  double Margin;  ///< of heights above planes, mm

  /** From @p after to @p limit, which may be infinite: then up to a point behind all triangles,
   *  none of which has a coordinate beyond @p size, mm. */
  trelTestedStretch(const trelRay& ray, double after, double limit, double size)
  {
    constexpr double rounding = 1e-9;
    for (int a = 0; a < 3; ++a)
      size = std::max(size, std::fabs(ray.Origin[a]));
    First = ray.At(std::max(after, -4.0 * size));
    Last = ray.At(std::min(limit, 4.0 * size));
    Margin = rounding * size;
  }
  /** Whether both ends lie on one side of the triangle's plane, farther than rounding may make. */
  bool Misses(const trelTracedTriangle& triangle) const
  {
    const double first = Dot(triangle.Normal, First - triangle.Corners[0]);
    const double last = Dot(triangle.Normal, Last - triangle.Corners[0]);
    return (first > Margin && last > Margin) || (first < -Margin && last < -Margin);
  }
};

#endif
