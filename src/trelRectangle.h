#ifndef trelRectangle_h
#define trelRectangle_h

#include "trelShapeObject.h"

/** The edges of a trelRectangle, as IntersectRay() numbers them: not in the order of a cube's
 * sides. */
enum RectangleFace : int
{
  RectangleFaceYMax = 0,
  RectangleFaceYMin = 1,
  RectangleFaceXMin = 2,
  RectangleFaceXMax = 3
};

/**
 * @class   trelRectangle
 * @brief   axis-parallel rectangle in the x-y plane, |x| <= hx, |y| <= hy about its centre
 *
 * The planar sibling of trelCube: z, dz and nz have no part in it, and nz is never written. Rays
 * are intersected by the same slab search, along two axes, with the same exactness and lack of
 * tolerance.
 *
 * A hit on a corner belongs to the first of x max, y max, x min, y min. A ray that starts on the
 * edge and enters finds its face by the position, in the order of the numbers, and unlike a cube's
 * always gets that edge's normal.
 *
 * @sa trelSlabSearch
 */
class trelRectangle final : public trelShapeObject
{
  trelTypeMacro(trelRectangle, trelShapeObject)

public:
  ShapeType GetShapeType() const override { return ShapeRectangle; }
  PointRelation LocatePoint(double x, double y, double z) const override;
  bool IntersectRay(double x, double y, double z, double dx, double dy, double dz, double* distance,
                    int* face, double* nx, double* ny, double* nz, int raySide) const override;
  double ComputeMeasure() const override;
  bool Holds(const trelVector& point) const override;
  bool FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const override;
  double BoundDistance(const trelVector& point) const override;
  bool SampleSurface(trelUniformNumbers& numbers, trelVector* point) const override;

private:
  void FindFaceOfPoint(const double p[2], int* face) const;
  void FindFaceOfHit(const double hit[2], int* face) const;
};

#endif
