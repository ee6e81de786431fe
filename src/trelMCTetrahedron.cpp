#include "trelMCTetrahedron.h"

PointRelation trelMCTetrahedron::LocatePoint(double /*x*/, double /*y*/, double /*z*/) const
{
  return PointOutside;
}

bool trelMCTetrahedron::IntersectRay(double /*x*/, double /*y*/, double /*z*/, double /*dx*/,
                                     double /*dy*/, double /*dz*/, double* /*distance*/,
                                     int* /*face*/, double* /*nx*/, double* /*ny*/, double* /*nz*/,
                                     int /*raySide*/) const
{
  return false;
}

bool trelMCTetrahedron::LoadFromFile(const char* path)
{
  ErrorMacro("This version cannot read mesh files: \"" << (path ? path : "") << "\"");
  return false;
}

int trelMCTetrahedron::FindRegion(double /*x*/, double /*y*/, double /*z*/) const
{
  return -1;
}
