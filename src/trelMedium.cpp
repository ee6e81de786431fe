#include "trelMedium.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelShapeObject.h"

/** Cells along each axis: a look-up reads one of a million, 4 MB, whatever the model. */
static constexpr int gridSize = 100;

/**
 * By how much a cell is widened before it is tested for being settled: a part of the cell, and a
 * part of the coordinates' size for models far from the origin. Rounding puts a point into the
 * wrong one of two neighbouring cells only within some 1e-16 of the coordinates' size from the
 * border, so that no point that falls in a settled cell lies outside of the widened cell.
 */
static constexpr double marginOfStep = 1e-6;
static constexpr double marginOfCoordinate = 1e-9;

trelMedium::trelMedium() : Tissues(new trelList) {}

trelMedium::~trelMedium()
{
  trelMedium::ClearModel();
}

void trelMedium::ClearModel()
{
  DropGrid();
  ReleaseList<trelTissue>(Tissues, &trelObject::UnRegister);
  ReleaseReference(Tetrahedron);
}

void trelMedium::SetTissues(trelList* tissues)
{
  if (tissues == Tissues) return;
  DropGrid();
  ReleaseList<trelTissue>(Tissues, &trelObject::UnRegister);
  Tissues = tissues;
}

std::int32_t trelMedium::GetNumberOfTissues() const
{
  return Tissues ? Tissues->GetNumberOfItems() : 0;
}

trelTissue* trelMedium::GetTissue(int i) const
{
  return Tissues ? Tissues->GetItem<trelTissue>(i) : nullptr;
}

void trelMedium::SetOutermostTissueIndex(std::int32_t i)
{
  if (i != OutermostTissueIndex) DropGrid();
  OutermostTissueIndex = i;
}

void trelMedium::SetTetrahedron(trelMCTetrahedron* mesh)
{
  ReplaceReference(Tetrahedron, mesh);
}

trelShapeObject* trelMedium::GetOuterShape() const
{
  if (ShapeIsTetrahedron) return Tetrahedron;
  // Asked for each packet from outside: not by a walk of the list once the grid stands.
  const trelTissue* outermost =
      GridReady ? TissueOfIndex[OutermostTissueIndex] : GetOutermostTissue();
  return outermost ? outermost->GetShape() : nullptr;
}

void trelMedium::DropGrid()
{
  GridReady = false;
  TissueGrid.clear();
  TissueRelation.clear();
  TissueOfIndex.clear();
}

static bool IsPlanarShape(const trelShapeObject& shape)
{
  return shape.GetShapeType() < ShapeEllipsoid;
}

/** Lower and upper bounds of a shape: x, y and z minimum and maximum in turn. */
struct trelMediumBox
{
  explicit trelMediumBox(const trelShapeObject& shape) { shape.GetBoundingBox(Bounds); }

  double Min(int axis) const { return Bounds[2 * axis]; }
  double Max(int axis) const { return Bounds[2 * axis + 1]; }
  double Extent(int axis) const { return Max(axis) - Min(axis); }

  double Bounds[6];
};

/** Whether @p inner reaches beyond @p outer along one of the first @p axes axes. */
static bool SticksOut(const trelMediumBox& inner, const trelMediumBox& outer, int axes)
{
  for (int axis = 0; axis < axes; ++axis) {
    if (inner.Min(axis) < outer.Min(axis) || inner.Max(axis) > outer.Max(axis)) return true;
  }
  return false;
}

/** Who gets a cell of a solid medium that two tissues claim: the smaller box. */
static bool IsSmallerSolid(const trelMediumBox& box, const trelMediumBox& other)
{
  return box.Extent(0) * box.Extent(1) * box.Extent(2) <
         other.Extent(0) * other.Extent(1) * other.Extent(2);
}

/** The same in a planar medium. The y extent of @p other stands on both sides, so that the narrower
 *  box gets the cell, whatever its height: results of planar models with overlapping tissues depend
 *  on it. */
static bool IsSmallerPlanar(const trelMediumBox& box, const trelMediumBox& other)
{
  return box.Extent(0) * other.Extent(1) < other.Extent(0) * other.Extent(1);
}

double trelMedium::GridAxis::FarthestFrom(double center, std::ptrdiff_t cell) const
{
  const double margin =
      marginOfStep * Step + marginOfCoordinate * std::max(std::fabs(Min), std::fabs(Max));
  const double low = Min + static_cast<double>(cell) * Step - margin;
  const double high = Min + static_cast<double>(cell + 1) * Step + margin;
  return center - low > high - center ? low : high;
}

