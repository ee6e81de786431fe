#ifndef trelMeshPredicates_h
#define trelMeshPredicates_h

#include "trelMeshRecords.h"

/**
 * @file trelMeshPredicates.h
 * The tests of rays, points and boxes against one triangle.
 *
 * All are in double precision with the tolerance of 1e-12, and allocate nothing. Lengths are in mm.
 */

/** Normal of the triangle, (v1 - v0) x (v2 - v0) divided by its length; zero for a degenerate one.
 */
trelVector FaceUnitNormal(const trelVector& v0, const trelVector& v1, const trelVector& v2);

/** Area of the triangle, half the length of (v1 - v0) x (v2 - v0). */
double TriangleArea(const trelVector& v0, const trelVector& v1, const trelVector& v2);

/**
 * True if the box about @p center and the triangle touch or overlap: no axis separates them, of the
 * nine products of the triangle's edges with the box's edges, the three box axes and the triangle's
 * normal (T. Akenine-Moeller, Fast 3D triangle-box overlap testing, J. Graphics Tools 6, 2001). A
 * margin of 1e-12 makes touching an overlap. A degenerate triangle has no normal, and then the last
 * axis separates nothing.
 */
bool TriangleBoxOverlap(const trelVector& center, const trelVector& half,
                        const trelVector corners[3]);

/** True if the plane n.x + d = 0 meets the box about the origin, with the same margin. */
bool PlaneBoxOverlap(const trelVector& normal, double d, const trelVector& half);

/** True if the coordinate @p p lies beyond all three corners along @p axis, on either side. */
inline bool IsBeyondCorners(double p, const trelTracedTriangle& triangle, int axis)
{
  const double a = triangle.Corners[0][axis];
  const double b = triangle.Corners[1][axis];
  const double c = triangle.Corners[2][axis];
  return (p < a && p < b && p < c) || (p > a && p > b && p > c);
}

/**
 * True if the point lies in the triangle as seen along the largest component of its normal, edges
 * and corners included, and within its bounding box. The distance from the plane does not matter: a
 * point beside a tilted triangle, but within its box, is in.
 */
bool PointInTriangle(const trelVector& point, const trelTracedTriangle& triangle);

/**
 * Distance along the ray to the triangle, in lengths of its direction, negative if it lies behind;
 * -1 if the ray passes beside it (T. Moeller and B. Trumbore, Fast, minimum storage ray/triangle
 * intersection, J. Graphics Tools 2, 1997). Edges belong to the triangle, within 1e-12 of its
 * barycentric coordinates, so that no ray slips through between two. A ray in the triangle's plane
 * gives -1 or NaN.
 */
double RayTriangleDistance(const trelRay& ray, const trelTracedTriangle& triangle);

/** True if the line that the ray lies on, ahead and behind, meets the box (slab method). */
bool RayBoxOverlap(const trelBox& box, const trelRay& ray);

#endif
