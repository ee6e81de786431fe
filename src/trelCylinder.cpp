#include "trelCylinder.h"

#include <algorithm>
#include <cmath>

#include "trelChord.h"
#include "trelRayQuadratic.h"
#include "trelSurfaceElement.h"
#include "trelUniformNumbers.h"

PointRelation trelCylinder::LocatePoint(double x, double y, double z) const
{
  const double point[3] = {x, y, z};
  if (IsOutsideBox<3>(point)) return PointOutside;
  double local[3];
  ToLocal(x, y, z, local);
  const double height = std::fabs(local[2]);
  const bool betweenCaps = ToleranceLess(height, HalfAxes[2]);
  if (!betweenCaps && !ToleranceEqual(height, HalfAxes[2])) return PointOutside;
  const double r = local[0] * local[0] / (HalfAxes[0] * HalfAxes[0]) +
                   local[1] * local[1] / (HalfAxes[1] * HalfAxes[1]);
  if (ToleranceLess(r, 1.0)) return betweenCaps ? PointInside : PointOnBoundary;
  return r - 1.0 <= GeometryTolerance ? PointOnBoundary : PointOutside;
}

/** A ray relative to the cylinder's centre, its equation with the tube, and where it hits. */
struct trelCylinderRay
{
  const double* P;
  const double* D;
  double HalfHeight;
  trelRayQuadratic<2> Tube;
  double Hit[2];

  void MoveHit(double t)
  {
    Hit[0] = t * D[0] + P[0];
    Hit[1] = t * D[1] + P[1];
  }
  bool IsAtOrAboveTop(double z) const
  {
    return ToleranceGreater(z, HalfHeight) || ToleranceEqual(z, HalfHeight);
  }
  bool IsAtOrBelowBottom(double z) const
  {
    return ToleranceLess(z, -HalfHeight) || ToleranceEqual(z, -HalfHeight);
  }
  double ToTop() const { return (HalfHeight - P[2]) / D[2]; }
  double ToBottom() const { return (-HalfHeight - P[2]) / D[2]; }
};

/** The hit on the tube at @p t, or on the plane of the cap beyond which that lies. */
static double HitTubeOrCap(trelCylinderRay& ray, double t, int* face)
{
  const double z = t * ray.D[2] + ray.P[2];
  if (ray.IsAtOrAboveTop(z)) {
    *face = CylinderFaceTop;
    if (ray.D[2] != 0.0) t = ray.ToTop();
  } else if (ray.IsAtOrBelowBottom(z)) {
    *face = CylinderFaceBottom;
    if (ray.D[2] != 0.0) t = ray.ToBottom();
  } else {
    *face = CylinderFaceSide;
  }
  ray.MoveHit(t);
  return t;
}

/** From inside or from the surface outwards. */
static double HitLeaving(trelCylinderRay& ray, int* face)
{
  double t;
  if (ray.Tube.A == 0.0) {
    const bool down = ray.D[2] <= 0.0;
    *face = down ? CylinderFaceBottom : CylinderFaceTop;
    t = down ? ray.P[2] + ray.HalfHeight : ray.HalfHeight - ray.P[2];
  } else {
    t = HitTubeOrCap(ray, ray.Tube.UpperRoot(), face);
  }
  // A packet on the surface must not stand still.
  return t < GeometryTolerance ? GeometryTolerance : t;
}

/** Along the axis, which the tube's equation cannot tell: the cap that faces the ray. */
static double HitEnteringAlongAxis(const trelCylinderRay& ray, int* face)
{
  const bool down = ray.D[2] <= 0.0;
  *face = down ? CylinderFaceTop : CylinderFaceBottom;
  return std::fabs((down ? ray.HalfHeight : -ray.HalfHeight) - ray.P[2]);
}