bool trelMedium::BuildTissueGrid()
{
  if (!HasOuterShape()) {
    ErrorMacro("initial model error!");
    return false;
  }
  GridReady = false;
  try {
    AllocateGrid(*GetOutermostTissue()->GetShape());
    if (!ClaimAllCells()) return false;
  } catch (const std::bad_alloc&) {
    DropGrid();
    ErrorMacro("Out of memory while building the grid of tissues!");
    return false;
  }
  SettleCells();
  GridReady = true;
  return true;
}

void trelMedium::AllocateGrid(const trelShapeObject& outer)
{
  LayOutAxes(outer);
  TissueGrid.assign(CellOffset(Axes[0].Size, 0, 0), OutermostTissueIndex);
  TissueRelation.assign(GetNumberOfTissues(), {});
  TissueOfIndex.clear();
  TissueOfIndex.reserve(GetNumberOfTissues());
  Tissues->InitTraversal();
  while (void* tissue = Tissues->GetNextItem()) {
    TissueOfIndex.push_back(static_cast<trelTissue*>(tissue));
  }
}

/** The last cell of an axis begins at the upper bound: a point there has a cell of its own. */
void trelMedium::LayOutAxes(const trelShapeObject& outer)
{
  Planar = IsPlanarShape(outer);
  const trelMediumBox box(outer);
  double halfAxes[3];
  outer.GetHalfAxes(&halfAxes[0], &halfAxes[1], &halfAxes[2]);
  for (int axis = 0; axis < 3; ++axis) {
    const double last = gridSize - 1;
    Axes[axis] = {box.Min(axis), box.Max(axis), 2.0 * halfAxes[axis] / last, gridSize, last};
  }
  constexpr double infinity = std::numeric_limits<double>::infinity();
  if (Planar) Axes[2] = {-infinity, infinity, 1.0, 1, 0.0};
}

bool trelMedium::ClaimAllCells()
{
  const auto count = static_cast<std::int32_t>(TissueOfIndex.size());
  for (std::int32_t tissue = 0; tissue < count; ++tissue) {
    if (tissue == OutermostTissueIndex) continue;
    WarnOfEmptyMesh(tissue);
    if (!HasBody(tissue)) continue;
    if (ReportIfOutside(tissue)) return false;
    ClaimCells(tissue);
  }
  return true;
}

bool trelMedium::HasBody(std::int32_t i) const
{
  const trelShapeObject* shape = GetTissueShape(i);
  return shape && !shape->IsEmpty();
}

void trelMedium::WarnOfEmptyMesh(std::int32_t tissue)
{
  const trelShapeObject* shape = GetTissueShape(tissue);
  if (!shape || !shape->IsEmpty()) return;
  WarningMacro("the mesh of tissue " << tissue + 1 << " has no triangles: the tissue is nowhere");
}

/** Whether the box of this tissue sticks out of the medium's, after a report if it does. */
bool trelMedium::ReportIfOutside(std::int32_t tissue)
{
  const trelMediumBox box(*GetTissueShape(tissue));
  const trelMediumBox outer(*GetTissueShape(OutermostTissueIndex));
  if (!SticksOut(box, outer, Planar ? 2 : 3)) return false;
  if (Planar) {
    ErrorMacro(" tissue shape is outside the Medium shape, initial model error!");
  } else {
    ErrorMacro(" tissue shape is outside the outermost tissue shape, initial model error!");
  }
  return true;
}

/** What a look-up without a ready grid does. While a tissue sticks out that is all that there is to
 *  say, and the grid is left alone: the look-ups of a running simulation then only read it. */
void trelMedium::RetryBuild()
{
  const auto count = static_cast<std::int32_t>(TissueOfIndex.size());
  for (std::int32_t tissue = 0; tissue < count; ++tissue) {
    if (tissue == OutermostTissueIndex || !HasBody(tissue)) continue;
    if (ReportIfOutside(tissue)) return;
  }
  BuildTissueGrid();
}

/** Enters a tissue in all cells of its box. */
void trelMedium::ClaimCells(std::int32_t tissue)
{
  const trelMediumBox box(*GetTissueShape(tissue));
  std::ptrdiff_t first[3];
  std::ptrdiff_t last[3];
  for (int axis = 0; axis < 3; ++axis) {
    first[axis] = Axes[axis].CellOf(box.Min(axis));
    last[axis] = Axes[axis].CellOf(box.Max(axis));
  }
  std::int32_t holder = OutermostTissueIndex;
  std::int32_t winner = tissue;
  for (std::ptrdiff_t i = first[0]; i <= last[0]; ++i) {
    for (std::ptrdiff_t j = first[1]; j <= last[1]; ++j) {
      for (std::ptrdiff_t k = first[2]; k <= last[2]; ++k) {
        std::int32_t& cell = TissueGrid[CellOffset(i, j, k)];
        // Neighbouring cells mostly have one holder, and the answer is that of the last one.
        if (cell != holder) {
          holder = cell;
          winner = cell == OutermostTissueIndex ? tissue : Contend(tissue, cell);
        }
        cell = winner;
      }
    }
  }
  std::sort(TissueRelation[tissue].begin(), TissueRelation[tissue].end());
}

