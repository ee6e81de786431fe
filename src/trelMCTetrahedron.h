#ifndef trelMCTetrahedron_h
#define trelMCTetrahedron_h

#include "trelShapeObject.h"

/**
 * @class   trelMCTetrahedron
 * @brief   a medium of tetrahedra, each of which belongs to a region; empty in this version, which
 * reads no mesh files
 *
 * An empty mesh contains no point and meets no ray.
 */
class trelMCTetrahedron final : public trelShapeObject
{
  trelTypeMacro(trelMCTetrahedron, trelShapeObject)

public:
  ShapeType GetShapeType() const override { return ShapeTetrahedron; }
  PointRelation LocatePoint(double x, double y, double z) const override;
  bool IntersectRay(double x, double y, double z, double dx, double dy, double dz, double* distance,
                    int* face, double* nx, double* ny, double* nz, int raySide) const override;

  /** Takes the mesh from the file @p path. Reports that it cannot be read, and returns false. */
  bool LoadFromFile(const char* path);
  /** Empties the mesh. */
  void ClearMesh() {}
  /** Prepares the look-up of points and rays; nothing to do for an empty mesh. */
  bool BuildVoxelTable() { return true; }
  /** The number of the region that the point lies in, from 0; -1 outside. */
  int FindRegion(double x, double y, double z) const;
};

#endif
