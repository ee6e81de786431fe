#include "trelDetectorResult.h"

#include <algorithm>
#include <cmath>

#include "trelFiberDetector.h"
#include "trelPlaneDetector.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"

static_assert(static_cast<int>(GridMeshFace) == NumberOfAxes,
              "the window takes over the axes of the fibre");

trelDetectorResult::trelDetectorResult()
{
  std::fill(std::begin(Save), std::end(Save), true);
}

trelDetectorResult::~trelDetectorResult() = default;

void trelDetectorResult::ReleasePlaneResult()
{
  if (DetectorType == DetectorPlane) DetectionMatrix.reset();
}

void trelDetectorResult::ReleaseFiberResult()
{
  if (DetectorType != DetectorFiber) return;
  FiberGrids.Release(GridTransmittance);
  std::fill(std::begin(FiberTotals), std::end(FiberTotals), 0.0);
}

bool trelDetectorResult::Initialize(const trelSimulationParameter* parameter,
                                    trelDetector* detector)
{
  if (!parameter || !detector) return false;
  DetectorType = detector->GetDetectorType();
  if (DetectorType == DetectorPlane) {
    return InitializePlane(*static_cast<trelPlaneDetector*>(detector));
  }
  return InitializeFiber(*parameter, *static_cast<trelFiberDetector*>(detector));
}

bool trelDetectorResult::InitializePlane(const trelPlaneDetector& detector)
{
  ReleasePlaneResult();
  std::int32_t columns = 0;
  std::int32_t rows = 0;
  detector.GetResolution(&columns, &rows);
  detector.GetSize(&DetectorWidth, &DetectorHeight);
  // A column of pixels is held to the same length as a row of a grid, 32 bits of bytes.
  constexpr auto longest = static_cast<std::int32_t>(UINT32_MAX / sizeof(double));
  if (columns > 0 && rows > 0 && rows <= longest) {
    DetectionMatrix.reset(trelGrid::Allocate({rows, columns}));
  }
  if (!DetectionMatrix) {
    ErrorMacro("Detection data's memory is not right allocated");
    return false;
  }
  Columns = static_cast<std::uint32_t>(columns);
  Rows = static_cast<std::uint32_t>(rows);
  return true;
}

bool trelDetectorResult::InitializeFiber(const trelSimulationParameter& parameter,
                                         trelFiberDetector& detector)
{
  const trelShapeObject* shape = detector.GetShape();
  if (shape) {
    FiberShape = shape->GetShapeType();
    shape->GetCenter(Window.Center);
    shape->GetHalfAxes(&Window.HalfAxis[0], &Window.HalfAxis[1], &Window.HalfAxis[2]);
  }
  if (!shape) {
    ErrorMacro("error happens while compute fiberdetector count!");
    return false;
  }
  ChooseFiberCoordinate(*shape);
  InitializeFiberRoi(parameter, detector);
  return InitializeFiberGrids();
}

/** The cells and the radius that go with the solid. Round ones have no radial window. */
void trelDetectorResult::ChooseFiberCoordinate(const trelShapeObject& shape)
{
  const trelShapeTraits& traits = shape.GetTraits();
  if (traits.IsAllRound()) {
    FiberCoordinate = CoordinateSpherical;
    return;
  }
  FiberRadius = shape.GetRadialLimit();
  if (traits.CurvedAxes > 0) FiberCoordinate = traits.Coordinate;
}

trelGridUses trelDetectorResult::GetUses() const
{
  return GetTransmittanceUses(FiberShape, static_cast<CoordinateType>(FiberCoordinate));
}

/** The window is the whole solid; it has bins along the axes of its grids. */
void trelDetectorResult::InitializeFiberRoi(const trelSimulationParameter& parameter,
                                            trelFiberDetector& detector)
{
  double roi[2 * NumberOfAxes];
  double separations[NumberOfAxes];
  std::int32_t counts[NumberOfAxes] = {};
  const double ends[NumberOfAxes] = {0.0, 0.0, 0.0, FiberRadius, 360.0, 180.0};
  for (int axis = 0; axis < NumberOfAxes; ++axis) {
    roi[2 * axis] = 0.0;
    roi[2 * axis + 1] = ends[axis];
  }
  detector.GetShape()->GetBoundingBox(roi);
  parameter.GetSeparations(separations);
  for (const trelGridUse& use : GetUses()) {
    const trelGridDescription& row = GetGridDescription(use.Grid);
    for (int k = 0; k < row.NumberOfAxes; ++k) {
      const trelGridAxis axis = row.Axes[k];
      if (axis >= GridMeshFace || !(separations[axis] > 0.0)) continue;
      counts[axis] = CountCells(roi[2 * axis + 1] - roi[2 * axis], separations[axis]);
    }
  }
  for (int axis = 0; axis < NumberOfAxes; ++axis) {
    Window.Bins[axis] = {roi[2 * axis], roi[2 * axis + 1], separations[axis], counts[axis]};
  }
  const auto& [x, y, z, radial, azimuth, deflection] = separations;
  detector.SetFiberSeparations(x, y, z, radial, azimuth, deflection);
  detector.SetFiberCounts(counts[0], counts[1], counts[2], counts[3], counts[4], counts[5]);
  detector.SetFiberResultGrid(roi);
}

bool trelDetectorResult::InitializeFiberGrids()
{
  ReleaseFiberResult();
  const bool isServed = GetShapeTraits(FiberShape).Role == RoleBodyOrFiber;
  const bool allocated = isServed && FiberGrids.Allocate(GetUses(), Save, Window);
  if (isServed && !allocated) {
    ErrorMacro(
        "Out of memory while allocating memory for FiberDetectortance matrix, please check the "
        "settings of ROI and ROI Separation!");
  }
  if (!allocated) ErrorMacro("Error happens while initializing FiberDetectortance results!");
  return allocated;
}

void trelDetectorResult::ComputeTotalDetection()
{
  if (!DetectionMatrix) return;
  double sum = 0.0;
  const double* cell = DetectionMatrix->GetCells();
  for (std::uint32_t row = 0; row < Rows; ++row) {
    double sumOfRow = 0.0;
    for (std::uint32_t column = 0; column < Columns; ++column)
      sumOfRow += *cell++;
    sum += sumOfRow;
  }
  TotalDetection = sum * DetectorWidth * DetectorHeight / (Columns * Rows);
}

void trelDetectorResult::FinalizeFiber()
{
  FiberGrids.Sum(GridTransmittance, FiberTotals);
  FiberGrids.Normalize(GridTransmittance, Window);
}

void trelDetectorResult::ComputePlaneRange()
{
  if (!DetectionMatrix) return;
  trelGridRange range{DetectionMaximum, DetectionMinimum};
  range.Include(DetectionMatrix->GetCells(), DetectionMatrix->GetNumberOfCells());
  DetectionMaximum = range.Maximum;
  DetectionMinimum = range.Minimum;
}

void trelDetectorResult::ComputeFiberRange()
{
  trelGridRange range{DetectionMaximum, DetectionMinimum};
  for (const trelGridUse& use : GetUses()) {
    if (const trelGrid* grid = GetGrid(use.Grid)) {
      range.Include(grid->GetCells(), grid->GetNumberOfCells());
    }
  }
  DetectionMaximum = range.Maximum;
  DetectionMinimum = range.Minimum;
}
