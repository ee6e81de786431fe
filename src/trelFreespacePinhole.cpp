#include "trelFreespacePinhole.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "trelCellMeasures.h"
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
  trelVector Lens;        ///< centre of the lens, mm
  trelVector Normal;      ///< of the detector
  trelVector FirstPixel;  ///< centre of the pixel in row 0, column 0 on the object plane
  trelVector ColumnStep;  ///< from one column to the next
  trelVector RowStep;
  std::int32_t Columns;
  std::int32_t Rows;
};

trelFreespacePinhole::~trelFreespacePinhole() = default;

bool trelFreespacePinhole::Execute()
{
  if (!Parameter) return false;
  const std::int32_t planes = Parameter->GetNumberOfDetectors() - Parameter->CountFiberDetectors();
  if (planes == 0 || Parameter->GetNumberOfWavelengths() == 0) return true;
  if (!Parameter->GetContinuousWave() || !Parameter->GetSaveTransmittance()) return false;
  if (!Result || !Result->GetMediumResult(0) || !Parameter->GetOuterShape()) return false;
  PixelsDone = 0;
  CollectImages();
  const bool isComplete = ImageDetectors(planes);
  if (!isComplete && Parameter->GetRules() != RulesExact) return false;
  if (!IsOfErrors) Result->FinalizeDetectorResults(Parameter);
  return isComplete;
}

/** The classic rules look at the first @p planes detectors and leave all as they are when one
 *  fails; the exact ones have the others' results. */
