#include "trelEllipse.h"

#include <cmath>

#include "trelChord.h"
#include "trelRayQuadratic.h"
#include "trelUniformNumbers.h"

PointRelation trelEllipse::LocatePoint(double x, double y, double /*z*/) const
{
  const double point[2] = {x, y};
  if (IsOutsideBox<2>(point)) return PointOutside;
  double local[2];
  ToLocalInPlane(x, y, local);
  const double r = local[1] * local[1] / (HalfAxes[1] * HalfAxes[1]) +
                   local[0] * local[0] / (HalfAxes[0] * HalfAxes[0]) - 1.0;
  if (r < -GeometryTolerance) return PointInside;
  return r <= GeometryTolerance ? PointOnBoundary : PointOutside;
}

/** The distance along the ray, by its case; false without a hit. */
static bool FindDistance(const trelRayQuadratic<2>& equation, bool leaves, double* distance)
{
  if (leaves) {
    if (equation.D < 0.0) return false;
    const double t = equation.UpperRoot();
    // A packet on the edge must not stand still.
    *distance = t < GeometryTolerance ? GeometryTolerance : t;
  } else {
    if (equation.D <= -GeometryTolerance) return false;
    const double upper = std::fabs(equation.UpperRoot());
    const double lower = std::fabs(equation.LowerRoot());
    *distance = lower - upper < -GeometryTolerance ? lower : upper;
  }
  // A discriminant a little below 0, or NaN, is a miss.
  return !std::isnan(*distance);
}

bool trelEllipse::IntersectRay(double x, double y, double z, double dx, double dy, double /*dz*/,
                               double* distance, int* /*face*/, double* nx, double* ny,
                               double* /*nz*/, int raySide) const
{
  const RayCase rayCase = ClassifyRay(LocatePoint(x, y, z), raySide);
  if (rayCase == RayCaseNone) return false;
  const double hx2 = HalfAxes[0] * HalfAxes[0];
  const double hy2 = HalfAxes[1] * HalfAxes[1];
  const double weights[2] = {hy2, hx2};
  const double d[2] = {dx, dy};
  double p[3];
  ToCenter(x, y, z, p);
  double t = 0.0;
  if (rayCase != RayCaseTouching) {
    const trelRayQuadratic<2> equation(weights, p, d, hx2 * hy2);
    if (!FindDistance(equation, rayCase == RayCaseLeaving, &t)) return false;
  }
  if (t > *distance) return false;
  const double normal[2] = {(t * dx + p[0]) / hx2, (t * dy + p[1]) / hy2};
  const double length = std::sqrt(normal[0] * normal[0] + normal[1] * normal[1]);
  *nx = normal[0] / length;
  *ny = normal[1] / length;
  *distance = t;
  return true;
}

bool trelEllipse::SampleSurface(trelUniformNumbers& numbers, trelVector* point) const
{
  double offset[3] = {0.0, 0.0, 0.0};
  SampleOutline(numbers, offset);
  *point = FromCenter(offset);
  return true;
}

double trelEllipse::ComputeMeasure() const
{
  return Pi * HalfAxes[0] * HalfAxes[1];
}

bool trelEllipse::Holds(const trelVector& point) const
{
  const double x = (point.X - Center[0]) / HalfAxes[0];
  const double y = (point.Y - Center[1]) / HalfAxes[1];
  return x * x + y * y <= 1.0;
}

bool trelEllipse::FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const
{
  double p[3];
  ToCenter(ray.Origin.X, ray.Origin.Y, ray.Origin.Z, p);
  const double d[2] = {ray.Direction.X, ray.Direction.Y};
  trelChord chord;
  chord.CutQuadric<2>(p, d, HalfAxes, 0);
  if (!chord.FindEnd(after, limit, hit)) return false;
  hit->Normal = chord.QuadricNormal<2>(p, ray.Direction, HalfAxes, *hit);
  return true;
}

double trelEllipse::BoundDistance(const trelVector& point) const
{
  double p[3];
  ToCenter(point.X, point.Y, point.Z, p);
  const double distance = std::fabs(BoundQuadricDistance<2>(p, HalfAxes));
  return std::isnan(distance) ? 0.0 : distance;
}
