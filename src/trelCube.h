#ifndef trelCube_h
#define trelCube_h

#include "trelShapeObject.h"

/** The sides of a trelCube, as IntersectRay() numbers them. */
enum CubeFace : int
{
  CubeFaceXMax = 0,
  CubeFaceXMin = 1,
  CubeFaceYMin = 2,
  CubeFaceYMax = 3,
  CubeFaceZMax = 4,
  CubeFaceZMin = 5
};

/**
 * @class   trelCube
 * @brief   axis-parallel box, |x| <= hx, |y| <= hy, |z| <= hz about its centre
 *
 * Rays are intersected by a slab search: a division for each axis, no root. A hit is exact in the
 * coordinate of its plane and has no tolerance in the other two, so a ray that passes 1e-13 beside
 * a side misses, although LocatePoint() calls points there surface.
 *
 * A hit on an edge belongs to the first of x max, y max, x min, y min, z max, z min. A hit that is
 * too far away has written its face and normal all the same. A ray that starts on the surface and
 * enters leaves the normal as the caller had it.
 *
 * @sa trelSlabSearch
 */
class trelCube final : public trelShapeObject
{
  trelTypeMacro(trelCube, trelShapeObject)

public:
  ShapeType GetShapeType() const override { return ShapeCube; }
  PointRelation LocatePoint(double x, double y, double z) const override;
  bool IntersectRay(double x, double y, double z, double dx, double dy, double dz, double* distance,
                    int* face, double* nx, double* ny, double* nz, int raySide) const override;
  double ComputeMeasure() const override;
  bool Holds(const trelVector& point) const override;
  bool FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const override;
  double BoundDistance(const trelVector& point) const override;
  bool SampleSurface(trelUniformNumbers& numbers, trelVector* point) const override;

private:
  void FindFaceOfPoint(const double p[3], int* face) const;
  void FindFaceOfHit(const double hit[3], int* face, double* nx, double* ny, double* nz) const;
};

#endif
