#include "trelDetectorResult.h"

#include <algorithm>

#include "trelFiberDetector.h"
#include "trelPlaneDetector.h"
#include "trelScoringRegion.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"

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
  for (trelGridSet& grids : FiberGrids)
    grids.Release(GridTransmittance);
  FiberTimeTotals.Release(GridTransmittance);
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
  if (!InitializeFiberRoi(parameter, detector)) {
    ErrorMacro("error happens while compute fiberdetector count!");
    return false;
  }
  ChooseDomains(parameter);
  return InitializeFiberGrids();
}

/** The classic rules know the continuous-wave grids only, whatever the domains of the run. */
void trelDetectorResult::ChooseDomains(const trelSimulationParameter& parameter)
{
  Rules = parameter.GetRules();
  if (Rules == RulesClassic) return;
  HasDomain[GridCW] = parameter.GetContinuousWave();
  HasDomain[GridTD] = parameter.GetTimeDomain();
  for (const trelGridDomain domain : {GridFDReal, GridFDImag, GridFDAmp, GridFDPha})
    HasDomain[domain] = parameter.GetFrequencyDomain();
  if (!HasDomain[GridTD]) return;
  Window.Time = {parameter.GetTimeStart(), parameter.GetTimeEnd(), parameter.GetTimeStep(),
                 parameter.GetNumberOfTimeSteps()};
}

/** The cells that go with the solid. */
void trelDetectorResult::ChooseFiberCoordinate()
{
  const trelShapeTraits& traits = GetShapeTraits(FiberShape);
  if (traits.IsAllRound()) {
    FiberCoordinate = CoordinateSpherical;
  } else if (traits.CurvedAxes > 0) {
    FiberCoordinate = traits.Coordinate;
  }
}

trelGridUses trelDetectorResult::GetUses() const
{
  return GetTransmittanceUses(FiberShape, static_cast<CoordinateType>(FiberCoordinate));
}

/** The axes along which the grids of @p uses are divided; one may stand twice. */
static std::vector<trelAxis> FindAxes(const trelGridUses& uses)
{
  std::vector<trelAxis> axes;
  for (const trelGridUse& use : uses) {
    const trelGridDescription& row = GetGridDescription(use.Grid);
    for (int k = 0; k < row.NumberOfAxes; ++k) {
      if (row.Axes[k] < GridMeshFace) axes.push_back(static_cast<trelAxis>(row.Axes[k]));
    }
  }
  return axes;
}

/** The window is the whole solid; false if there is none. */
bool trelDetectorResult::InitializeFiberRoi(const trelSimulationParameter& parameter,
                                            trelFiberDetector& detector)
{
  const trelShapeObject* shape = detector.GetShape();
  if (!shape) return false;
  FiberShape = shape->GetShapeType();
  ChooseFiberCoordinate();
  double separations[NumberOfAxes];
  parameter.GetSeparations(separations);
  trelScoringRegion region;
  region.SetSeparations(separations);
  region.Compute(*shape, {FindAxes(GetUses()), false, false, parameter.GetRules() == RulesClassic});
  // An ellipsoid has no bins along the radius, and an empty range.
  FiberRadius = FiberCoordinate == CoordinateSpherical ? 0.0 : region.GetROI()[2 * AxisRadial + 1];
  Window = region.MakeWindow(shape);
  Window.Bins[GridR].Maximum = FiberRadius;
  TellRoi(detector);
  return true;
}

/** The detector keeps the window that its packets are scored in. */
void trelDetectorResult::TellRoi(trelFiberDetector& detector) const
{
  const auto& [x, y, z, r, a, d, face, vertex, element] = Window.Bins;
  const double roi[2 * NumberOfAxes] = {x.Minimum, x.Maximum, y.Minimum, y.Maximum,
                                        z.Minimum, z.Maximum, r.Minimum, r.Maximum,
                                        a.Minimum, a.Maximum, d.Minimum, d.Maximum};
  detector.SetFiberSeparations(x.Separation, y.Separation, z.Separation, r.Separation, a.Separation,
                               d.Separation);
  detector.SetFiberCounts(x.Count, y.Count, z.Count, r.Count, a.Count, d.Count);
  detector.SetFiberResultGrid(roi);
}

bool trelDetectorResult::InitializeFiberGrids()
{
  ReleaseFiberResult();
  const bool isServed = GetShapeTraits(FiberShape).Role == RoleBodyOrFiber;
  const bool allocated = isServed && AllocateFiberGrids();
  if (isServed && !allocated) {
    ErrorMacro(
        "Out of memory while allocating memory for FiberDetectortance matrix, please check the "
        "settings of ROI and ROI Separation!");
  }
  if (!allocated) ErrorMacro("Error happens while initializing FiberDetectortance results!");
  return allocated;
}

bool trelDetectorResult::AllocateFiberGrids()
{
  for (int domain = 0; domain < NumberOfGridDomains; ++domain) {
    if (HasDomain[domain] && !FiberGrids[domain].Allocate(GetUses(), Save, Window)) return false;
  }
  return !HasDomain[GridTD] || FiberTimeTotals.Allocate(GridTransmittance, Window.Time.Count);
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

void trelDetectorResult::SumTotals()
{
  FiberGrids[GridCW].Sum(GridTransmittance, FiberTotals);
  if (HasDomain[GridTD]) FiberTimeTotals.Sum(GridTransmittance, FiberGrids[GridTD]);
}

void trelDetectorResult::FinalizeFiber()
{
  SumTotals();
  if (Rules == RulesClassic) {
    FiberGrids[GridCW].Normalize(GridTransmittance, Window);
    return;
  }
  DivideByTrueMeasures(FiberGrids, Window);
  ComputeAmplitudeAndPhase(FiberGrids, Rules);
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
