#include "trelScoringRegion.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "trelShapeObject.h"

static_assert(static_cast<int>(GridX) == AxisX && static_cast<int>(GridD) == AxisDeflection &&
                  static_cast<int>(GridMeshFace) == NumberOfAxes,
              "the window takes over the axes of the region in their order");

std::int32_t CountCells(double range, double separation)
{
  const double cells = std::ceil(range / separation);
  if (std::isnan(cells)) return 0;
  constexpr double least = std::numeric_limits<std::int32_t>::min();
  constexpr double most = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(cells, least, most));
}

std::int32_t CountCellsWithoutSliver(double range, double separation)
{
  const std::int32_t cells = CountCells(range - 1e-9 * separation, separation);
  return cells == 0 && range > 0.0 ? 1 : cells;
}

trelScoringRegion::trelScoringRegion()
{
  std::fill_n(FaceFlags, NumberOfSaveFlags, true);
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

void trelScoringRegion::Compute(const trelShapeObject& shape, const trelScoringDemand& demand)
{
  ComputeROI(shape);
  const auto count = demand.Slivers ? &CountCells : &CountCellsWithoutSliver;
  for (const trelAxis axis : demand.Axes) {
    if (Separations[axis] > 0.0) Counts[axis] = count(GetRange(axis), Separations[axis]);
  }
  if (demand.Surface) ComputeFaceFlags(shape);
  if (demand.TimeGates && TimeStep > 0.0) {
    NumberOfTimeSteps = count(TimeEnd - TimeStart, TimeStep);
  }
  CountsValid = true;
}

/** Holds the range from @p min to @p max to the limits @p lo and @p hi. A bound beyond either limit
 *  falls back to its own limit, so that a range wholly outside becomes the limits. */
static void CutRange(double lo, double hi, double* min, double* max)
{
  if (hi < *min || lo > *min) *min = lo;
  if (lo > *max || hi < *max) *max = hi;
}

void trelScoringRegion::ComputeROI(const trelShapeObject& shape)
{
  double limits[2 * NumberOfAxes] = {0.0, 0.0, 0.0, 0.0,   0.0, 0.0,
                                     0.0, 0.0, 0.0, 360.0, 0.0, 180.0};
  shape.GetBoundingBox(limits);
  limits[2 * AxisRadial + 1] = shape.GetRadialLimit();
  if (!ROIGiven) {
    std::copy_n(limits, 2 * NumberOfAxes, ROI);
    return;
  }
  for (int axis = 0; axis < NumberOfAxes; ++axis) {
    CutRange(limits[2 * axis], limits[2 * axis + 1], &ROI[2 * axis], &ROI[2 * axis + 1]);
  }
}

void trelScoringRegion::ComputeFaceFlags(const trelShapeObject& shape)
{
  double box[6];
  shape.GetBoundingBox(box);
  for (const trelShapeFace& face : shape.GetTraits()) {
    if (!IsFlatPlace(face.Place)) continue;
    // Any difference clears an edge of a planar shape, also one within the region.
    const double bound = box[face.Place];
    const double reach = ROI[face.Place];
    const bool isMaximum = face.Place % 2 == 1;
    const bool isCut = shape.GetTraits().IsPlanar() ? bound != reach
                       : isMaximum                  ? bound > reach
                                                    : bound < reach;
    if (isCut) FaceFlags[face.Flag] = false;
  }
}

trelGridWindow trelScoringRegion::MakeWindow(const trelShapeObject* shape) const
{
  trelGridWindow window;
  for (int axis = 0; axis < NumberOfAxes; ++axis) {
    window.Bins[axis] = {ROI[2 * axis], ROI[2 * axis + 1], Separations[axis], Counts[axis]};
  }
  if (!shape) return window;
  shape->GetCenter(window.Center);
  shape->GetHalfAxes(&window.HalfAxis[0], &window.HalfAxis[1], &window.HalfAxis[2]);
  return window;
}
