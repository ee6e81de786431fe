#ifndef trelMCTriangleMesh_h
#define trelMCTriangleMesh_h

#include "trelTraceableMesh.h"

class trelTriangleMesh;

/**
 * @class   trelMCTriangleMesh
 * @brief   a body bounded by a closed surface of triangles, read from a PLY, OFF, STL or SURF file
 *
 * Points and rays are answered with a trelVoxelTable. A point is on the boundary if it lies on a
 * triangle within 1e-12 along an axis of the grid; a triangle parallel to that axis counts by its
 * bounding box and outline alone. An empty mesh has every point undetermined and meets no ray.
 *
 * IntersectRay() trusts its caller about the side and does not ask where the point lies. Unlike
 * with the other solids a hit at exactly the given distance is none, and the part of the surface
 * is the number of the triangle, -1 on a miss. The normal is the triangle's own.
 *
 * @sa trelVoxelTable
 */
class trelMCTriangleMesh final : public trelTraceableMesh
{
  trelTypeMacro(trelMCTriangleMesh, trelTraceableMesh)

public:
  ~trelMCTriangleMesh() override;

  ShapeType GetShapeType() const override { return ShapeTriangleMesh; }
  PointRelation LocatePoint(double x, double y, double z) const override;
  bool IntersectRay(double x, double y, double z, double dx, double dy, double dz, double* distance,
                    int* face, double* nx, double* ny, double* nz, int raySide) const override;
  double ComputeMeasure() const override;
  bool SampleSurface(trelUniformNumbers& numbers, trelVector* point) const override;
  /** Sums up the areas and lists the voxels that the body reaches into. */
  bool PrepareSampling() const override;
  /** By rejection in these voxels. */
  bool SampleVolumeUniformly(trelUniformNumbers& numbers, trelVector* point) const override;
  bool SampleSurfaceUniformly(trelUniformNumbers& numbers, trelVector* point) const override;

  void ClearMesh() override;
  /** Takes over a copy of @p mesh. False, and empty, if it cannot be traced. */
  bool ImportMesh(const trelTriangleMesh* mesh);

  /** Number of the nearest triangle along the ray, or -1; see trelVoxelTable::FindNearest. */
  int FindNearestTriangle(const trelRay& ray, RaySide side, double* distance) const;

protected:
  const ReaderEnding* GetReaderEndings() const override;
  bool ImportData(const trelMesh* mesh) override;
  void GetRegionsOfTriangle(std::uint32_t t, std::int32_t regions[2]) const override;
  void ReportError(const std::string& message) const override;
  VoxelCenterRule GetCenterRule() const override;
  void OnTableBuilt(trelVoxelTable& table) const override;
  std::vector<std::int8_t> OrientTriangles(const trelMeshCrossings& crossings) const override;

private:
  bool SampleTriangleMeshSurface(trelUniformNumbers& numbers, trelVector* point) const;
  void WarnOfOpenEdges() const;
  void SumAreas() const;
  void ListVoxels() const;

  // Made by PrepareSampling().
  mutable std::vector<double> AreaSums;           ///< by triangle: area of all up to it, mm^2
  mutable std::vector<std::uint32_t> BodyVoxels;  ///< those that are not wholly outside
};

#endif
