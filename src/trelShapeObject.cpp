#include "trelShapeObject.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "trelSurfaceElement.h"
#include "trelUniformNumbers.h"

trelShapeObject::~trelShapeObject() = default;

void trelShapeObject::SetCenter(double x, double y, double z)
{
  Center[0] = x;
  Center[1] = y;
  Center[2] = z;
  RefreshDerived();
}

void trelShapeObject::GetCenter(double* x, double* y, double* z) const
{
  *x = Center[0];
  *y = Center[1];
  *z = Center[2];
}

void trelShapeObject::SetHalfAxes(double hx, double hy, double hz)
{
  HalfAxes[0] = hx;
  HalfAxes[1] = hy;
  HalfAxes[2] = hz;
  RefreshDerived();
}

void trelShapeObject::GetHalfAxes(double* hx, double* hy, double* hz) const
{
  *hx = HalfAxes[0];
  *hy = HalfAxes[1];
  *hz = HalfAxes[2];
}

void trelShapeObject::GetBoundingBox(double* xmin, double* xmax, double* ymin, double* ymax,
                                     double* zmin, double* zmax) const
{
  *xmin = Bounds[0];
  *xmax = Bounds[1];
  *ymin = Bounds[2];
  *ymax = Bounds[3];
  *zmin = Bounds[4];
  *zmax = Bounds[5];
}

void trelShapeObject::GetBoundingBox(double bounds[6]) const
{
  std::copy_n(Bounds, 6, bounds);
}

trelVector trelShapeObject::FromCenter(const double offset[3]) const
{
  return {Center[0] + offset[0], Center[1] + offset[1],
          GetTraits().IsPlanar() ? 0.0 : Center[2] + offset[2]};
}

bool trelShapeObject::HasPoints() const
{
  const trelShapeTraits& traits = GetTraits();
  return !IsEmpty() && traits.Role != RoleMedium &&
         std::count(HalfAxes, HalfAxes + traits.CurvedAxes, 0.0) == 0;
}

bool trelShapeObject::SampleVolume(trelUniformNumbers& numbers, trelVector* point) const
{
  const trelShapeTraits& traits = GetTraits();
  if (!HasPoints()) return false;
  for (int attempt = 0; attempt < MaximumAttempts; ++attempt) {
    double offset[3] = {0.0, 0.0, 0.0};
    for (int i = 0; i < traits.Dimension; ++i)
      offset[i] = numbers.DrawWithin(HalfAxes[i]);
    *point = FromCenter(offset);
    if (LocatePoint(*point) != PointOutside) return true;
  }
  return false;
}

bool trelShapeObject::SampleSurface(trelUniformNumbers& /*numbers*/, trelVector* /*point*/) const
{
  return false;
}

// A shape is the product of a ball of its curved axes and a box of the others, of which either may
// be missing, stretched by the half-axes: a cube, a disc by a length, an ellipsoid.

/** Draws the first @p axes coordinates until they lie in the unit ball; false if they never do. */
static bool DrawInUnitBall(trelUniformNumbers& numbers, int axes, int attempts, double unit[3])
{
  for (int attempt = 0; attempt < attempts; ++attempt) {
    double square = 0.0;
    for (int i = 0; i < axes; ++i) {
      unit[i] = numbers.DrawWithin(1.0);
      square += unit[i] * unit[i];
    }
    if (square <= 1.0) return true;
  }
  return false;
}

bool trelShapeObject::SampleVolumeUniformly(trelUniformNumbers& numbers, trelVector* point) const
{
  const trelShapeTraits& traits = GetTraits();
  double offset[3] = {0.0, 0.0, 0.0};
  if (!DrawInUnitBall(numbers, traits.CurvedAxes, MaximumAttempts, offset)) return false;
  for (int i = traits.CurvedAxes; i < traits.Dimension; ++i)
    offset[i] = numbers.DrawWithin(1.0);
  for (int i = 0; i < 3; ++i)
    offset[i] *= HalfAxes[i];
  *point = FromCenter(offset);
  return true;
}

