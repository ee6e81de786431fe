#ifndef trelMCTetrahedron_h
#define trelMCTetrahedron_h

#include <array>
#include <set>
#include <utility>

#include "trelInlining.h"
#include "trelTraceableMesh.h"

class trelTetrahedron;

/**
 * @class   trelMCTetrahedron
 * @brief   a medium of tetrahedra, each of which belongs to a region, read from an AM or MESH file
 *
 * A packet does not walk from one tetrahedron to the next: only the triangles of the outer surface
 * and between regions are traced, and a packet knows its region. Each triangle knows the regions on
 * its two sides; those between regions have no fixed winding. Regions are numbered from 0, and -1
 * stands for what lies around the mesh.
 *
 * There is no answer for the whole shape: LocatePoint() is always undetermined and IntersectRay()
 * finds nothing. Ask with a region.
 *
 * @sa trelVoxelTable trelMedium
 */
class trelMCTetrahedron final : public trelTraceableMesh
{
  trelTypeMacro(trelMCTetrahedron, trelTraceableMesh)

public:
  ~trelMCTetrahedron() override;

  ShapeType GetShapeType() const override { return ShapeTetrahedron; }
  PointRelation LocatePoint(double x, double y, double z) const override;
  bool IntersectRay(double x, double y, double z, double dx, double dy, double dz, double* distance,
                    int* face, double* nx, double* ny, double* nz, int raySide) const override;

  void ClearMesh() override;
  /** Counts of the imported mesh; 0 while it is empty. */
  virtual std::uint32_t GetNumberOfTetrahedra() const;
  std::int32_t GetNumberOfRegions() const { return static_cast<std::int32_t>(Regions.size()); }

  /** The four vertices of tetrahedron @p t, from 0, and its region. */
  const std::array<std::uint32_t, 4>& GetTetrahedron(std::uint32_t t) const
  {
    return Tetrahedra[t];
  }
  std::int32_t GetRegion(std::uint32_t t) const { return RegionOfTetrahedron[t]; }
  /** Where its vertices lie, mm, and its volume, mm^3. */
  std::array<trelVector, 4> GetCorners(std::uint32_t t) const;
  double ComputeVolumeOfTetrahedron(std::uint32_t t) const;

  /** Takes over a copy of @p mesh. False, and empty, if it cannot be traced: a number that
   *  points nowhere, or a region without a triangle. */
  bool ImportMesh(const trelTetrahedron* mesh);

  /** Where the point lies in relation to the region; outside for a region that does not exist,
   *  and undetermined without a table. */
  PointRelation LocatePointInRegion(double x, double y, double z, int region) const;
  PointRelation LocatePointInRegion(const trelVector& point, int region) const
  {
    return LocatePointInRegion(point.X, point.Y, point.Z, region);
  }

  /** The lowest region that holds the point or has it on its boundary, -1 if none does. 3 if there
   *  is no table: callers take it for a region that has no tissue. */
  int FindRegion(const trelVector& point) const;
  int FindRegion(double x, double y, double z) const { return FindRegion({x, y, z}); }

  /**
   * Finds where the ray from a point of @p region leaves it, or with -1 where it enters the mesh.
   *
   * @param hit in: the distance, which a hit must be nearer than; out: how far it is, the number of
   * the triangle, which is -1 on a miss that leaves the rest alone, and its unit normal, to either
   * side
   * @param nextRegion out: the region behind it, -1 outside
   */
  bool FindHitInRegion(const trelRay& ray, int region, trelHit* hit, int* nextRegion) const;
  /** The same in the form of IntersectRay(). */
  bool IntersectRayInRegion(double x, double y, double z, double dx, double dy, double dz,
                            int region, double* distance, int* triangle, double* nx, double* ny,
                            double* nz, int* nextRegion) const
  {
    trelHit hit;
    hit.Distance = *distance;
    const bool found = FindHitInRegion({{x, y, z}, {dx, dy, dz}}, region, &hit, nextRegion);
    *triangle = hit.Face;
    if (!found) return false;
    *distance = hit.Distance;
    *nx = hit.Normal.X;
    *ny = hit.Normal.Y;
    *nz = hit.Normal.Z;
    return true;
  }

  /** Number of the nearest triangle that bounds @p region (-1: of the outer surface) along the ray,
   *  or -1; see trelVoxelTable::FindNearest. */
  int FindNearestBoundaryFace(const trelRay& ray, int region, double* distance) const;

  // What the exact rules ask of regions; of the whole mesh they ask as of any shape.

  double ComputeMeasure() const override;
  /** The volume of a region, mm^3. */
  double ComputeMeasureOfRegion(std::int32_t region) const { return ComputeVolume(region); }
  /** The region at the point, -1 outside. */
  std::int32_t FindRegionExactly(const trelVector& point) const
  {
    return EnsureCrossings() ? GetCrossings().FindRegion(point) : -1;
  }
  /** The same at the distance @p at on a ray, in agreement with FindRegionCrossing(). */
  std::int32_t FindRegionOn(const trelRay& ray, double at) const
  {
    return EnsureCrossings() ? GetCrossings().FindRegionOn(ray, at) : -1;
  }
  /** FindCrossing() with the triangles between regions as well, which look from the first of the
   *  two regions to the second. */
  bool FindRegionCrossing(const trelRay& ray, double after, double limit, trelHit* hit,
                          std::int32_t* behind = nullptr) const;

  /** The pairs of regions with a triangle in common, each once, the lower number first. */
  std::set<std::pair<std::int32_t, std::int32_t>> FindTouchingRegions() const;

  /** True if triangle @p t lies on the outer surface. */
  bool IsOuterTriangle(std::uint32_t t) const { return FaceOwners[t][1] < 0; }

protected:
  const ReaderEnding* GetReaderEndings() const override;
  bool ImportData(const trelMesh* mesh) override;
  void GetRegionsOfTriangle(std::uint32_t t, std::int32_t regions[2]) const override;
  void ReportError(const std::string& message) const override;
  VoxelCenterRule GetCenterRule() const override;
  void OnTableBuilt(trelVoxelTable& table) const override;
  void OnTableFailed() const override;
  std::vector<std::int8_t> OrientTriangles(const trelMeshCrossings& crossings) const override;

private:
  /** The box of a region: mm, and the voxels of the table that cover it. */
  struct RegionBox
  {
    trelBox Bounds;
    trelVoxelRange Voxels;
  };

  bool AllocateElements(const trelTetrahedron& mesh);
  bool CopyElements(const trelTetrahedron& mesh);
  bool AreElementsValid() const;
  bool BoundRegions();
  std::int8_t FindTurn(std::uint32_t t) const;
  bool IsOutsideRegion(const trelVector& point, int region) const;
  /** LocatePointInRegion() for a point whose voxel, @p cell, is not settled in the region. */
  TREL_RARE PointRelation LocateUnsettledPoint(double x, double y, double z, std::size_t cell,
                                               int region) const;

  std::vector<std::array<std::uint32_t, 4>> Tetrahedra;
  /** For each triangle its tetrahedra; the second is -1 on the outer surface. */
  std::vector<std::array<std::int32_t, 2>> FaceOwners;
  /** For each tetrahedron its region. */
  std::vector<std::int32_t> RegionOfTetrahedron;
  /** The voxels are filled in when the table is built. */
  mutable std::vector<RegionBox> Regions;
};

#endif
