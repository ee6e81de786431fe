#ifndef trelMeshCrossings_h
#define trelMeshCrossings_h

#include <cstdint>
#include <functional>
#include <vector>

#include "trelSurfaceSlabs.h"
#include "trelVoxelTable.h"

/** Where a ray crosses a triangle of a mesh. */
struct trelMeshCrossing
{
  double Distance;
  std::uint32_t Triangle;
  /** 1 along the normal that the winding gives, -1 against it. */
  int Side;
};

struct trelCrossingList;

/**
 * @class   trelMeshCrossings
 * @brief   where rays cross the triangles of a mesh, without a tolerance and without a gap
 *
 * A ray through an edge or a vertex crosses exactly one of the triangles there, or as many inwards
 * as outwards. Corners are sheared into the frame of the ray, each alike in all triangles that have
 * it, and the side on which an edge passes the ray is the exact sign of a determinant of two
 * products (S. Woop, C. Benthin and I. Wald, JCGT 2 (2013) 65). Where that is 0 the ray counts as
 * moved by an infinitesimal way, the same for all edges (H. Edelsbrunner and E. Muecke, ACM Trans.
 * Graph. 9 (1990) 66).
 *
 * The voxels of a trelVoxelTable are walked from front to back up to that of the nearest crossing.
 * Each knows how many voxels around are free of triangles, so that an empty space is one step.
 * Which region lies at a point is what its voxel says or, of a voxel with triangles, what the
 * crossings along an axis say. Crossings at one place count together: where they lead nowhere, as
 * at an edge that a ray touches, there is none.
 *
 * The first region of a triangle lies behind its outward normal, the second in front.
 *
 * @sa trelMeshOrientation
 */
class trelMeshCrossings
{
public:
  /** All triangles, or those of the outer surface. */
  enum Surfaces
  {
    AllSurfaces,
    OuterSurface
  };
  /** Which way the normals of the winding look: 1 outward, -1 inward, for each triangle. May throw
   *  std::bad_alloc. */
  using Orientation = std::function<std::vector<std::int8_t>(const trelMeshCrossings&)>;

  /** Prepares all questions to @p table, which must outlive this. False if memory runs out. */
  bool Build(const trelVoxelTable& table, const Orientation& orient);
  bool IsBuilt() const { return !Turns.empty(); }

  /** The nearest crossing above @p after and up to @p limit; only the distance, face and outward
   *  unit normal of @p hit are written, and on a miss nothing. @p behind, if given, gets the region
   *  that the crossing leads into, or NotKnown where several lie at its place. */
  bool FindCrossing(const trelRay& ray, double after, double limit, Surfaces surfaces, trelHit* hit,
                    std::int32_t* behind = nullptr) const;
  static constexpr std::int32_t NotKnown = -2;
  /** The region at the point, -1 outside. A point within rounding of a triangle lies on either
   *  side. */
  std::int32_t FindRegion(const trelVector& point) const;
  /** The region at the distance @p at on the ray. It agrees with what FindCrossing() finds on this
   *  ray next, also where the ray runs within triangles. */
  std::int32_t FindRegionOn(const trelRay& ray, double at) const;
  /** A lower bound of the distance from any triangle, mm; may be 0 instead of @p wanted or less. */
  double BoundDistance(const trelVector& point, double wanted = 0.0) const;
  /** Whether the way is known to meet no triangle; false proves nothing. Lowers @p radius to a
   *  bound of the distance of its start from any. */
  bool IsClear(const trelWay& way, double* radius) const;
  /** The same of a way near the surface, sooner: by its slabs alone. */
  bool IsClearOfSlabs(const trelWay& way, double* radius) const
  {
    int voxel[3];
    if (!Table->FindVoxel(way.From, voxel)) return false;
    const trelSlabStack slabs = Slabs.Find(voxel);
    if (slabs.IsEmpty() || slabs.FindClearLength(way) < way.Length) return false;
    *radius = slabs.BoundDistance(way.From);
    return true;
  }
  /** How many voxels around this one are free of triangles, itself not counted: so many edges of a
   *  voxel all its points are away from any. 0 for one with triangles. */
  int GetFreeVoxels(std::size_t cell) const { return IsFree(cell) ? Clearance[cell] - 1 : 0; }
  const trelVoxelTable& GetTable() const { return *Table; }

  /** How many triangles the line along @p axis through the middle of triangle @p t crosses below
   *  it, -1 if it does not cross that. May throw std::bad_alloc. */
  std::ptrdiff_t CountBelow(std::uint32_t t, int axis) const;
  /** 1 or -1: by what the normal of the winding is multiplied to be the outward one. */
  int GetTurn(std::uint32_t t) const { return Turns[t]; }

private:
  /** The regions before and behind a crossing. */
  struct Passage
  {
    std::int32_t From, To;
  };

  double FindClearLength(const trelWay& way, double* bound) const;
  bool IsFree(std::size_t cell) const { return Clearance[cell] > 0; }
  void LookAround();
  void MeasureClearance();
  void LowerClearance(const int index[3], int direction);
  void FillRegions();
  Passage PassageOf(const trelMeshCrossing& crossing) const;
  template <class RegionOf>
  int FindNetCrossing(const trelMeshCrossing* first, int count, const RegionOf& regionOf) const;
  int ListFirstPlace(const trelRay& ray, Surfaces surfaces, trelCrossingList& list) const;
  std::int32_t FindRegionByCrossings(const trelRay& ray, double at) const;
  trelVoxelRange FindNearVoxels(const trelVector& point, const int index[3], double near,
                                double* border) const;
  double BoundNearTriangles(const trelVector& point, const int index[3], double wanted) const;
  template <class Visit>
  void Walk(const trelRay& ray, double after, double limit, Visit visit) const;

  const trelVoxelTable* Table = nullptr;
  trelBox Around;     ///< of the grid, widened by rounding
  double Size = 0.0;  ///< the greatest coordinate there, mm
  std::vector<std::int8_t> Turns;
  /** By voxel: Chebyshev number of voxels to the nearest one with triangles, at most 255. */
  std::vector<std::uint8_t> Clearance;
  /** By voxel without triangles: its region, -1 outside. */
  std::vector<std::int16_t> Regions;
  trelSurfaceSlabs Slabs;
};

#endif
