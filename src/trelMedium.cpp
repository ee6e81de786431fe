#include "trelMedium.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "trelGeometryTolerance.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMemory.h"
#include "trelShapeObject.h"
#include "trelTissueClaims.h"

/** Cells along each axis: a look-up reads one of a million, 1 MB, whatever the model. */
static constexpr int gridSize = 100;

/**
 * By how much a cell is widened before it is tested for being settled: a part of the cell, and a
 * part of the coordinates' size for models far from the origin. Rounding puts a point into the
 * wrong one of two neighbouring cells only within some 1e-16 of the coordinates' size from the
 * border, so that no point that falls in a settled cell lies outside of the widened cell.
 */
static constexpr double marginOfStep = 1e-6;
static constexpr double marginOfCoordinate = 1e-9;

/** The most pairs of related tissues, 0.5 GB. A hundred thousand tissues have as many if each meets
 *  more than a thousand others. */
static constexpr std::size_t maximumOfRelations = std::size_t{1} << 27;

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
  const trelTissue* outermost = GetOutermostTissue();
  return outermost ? outermost->GetShape() : nullptr;
}

void trelMedium::DropGrid()
{
  GridReady = false;
  TissueGrid.clear();
  SettledGrid.clear();
  TissueRelation.clear();
  RelationStart.clear();
  TissueOfIndex.clear();
}

/** Who gets a cell of a solid medium that two tissues claim: the smaller box, by its edges. */
static bool IsSmallerSolid(const trelVector& size, const trelVector& other)
{
  return size.X * size.Y * size.Z < other.X * other.Y * other.Z;
}

/** The same in a planar medium. The y edge of @p other stands on both sides, so that the narrower
 *  box gets the cell, whatever its height: results of planar models with overlapping tissues depend
 *  on it. */
static bool IsSmallerPlanar(const trelVector& size, const trelVector& other)
{
  return size.X * other.Y < other.X * other.Y;
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
  GridReady = false;
  if (!HasOuterShape()) {
    ErrorMacro("initial model error!");
    return false;
  }
  const bool fits = FitsInMemory([&] {
    AllocateGrid(*GetOutermostTissue()->GetShape());
    GridReady = FillGrid();
  });
  if (!fits) ReportNoMemory();
  return GridReady;
}

void trelMedium::ReportNoMemory()
{
  DropGrid();
  ErrorMacro("Out of memory while building the grid of tissues!");
}

void trelMedium::AllocateGrid(const trelShapeObject& outer)
{
  LayOutAxes(outer);
  TissueRelation.clear();
  RelationStart.assign(1, 0);
  TissueOfIndex = Tissues->GetItems<trelTissue>();
}

/** Fills the grid, as far as it gets if a tissue sticks out. */
bool trelMedium::FillGrid()
{
  const std::ptrdiff_t size[3] = {Axes[0].Size, Axes[1].Size, Axes[2].Size};
  trelTissueClaims claims(size, TissueOfIndex.size(), OutermostTissueIndex);
  const bool complete = ClaimAllCells(claims);
  if (TissueRelation.size() > maximumOfRelations) {
    ReportNoMemory();
    return false;
  }
  TissueGrid = claims.TakeHolders();
  ListReach();
  if (complete) SettleCells();
  return complete;
}

/** The last cell of an axis begins at the upper bound: a point there has a cell of its own. */
void trelMedium::LayOutAxes(const trelShapeObject& outer)
{
  Planar = outer.GetTraits().IsPlanar();
  const trelBox box = outer.GetBox();
  const double last = gridSize - 1;
  const trelVector step = 2.0 * outer.GetHalfAxes() / last;
  for (int axis = 0; axis < 3; ++axis)
    Axes[axis] = {box.Low[axis], box.High[axis], step[axis], gridSize, last};
  constexpr double infinity = std::numeric_limits<double>::infinity();
  if (Planar) Axes[2] = {-infinity, infinity, 1.0, 1, 0.0};
}

