#include "trelScoringRegion.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "trelShapeObject.h"

std::int32_t CountCells(double range, double separation)
{
  const double cells = std::ceil(range / separation);
  if (std::isnan(cells)) return 0;
  constexpr double least = std::numeric_limits<std::int32_t>::min();
  constexpr double most = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(cells, least, most));
}

void trelScoringRegion::SetROI(const double roi[2 * NumberOfAxes], std::int32_t given)
{
  std::copy_n(roi, 2 * NumberOfAxes, ROI);
  ROINumbersGiven = given;
  ROIGiven = true;
  CountsValid = false;
}

void trelScoringRegion::SetSeparations(const double separations[NumberOfAxes])
{
  std::copy_n(separations, NumberOfAxes, Separations);
  CountsValid = false;
}

void trelScoringRegion::SetTimeRange(double start, double end, double step)
{
  TimeStart = start;
  TimeEnd = end;
  TimeStep = step;
  CountsValid = false;
}

bool trelScoringRegion::Compute(const trelShapeObject& shape, const trelScoringDemand& demand)
{
  const bool isKnown = ComputeROI(shape);
  for (const trelAxis axis : demand.Axes) {
    if (Separations[axis] > 0.0) Counts[axis] = CountCells(GetRange(axis), Separations[axis]);
  }
  if (demand.Surface) ComputeFaceFlags(shape);
  if (demand.TimeGates && TimeStep > 0.0) {
    NumberOfTimeSteps = CountCells(TimeEnd - TimeStart, TimeStep);
  }
  CountsValid = true;
  return isKnown;
}

/** The largest distance from the axis through the centre that the radial range can have; false for
 *  a shape of unknown kind. */
static bool FindRadialLimit(const trelShapeObject& shape, double* limit)
{
  double a;
  double b;
  double c;
  shape.GetHalfAxes(&a, &b, &c);
  *limit = a;
  switch (shape.GetShapeType()) {
    case ShapeRectangle:
    case ShapeTriangleMesh:
    case ShapeCube:
    case ShapeTetrahedron:
      *limit = std::sqrt(a * a + b * b);
      return true;
    case ShapeEllipse:
    case ShapeEllipsoid:
    case ShapeCylinder:
      *limit = std::max(a, b);
      return true;
  }
  return false;
}

/** Holds the range from @p min to @p max to the limits @p lo and @p hi. A bound beyond either limit
 *  falls back to its own limit, so that a range wholly outside becomes the limits. */
static void CutRange(double lo, double hi, double* min, double* max)
{
  if (hi < *min || lo > *min) *min = lo;
  if (lo > *max || hi < *max) *max = hi;
}

bool trelScoringRegion::ComputeROI(const trelShapeObject& shape)
{
  double limits[2 * NumberOfAxes] = {0.0, 0.0, 0.0, 0.0,   0.0, 0.0,
                                     0.0, 0.0, 0.0, 360.0, 0.0, 180.0};
  shape.GetBoundingBox(limits);
  const bool isKnown = FindRadialLimit(shape, &limits[2 * AxisRadial + 1]);
  if (!ROIGiven) {
    std::copy_n(limits, 2 * NumberOfAxes, ROI);
    return isKnown;
  }
  for (int axis = 0; axis < NumberOfAxes; ++axis) {
    CutRange(limits[2 * axis], limits[2 * axis + 1], &ROI[2 * axis], &ROI[2 * axis + 1]);
  }
  return isKnown;
}

void trelScoringRegion::ComputeFaceFlags(const trelShapeObject& shape)
{
  // Places in a bounding box and in the region of interest: an odd one is a maximum.
  constexpr int xMin = 2 * AxisX, xMax = xMin + 1;
  constexpr int yMin = 2 * AxisY, yMax = yMin + 1;
  constexpr int zMin = 2 * AxisZ, zMax = zMin + 1;
  static constexpr int cubeFaces[NumberOfCubeFaces] = {zMax, zMin, xMax, xMin, yMin, yMax};
  static constexpr int rectangleEdges[NumberOfRectangleEdges] = {yMax, yMin, xMin, xMax};
  constexpr int numberOfCaps = 2;
  double box[6];
  shape.GetBoundingBox(box);
  const auto liesBeyond = [&](int side) {
    return side % 2 == 1 ? box[side] > ROI[side] : box[side] < ROI[side];
  };
  switch (shape.GetShapeType()) {
    case ShapeCube:
      for (int i = 0; i < NumberOfCubeFaces; ++i) {
        if (liesBeyond(cubeFaces[i])) CubeFaceFlags[i] = false;
      }
      break;
    case ShapeCylinder:
      for (int i = 0; i < numberOfCaps; ++i) {
        if (liesBeyond(cubeFaces[i])) CylinderFaceFlags[i] = false;
      }
      break;
    case ShapeRectangle:
      // Any difference clears an edge, also one within the region.
      for (int i = 0; i < NumberOfRectangleEdges; ++i) {
        if (box[rectangleEdges[i]] != ROI[rectangleEdges[i]]) RectangleEdgeFlags[i] = false;
      }
      break;
    default:
      break;
  }
}
