#include "trelRectangle.h"

#include <cmath>

#include "trelChord.h"
#include "trelSlabSearch.h"
#include "trelUniformNumbers.h"

PointRelation trelRectangle::LocatePoint(double x, double y, double /*z*/) const
{
  double local[2];
  ToLocalInPlane(x, y, local);
  const double u = std::fabs(local[0]) - HalfAxes[0];
  const double v = std::fabs(local[1]) - HalfAxes[1];
  const bool insideX = u < -GeometryTolerance, onX = std::fabs(u) < GeometryTolerance;
  const bool insideY = v < -GeometryTolerance, onY = std::fabs(v) < GeometryTolerance;
  if (insideX && insideY) return PointInside;
  if (onX && (insideY || onY)) return PointOnBoundary;
  if (onY && (insideX || onX)) return PointOnBoundary;
  return PointOutside;
}

bool trelRectangle::IntersectRay(double x, double y, double z, double dx, double dy, double /*dz*/,
                                 double* distance, int* face, double* nx, double* ny,
                                 double* /*nz*/, int raySide) const
{
  double p[3];
  ToCenter(x, y, z, p);
  const double d[2] = {dx, dy};
  trelSlabSearch<2> search;
  const RayCase rayCase = ClassifyRay(LocatePoint(x, y, z), raySide);
  if (rayCase == RayCaseTouching) FindFaceOfPoint(p, face);
  if (!search.Find(rayCase, p, d, HalfAxes)) return false;
  FindFaceOfHit(search.Hit, face);
  static const double normals[4][2] = {{0.0, 1.0}, {0.0, -1.0}, {-1.0, 0.0}, {1.0, 0.0}};
  if (RectangleFaceYMax <= *face && *face <= RectangleFaceXMax) {
    *nx = normals[*face][0];
    *ny = normals[*face][1];
  }
  if (!(0.0 <= search.Distance && search.Distance <= *distance)) return false;
  *distance = search.Distance;
  return true;
}

/** True if the absolute value @p q is at most @p half, within the tolerance. */
static bool IsWithin(double q, double half)
{
  return q - half < -GeometryTolerance || ToleranceEqual(q, half);
}

/** The first edge that the boundary point @p p lies on, if any. */
void trelRectangle::FindFaceOfPoint(const double p[2], int* face) const
{
  const double hx = HalfAxes[0], hy = HalfAxes[1];
  const bool withinX = IsWithin(std::fabs(p[0]), hx);
  const bool withinY = IsWithin(std::fabs(p[1]), hy);
  if (ToleranceEqual(p[1], hy) && withinX) {
    *face = RectangleFaceYMax;
  } else if (ToleranceEqual(p[1], -hy) && withinX) {
    *face = RectangleFaceYMin;
  } else if (ToleranceEqual(p[0], -hx) && withinY) {
    *face = RectangleFaceXMin;
  } else if (ToleranceEqual(p[0], hx) && withinY) {
    *face = RectangleFaceXMax;
  }
}

/** The edge of a point from the slab search, if it lies exactly on one. */
void trelRectangle::FindFaceOfHit(const double hit[2], int* face) const
{
  if (hit[0] == HalfAxes[0]) {
    *face = RectangleFaceXMax;
  } else if (hit[1] == HalfAxes[1]) {
    *face = RectangleFaceYMax;
  } else if (hit[0] == -HalfAxes[0]) {
    *face = RectangleFaceXMin;
  } else if (hit[1] == -HalfAxes[1]) {
    *face = RectangleFaceYMin;
  }
}

/** An edge; each is as likely as the others whatever its length. */
bool trelRectangle::SampleSurface(trelUniformNumbers& numbers, trelVector* point) const
{
  double offset[3] = {0.0, 0.0, 0.0};
  const int across = numbers.NextRandom() < 0.5 ? 0 : 1;
  const int along = 1 - across;
  offset[across] = numbers.DrawSide(HalfAxes[across]);
  offset[along] = numbers.DrawWithin(HalfAxes[along]);
  *point = FromCenter(offset);
  return true;
}

double trelRectangle::ComputeMeasure() const
{
  return 4.0 * HalfAxes[0] * HalfAxes[1];
}

bool trelRectangle::Holds(const trelVector& point) const
{
  return std::fabs(point.X - Center[0]) <= HalfAxes[0] &&
         std::fabs(point.Y - Center[1]) <= HalfAxes[1];
}

bool trelRectangle::FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const
{
  double p[3];
  ToCenter(ray.Origin.X, ray.Origin.Y, ray.Origin.Z, p);
  trelChord chord;
  chord.CutSlab(0, p[0], ray.Direction.X, HalfAxes[0], RectangleFaceXMin, RectangleFaceXMax);
  chord.CutSlab(1, p[1], ray.Direction.Y, HalfAxes[1], RectangleFaceYMin, RectangleFaceYMax);
  return chord.FindEnd(after, limit, hit);
}

double trelRectangle::BoundDistance(const trelVector& point) const
{
  double p[3];
  ToCenter(point.X, point.Y, point.Z, p);
  return std::fabs(BoxDistance<2>(p, HalfAxes));
}