/** False if a tissue sticks out, or if there are too many relations. */
bool trelMedium::ClaimAllCells(trelTissueClaims& claims)
{
  const auto count = static_cast<std::int32_t>(TissueOfIndex.size());
  RelationStart.reserve(TissueOfIndex.size() + 1);
  for (std::int32_t tissue = 0; tissue < count; ++tissue) {
    if (tissue != OutermostTissueIndex) {
      WarnOfEmptyMesh(tissue);
      if (HasBody(tissue)) {
        if (ReportIfOutside(tissue)) return false;
        ClaimCells(tissue, claims);
      }
    }
    RelationStart.push_back(TissueRelation.size());
    if (TissueRelation.size() > maximumOfRelations) return false;
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
  const trelBox outer = GetTissueShape(OutermostTissueIndex)->GetBox();
  if (!GetTissueShape(tissue)->GetBox().ReachesBeyond(outer, Planar ? 2 : 3)) return false;
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

/** The cells of the tissue's box, which it claims; none if the box is turned inside out. */
trelCellRange trelMedium::CellsOf(std::int32_t tissue) const
{
  const trelBox box = GetTissueShape(tissue)->GetBox();
  trelCellRange range;
  for (int axis = 0; axis < 3; ++axis) {
    range.First[axis] = Axes[axis].CellOf(box.Low[axis]);
    range.Last[axis] = Axes[axis].CellOf(box.High[axis]);
  }
  return range;
}

/**
 * The cells in which a point may lie that the tissue's shape has: more than it claims by the
 * tolerance of the shapes, by the rounding of a point and of the shape's bounds, and, for a planar
 * shape in a solid medium, by all z, at which that does not look.
 */
trelCellRange trelMedium::CellsInReach(std::int32_t tissue) const
{
  const trelShapeObject& shape = *GetTissueShape(tissue);
  const trelBox box = shape.GetBox();
  trelCellRange range;
  for (int axis = 0; axis < 3; ++axis) {
    const double largest = std::max({std::fabs(Axes[axis].Min), std::fabs(Axes[axis].Max),
                                     std::fabs(box.Low[axis]), std::fabs(box.High[axis])});
    double margin = 2.0 * GeometryTolerance + marginOfCoordinate * largest;
    if (axis == 2 && shape.GetTraits().IsPlanar()) margin = std::numeric_limits<double>::infinity();
    const std::ptrdiff_t low = Axes[axis].CellOf(box.Low[axis] - margin);
    const std::ptrdiff_t high = Axes[axis].CellOf(box.High[axis] + margin);
    range.First[axis] = std::min(low, high);
    range.Last[axis] = std::max(low, high);
  }
  return range;
}

/** Enters a tissue in all cells of its box and relates it to those that it finds there. */
void trelMedium::ClaimCells(std::int32_t tissue, trelTissueClaims& claims)
{
  const auto first = static_cast<std::ptrdiff_t>(TissueRelation.size());
  claims.Claim(tissue, CellsOf(tissue), [&](std::int32_t holder) {
    TissueRelation.push_back(holder);
    return IsSmaller(tissue, holder);
  });
  std::sort(TissueRelation.begin() + first, TissueRelation.end());
}

/** Whether a tissue gets the cells that it claims from their holder. */
bool trelMedium::IsSmaller(std::int32_t tissue, std::int32_t holder) const
{
  const trelVector size = GetTissueShape(tissue)->GetBox().GetSize();
  const trelVector other = GetTissueShape(holder)->GetBox().GetSize();
  return Planar ? IsSmallerPlanar(size, other) : IsSmallerSolid(size, other);
}

/** Of those that the grid does not know, since one ahead of them sticks out, none is related. */
bool trelMedium::AreRelated(std::int32_t tissue, std::int32_t other) const
{
  const auto later = static_cast<std::size_t>(std::max(tissue, other));
  if (later + 1 >= RelationStart.size()) return false;
  const std::int32_t* relation = TissueRelation.data();
  return std::binary_search(relation + RelationStart[later], relation + RelationStart[later + 1],
                            std::min(tissue, other));
}

void trelMedium::ListReach()
{
  const auto count = static_cast<std::int32_t>(TissueOfIndex.size());
  std::vector<trelCellRange> ranges;
  ranges.reserve(TissueOfIndex.size());
  for (std::int32_t tissue = 0; tissue < count; ++tissue) {
    const bool isAsked = tissue != OutermostTissueIndex && HasBody(tissue);
    ranges.push_back(isAsked ? CellsInReach(tissue) : trelCellRange{{0, 0, 0}, {-1, -1, -1}});
  }
  const std::ptrdiff_t size[3] = {Axes[0].Size, Axes[1].Size, Axes[2].Size};
  TissueReach.Build(size, ranges);
}

void trelMedium::SettleCells()
{
  SettledGrid.assign(TissueGrid.size(), NotSettled);
  for (std::ptrdiff_t i = 0; i < Axes[0].Size; ++i) {
    for (std::ptrdiff_t j = 0; j < Axes[1].Size; ++j) {
      for (std::ptrdiff_t k = 0; k < Axes[2].Size; ++k) {
        if (!IsSettled(i, j, k)) continue;
        const std::ptrdiff_t cell = CellOffset(i, j, k);
        SettledGrid[cell] =
            static_cast<std::uint8_t>(std::min<std::int32_t>(TissueGrid[cell], SettledByIndex));
      }
    }
  }
}

/**
 * Whether all points that fall in the cell lie strictly inside the shape of the tissue that the
 * cell names, so that the shape cannot say otherwise. Of a convex shape that is symmetric to its
 * centre planes, what LocatePoint computes grows with the distances from these planes, rounding
 * included: the corner that is farthest from the centre along each axis decides for the whole cell.
 * Cells in other shapes are not settled.
 *
 * Cells at the rim of the grid, in which points beyond the box fall too, reach beyond every shape
 * in the box and are never settled. A planar shape in a solid medium looks at no z and is left out.
 */
bool trelMedium::IsSettled(std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t k) const
{
  const trelShapeObject* shape = GetTissueShape(TissueGrid[CellOffset(i, j, k)]);
  const trelShapeTraits& traits = shape->GetTraits();
  if (!traits.Convex || traits.IsPlanar() != Planar) return false;
  const trelVector center = shape->GetCenter();
  const trelVector corner = {Axes[0].FarthestFrom(center.X, i), Axes[1].FarthestFrom(center.Y, j),
                             Axes[2].FarthestFrom(center.Z, k)};
  return shape->LocatePoint(corner) == PointInside;
}

bool trelMedium::IsOutsideBox(const trelVector& point) const
{
  for (int axis = 0; axis < 3; ++axis) {
    if (ToleranceLess(point[axis], Axes[axis].Min)) return true;
    if (ToleranceGreater(point[axis], Axes[axis].Max)) return true;
  }
  return false;
}

/** Where no settled cell answers. */
std::int32_t trelMedium::ResolveTissueIndex(const trelVector& point)
{
  if (ShapeIsTetrahedron) return Tetrahedron ? Tetrahedron->FindRegion(point) : 0;
  if (!GridReady) RetryBuild();
  if (GridReady) {
    const std::ptrdiff_t cell = CellAt(point);
    if (SettledGrid[cell] != NotSettled) return TissueGrid[cell];
  }
  return ConfirmTissueIndex(point);
}

bool trelMedium::Holds(std::int32_t tissue, const trelVector& point) const
{
  const trelShapeObject* shape = GetTissueShape(tissue);
  if (!shape) return false;
  const PointRelation relation = shape->LocatePoint(point);
  return relation == PointInside || relation == PointOnBoundary;
}

std::int32_t trelMedium::ConfirmTissueIndex(const trelVector& point) const
{
  if (TissueGrid.empty() || IsOutsideBox(point)) return -1;
  const std::ptrdiff_t cell[3] = {Axes[0].CellOf(point.X), Axes[1].CellOf(point.Y),
                                  Axes[2].CellOf(point.Z)};
  const std::int32_t claimant = TissueGrid[CellOffset(cell[0], cell[1], cell[2])];
  if (claimant != OutermostTissueIndex && Holds(claimant, point)) return claimant;
  trelTissueReach::List others = {nullptr, nullptr};  // none where the outermost is the claimant
  if (claimant != OutermostTissueIndex) others = TissueReach.GetTissues(cell[0], cell[1], cell[2]);
  std::int32_t holder = OutermostTissueIndex;
  for (const std::int32_t tissue : others) {
    if (tissue == claimant || !Holds(tissue, point)) continue;
    // Those that are related to the claimant come ahead of the outermost and of all others.
    if (AreRelated(tissue, claimant)) return tissue;
    if (holder == OutermostTissueIndex) holder = tissue;
  }
  const trelShapeObject* outer = GetTissueShape(OutermostTissueIndex);
  return outer->LocatePoint(point) == PointOutside ? -1 : holder;
}
