#include "trelMeshSurface.h"

#include <new>

bool trelMeshSurface::Allocate(std::int32_t faces, std::int32_t vertices, bool isTetraMesh)
{
  Release();
  if (faces < 0 || vertices < 0) return false;
  const auto size = static_cast<std::size_t>(faces);
  MeshFaces.reset(new (std::nothrow) trelMeshFace[size]);
  if (isTetraMesh) MeshFaceOnBoundary.reset(new (std::nothrow) std::uint8_t[size]());
  if (!MeshFaces || (isTetraMesh && !MeshFaceOnBoundary)) {
    Release();
    return false;
  }
  CountMeshFace = faces;
  CountMeshVertex = vertices;
  IsTetraMesh = isTetraMesh;
  return true;
}

void trelMeshSurface::Release()
{
  MeshFaces.reset();
  MeshFaceOnBoundary.reset();
  CountMeshFace = 0;
  CountMeshVertex = 0;
  IsTetraMesh = false;
}

void trelMeshSurface::SumAreas(double* areaSum) const
{
  for (std::int32_t f = 0; f < CountMeshFace; ++f) {
    if (!IsOnBoundary(f)) continue;
    for (const std::uint32_t v : MeshFaces[static_cast<std::size_t>(f)].Vertices) {
      areaSum[v] += MeshFaces[static_cast<std::size_t>(f)].Area;
    }
  }
}
