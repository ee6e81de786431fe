#ifndef trelEllipsoid_h
#define trelEllipsoid_h

#include "trelShapeObject.h"

/**
 * @class   trelEllipsoid
 * @brief   axis-parallel ellipsoid, x^2/hx^2 + y^2/hy^2 + z^2/hz^2 <= 1 about its centre
 *
 * A ray is intersected by a quadratic equation. An entering ray takes the root of smaller absolute
 * value, and misses if that lies behind its start. The surface is one piece: the face is never
 * written. A discriminant below 0 or NaN is a miss; a ray that starts on the
 * surface and enters needs no discriminant.
 *
 * @sa trelRayQuadratic
 */
class trelEllipsoid final : public trelShapeObject
{
  trelTypeMacro(trelEllipsoid, trelShapeObject)

public:
  ShapeType GetShapeType() const override { return ShapeEllipsoid; }
  PointRelation LocatePoint(double x, double y, double z) const override;
  bool IntersectRay(double x, double y, double z, double dx, double dy, double dz, double* distance,
                    int* face, double* nx, double* ny, double* nz, int raySide) const override;
  double ComputeMeasure() const override;
  bool Holds(const trelVector& point) const override;
  bool FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const override;
  double BoundDistance(const trelVector& point) const override;
  bool SampleSurface(trelUniformNumbers& numbers, trelVector* point) const override;
  bool MakeSurfaceElement(const trelGridWindow& window, CoordinateType coordinate,
                          const trelVector& hit, int face, SurfaceElement* element) const override;
};

#endif