/** Relates a tissue and the holder of a cell that it claims; returns which of them gets it. */
std::int32_t trelMedium::Contend(std::int32_t tissue, std::int32_t holder)
{
  // Tissues claim in ascending order: a holder that met this one before has it as its last entry.
  std::vector<std::int32_t>& holderRelation = TissueRelation[holder];
  if (holderRelation.empty() || holderRelation.back() != tissue) {
    holderRelation.push_back(tissue);
    TissueRelation[tissue].push_back(holder);
  }
  const trelMediumBox box(*GetTissueShape(tissue));
  const trelMediumBox holderBox(*GetTissueShape(holder));
  const bool smaller = Planar ? IsSmallerPlanar(box, holderBox) : IsSmallerSolid(box, holderBox);
  return smaller ? tissue : holder;
}

void trelMedium::SettleCells()
{
  for (std::ptrdiff_t i = 0; i < Axes[0].Size; ++i) {
    for (std::ptrdiff_t j = 0; j < Axes[1].Size; ++j) {
      for (std::ptrdiff_t k = 0; k < Axes[2].Size; ++k) {
        if (!IsSettled(i, j, k)) continue;
        std::int32_t& cell = TissueGrid[CellOffset(i, j, k)];
        cell = ~cell;
      }
    }
  }
}

/**
 * Whether all points that fall in the cell lie strictly inside the shape of the tissue that the
 * cell names, so that the shape cannot say otherwise. The analytic shapes are convex and symmetric
 * to their centre planes, and what LocatePoint computes grows with the distances from these planes,
 * rounding included: the corner that is farthest from the centre along each axis decides for the
 * whole cell.
 *
 * Cells at the rim of the grid, in which points beyond the box fall too, reach beyond every shape
 * in the box and are never settled. A planar shape in a solid medium looks at no z and is left out.
 */
bool trelMedium::IsSettled(std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t k) const
{
  const trelShapeObject* shape = GetTissueShape(TissueGrid[CellOffset(i, j, k)]);
  const ShapeType type = shape->GetShapeType();
  if (type == ShapeTriangleMesh || type == ShapeTetrahedron || IsPlanarShape(*shape) != Planar) {
    return false;
  }
  double center[3];
  shape->GetCenter(center);
  return shape->LocatePoint(Axes[0].FarthestFrom(center[0], i), Axes[1].FarthestFrom(center[1], j),
                            Axes[2].FarthestFrom(center[2], k)) == PointInside;
}

bool trelMedium::IsOutsideBox(double x, double y, double z) const
{
  const double point[3] = {x, y, z};
  for (int axis = 0; axis < 3; ++axis) {
    if (ToleranceLess(point[axis], Axes[axis].Min)) return true;
    if (ToleranceGreater(point[axis], Axes[axis].Max)) return true;
  }
  return false;
}

/** Where no settled cell answers. */
std::int32_t trelMedium::ResolveTissueIndex(double x, double y, double z)
{
  if (ShapeIsTetrahedron) return Tetrahedron ? Tetrahedron->FindRegion(x, y, z) : 0;
  if (!GridReady) RetryBuild();
  return ConfirmTissueIndex(x, y, z);
}

bool trelMedium::Holds(std::int32_t tissue, double x, double y, double z) const
{
  const trelShapeObject* shape = GetTissueShape(tissue);
  if (!shape) return false;
  const PointRelation relation = shape->LocatePoint(x, y, z);
  return relation == PointInside || relation == PointOnBoundary;
}

std::int32_t trelMedium::ConfirmTissueIndex(double x, double y, double z) const
{
  if (TissueGrid.empty() || IsOutsideBox(x, y, z)) return -1;
  const std::int32_t cell = ReadCell(x, y, z);
  const std::int32_t claimant = cell < 0 ? ~cell : cell;
  const trelShapeObject* outer = GetTissueShape(OutermostTissueIndex);
  if (claimant == OutermostTissueIndex) {
    return outer->LocatePoint(x, y, z) == PointOutside ? -1 : claimant;
  }
  if (Holds(claimant, x, y, z)) return claimant;
  for (const std::int32_t related : TissueRelation[claimant]) {
    if (Holds(related, x, y, z)) return related;
  }
  if (outer->LocatePoint(x, y, z) == PointOutside) return -1;
  const auto count = static_cast<std::int32_t>(TissueOfIndex.size());
  for (std::int32_t tissue = 0; tissue < count; ++tissue) {
    if (tissue == OutermostTissueIndex || tissue == claimant) continue;
    if (Holds(tissue, x, y, z)) return tissue;
  }
  return OutermostTissueIndex;
}