/** From outside; false only if the tube lies behind. */
static bool HitEntering(trelCylinderRay& ray, double* distance, int* face)
{
  if (ray.Tube.A == 0.0) {
    *distance = HitEnteringAlongAxis(ray, face);
    return true;
  }
  const double upper = ray.Tube.UpperRoot();
  const double lower = ray.Tube.LowerRoot();
  double t;
  if (upper * lower < 0.0) {
    // Inside the tube, above or below a cap. What is neither lies beyond a cap by exactly the
    // tolerance; it takes the tube's wall and leaves the face alone.
    t = upper;
    if (ray.IsAtOrAboveTop(ray.P[2])) {
      *face = CylinderFaceTop;
      t = ray.ToTop();
    } else if (ray.IsAtOrBelowBottom(ray.P[2])) {
      *face = CylinderFaceBottom;
      t = ray.ToBottom();
    }
    ray.MoveHit(t);
  } else {
    if (ToleranceLess(upper, 0.0) && ToleranceLess(lower, 0.0)) return false;
    const bool lowerIsNearer = ToleranceLess(std::fabs(lower), std::fabs(upper));
    t = HitTubeOrCap(ray, lowerIsNearer ? lower : upper, face);
  }
  *distance = std::fabs(t);
  return true;
}

/** The face of a surface point at the height @p z. */
static CylinderFace FaceOfPoint(double z, double hz)
{
  if (ToleranceEqual(z, hz)) return CylinderFaceTop;
  return ToleranceEqual(z, -hz) ? CylinderFaceBottom : CylinderFaceSide;
}

/** The distance of the hit by the ray's case; false without one. */
static bool HitByCase(trelCylinderRay& ray, RayCase rayCase, double* distance, int* face)
{
  switch (rayCase) {
    case RayCaseLeaving:
      *distance = HitLeaving(ray, face);
      return true;
    case RayCaseEntering:
      return HitEntering(ray, distance, face);
    case RayCaseTouching:
      *distance = 0.0;
      *face = FaceOfPoint(ray.P[2], ray.HalfHeight);
      return true;
    case RayCaseNone:
      break;
  }
  return false;
}

bool trelCylinder::IntersectRay(double x, double y, double z, double dx, double dy, double dz,
                                double* distance, int* face, double* nx, double* ny, double* nz,
                                int raySide) const
{
  const PointRelation relation = LocatePoint(x, y, z);
  // What the caller knows counts on the surface only.
  const RayCase rayCase =
      ClassifyRay(relation, relation == PointOnBoundary ? raySide : static_cast<int>(relation));
  const double hx2 = HalfAxes[0] * HalfAxes[0];
  const double hy2 = HalfAxes[1] * HalfAxes[1];
  const double weights[2] = {hy2, hx2};
  const double d[3] = {dx, dy, dz};
  double p[3];
  ToCenter(x, y, z, p);
  trelCylinderRay ray = {p, d, HalfAxes[2], {weights, p, d, hx2 * hy2}, {p[0], p[1]}};
  // A ray along the axis has A = B = D = 0 and passes. A little below 0 the rounding of a grazing
  // ray is forgiven where no root is needed. NaN shows in D, but for z.
  const double lowest = rayCase == RayCaseTouching ? -GeometryTolerance : 0.0;
  if (!(ray.Tube.D >= lowest) || std::isnan(p[2] + dz)) return false;

  double t = 0.0;
  if (!HitByCase(ray, rayCase, &t, face)) return false;
  // Not a number: from the plane of a cap, along it.
  if (!(t >= 0.0) || *distance < t) return false;

  trelVector normal = {0.0, 0.0, *face == CylinderFaceBottom ? -1.0 : 1.0};
  if (*face == CylinderFaceSide) normal = Normalized({ray.Hit[0] / hx2, ray.Hit[1] / hy2, 0.0});
  if (CylinderFaceTop <= *face && *face <= CylinderFaceSide) {
    *nx = normal.X;
    *ny = normal.Y;
    *nz = normal.Z;
  }
  *distance = t;
  return true;
}

/** A cap: one coordinate uniform, the other within the chord there. */
void trelCylinder::SampleCap(trelUniformNumbers& numbers, double offset[3]) const
{
  const int uniform = numbers.NextRandom() < 0.5 ? 0 : 1;
  const int other = 1 - uniform;
  offset[2] = numbers.DrawSide(HalfAxes[2]);
  offset[uniform] = numbers.DrawWithin(HalfAxes[uniform]);
  offset[other] =
      numbers.DrawWithin(HalfAxes[other]) * RelativeChord(offset[uniform], HalfAxes[uniform]);
}

