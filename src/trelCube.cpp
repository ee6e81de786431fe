#include "trelCube.h"

#include <cmath>

#include "trelChord.h"
#include "trelSlabSearch.h"
#include "trelUniformNumbers.h"

PointRelation trelCube::LocatePoint(double x, double y, double z) const
{
  double local[3];
  ToLocal(x, y, z, local);
  const double beyondX = std::fabs(local[0]) - HalfAxes[0];
  const double beyondY = std::fabs(local[1]) - HalfAxes[1];
  const double beyondZ = std::fabs(local[2]) - HalfAxes[2];
  if (beyondX < -GeometryTolerance && beyondY < -GeometryTolerance &&
      beyondZ < -GeometryTolerance) {
    return PointInside;
  }
  if (beyondX <= GeometryTolerance && beyondY <= GeometryTolerance &&
      beyondZ <= GeometryTolerance) {
    return PointOnBoundary;
  }
  return PointOutside;
}

bool trelCube::IntersectRay(double x, double y, double z, double dx, double dy, double dz,
                            double* distance, int* face, double* nx, double* ny, double* nz,
                            int raySide) const
{
  double p[3];
  ToCenter(x, y, z, p);
  const double d[3] = {dx, dy, dz};
  trelSlabSearch<3> search;
  const RayCase rayCase = ClassifyRay(LocatePoint(x, y, z), raySide);
  // The normal stays as the caller had it then, and callers rely on that.
  if (rayCase == RayCaseTouching) FindFaceOfPoint(p, face);
  if (!search.Find(rayCase, p, d, HalfAxes)) return false;
  FindFaceOfHit(search.Hit, face, nx, ny, nz);
  if (!(0.0 <= search.Distance && search.Distance <= *distance)) return false;
  *distance = search.Distance;
  return true;
}

/** True if a coordinate of the absolute value @p q is at most @p half, within the tolerance. */
static bool IsWithin(double q, double half)
{
  return ToleranceLess(q, half) || ToleranceEqual(q, half);
}

/** The first face that the surface point @p p lies on, if any. */
void trelCube::FindFaceOfPoint(const double p[3], int* face) const
{
  const double hx = HalfAxes[0], hy = HalfAxes[1], hz = HalfAxes[2];
  const double absY = std::fabs(p[1]), absZ = std::fabs(p[2]);
  const bool withinX = IsWithin(std::fabs(p[0]), hx);
  const bool withinY = IsWithin(absY, hy);
  const bool withinZ = IsWithin(absZ, hz);
  // On the two z faces the test for "at the edge in y" looks at z. Results depend on it only for a
  // point that lies off the edge by exactly the tolerance.
  const bool withinYOfZFace = ToleranceLess(absY, hy) || ToleranceEqual(absZ, hy);
  if (ToleranceEqual(p[0], hx) && withinY && withinZ) {
    *face = CubeFaceXMax;
  } else if (ToleranceEqual(p[0], -hx) && withinY && withinZ) {
    *face = CubeFaceXMin;
  } else if (ToleranceEqual(p[1], -hy) && withinX && withinZ) {
    *face = CubeFaceYMin;
  } else if (ToleranceEqual(p[1], hy) && withinX && withinZ) {
    *face = CubeFaceYMax;
  } else if (ToleranceEqual(p[2], hz) && withinX && withinYOfZFace) {
    *face = CubeFaceZMax;
  } else if (ToleranceEqual(p[2], -hz) && withinX && withinYOfZFace) {
    *face = CubeFaceZMin;
  }
}

/** Face and normal of a point from the slab search, if it lies exactly on a plane. */
void trelCube::FindFaceOfHit(const double hit[3], int* face, double* nx, double* ny,
                             double* nz) const
{
  static const struct
  {
    int Axis;
    double Sign;
    CubeFace Face;
  } planes[] = {{0, 1.0, CubeFaceXMax},  {1, 1.0, CubeFaceYMax}, {0, -1.0, CubeFaceXMin},
                {1, -1.0, CubeFaceYMin}, {2, 1.0, CubeFaceZMax}, {2, -1.0, CubeFaceZMin}};
  for (const auto& plane : planes) {
    if (hit[plane.Axis] != plane.Sign * HalfAxes[plane.Axis]) continue;
    *face = plane.Face;
    *nx = plane.Axis == 0 ? plane.Sign : 0.0;
    *ny = plane.Axis == 1 ? plane.Sign : 0.0;
    *nz = plane.Axis == 2 ? plane.Sign : 0.0;
    return;
  }
}

/** The two faces across z. The first number is drawn and not used, and the faces across x and y
 *  never emit: streams and results depend on both. */
bool trelCube::SampleSurface(trelUniformNumbers& numbers, trelVector* point) const
{
  double offset[3];
  numbers.NextRandom();
  offset[2] = numbers.DrawSide(HalfAxes[2]);
  offset[0] = numbers.DrawWithin(HalfAxes[0]);
  offset[1] = numbers.DrawWithin(HalfAxes[1]);
  *point = FromCenter(offset);
  return true;
}

double trelCube::ComputeMeasure() const
{
  return 8.0 * HalfAxes[0] * HalfAxes[1] * HalfAxes[2];
}

bool trelCube::Holds(const trelVector& point) const
{
  return std::fabs(point.X - Center[0]) <= HalfAxes[0] &&
         std::fabs(point.Y - Center[1]) <= HalfAxes[1] &&
         std::fabs(point.Z - Center[2]) <= HalfAxes[2];
}

bool trelCube::FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const
{
  double p[3];
  ToCenter(ray.Origin.X, ray.Origin.Y, ray.Origin.Z, p);
  trelChord chord;
  chord.CutSlab(0, p[0], ray.Direction.X, HalfAxes[0], CubeFaceXMin, CubeFaceXMax);
  chord.CutSlab(1, p[1], ray.Direction.Y, HalfAxes[1], CubeFaceYMin, CubeFaceYMax);
  chord.CutSlab(2, p[2], ray.Direction.Z, HalfAxes[2], CubeFaceZMin, CubeFaceZMax);
  return chord.FindEnd(after, limit, hit);
}

double trelCube::BoundDistance(const trelVector& point) const
{
  double p[3];
  ToCenter(point.X, point.Y, point.Z, p);
  return std::fabs(BoxDistance<3>(p, HalfAxes));
}
