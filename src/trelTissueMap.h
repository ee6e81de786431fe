#ifndef trelTissueMap_h
#define trelTissueMap_h

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "trelMeshCrossings.h"
#include "trelTissueOverlap.h"
#include "trelTissueReach.h"
#include "trelVector.h"

class trelMCTetrahedron;
class trelMedium;
class trelShapeObject;

/** Where the tissue changes along a ray. */
struct trelTissueChange
{
  /** Distance along the ray, face, and unit normal of the surface that is met first, turned along
   * the ray. The face is one of the outermost shape where the change leads out of it. */
  trelHit Hit;
  /** The tissue behind all surfaces that lie at one place; -1 outside of the medium. */
  std::int32_t Tissue = -1;
  /** Surfaces at one place: up to this distance, mm, along the normal. A packet that goes on from
   *  the hit in the direction u stands on what is ahead by less than Reach / |u n|. */
  double Reach = 0.0;
  /** The same along a ray is at most this, mm: grazing a surface passes nothing for good. */
  double LongestReach = 0.0;

  /** How far ahead surfaces have been passed on the way on from the hit in @p direction: what goes
   *  into the next FindChange() as the distance to search after. */
  double ReachAlong(const trelVector& direction) const
  {
    const double cosine = std::fabs(Dot(Hit.Normal, direction));
    return Reach < cosine * LongestReach ? Reach / cosine : LongestReach;
  }
};

/** A convex body, without what lies within rounding of its surface: between two points that it
 * holds there is no surface of it. */
struct trelConvexBody
{
  bool IsKnown = false;  ///< else nothing is told of ways in it
  /** The first axes along which it is curved: 0, 2 or 3. */
  int CurvedAxes = 0;
  trelVector Center;
  trelVector HalfAxes;  ///< of the flat axes
  trelVector Inverse;   ///< of the half-lengths of the curved axes
  /** What the sum of the squares along the curved axes stays below. */
  double Limit = 0.0;

  bool Holds(const trelVector& point) const
  {
    const trelVector p = point - Center;
    double sum = 0.0;
    for (int axis = 0; axis < CurvedAxes; ++axis) {
      const double q = p[axis] * Inverse[axis];
      sum += q * q;
    }
    bool holds = sum < Limit;
    for (int axis = CurvedAxes; axis < 3; ++axis)
      holds = holds && std::fabs(p[axis]) < HalfAxes[axis];
    return holds;
  }
};

/** A grid that tells how far any change of tissue is from the points of each cell at least, but for
 *  the surface of a convex outermost body. */
struct trelSafeCells
{
  /** Its lowest corner, cells per mm and cells along each axis; 0 per mm along z in the plane. */
  trelVector Low, PerStep, Cells;
  double Quantum = 0.0;
  /** From the point of a cell that its distance counts for to any other, mm at most. */
  double ToCorner = 0.0;
  /** By cell, the last axis fastest: the bound of the distance, in quanta; none without a grid. */
  const std::uint8_t* Distances = nullptr;
};

/** What is known of a way that may be clear. */
struct trelClearance
{
  /** Of a clear way: how far its start is from the nearest change at least, mm, but for the surface
   *  of a convex outermost body. */
  double Radius = 0.0;
  /** Of any: it does not meet the surface of the outermost body. */
  bool IsWithin = false;
};

/**
 * @class   trelTissueMap
 * @brief   which tissue a point lies in, and where that changes along a ray, by the exact rules
 *
 * The outermost tissue has what no other tissue holds, and clips the others. Of those that hold a
 * point the one with the smallest measure has it (volume, in the plane area, of the whole shape),
 * of equal ones (within 1e-6 of it) the earlier. So bodies may nest to any depth, overlap, touch
 * and be flush with the outermost shape.
 *
 * From within a tissue only three kinds of surfaces can end it: its own, those of tissues that come
 * before it by that order, and the outermost. The nearest of them is found, and the tissue behind
 * all that lies at that place is the one of a point a reach further on.
 *
 * Built before the run; the questions of the packet loop read only, and allocate nothing.
 */
class trelTissueMap
{
public:
  /** Surfaces count as lying at one place within this part of the diagonal of the outermost body's
   *  box; the second if one of them is a mesh, which files hold in single precision. */
  static constexpr double ReachOfShapes = 1e-9;
  static constexpr double ReachOfMeshes = 1e-7;
  /** The most that this makes along a ray, in the same unit. */
  static constexpr double ReachOfGrazing = 1e-4;

  /** Takes the shapes of the medium, or its tetrahedral mesh, whose tables must have been built
   *  (trelSimulationParameter::PrepareGeometry). The grid of safe distances between shapes has
   *  @p cells cells at most: for few questions a coarse one does, which is built sooner. False if
   *  memory runs out or there is no outermost body. */
  bool Build(const trelMedium& medium, double cells = MostCells);
  static constexpr double MostCells = 1e6;

