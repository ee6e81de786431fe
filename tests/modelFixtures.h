#ifndef modelFixtures_h
#define modelFixtures_h

#include "trelCube.h"
#include "trelCylinder.h"
#include "trelEllipsoid.h"
#include "trelList.h"
#include "trelMCTriangleMesh.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelTissue.h"
#include "trelTriangleMesh.h"

/**
 * @file modelFixtures.h
 * Models in a line each, for the tests.
 */

/** An axis-parallel box that says it is of another kind: stands for the planar shapes (which look
 * at no z) and for whatever else has no class of its own here. */
class BoxOfKind final : public trelShapeObject
{
  trelTypeMacro(BoxOfKind, trelShapeObject)

public:
  explicit BoxOfKind(ShapeType kind) : Kind(kind) {}

  ShapeType GetShapeType() const override { return Kind; }
  PointRelation LocatePoint(double x, double y, double z) const override
  {
    ++Questions;
    const double point[3] = {x, y, z};
    bool inside = true;
    for (int i = 0; i < (Kind < ShapeEllipsoid ? 2 : 3); ++i) {
      const double beyond = std::fabs(point[i] - Center[i]) - HalfAxes[i];
      if (!(beyond <= GeometryTolerance)) return PointOutside;
      inside = inside && beyond < -GeometryTolerance;
    }
    return inside ? PointInside : PointOnBoundary;
  }
  bool IntersectRay(double, double, double, double, double, double, double*, int*, double*, double*,
                    double*, int) const override
  {
    return false;
  }

  /** How often it was asked for a point. */
  mutable int Questions = 0;

private:
  ShapeType Kind;
};

/** Puts a shape into its place. */
template <class Shape>
Shape* Place(Shape* shape, double x, double y, double z, double hx, double hy, double hz)
{
  shape->SetCenter(x, y, z);
  shape->SetHalfAxes(hx, hy, hz);
  return shape;
}

/** Gives a mesh the origin and the points at @p size along each axis. */
template <class Mesh>
void AddCorner(Mesh& mesh, float size)
{
  for (int v = 0; v < 4; ++v) {
    const float record[6] = {size * (v == 1), size * (v == 2), size * (v == 3)};
    mesh.AddVertex(record);
  }
}

/** The corner of a cube, cut off by the fourth face. */
inline bool ImportCorner(trelMCTriangleMesh& mesh, float size)
{
  const std::uint32_t faces[4][3] = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
  trelTriangleMesh corner;
  AddCorner(corner, size);
  for (const auto& face : faces)
    corner.AddFace(face);
  return mesh.ImportMesh(&corner);
}

/** Adds a tissue with @p shape, which may be null, and one entry of coefficients. */
inline trelTissue* AddTissue(trelMedium& medium, trelShapeObject* shape)
{
  auto* tissue = new trelTissue;
  tissue->Register();
  tissue->SetShape(shape);
  auto* optics = new trelOpticalParameter;
  optics->Register();
  optics->SetOpticalCoefficients(0.01, 1.0, 0.9, 1.37);
  tissue->GetOpticalParameters()->Append(optics);
  medium.GetTissues()->Append(tissue);
  return tissue;
}

#endif
