#include "trelEllipsoid.h"

#include <algorithm>
#include <cmath>

#include "trelChord.h"
#include "trelRayQuadratic.h"
#include "trelSurfaceElement.h"
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

/** How far along a ray with real roots the surface is, by its case; negative if it lies behind. */
static double DistanceAlong(const trelRayQuadratic<3>& equation, RayCase rayCase)
{
  if (rayCase == RayCaseTouching) return 0.0;
  const double upper = equation.UpperRoot();
  // A packet on the surface must not stand still.
  if (rayCase == RayCaseLeaving) return upper < GeometryTolerance ? GeometryTolerance : upper;
  const double lower = equation.LowerRoot();
  return ToleranceLess(std::fabs(lower), std::fabs(upper)) ? lower : upper;
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

  // A ray that touches needs no root, but NaN is a miss for it too.
  if (std::isnan(equation.D) || (equation.D < 0.0 && rayCase != RayCaseTouching)) return false;
  const double t = DistanceAlong(equation, rayCase);
  if (!(t >= 0.0) || t > *distance) return false;

  const trelVector normal =
      Normalized({(t * d[0] + p[0]) / squares[0], (t * d[1] + p[1]) / squares[1],
                  (t * d[2] + p[2]) / squares[2]});
  *nx = normal.X;
  *ny = normal.Y;
  *nz = normal.Z;
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

/** The length of the gradient (x/a^2, ...) at @p e, from x^2 / a^4 and the like. */
static float GradientSingle(const double e[3], const double halfAxes[3])
{
  float sum = 0.0f;
  for (int k = 0; k < 3; ++k) {
    const float square = SquareSingle(halfAxes[k]);
    sum += SquareSingle(e[k]) / (square * square);
  }
  return std::sqrt(sum);
}

/** By deflection and azimuth. False if @p hit lies outside of the window in either. */
bool trelEllipsoid::MakeSurfaceElement(const trelGridWindow& window, CoordinateType /*coordinate*/,
                                       const trelVector& hit, int /*face*/,
                                       SurfaceElement* element) const
{
  std::int32_t d = 0;
  std::int32_t a = 0;
  const double position[3] = {hit.X, hit.Y, hit.Z};
  if (!LocateBinsDA(window, position, &d, &a)) return false;
  const trelGridBins& deflection = window.Bins[GridD];
  const trelGridBins& azimuth = window.Bins[GridA];
  const double dm = RadiansOfSinglePi(deflection.Midpoint(d));
  const double am = RadiansOfSinglePi(azimuth.Midpoint(a));
  const double* h = window.HalfAxis;
  const double e[3] = {h[0] * std::sin(dm) * std::cos(am), h[1] * std::sin(dm) * std::sin(am),
                       h[2] * std::cos(dm)};
  const double s = GradientSingle(e, h);
  for (int k = 0; k < 3; ++k) {
    element->Center[k] = window.Center[k] + e[k];
    element->Normal[k] = NormalComponent(e[k], h[k], s);
  }
  element->Index[0] = d;
  element->Index[1] = a;
  const double length = std::sqrt(e[0] * e[0] + e[1] * e[1] + e[2] * e[2]);
  element->Area = length * length * std::sin(dm) * RadiansOfSinglePi(deflection.Separation) *
                  (PiSingle * azimuth.Separation / 180.0);
  return true;
}

double trelEllipsoid::ComputeMeasure() const
{
  return 4.0 / 3.0 * Pi * HalfAxes[0] * HalfAxes[1] * HalfAxes[2];
}

bool trelEllipsoid::Holds(const trelVector& point) const
{
  const double x = (point.X - Center[0]) / HalfAxes[0];
  const double y = (point.Y - Center[1]) / HalfAxes[1];
  const double z = (point.Z - Center[2]) / HalfAxes[2];
  return x * x + y * y + z * z <= 1.0;
}

bool trelEllipsoid::FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const
{
  double p[3];
  ToCenter(ray.Origin.X, ray.Origin.Y, ray.Origin.Z, p);
  const double d[3] = {ray.Direction.X, ray.Direction.Y, ray.Direction.Z};
  trelChord chord;
  chord.CutQuadric<3>(p, d, HalfAxes, 0);
  if (!chord.FindEnd(after, limit, hit)) return false;
  hit->Normal = chord.QuadricNormal<3>(p, ray.Direction, HalfAxes, *hit);
  return true;
}

double trelEllipsoid::BoundDistance(const trelVector& point) const
{
  double p[3];
  ToCenter(point.X, point.Y, point.Z, p);
  const double distance = std::fabs(BoundQuadricDistance<3>(p, HalfAxes));
  return std::isnan(distance) ? 0.0 : distance;
}
