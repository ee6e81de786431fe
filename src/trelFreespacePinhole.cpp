#include "trelFreespacePinhole.h"

#include <algorithm>
#include <cmath>

#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelMediumResult.h"
#include "trelPlaneDetector.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"

/** What a detector looks through and at: its lens and the pixels on the object plane. */
struct trelPinholeView
{
  double Lens[3];        ///< centre of the lens, mm
  double Normal[3];      ///< of the detector
  double FirstPixel[3];  ///< centre of the pixel in row 0, column 0 on the object plane
  double ColumnStep[3];  ///< from one column to the next
  double RowStep[3];
  std::int32_t Columns;
  std::int32_t Rows;
};

static double Dot(const double a[3], const double b[3])
{
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

trelFreespacePinhole::~trelFreespacePinhole() = default;

bool trelFreespacePinhole::Execute()
{
  if (!Parameter) return false;
  const std::int32_t planes = Parameter->GetNumberOfDetectors() - Parameter->CountFiberDetectors();
  if (planes == 0 || Parameter->GetNumberOfWavelengths() == 0) return true;
  if (!Parameter->GetContinuousWave() || !Parameter->GetSaveTransmittance()) return false;
  if (!Result || !Result->GetMediumResult(0) || !Parameter->GetOuterShape()) return false;
  PixelsDone = 0;
  const auto detectors = Parameter->GetDetectors()->GetItems<trelDetector>();
  CollectImages();
  for (std::int32_t i = 0; i < planes; ++i) {
    const trelDetector* detector = detectors[static_cast<std::size_t>(i)];
    if (detector->GetDetectorType() != DetectorPlane) continue;
    if (!ImageDetector(*static_cast<const trelPlaneDetector*>(detector), i)) return false;
  }
  Result->FinalizeDetectorResults(Parameter);
  return true;
}

/** Looks up the image of each detector at each spectrum, null where there is none: pixels are many.
 */
void trelFreespacePinhole::CollectImages()
{
  Images.clear();
  for (int k = 0; k < Parameter->GetNumberOfWavelengths(); ++k) {
    const trelDetectorArrayResult* records = Result->GetDetectorArrayResult(k);
    Images.emplace_back();
    if (!records || !records->GetDetectorResults()) continue;
    for (const auto* record : records->GetDetectorResults()->GetItems<trelDetectorResult>())
      Images.back().push_back(record->GetDetectionMatrix());
  }
}

/**
 * The steps from a column and a row of pixels to the next on the object plane, where a pixel is
 * @p width by @p height: rows along the axis that @p vertical names, columns across. False if the
 * normal @p n is not at right angles to that axis.
 */
static bool FindPixelSteps(VerticalPlane vertical, const double n[3], double width, double height,
                           double columnStep[3], double rowStep[3])
{
  const int up = 2 - vertical;  // the axis that the plane does not have
  if (up < 0 || up > 2 || n[up] != 0.0) return false;
  const int u = (up + 1) % 3;
  const int v = (up + 2) % 3;
  columnStep[up] = rowStep[u] = rowStep[v] = 0.0;
  columnStep[u] = width * n[v];
  columnStep[v] = -(width * n[u]);
  rowStep[up] = height;
  return true;
}

/** Lens, object plane and pixels of a detector. False if its normal does not fit its orientation.
 */
static bool MakeView(const trelPlaneDetector& detector, trelPinholeView* view)
{
  double center[3];
  double width = 0.0;
  double height = 0.0;
  detector.GetCenter(center);
  detector.GetNormal(&view->Normal[0], &view->Normal[1], &view->Normal[2]);
  detector.GetSize(&width, &height);
  detector.GetResolution(&view->Columns, &view->Rows);
  const double i = detector.GetImageDistance();
  const double f = detector.GetFocalLength();
  const double o = f * i / (i - f);
  const double m = o / i;
  if (!FindPixelSteps(detector.GetVerticalPlane(), view->Normal, width / view->Columns * m,
                      height / view->Rows * m, view->ColumnStep, view->RowStep)) {
    return false;
  }
  for (int k = 0; k < 3; ++k) {
    view->Lens[k] = center[k] + i * view->Normal[k];
    const double middle = center[k] + (o + i) * view->Normal[k];
    view->FirstPixel[k] = middle - (view->Columns - 1) * view->ColumnStep[k] * 0.5 -
                          (view->Rows - 1) * view->RowStep[k] * 0.5;
  }
  return true;
}

bool trelFreespacePinhole::ImageDetector(const trelPlaneDetector& detector, int index)
{
  double center[3];
  detector.GetCenter(center);
  if (Parameter->GetMedium()->GetTissueIndex(center[0], center[1], center[2]) != -1) return true;
  trelPinholeView view;
  if (!MakeView(detector, &view) || !ImagePixels(view, index)) return false;
  ReportProgress(ProgressMaximum);
  return true;
}

bool trelFreespacePinhole::ImagePixels(const trelPinholeView& view, int index)
{
  const std::int64_t pixels = static_cast<std::int64_t>(view.Columns) * view.Rows;
  for (std::int32_t row = 0; row < view.Rows; ++row) {
    double point[3];
    for (int k = 0; k < 3; ++k)
      point[k] = view.FirstPixel[k] + row * view.RowStep[k];
    for (std::int32_t column = 0; column < view.Columns; ++column) {
      if (StopRequested) return false;
      if (ImagePixel(view, point, index, row, column)) CountPixel(pixels);
      for (int k = 0; k < 3; ++k)
        point[k] += view.ColumnStep[k];
    }
  }
  return true;
}

/** The unit vector of the chief ray, from the lens through the pixel. False if it has no direction:
 *  the two coincide, or the object plane lies at infinity, as with the detector in the focus. */
static bool FindChiefRay(const double lens[3], const double pixelPoint[3], double direction[3])
{
  for (int k = 0; k < 3; ++k)
    direction[k] = pixelPoint[k] - lens[k];
  const double length = std::sqrt(Dot(direction, direction));
  if (!(length > 0.0 && std::isfinite(length))) return false;
  for (int k = 0; k < 3; ++k)
    direction[k] /= length;
  return true;
}

/** False for a pixel that does not count as progress: one without a ray or an element in sight. */
bool trelFreespacePinhole::ImagePixel(const trelPinholeView& view, const double pixelPoint[3],
                                      int index, int row, int column)
{
  double direction[3];
  double hitPoint[3];
  int face = -1;
  if (!FindChiefRay(view.Lens, pixelPoint, direction)) return false;
  if (!FindSurface(pixelPoint, direction, hitPoint, &face)) return true;
  SurfaceElement element;
  if (!GetSurfaceElement(Parameter->GetOuterShape(), hitPoint, face, &element)) return false;
  // An element that was not made has no normal, and so faces away like one that is not a number.
  if (!(Dot(element.Normal, view.Normal) < 0.0)) return false;
  const double factor =
      TransferFactor(element.Center, element.Normal, element.Area, pixelPoint, view.Normal);
  const auto detector = static_cast<std::size_t>(index);
  for (std::size_t k = 0; k < Images.size(); ++k) {
    const double value = GetSurfaceValue(static_cast<int>(k), face, element);
    trelGrid* image = detector < Images[k].size() ? Images[k][detector] : nullptr;
    if (value != 0.0 && image) (*image)(row, column) = factor * value;
  }
  return true;
}

/** Where the ray from the object plane, away from the lens, meets the medium. */
bool trelFreespacePinhole::FindSurface(const double p[3], const double d[3], double hitPoint[3],
                                       int* face) const
{
  const trelShapeObject* shape = Parameter->GetOuterShape();
  double box[6];
  shape->GetBoundingBox(box);
  if (!RayHitsBox(p, d, box, hitPoint)) return false;
  double distance = 1000.0;  // mm: nothing further away is seen
  double normal[3];
  int nextRegion = -1;
  const bool hit = shape->GetShapeType() == ShapeTetrahedron
                       ? static_cast<const trelMCTetrahedron*>(shape)->IntersectRayInRegion(
                             p[0], p[1], p[2], d[0], d[1], d[2], -1, &distance, face, &normal[0],
                             &normal[1], &normal[2], &nextRegion)
                       : shape->IntersectRay(p[0], p[1], p[2], d[0], d[1], d[2], &distance, face,
                                             &normal[0], &normal[1], &normal[2], RayEnters);
  for (int k = 0; k < 3; ++k)
    hitPoint[k] = p[k] + distance * d[k];
  return hit;
}

void trelFreespacePinhole::CountPixel(std::int64_t pixels)
{
  const std::int64_t progressStep = std::max<std::int64_t>(pixels / 100, 1);
  if (++PixelsDone % progressStep != 0) return;
  // The count runs on over all detectors, so that a smaller one after a larger passes the maximum.
  const double progress =
      static_cast<double>(PixelsDone) * ProgressMaximum / static_cast<double>(pixels);
  ReportProgress(static_cast<std::int32_t>(std::min(progress, 2147483647.0)));
}

bool trelFreespacePinhole::GetSurfaceElement(const trelShapeObject* shape, const double hitPoint[3],
                                             int face, SurfaceElement* element) const
{
  const trelGridWindow& window = Result->GetMediumResult(0)->GetWindow();
  return shape->MakeSurfaceElement(window, Parameter->GetTransmittanceCoordinate(), hitPoint, face,
                                   element);
}

/** The grid that takes what leaves through @p face; NumberOfGrids if there is none. */
static trelGridId FindGrid(ShapeType shape, CoordinateType coordinate, int face)
{
  for (const trelGridUse& use : GetTransmittanceUses(shape, coordinate)) {
    if (use.Face == AnyFace || use.Face == face) return use.Grid;
  }
  return NumberOfGrids;
}

/** A cell of a grid by two indices; 0 if there is none. */
static double ReadCell(const trelGrid& grid, std::int32_t i, std::int32_t j)
{
  const std::vector<std::int32_t>& extents = grid.GetExtents();
  if (extents.size() != 2 || i < 0 || i >= extents[0] || j < 0 || j >= extents[1]) return 0.0;
  return grid(i, j);
}

double trelFreespacePinhole::GetSurfaceValue(int spectrumIndex, int face,
                                             const SurfaceElement& element) const
{
  const ShapeType shape = Parameter->GetOuterShape()->GetShapeType();
  const bool isMesh = GetShapeTraits(shape).IsMesh();
  const trelMediumResult* record =
      isMesh ? Result->GetMediumResult(spectrumIndex)
             : Result->GetMediumResultBySpectrum(
                   static_cast<std::int32_t>(Parameter->GetWavelength(spectrumIndex)));
  const trelGridId id = FindGrid(shape, Parameter->GetTransmittanceCoordinate(), face);
  const trelGrid* grid = record && id != NumberOfGrids ? record->GetGrid(GridCW, id) : nullptr;
  if (!grid) return 0.0;
  if (isMesh) {
    const bool exists = face >= 0 && static_cast<std::size_t>(face) < grid->GetNumberOfCells();
    return exists ? grid->GetCells()[face] : 0.0;
  }
  const bool isReversed = id == TransmittanceSideDA;  // stored from high deflection to low
  const std::int32_t last = record->GetWindow().Bins[GridD].Count - 1;
  return ReadCell(*grid, isReversed ? last - element.Index[0] : element.Index[0], element.Index[1]);
}

double trelFreespacePinhole::TransferFactor(const double center[3], const double normal[3],
                                            double area, const double pixelPoint[3],
                                            const double detectorNormal[3])
{
  const double v[3] = {pixelPoint[0] - center[0], pixelPoint[1] - center[1],
                       pixelPoint[2] - center[2]};
  const double distance = std::sqrt(Dot(v, v));
  const double cosEmission = std::fabs(Dot(normal, v)) / distance;
  const double cosArrival = std::fabs(Dot(detectorNormal, v)) / distance;
  return cosEmission * cosArrival * area / (distance * distance);
}

bool trelFreespacePinhole::RayHitsBox(const double origin[3], const double direction[3],
                                      const double box[6], double hitPoint[3])
{
  double plane[3] = {};
  double t[3] = {-1.0, -1.0, -1.0};
  bool isInside = true;
  for (int k = 0; k < 3; ++k) {
    const bool isLow = origin[k] < box[2 * k];
    const bool isHigh = origin[k] > box[2 * k + 1];
    if (!isLow && !isHigh) continue;
    isInside = false;
    plane[k] = box[isLow ? 2 * k : 2 * k + 1];
    if (direction[k] != 0.0) t[k] = (plane[k] - origin[k]) / direction[k];
  }
  if (isInside) return true;
  int entry = t[1] > t[0] ? 1 : 0;
  if (t[2] > t[entry]) entry = 2;
  if (t[entry] < 0.0) return false;
  for (int k = 0; k < 3; ++k) {
    hitPoint[k] = k == entry ? plane[k] : origin[k] + t[entry] * direction[k];
    if (k != entry && (hitPoint[k] < box[2 * k] || hitPoint[k] > box[2 * k + 1])) return false;
  }
  return true;
}