/**
 * Moves a point of the unit ball to the surface of the ellipsoid, or ellipse, of the first @p axes
 * half-axes. A patch of the unit sphere about n is stretched by a b c |(nx/a, ny/b, nz/c)|, at most
 * by a b c over the smallest: taken with that part of it as probability, points are uniform over
 * the area. At least half of them are, since the ellipsoid's area is above twice its largest
 * section.
 */
static bool TryCurvedPoint(trelUniformNumbers& numbers, int axes, const double halfAxes[3],
                           double offset[3])
{
  const double smallest = *std::min_element(halfAxes, halfAxes + axes);
  double square = 0.0, stretch = 0.0;
  for (int i = 0; i < axes; ++i) {
    const double component = offset[i] * (smallest / halfAxes[i]);
    square += offset[i] * offset[i];
    stretch += component * component;
  }
  // The centre has no direction.
  if (!(square > 0.0) || !(numbers.NextRandom() < std::sqrt(stretch / square))) return false;
  for (int i = 0; i < axes; ++i)
    offset[i] /= std::sqrt(square);
  return true;
}

double trelShapeObject::MeasurePart(int part) const
{
  const trelShapeTraits& traits = GetTraits();
  const int curved = traits.CurvedAxes;
  if (part == CurvedPart) {
    return curved == 0 ? 0.0
                       : 2.0 * Pi * *std::max_element(HalfAxes, HalfAxes + curved) *
                             (curved < traits.Dimension ? 2.0 * HalfAxes[2] : 1.0);
  }
  if (part < curved || part >= traits.Dimension) return 0.0;
  double area = curved == 0 ? 2.0 : 2.0 * Pi * HalfAxes[0] * HalfAxes[1];
  for (int i = curved; i < traits.Dimension; ++i)
    if (i != part) area *= 2.0 * HalfAxes[i];
  return area;
}

bool trelShapeObject::TrySurfacePoint(trelUniformNumbers& numbers, int part, double offset[3]) const
{
  const trelShapeTraits& traits = GetTraits();
  std::fill_n(offset, 3, 0.0);
  if (!DrawInUnitBall(numbers, traits.CurvedAxes, MaximumAttempts, offset)) return false;
  for (int i = traits.CurvedAxes; i < traits.Dimension; ++i)
    offset[i] = i == part ? numbers.DrawSide(1.0) : numbers.DrawWithin(1.0);
  return part != CurvedPart || TryCurvedPoint(numbers, traits.CurvedAxes, HalfAxes, offset);
}

bool trelShapeObject::SampleSurfaceUniformly(trelUniformNumbers& numbers, trelVector* point) const
{
  double sums[CurvedPart + 1];
  for (int part = 0; part <= CurvedPart; ++part)
    sums[part] = (part > 0 ? sums[part - 1] : 0.0) + MeasurePart(part);
  if (sums[CurvedPart] == 0.0) return SampleVolumeUniformly(numbers, point);
  for (int attempt = 0; attempt < MaximumAttempts; ++attempt) {
    const double drawn = numbers.NextRandom() * sums[CurvedPart];
    const auto part = static_cast<int>(std::upper_bound(sums, std::end(sums), drawn) - sums);
    double offset[3];
    // Rounding may take what was drawn up to the sum, where no part is.
    if (part > CurvedPart || !TrySurfacePoint(numbers, part, offset)) continue;
    for (int i = 0; i < 3; ++i)
      offset[i] *= HalfAxes[i];
    *point = FromCenter(offset);
    return true;
  }
  return false;
}

double trelShapeObject::RelativeChord(double d, double halfAxis)
{
  return std::sqrt(std::max(0.0, 1.0 - d * d / (halfAxis * halfAxis)));
}