  /** The tissue at the point, -1 outside. */
  std::int32_t FindTissue(const trelVector& point) const;
  /** The tissue at the distance @p at on a ray, on which FindChange() agrees with it. */
  std::int32_t FindTissueOn(const trelRay& ray, double at) const
  {
    return FindTissueOn(ray, at, at);
  }

  /** The tissue that the ray goes on into from its origin, which may lie on surfaces: a body that
   * it only touches there is not entered. -1 outside. */
  std::int32_t FindTissueAhead(const trelRay& ray) const;
  /** The tissue that the ray comes from if its origin lies on the skin and it leads out there,
   * where
   *  @p change is; else -1. */
  std::int32_t FindTissueLeft(const trelRay& ray, trelTissueChange* change) const;

  /**
   * The nearest change of the tissue along the ray from within @p tissue, at a distance above
   * @p after and up to @p limit. What lies ahead by @p after or less has been passed. If the ray is
   * not in @p tissue just behind @p after, the change is there, at @p after. The direction is a
   * unit vector; in the plane its z is 0. False if there is none. @p known spares the look at the
   * tissue just behind @p after: it is @p tissue. @p within spares that at the outermost surface:
   * it is known not to be met.
   */
  bool FindChange(const trelRay& ray, std::int32_t tissue, double after, double limit,
                  trelTissueChange* change, bool known = false, bool within = false) const;

  /** Where the line through the ray enters the medium: the nearest entry of the outermost body
   * ahead of the origin if that is outside, else the nearest entry at or behind the origin (a
   * negative distance). False if there is none. */
  bool FindEntry(const trelRay& ray, trelTissueChange* change) const;

  /** A lower bound of the distance from any point of the cell that @p point lies in to the nearest
   *  change of tissue, but for the surface of a convex outermost body, which StaysWithin() knows
   * of; 0 outside of the grid. One read. */
  double GetSafeDistance(const trelVector& point) const
  {
    trelVector at;
    if (!FindCell(point, &at)) return 0.0;
    const std::ptrdiff_t cell =
        (static_cast<std::ptrdiff_t>(at.X) * Rows + static_cast<std::ptrdiff_t>(at.Y)) * Columns +
        static_cast<std::ptrdiff_t>(at.Z);
    return std::max(Quantum * Safe[static_cast<std::size_t>(cell)] - ToCorner, 0.0);
  }
  /** Whether a way in the medium to @p end, from where it may have started on the skin, is known
   * not to meet the surface of a convex outermost body; true if that is not one. */
  bool StaysWithin(const trelVector& end) const { return !Convex.IsKnown || Convex.Holds(end); }
  /** The same two flat, for packets side by side. */
  trelSafeCells GetSafeCells() const
  {
    return {Low, PerStep, Cells, Quantum, ToCorner, Safe.empty() ? nullptr : Safe.data()};
  }
  const trelConvexBody& GetConvexOutermost() const { return Convex; }
  /** The same for the point itself, from the shapes. */
  double BoundDistance(const trelVector& point) const;
  /** Whether the way, whose start lies in @p tissue, is known to meet no change; false proves
   *  nothing. */
  bool IsClear(const trelWay& way, std::int32_t tissue, trelClearance* clearance) const;
  /** The same of a way beside the only mesh, sooner; false proves nothing. */
  bool IsClearBesideMesh(const trelWay& way, trelClearance* clearance) const
  {
    double bound = 0.0;
    if (!OnlyMesh || !StaysWithin(way.To) || !OnlyMesh->IsClearOfSlabs(way, &bound)) return false;
    clearance->Radius = bound - Margin;
    return true;
  }
  /** What rounding may make of a distance between points of the medium, mm. */
  double GetMargin() const { return Margin; }

  /** The pairs of tissues that overlap in part, ascending; see OverlapInPart(), for which the
   * meshes are prepared. Of too many bodies, whose comparison would take minutes, those among the
   * first pairs with boxes that meet:
   *  @p looked gets their number, and is below 0 if all were looked at. May throw. */
  std::vector<trelTissueOverlap> FindOverlaps(std::int64_t* looked) const;
  /** A change at @p hit that is none of tissues: with the reach of this map. */
  trelTissueChange MakeMark(const trelHit& hit) const
  {
    trelTissueChange mark;
    mark.Hit = hit;
    mark.Reach = (HasMeshes ? ReachOfMeshes : ReachOfShapes) * Diagonal;
    mark.LongestReach = ReachOfGrazing * Diagonal;
    return mark;
  }
  /** The least distance, mm, within which surfaces count as lying at one place. */
  double GetShortestReach() const { return ReachOfShapes * Diagonal; }
  /** The measure of a tissue's whole shape, or of a region of the mesh, mm^3 or mm^2; 0 without a
   *  body. */
  double GetMeasure(std::int32_t tissue) const
  {
    const auto i = static_cast<std::size_t>(tissue);
    return i < Measures.size() ? Measures[i] : 0.0;
  }

private:
  /** A tissue's body, and its box widened by what rounding may make of a point. */
  struct Body
  {
    const trelShapeObject* Shape;
    std::int32_t Tissue;
    bool IsMesh;
    trelBox Box;
  };

