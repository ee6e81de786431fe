#include "trelEllipsoid.h"

#include <algorithm>
#include <cmath>

#include "trelRayQuadratic.h"
#include "trelUniformNumbers.h"

PointRelation trelEllipsoid::LocatePoint(double x, double y, double z) const
{
  const double point[3] = {x, y, z};
  if (IsOutsideBox<3>(point)) return PointOutside;
  double local[3];
  ToLocal(x, y, z, local);
  const double r = local[2] * local[2] / (HalfAxes[2] * HalfAxes[2]) +
                   local[0] * local[0] / (HalfAxes[0] * HalfAxes[0]) +
                   local[1] * local[1] / (HalfAxes[1] * HalfAxes[1]);
  if (ToleranceLess(r, 1.0)) return PointInside;
  return r - 1.0 <= GeometryTolerance ? PointOnBoundary : PointOutside;
}

bool trelEllipsoid::IntersectRay(double x, double y, double z, double dx, double dy, double dz,
                                 double* distance, int* /*face*/, double* nx, double* ny,
                                 double* nz, int raySide) const
{
  const RayCase rayCase = ClassifyRay(LocatePoint(x, y, z), raySide);
  if (rayCase == RayCaseNone) return false;
  const double squares[3] = {HalfAxes[0] * HalfAxes[0], HalfAxes[1] * HalfAxes[1],
                             HalfAxes[2] * HalfAxes[2]};
  const double weights[3] = {1.0 / squares[0], 1.0 / squares[1], 1.0 / squares[2]};
  const double d[3] = {dx, dy, dz};
  double p[3];
  ToCenter(x, y, z, p);
  const trelRayQuadratic<3> equation(weights, p, d, 1.0);

  double t = 0.0;
  if (rayCase != RayCaseTouching) {
    if (equation.D <= -GeometryTolerance) return false;
    t = equation.UpperRoot();
    if (rayCase == RayCaseLeaving) {
      // A packet on the surface must not stand still.
      if (t < GeometryTolerance) t = GeometryTolerance;
    } else {
      const double lower = equation.LowerRoot();
      if (ToleranceLess(std::fabs(lower), std::fabs(t))) t = lower;
      if (t < 0.0) return false;
    }
  }
  // A discriminant a little below 0 has passed and gives a t that is not a number.
  if (std::isnan(t) || std::isnan(equation.D) || t > *distance) return false;

  double normal[3];
  for (int i = 0; i < 3; ++i)
    normal[i] = (t * d[i] + p[i]) / squares[i];
  Normalize(normal);
  *nx = normal[0];
  *ny = normal[1];
  *nz = normal[2];
  *distance = t;
  return true;
}

/** On the upper or the lower half, uniform in x and in y within the chord there. */
bool trelEllipsoid::SampleSurface(trelUniformNumbers& numbers, trelVector* point) const
{
  double offset[3];
  const double side = numbers.DrawSide(HalfAxes[2]);
  offset[0] = numbers.DrawWithin(HalfAxes[0]);
  offset[1] = numbers.DrawWithin(HalfAxes[1]) * RelativeChord(offset[0], HalfAxes[0]);
  const double x = offset[0] / HalfAxes[0];
  const double y = offset[1] / HalfAxes[1];
  offset[2] = side * std::sqrt(std::max(0.0, 1.0 - x * x - y * y));
  *point = FromCenter(offset);
  return true;
}