void trelShapeObject::SampleOutline(trelUniformNumbers& numbers, double offset[3]) const
{
  const int uniform = numbers.NextRandom() < 0.5 ? 0 : 1;
  const int other = 1 - uniform;
  const double side = numbers.DrawSide(HalfAxes[other]);
  offset[uniform] = numbers.DrawWithin(HalfAxes[uniform]);
  offset[other] = side * RelativeChord(offset[uniform], HalfAxes[uniform]);
}

bool trelShapeObject::MakeSurfaceElement(const trelGridWindow& window, CoordinateType coordinate,
                                         const trelVector& hit, int face,
                                         SurfaceElement* element) const
{
  const trelShapeTraits& traits = GetTraits();
  if (traits.IsPlanar() || face < 0 || face >= traits.GetNumberOfFaces()) return true;
  const trelFacePlace place = traits.Faces[face].Place;
  if (!IsFlatPlace(place)) return true;
  const bool isRound = coordinate == CoordinateCylindrical && traits.Admits(coordinate);
  (isRound ? MakeDiscElement : MakeFlatElement)(window, place, hit, element);
  return true;
}

double trelShapeObject::GetRadialLimit() const
{
  const double a = HalfAxes[0];
  const double b = HalfAxes[1];
  return GetTraits().CurvedAxes > 0 ? std::max(a, b) : std::sqrt(a * a + b * b);
}

void trelShapeObject::Rotate(double x, double y, double z, double turned[3]) const
{
  const double ca = std::cos(Rotation[0]), sa = std::sin(Rotation[0]);
  const double cb = std::cos(Rotation[1]), sb = std::sin(Rotation[1]);
  const double cc = std::cos(Rotation[2]), sc = std::sin(Rotation[2]);
  // Not a proper rotation: against one about z, x and y in turn, ca stands for sa in three terms
  // and sine and cosine of b are exchanged in one. Turned shapes are defined by these rows as they
  // are.
  turned[0] = (cb * cc + sa * sb * sc) * x + (ca * sc) * y + (ca * cb * sc - cc * sb) * z;
  turned[1] = (ca * sb * cc - cb * sc) * x + (ca * cc) * y + (sb * sc + ca * sb * cc) * z;
  turned[2] = (ca * sb) * x - sa * y + (ca * cb) * z;
}

void trelShapeObject::RotateInPlane(double local[2]) const
{
  const double c = std::cos(Rotation[0]), s = std::sin(Rotation[0]);
  const double x = local[0], y = local[1];
  local[0] = c * x - s * y;
  local[1] = c * y + s * x;
}

void trelShapeObject::RefreshDerived()
{
  for (int i = 0; i < 3; ++i) {
    Bounds[2 * i] = Center[i] - HalfAxes[i];
    Bounds[2 * i + 1] = Center[i] + HalfAxes[i];
  }
  Rotated = Rotation[0] != 0.0 || Rotation[1] != 0.0 || Rotation[2] != 0.0;
}

bool trelShapeObject::PrepareCrossings(int /*threads*/) const
{
  return true;
}

double trelShapeObject::ComputeMeasure() const
{
  return 0.0;
}

bool trelShapeObject::Holds(const trelVector& point) const
{
  const PointRelation relation = LocatePoint(point);
  return relation == PointInside || relation == PointOnBoundary;
}

bool trelShapeObject::FindCrossing(const trelRay&, double, double, trelHit*) const
{
  return false;
}

double trelShapeObject::BoundDistance(const trelVector&) const
{
  return 0.0;
}

bool trelShapeObject::IsClear(const trelWay& way, double* radius) const
{
  const double bound = BoundDistance(way.From);
  *radius = std::min(*radius, bound);
  if (way.Length + way.Margin < bound) return true;
  // Between two points within a convex shape there is no surface.
  return bound > way.Margin && Holds(way.From) && Holds(way.To) &&
         BoundDistance(way.To) > way.Margin;
}
