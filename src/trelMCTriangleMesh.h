#ifndef trelMCTriangleMesh_h
#define trelMCTriangleMesh_h

#include "trelShapeObject.h"

/**
 * @class   trelMCTriangleMesh
 * @brief   a body bounded by a closed surface of triangles; empty in this version, which reads no
 * mesh files
 *
 * An empty mesh contains no point and meets no ray.
 */
class trelMCTriangleMesh final : public trelShapeObject
{
  trelTypeMacro(trelMCTriangleMesh, trelShapeObject)

public:
  ShapeType GetShapeType() const override { return ShapeTriangleMesh; }
  PointRelation LocatePoint(double x, double y, double z) const override;
  bool IntersectRay(double x, double y, double z, double dx, double dy, double dz, double* distance,
                    int* face, double* nx, double* ny, double* nz, int raySide) const override;

  /** Takes the mesh from the file @p path. Reports that it cannot be read, and returns false. */
  bool LoadFromFile(const char* path);
  /** Empties the mesh. */
  void ClearMesh() {}
  /** Prepares the look-up of points and rays; nothing to do for an empty mesh. */
  bool BuildVoxelTable() { return true; }
};

#endif