bool trelFreespacePinhole::ImageDetectors(std::int32_t planes)
{
  const auto detectors = Parameter->GetDetectors()->GetItems<trelDetector>();
  const bool all = Parameter->GetRules() == RulesExact;
  const std::int32_t last = all ? Parameter->GetNumberOfDetectors() : planes;
  bool isComplete = true;
  for (std::int32_t i = 0; i < last; ++i) {
    const trelDetector* detector = detectors[static_cast<std::size_t>(i)];
    if (detector->GetDetectorType() != DetectorPlane) continue;
    if (ImageDetector(*static_cast<const trelPlaneDetector*>(detector), i)) continue;
    if (!all) return false;
    isComplete = false;
  }
  return isComplete;
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
static bool FindPixelSteps(VerticalPlane vertical, const trelVector& n, double width, double height,
                           trelVector* columnStep, trelVector* rowStep)
{
  const int up = 2 - vertical;  // the axis that the plane does not have
  if (up < 0 || up > 2 || n[up] != 0.0) return false;
  const int u = (up + 1) % 3;
  const int v = (up + 2) % 3;
  *columnStep = *rowStep = {};
  (*columnStep)[u] = width * n[v];
  (*columnStep)[v] = -(width * n[u]);
  (*rowStep)[up] = height;
  return true;
}

/** Lens, object plane and pixels of a detector. False if its normal does not fit its orientation.
 */
static bool MakeView(const trelPlaneDetector& detector, trelPinholeView* view)
{
  double width = 0.0;
  double height = 0.0;
  detector.GetSize(&width, &height);
  detector.GetResolution(&view->Columns, &view->Rows);
  view->Normal = detector.GetNormal();
  const double i = detector.GetImageDistance();
  const double o = detector.GetObjectDistance();
  const double m = o / i;
  if (!FindPixelSteps(detector.GetVerticalPlane(), view->Normal, width / view->Columns * m,
                      height / view->Rows * m, &view->ColumnStep, &view->RowStep)) {
    return false;
  }
  view->Lens = detector.GetCenter() + i * view->Normal;
  const trelVector middle = detector.GetCenter() + (o + i) * view->Normal;
  view->FirstPixel = middle - 0.5 * ((view->Columns - 1) * view->ColumnStep) -
                     0.5 * ((view->Rows - 1) * view->RowStep);
  return true;
}

bool trelFreespacePinhole::ImageDetector(const trelPlaneDetector& detector, int index)
{
  if (IsInMedium(detector.GetCenter())) return true;
  trelPinholeView view;
  if (!MakeView(detector, &view) || !ImagePixels(view, index)) return false;
  ReportProgress(ProgressMaximum);
  return true;
}

bool trelFreespacePinhole::IsInMedium(const trelVector& point) const
{
  if (Parameter->GetRules() == RulesExact) return Parameter->GetOuterShape()->Holds(point);
  return Parameter->GetMedium()->GetTissueIndex(point.X, point.Y, point.Z) != -1;
}

bool trelFreespacePinhole::ImagePixels(const trelPinholeView& view, int index)
{
  const std::int64_t pixels = static_cast<std::int64_t>(view.Columns) * view.Rows;
  for (std::int32_t row = 0; row < view.Rows; ++row) {
    trelVector point = view.FirstPixel + row * view.RowStep;
    for (std::int32_t column = 0; column < view.Columns; ++column) {
      if (StopRequested) return false;
      if (ImagePixel(view, point, index, row, column)) CountPixel(pixels);
      point += view.ColumnStep;
    }
  }
  return true;
}

/** The chief ray of a pixel on the object plane, away from the lens. False if it has no direction:
 *  the two coincide, or the object plane lies at infinity, as with the detector in the focus. */
static bool FindChiefRay(const trelVector& lens, const trelVector& pixelPoint, trelRay* ray)
{
  const trelVector towards = pixelPoint - lens;
  const double length = Length(towards);
  if (!(length > 0.0 && std::isfinite(length))) return false;
  *ray = {pixelPoint, towards / length};
  return true;
}

/** False for a pixel that does not count as progress: one without a ray or an element in sight. */
bool trelFreespacePinhole::ImagePixel(const trelPinholeView& view, const trelVector& pixelPoint,
                                      int index, int row, int column)
{
  trelRay ray;
  trelHit hit;
  if (!FindChiefRay(view.Lens, pixelPoint, &ray)) return false;
  if (Parameter->GetRules() == RulesExact) {
    return ImagePixelExactly({view.Lens, ray.Direction}, index, row, column);
  }
  if (!FindSurface(ray, &hit)) return true;
  SurfaceElement element;
  const trelVector hitPoint = ray.At(hit.Distance);
  if (!GetSurfaceElement(Parameter->GetOuterShape(), hitPoint, hit.Face, &element)) return false;
  // An element that was not made has no normal, and so faces away like one that is NaN.
  if (!(Dot(element.Normal, view.Normal) < 0.0)) return false;
  const double factor =
      TransferFactor(element.Center, element.Normal, element.Area, pixelPoint, view.Normal);
  const auto detector = static_cast<std::size_t>(index);
  for (std::size_t k = 0; k < Images.size(); ++k) {
    const double value = GetSurfaceValue(static_cast<int>(k), hit.Face, element);
    trelGrid* image = detector < Images[k].size() ? Images[k][detector] : nullptr;
    if (value != 0.0 && image) (*image)(row, column) = factor * value;
  }
  return true;
}

/** The ray starts at the lens: what stands before the object plane is seen, too. */
bool trelFreespacePinhole::ImagePixelExactly(const trelRay& ray, int index, int row, int column)
{
  trelHit hit;
  constexpr double endless = std::numeric_limits<double>::infinity();
  if (!Parameter->GetOuterShape()->FindCrossing(ray, 0.0, endless, &hit)) return true;
  if (!(Dot(hit.Normal, ray.Direction) < 0.0)) return true;  // the lens stands inside
  trelSeenCell seen;
  if (!FindSeenCell(hit.Face, ray.At(hit.Distance), &seen)) return true;
  const auto find = [&](int k) { return Result->GetMediumResult(k)->GetGrid(GridCW, seen.Grid); };
  if (Counts) {
    std::vector<double>& pixels = (*Counts)[seen.Grid];
    pixels.resize(find(0)->GetNumberOfCells());
    ++pixels[seen.Cell];
    return true;
  }
  const auto detector = static_cast<std::size_t>(index);
  for (std::size_t k = 0; k < Images.size(); ++k) {
    trelGrid* image = detector < Images[k].size() ? Images[k][detector] : nullptr;
    if (image) (*image)(row, column) = find(static_cast<int>(k))->GetCells()[seen.Cell] / Pi;
  }
  return true;
}

/** Where the ray meets the medium. */
bool trelFreespacePinhole::FindSurface(const trelRay& ray, trelHit* hit) const
{
  const trelShapeObject* shape = Parameter->GetOuterShape();
  trelVector entry;
  if (!RayHitsBox(ray, shape->GetBox(), &entry)) return false;
  hit->Distance = 1000.0;  // mm: nothing further away is seen
  hit->Face = -1;
  if (shape->GetShapeType() != ShapeTetrahedron) return shape->FindHit(ray, RayEnters, hit);
  int region = -1;
  return static_cast<const trelMCTetrahedron*>(shape)->FindHitInRegion(ray, -1, hit, &region);
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

bool trelFreespacePinhole::GetSurfaceElement(const trelShapeObject* shape,
                                             const trelVector& hitPoint, int face,
                                             SurfaceElement* element) const
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

/** The cell of a point of the surface by the exact rules, alike at all wavelengths; false if it has
 *  none. */
bool trelFreespacePinhole::FindSeenCell(int face, const trelVector& point, trelSeenCell* seen) const
{
  const ShapeType shape = Parameter->GetOuterShape()->GetShapeType();
  const trelGridId id = FindGrid(shape, Parameter->GetTransmittanceCoordinate(), face);
  const trelMediumResult& record = *Result->GetMediumResult(0);
  const trelGrid* grid = id != NumberOfGrids ? record.GetGrid(GridCW, id) : nullptr;
  if (!grid) return false;
  const double position[3] = {point.X, point.Y, point.Z};
  const auto locate = GetGridDescription(id).LocateExactly;
  auto cell = static_cast<std::size_t>(face);
  if (locate && !locate(record.GetWindow(), position, &cell)) return false;
  *seen = {id, cell, 0.0};
  return cell < grid->GetNumberOfCells();
}

/** The areas of all cells of a grid of a surface, mm^2. */
static std::vector<double> ListAreas(const trelMediumResult& record, trelGridId id)
{
  std::vector<double> areas;
  if (id == TransmittanceMeshFace) {
    for (std::int32_t f = 0; f < record.GetCountMeshFace(); ++f)
      areas.push_back(record.GetMeshFaces()[f].Area);
    return areas;
  }
  const trelGridLayout layout = record.GetGrids(GridCW).GetLayout(id);
  const trelCellMeasures measures(id, record.GetWindow());
  for (std::int32_t i = 0; i < layout.Rows; ++i)
    for (std::int32_t j = 0; j < layout.Columns; ++j)
      areas.push_back(measures.Get(i, j, 0));
  return areas;
}

/** What cells weigh in the total of a detector, by how many of its pixels see them. */
std::vector<trelSeenCell> trelFreespacePinhole::WeighCells(const trelPlaneDetector& detector,
                                                           const PixelCounts& pixels) const
{
  double width = 0.0, height = 0.0;
  std::int32_t columns = 1, rows = 1;
  detector.GetSize(&width, &height);
  detector.GetResolution(&columns, &rows);
  const double areaOfPixel = width * height / (static_cast<double>(columns) * rows);
  std::vector<trelSeenCell> cells;
  for (std::size_t grid = 0; grid < pixels.size(); ++grid) {
    if (pixels[grid].empty()) continue;
    const auto id = static_cast<trelGridId>(grid);
    const std::vector<double> areas = ListAreas(*Result->GetMediumResult(0), id);
    for (std::size_t k = 0; k < areas.size(); ++k)
      if (pixels[grid][k] > 0.0 && areas[k] > 0.0)
        cells.push_back({id, k, pixels[grid][k] * areaOfPixel / (Pi * areas[k])});
  }
  return cells;
}

std::vector<trelCameraCells> trelFreespacePinhole::ListCells(trelSimulationParameter& parameter,
                                                             trelSimulationResult& result)
{
  std::vector<trelCameraCells> cameras;
  if (!result.GetMediumResult(0) || !parameter.GetOuterShape()) return cameras;
  trelFreespacePinhole pinhole;
  pinhole.SetParameter(&parameter);
  pinhole.SetResult(&result);
  for (const int i : parameter.ListCameras()) {
    PixelCounts pixels;
    pinhole.Counts = &pixels;
    const auto& detector = *static_cast<const trelPlaneDetector*>(parameter.GetDetector(i));
    pinhole.ImageDetector(detector, i);
    cameras.push_back({i, pinhole.WeighCells(detector, pixels)});
  }
  return cameras;
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

double trelFreespacePinhole::TransferFactor(const trelVector& center, const trelVector& normal,
                                            double area, const trelVector& pixelPoint,
                                            const trelVector& detectorNormal)
{
  const trelVector v = pixelPoint - center;
  const double distance = Length(v);
  const double cosEmission = std::fabs(Dot(normal, v)) / distance;
  const double cosArrival = std::fabs(Dot(detectorNormal, v)) / distance;
  return cosEmission * cosArrival * area / (distance * distance);
}

/** True if the coordinate along axis @p k lies within the box. */
static bool IsWithin(const trelBox& box, const trelVector& point, int k)
{
  return !(point[k] < box.Low[k] || point[k] > box.High[k]);
}

bool trelFreespacePinhole::RayHitsBox(const trelRay& ray, const trelBox& box, trelVector* hitPoint)
{
  trelVector plane;
  trelVector t = {-1.0, -1.0, -1.0};
  bool isInside = true;
  for (int k = 0; k < 3; ++k) {
    if (IsWithin(box, ray.Origin, k)) continue;
    isInside = false;
    plane[k] = ray.Origin[k] < box.Low[k] ? box.Low[k] : box.High[k];
    if (ray.Direction[k] != 0.0) t[k] = (plane[k] - ray.Origin[k]) / ray.Direction[k];
  }
  if (isInside) return true;
  int entry = t.Y > t.X ? 1 : 0;
  if (t.Z > t[entry]) entry = 2;
  if (t[entry] < 0.0) return false;
  *hitPoint = ray.At(t[entry]);
  (*hitPoint)[entry] = plane[entry];
  return IsWithin(box, *hitPoint, (entry + 1) % 3) && IsWithin(box, *hitPoint, (entry + 2) % 3);
}
