#ifndef trelMedium_h
#define trelMedium_h

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trelInlining.h"
#include "trelTissue.h"
#include "trelTissueReach.h"
#include "trelVector.h"

class trelList;
class trelMCTetrahedron;

/**
 * @class   trelMedium
 * @brief   the tissues, which of them bounds the medium, and what lies at a point
 *
 * The outermost tissue bounds the medium; the others lie in its bounding box and may overlap.
 * Around it lies the ambient space, which has only a refractive index. Or the medium is one
 * tetrahedral mesh whose regions are the tissues.
 *
 * GetTissueIndex is asked for every step in the outermost tissue. A regular grid over the bounding
 * box of the outermost shape answers it: each cell names a tissue that claims it, and every tissue
 * claims the cells of its own bounding box. The exact shapes then confirm, since a box is more than
 * its shape. A cell that lies wholly inside the shape that would be asked first is marked as
 * settled when the grid is built, and its answer needs no shape at all. These marks are a grid
 * of bytes, a quarter of the size of the grid of indices, so that more of it stays in the cache.
 * Where the first shape does not hold the point, those are asked that reach into its part of the
 * grid.
 *
 * The grid is built on the main thread before the run and only read after that. It knows the shapes
 * as they were then: a change of a shape needs a new build.
 */
class trelMedium final : public trelSimulationObject
{
  trelTypeMacro(trelMedium, trelSimulationObject)

public:
  trelMedium();
  ~trelMedium() override;

  /** Lets go of the tissues, their list, the mesh and the grid; the list is null after it. */
  virtual void ClearModel();

  /** The tissues in index order. The medium takes the list over with its items; the items of a
   *  former list are released. Drops the grid. */
  void SetTissues(trelList* tissues);
  trelList* GetTissues() const { return Tissues; }
  std::int32_t GetNumberOfTissues() const;
  /** Tissue @p i, from 0; null when there is none. */
  trelTissue* GetTissue(int i) const;

  /** Index of the tissue that bounds the medium, from 0, default 0; not checked. Drops the grid. */
  void SetOutermostTissueIndex(std::int32_t i);
  std::int32_t GetOutermostTissueIndex() const { return OutermostTissueIndex; }
  /** The tissue at that index; null when there is none. */
  trelTissue* GetOutermostTissue() const
  {
    // Asked for each packet from outside: not by a walk of the list once the grid stands.
    return GridReady ? TissueOfIndex[OutermostTissueIndex] : GetTissue(OutermostTissueIndex);
  }

  /** Refractive index of the space around the medium, default 1. */
  trelSetGetMacro(double, AmbientRefractiveIndex)

  /** Whether the medium is one tetrahedral mesh and not a nest of shapes, default false. */
  trelSetGetMacro(bool, ShapeIsTetrahedron)
  /** The mesh of a tetrahedral medium, held by reference; null until set. Null is ignored. */
  void SetTetrahedron(trelMCTetrahedron* mesh);
  trelMCTetrahedron* GetTetrahedron() const { return Tetrahedron; }

  /** What bounds the medium: the mesh, or the shape of the outermost tissue; null when missing. */
  trelShapeObject* GetOuterShape() const;

  /**
   * Builds the grid. Reports and returns false when there is no outermost shape, when a tissue's
   * box sticks out of the outermost one's (the grid then holds the tissues ahead of that one), or
   * when memory runs out, which more than 134 million pairs of tissues that meet in a cell count
   * as.
   */
  bool BuildTissueGrid();
  /** Whether the grid stands; a run does not start without it. */
  bool IsGridReady() const { return GridReady; }

  /**
   * The tissue that holds the point, -1 outside of the medium. In a tetrahedral medium the region
   * that the mesh finds, 0 without a mesh. A grid that is not ready is built first, without a lock;
   * while it cannot be built each look-up reports that and answers by the grid as far as it got.
   */
  std::int32_t GetTissueIndex(const trelVector& point)
  {
    if (GridReady && !ShapeIsTetrahedron) {
      const std::uint8_t cell = SettledGrid[CellAt(point)];
      if (cell < SettledByIndex) return cell;
    }
    return ResolveTissueIndex(point);
  }
  std::int32_t GetTissueIndex(double x, double y, double z)
  {
    return GetTissueIndex(trelVector{x, y, z});
  }

  /** Whether one byte tells that all of the point's cell lies inside the shape of @p tissue, which
   *  CanSettle(); the others need the shapes. Needs a grid that stands. */
  bool IsSettledIn(const trelVector& point, std::int32_t tissue) const
  {
    return SettledGrid[CellAt(point)] == tissue;
  }
  /** Whether a byte names the tissue, in a grid that stands. */
  bool CanSettle(std::int32_t tissue) const { return GridReady && tissue < SettledByIndex; }

