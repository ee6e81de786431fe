#ifndef trelEllipse_h
#define trelEllipse_h

#include "trelShapeObject.h"

/**
 * @class   trelEllipse
 * @brief   axis-parallel ellipse in the x-y plane, x^2/hx^2 + y^2/hy^2 <= 1 about its centre
 *
 * The planar sibling of trelEllipsoid: z, dz and nz have no part in it, nz and face are never
 * written. An entering ray takes both roots by their absolute value, so that an ellipse behind the
 * start counts as hit, at a positive distance; results of planar models depend on it. A leaving ray
 * needs a discriminant that is not below 0 at all, an entering one may be short of it by the
 * tolerance.
 *
 * @sa trelRayQuadratic
 */
class trelEllipse final : public trelShapeObject
{
  trelTypeMacro(trelEllipse, trelShapeObject)

public:
  ShapeType GetShapeType() const override { return ShapeEllipse; }
  PointRelation LocatePoint(double x, double y, double z) const override;
  bool IntersectRay(double x, double y, double z, double dx, double dy, double dz, double* distance,
                    int* face, double* nx, double* ny, double* nz, int raySide) const override;
  double ComputeMeasure() const override;
  bool Holds(const trelVector& point) const override;
  bool FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const override;
  double BoundDistance(const trelVector& point) const override;
  bool SampleSurface(trelUniformNumbers& numbers, trelVector* point) const override;
};

#endif
