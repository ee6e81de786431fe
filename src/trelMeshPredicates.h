#ifndef trelMeshPredicates_h
#define trelMeshPredicates_h

#include <cstdint>

/**
 * @file trelMeshPredicates.h
 * The records of traceable meshes and the tests of rays, points and boxes against one triangle.
 *
 * All tests are in double precision with the tolerance of 1e-12, and allocate nothing. Points,
 * directions and half-lengths are arrays of x, y, z, in mm.
 */

/** A vertex: its position, mm, and the mean unit normal of the triangles around it. */
struct trelTraceableVertex
{
  double X, Y, Z;
  double NX, NY, NZ;
};

/** A triangle as results and imaging know it. */
struct trelTraceableTriangle
{
  std::uint32_t Vertices[3];  ///< numbers of the corners, from 0
  double Normal[3];           ///< unit normal by the winding of the corners; zero if degenerate
  double Area;                ///< mm^2
};

/** A triangle as rays and points are tested against it, all that the tests read side by side. */
struct trelTracedTriangle
{
  double Corners[3][3];     ///< x, y, z of the three corners, mm
  double Normal[3];         ///< as in trelTraceableTriangle
  std::int32_t Regions[2];  ///< the regions that it bounds; the second is -1 on the outer surface

  /** True if it bounds @p region; the region -1 is what lies around the mesh. */
  bool Bounds(std::int32_t region) const
  {
    if (region < 0) return Regions[1] < 0;
    return Regions[0] == region || Regions[1] == region;
  }
};

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

/** Normal of the triangle, (v1 - v0) x (v2 - v0) divided by its length; zero for a degenerate one.
 */
void FaceUnitNormal(const double v0[3], const double v1[3], const double v2[3], double normal[3]);

/** Area of the triangle, half the length of (v1 - v0) x (v2 - v0). */
double TriangleArea(const double v0[3], const double v1[3], const double v2[3]);

/**
 * True if the box about @p center and the triangle touch or overlap: no axis separates them, of the
 * nine products of the triangle's edges with the box's edges, the three box axes and the triangle's
 * normal (T. Akenine-Moeller, Fast 3D triangle-box overlap testing, J. Graphics Tools 6, 2001). A
 * margin of 1e-12 makes touching an overlap. A degenerate triangle has no normal, and then the last
 * axis separates nothing.
 */
bool TriangleBoxOverlap(const double center[3], const double half[3], const double corners[3][3]);

/** True if the plane n.x + d = 0 meets the box about the origin, with the same margin. */
bool PlaneBoxOverlap(const double normal[3], double d, const double half[3]);

/**
 * 0 if the point lies in the triangle as seen along the largest component of its normal, edges and
 * corners included, and within its bounding box; else 2. The distance from the plane has no say: a
 * point beside a tilted triangle, but within its box, is in.
 */
int PointInTriangle(double x, double y, double z, const trelTracedTriangle& triangle);

/**
 * 0 if the point (@p a, @p b) lies in the triangle as seen along @p axis, else 2: a half-line from
 * it in the plane of the other two coordinates crosses an odd number of edges. A point within 1e-12
 * of an edge or level with a corner is moved by 2e-12 and tested anew, alternately in the second
 * coordinate (first if @p toggle is 1) and in the first, so that of two triangles that share an
 * edge exactly one has it. After 1000 moves the answer is 2: at large coordinates a double does not
 * take up so small a move.
 */
int ProjectedCrossingTest(double a, double b, const trelTracedTriangle& triangle, int axis,
                          int toggle);

/**
 * An AxisRayAnswer: whether the ray from the point along @p axis (a RayAxis) crosses the triangle,
 * or starts on it. A triangle that lies along the ray is not crossed; if PointInTriangle() has the
 * point in it, the ray starts on it.
 */
int AxisRayTriangleTest(double x, double y, double z, const trelTracedTriangle& triangle, int axis);

/**
 * Distance along the ray to the triangle, in lengths of @p direction, negative if it lies behind;
 * -1 if the ray passes beside it (T. Moeller and B. Trumbore, Fast, minimum storage ray/triangle
 * intersection, J. Graphics Tools 2, 1997). Edges belong to the triangle, within 1e-12 of its
 * barycentric coordinates, so that no ray slips through between two. A ray in the triangle's plane
 * gives -1 or not-a-number.
 */
double RayTriangleDistance(const double origin[3], const double direction[3],
                           const trelTracedTriangle& triangle);

/** True if the line through @p origin, ahead and behind, meets the box (slab method). */
bool RayBoxOverlap(const double min[3], const double max[3], const double origin[3],
                   const double direction[3]);

#endif