  bool TakeBodies(const trelMedium& medium);
  bool TakeMesh(const trelMCTetrahedron* mesh);
  void AddBody(const trelShapeObject& shape, std::int32_t tissue);
  void RankBodies(std::int32_t outermost);
  void WidenBoxes();
  const Body& Outermost() const { return Bodies.back(); }
  /** How many of the bodies, from the first on, have surfaces that can end the tissue; the
   * outermost counts in any case. */
  std::size_t CountRivals(std::int32_t tissue) const
  {
    const auto i = static_cast<std::size_t>(tissue);
    return i < Rivals.size() ? Rivals[i] : 0;
  }
  void TakeConvexOutermost();
  void FindOnlyMesh();
  void FindOuterFace(const trelRay& ray, trelTissueChange* change) const;
  double BoundInnerDistance(const trelVector& point, double bound) const;
  double ReachOf(const Body& body) const;
  const Body* FindFirstCrossing(const trelRay& ray, std::size_t rivals, double after, double limit,
                                trelHit* hit, bool within = false,
                                std::int32_t* behind = nullptr) const;
  /** Where the point lies in the grid, in cells; false beside it. */
  bool FindCell(const trelVector& point, trelVector* cell) const
  {
    *cell = {(point.X - Low.X) * PerStep.X, (point.Y - Low.Y) * PerStep.Y,
             (point.Z - Low.Z) * PerStep.Z};
    return std::min({cell->X, cell->Y, cell->Z}) >= 0.0 && cell->X < Cells.X && cell->Y < Cells.Y &&
           cell->Z < Cells.Z;
  }
  template <class Visit>
  bool VisitBodies(const trelVector& point, double distance, std::size_t rivals, Visit visit) const;
  /** Of how long pieces, mm, a way is to be asked about, so that bodies near each piece are visited
   * and not all: infinite where it is not worth it. */
  double GetPieceOfWay(double length, std::size_t rivals) const
  {
    constexpr double shortened = 0.999, bodiesOfPiece = 8.0;
    const double piece = shortened * Nearness, bodies = static_cast<double>(rivals);
    if (bodies <= bodiesOfPiece || length < piece) return HUGE_VAL;
    return bodiesOfPiece * length < bodies * piece ? piece : HUGE_VAL;
  }
  template <class Question>
  std::int32_t FindFirstHolder(const trelVector& point, Question holds) const;
  std::int32_t FindTissueOn(const trelRay& ray, double at, double atOfMeshes,
                            const Body* crossed = nullptr, bool isIn = false) const;
  void LookBehind(const trelRay& ray, const Body& first, std::int32_t region,
                  trelTissueChange* change) const;
  void MakeChangeBefore(const trelRay& ray, double after, trelTissueChange* change) const;
  bool StartsInside(const trelRay& ray) const;
  double ComputeMargin() const;
  void LayOutGrid(double cells);
  void ListNearBodies();
  void FillGrid();
  void FillGridOfMesh();

  /** By rank: of those that hold a point the first has it; the outermost body is the last. In a
   *  tetrahedral medium there is one, the mesh. */
  std::vector<Body> Bodies;
  /** By tissue: the bodies, from the first on, whose surfaces can end it, its own included. */
  std::vector<std::size_t> Rivals;
  /** By tissue or region. */
  std::vector<double> Measures;
  const trelMCTetrahedron* Mesh = nullptr;
  /** Of the mesh beside which there is nothing but a convex outermost body; else null. */
  const trelMeshCrossings* OnlyMesh = nullptr;
  trelConvexBody Convex;
  double Diagonal = 0.0;
  double Margin = 0.0;  ///< what rounding may make of a distance between points, mm
  bool Planar = false;
  bool HasMeshes = false;

  /** The grid: its lowest corner, cells per mm and cells along each axis; 0 per mm along z in the
   *  plane. */
  trelVector Low, PerStep, Cells;
  std::ptrdiff_t Rows = 0, Columns = 0;
  double Quantum = 0.0;
  /** From the point of a cell that its distance counts for to any other, mm at most. */
  double ToCorner = 0.0;
  /** The bodies, by rank and without the outermost, whose boxes come within Nearness, mm, of a
   * point of the cell. */
  trelTissueReach Near;
  double Nearness = 0.0;
  /** By cell, the last axis fastest: the bound of the distance, in quanta; of shapes that at the
   *  cell's centre, of a tetrahedral mesh that for the whole voxel. */
  std::vector<std::uint8_t> Safe;
};

#endif
