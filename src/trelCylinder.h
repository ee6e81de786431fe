#ifndef trelCylinder_h
#define trelCylinder_h

#include "trelShapeObject.h"

/** The parts of a trelCylinder's surface, as IntersectRay() numbers them. */
enum CylinderFace : int
{
  CylinderFaceTop = 0,
  CylinderFaceBottom = 1,
  CylinderFaceSide = 2
};

/**
 * @class   trelCylinder
 * @brief   elliptic cylinder along z, x^2/hx^2 + y^2/hy^2 <= 1 and |z| <= hz about its centre
 *
 * A ray is intersected with the endless tube first, by a quadratic equation; where it meets the
 * tube above or below a cap it is cut at the cap's plane instead.
 *
 * IntersectRay() does not test whether raySide agrees with LocatePoint(): a point inside always
 * leaves, a point outside always enters. An entering ray is taken to cross the cylinder, which is
 * what the transport knows when it asks: a cap's plane is hit wherever the ray meets it, and
 * distances are absolute values, so that a hit behind the start counts as one in front. Only a ray
 * that meets the tube twice behind its start is a miss. The face of a hit that is too far away has
 * been written.
 *
 * A discriminant below 0 is a miss; one above -1e-12 is forgiven for a ray that starts on the
 * surface and enters, which needs no root. NaN is a miss.
 *
 * @sa trelRayQuadratic
 */
class trelCylinder final : public trelShapeObject
{
  trelTypeMacro(trelCylinder, trelShapeObject)

public:
  ShapeType GetShapeType() const override { return ShapeCylinder; }
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

private:
  void SampleCap(trelUniformNumbers& numbers, double offset[3]) const;
};

#endif