  /** What GetTissueIndex answers in a medium of shapes, with settled cells confirmed like all
   *  others. -1 without a grid. */
  std::int32_t ConfirmTissueIndex(const trelVector& point) const;

  /** The shape of tissue @p i, null if it has none, without a walk through the list. Needs a built
   *  grid and an index in range. */
  trelShapeObject* GetTissueShape(std::int32_t i) const { return TissueOfIndex[i]->GetShape(); }

private:
  /** Whether tissue @p i takes part in the grid: a mesh that could not be loaded does not. */
  bool HasBody(std::int32_t i) const;
  void WarnOfEmptyMesh(std::int32_t tissue);
  /** The cells along one axis. The third axis of a planar medium has one cell without bounds. */
  struct GridAxis
  {
    double Min;          /**< lower bound of the outermost shape */
    double Max;          /**< upper bound */
    double Step;         /**< size of a cell */
    std::ptrdiff_t Size; /**< number of cells */
    double Last;         /**< Size - 1 */

    /** The cell that holds the coordinate, the nearest one when it lies beyond the grid; the first
     *  one for NaN, as with a step of 0. */
    std::ptrdiff_t CellOf(double coordinate) const
    {
      double cell = (coordinate - Min) / Step;
      cell = cell > 0.0 ? cell : 0.0;
      cell = cell < Last ? cell : Last;
      return static_cast<std::ptrdiff_t>(cell);
    }
    /** Of the two borders of the widened cell the one that is farther away from @p center. */
    double FarthestFrom(double center, std::ptrdiff_t cell) const;
  };

  bool HasOuterShape() const { return GetOutermostTissue() && GetOutermostTissue()->GetShape(); }
  void ReportNoMemory();
  void AllocateGrid(const trelShapeObject& outer);
  void LayOutAxes(const trelShapeObject& outer);
  bool FillGrid();
  bool ClaimAllCells(trelTissueClaims& claims);
  bool ReportIfOutside(std::int32_t tissue);
  /** Kept out of the look-ups, into which the packet loop would else take the whole build. */
  TREL_RARE void RetryBuild();
  trelCellRange CellsOf(std::int32_t tissue) const;
  trelCellRange CellsInReach(std::int32_t tissue) const;
  void ClaimCells(std::int32_t tissue, trelTissueClaims& claims);
  bool IsSmaller(std::int32_t tissue, std::int32_t holder) const;
  bool AreRelated(std::int32_t tissue, std::int32_t other) const;
  void ListReach();
  void SettleCells();
  bool IsSettled(std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t k) const;
  void DropGrid();

  std::ptrdiff_t CellOffset(std::ptrdiff_t i, std::ptrdiff_t j, std::ptrdiff_t k) const
  {
    return (i * Axes[1].Size + j) * Axes[2].Size + k;
  }
  std::ptrdiff_t CellAt(const trelVector& point) const
  {
    return CellOffset(Axes[0].CellOf(point.X), Axes[1].CellOf(point.Y), Axes[2].CellOf(point.Z));
  }
  std::int32_t ResolveTissueIndex(const trelVector& point);
  bool IsOutsideBox(const trelVector& point) const;
  bool Holds(std::int32_t tissue, const trelVector& point) const;

  trelList* Tissues;
  std::int32_t OutermostTissueIndex = 0;
  double AmbientRefractiveIndex = 1.0;
  bool ShapeIsTetrahedron = false;
  trelMCTetrahedron* Tetrahedron = nullptr;

  bool GridReady = false;
  /** The medium is a planar shape, and the grid has one cell along the third axis. */
  bool Planar = false;
  GridAxis Axes[3] = {};
  /** The cells, the last axis fastest: the index of the tissue whose shape is asked first. Empty
   *  until built. */
  std::vector<std::int32_t> TissueGrid;
  /** The same cells: the tissue of a settled one, or one of the values below. */
  std::vector<std::uint8_t> SettledGrid;
  /** Settled, but the index of the tissue is too large for a byte: it stands in TissueGrid. */
  static constexpr std::uint8_t SettledByIndex = 254;
  static constexpr std::uint8_t NotSettled = 255;
  /** Two tissues are related if the later one claimed a cell that the earlier one held. For each
   *  tissue the earlier ones that are related to it, ascending, in one array with its starts; never
   *  the outermost. */
  std::vector<std::int32_t> TissueRelation;
  std::vector<std::size_t> RelationStart;
  trelTissueReach TissueReach;
  /** The items of the list as of the last build. */
  std::vector<trelTissue*> TissueOfIndex;
};

#endif
