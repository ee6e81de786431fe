#include "trelMCTriangleMesh.h"

PointRelation trelMCTriangleMesh::LocatePoint(double /*x*/, double /*y*/, double /*z*/) const
{
  return PointOutside;
}

bool trelMCTriangleMesh::IntersectRay(double /*x*/, double /*y*/, double /*z*/, double /*dx*/,
                                      double /*dy*/, double /*dz*/, double* /*distance*/,
                                      int* /*face*/, double* /*nx*/, double* /*ny*/, double* /*nz*/,
                                      int /*raySide*/) const
{
  return false;
}

bool trelMCTriangleMesh::LoadFromFile(const char* path)
{
  ErrorMacro("This version cannot read mesh files: \"" << (path ? path : "") << "\"");
  return false;
}
