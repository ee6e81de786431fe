#include "trelTetrahedronReader.h"

#include "trelTetrahedron.h"

trelMesh* trelTetrahedronReader::GetOutput()
{
  if (!Output) ReplaceReference(Output, static_cast<trelMesh*>(new trelTetrahedron));
  return Output;
}

trelTetrahedron* trelTetrahedronReader::GetTetrahedra()
{
  return static_cast<trelTetrahedron*>(GetOutput());
}

bool trelTetrahedronReader::StoreRegion(std::int32_t i, std::int64_t region)
{
  if (region < 0 || region >= INT32_MAX) return false;
  trelTetrahedron* mesh = GetTetrahedra();
  mesh->GetRegionData()[i] = static_cast<std::int32_t>(region);
  if (mesh->GetNumberOfRegions() <= region)
    mesh->SetNumberOfRegions(static_cast<std::int32_t>(region) + 1);
  return true;
}

bool trelTetrahedronReader::FinishVolume()
{
  // Coordinates are checked before the surface is built from them.
  return ComputeBounds() && GetTetrahedra()->BuildFaces();
}