/** Caps and side, half of the points each. */
bool trelCylinder::SampleSurface(trelUniformNumbers& numbers, trelVector* point) const
{
  double offset[3];
  if (numbers.NextRandom() < 0.5) {
    SampleCap(numbers, offset);
  } else {
    SampleOutline(numbers, offset);
    offset[2] = numbers.DrawWithin(HalfAxes[2]);
  }
  *point = FromCenter(offset);
  return true;
}

/** The length of the gradient (x/a^2, y/b^2) at @p e on the side, from (x / a^2)^2 and the like. */
static float GradientSingle(const double e[2], const double halfAxes[2])
{
  const float x = static_cast<float>(e[0]) / SquareSingle(halfAxes[0]);
  const float y = static_cast<float>(e[1]) / SquareSingle(halfAxes[1]);
  return std::sqrt(x * x + y * y);
}

/** What is neither top nor bottom is the side, by azimuth and z. */
bool trelCylinder::MakeSurfaceElement(const trelGridWindow& window, CoordinateType coordinate,
                                      const trelVector& hit, int face,
                                      SurfaceElement* element) const
{
  if (face == CylinderFaceTop || face == CylinderFaceBottom) {
    return trelShapeObject::MakeSurfaceElement(window, coordinate, hit, face, element);
  }
  const trelGridBins& azimuth = window.Bins[GridA];
  const trelGridBins& z = window.Bins[GridZ];
  double r = 0.0;
  element->Index[0] = IndexInBins(azimuth, AzimuthOfSinglePi(window, hit, &r));
  element->Index[1] = IndexInBins(z, hit.Z);
  const double am = RadiansOfSinglePi(azimuth.Midpoint(element->Index[0]));
  const double a = window.HalfAxis[0];
  const double b = window.HalfAxis[1];
  const double e[2] = {a * std::cos(am), b * std::sin(am)};
  element->Center = {e[0] + window.Center[0], e[1] + window.Center[1],
                     z.Midpoint(element->Index[1])};
  const double s = GradientSingle(e, window.HalfAxis);
  element->Normal = {NormalComponent(e[0], a, s), NormalComponent(e[1], b, s), 0.0};
  element->Area = std::max(a, b) * azimuth.Separation * PiSingle / 180.0 * z.Separation;
  return true;
}

double trelCylinder::ComputeMeasure() const
{
  return 2.0 * Pi * HalfAxes[0] * HalfAxes[1] * HalfAxes[2];
}

bool trelCylinder::Holds(const trelVector& point) const
{
  const double x = (point.X - Center[0]) / HalfAxes[0];
  const double y = (point.Y - Center[1]) / HalfAxes[1];
  return x * x + y * y <= 1.0 && std::fabs(point.Z - Center[2]) <= HalfAxes[2];
}

bool trelCylinder::FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const
{
  double p[3];
  ToCenter(ray.Origin.X, ray.Origin.Y, ray.Origin.Z, p);
  const double d[3] = {ray.Direction.X, ray.Direction.Y, ray.Direction.Z};
  trelChord chord;
  chord.CutSlab(2, p[2], d[2], HalfAxes[2], CylinderFaceBottom, CylinderFaceTop);
  chord.CutQuadric<2>(p, d, HalfAxes, CylinderFaceSide);
  if (!chord.FindEnd(after, limit, hit)) return false;
  if (hit->Face == CylinderFaceSide)
    hit->Normal = chord.QuadricNormal<2>(p, ray.Direction, HalfAxes, *hit);
  return true;
}

/** Beside the tube and beyond a cap at once the nearest point lies on the rim at best. */
double trelCylinder::BoundDistance(const trelVector& point) const
{
  double p[3];
  ToCenter(point.X, point.Y, point.Z, p);
  const double beside = BoundQuadricDistance<2>(p, HalfAxes);
  const double beyond = std::fabs(p[2]) - HalfAxes[2];
  if (beside > 0.0 && beyond > 0.0) return std::sqrt(beside * beside + beyond * beyond);
  const double distance = std::fabs(std::max(beside, beyond));
  return std::isnan(beside) ? 0.0 : distance;
}
