#include "trelTraceableMesh.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "trelMemory.h"
#include "trelMesh.h"
#include "trelMeshPredicates.h"
#include "trelMeshReader.h"
#include "trelSurfaceElement.h"
#include "trelText.h"

trelTraceableMesh::~trelTraceableMesh() = default;

void trelTraceableMesh::ClearMesh()
{
  Vertices = {};
  Triangles = {};
  VoxelTable.Release();
  TableTried = false;
  Crossings = {};
  CrossingsTried = false;
}

trelMeshReader* trelTraceableMesh::MakeReader(const char* path) const
{
  for (const ReaderEnding* row = GetReaderEndings(); row->Ending; ++row)
    if (EndsWithWord(path, row->Ending)) return row->Make();
  return nullptr;
}

bool trelTraceableMesh::ReadFile(const char* path)
{
  trelMeshReader* reader = MakeReader(path);
  if (!reader) return false;
  reader->Register();
  reader->SetFileName(path);
  trelMesh* mesh = reader->Update() ? reader->GetOutput() : nullptr;
  if (mesh) mesh->Register();
  reader->UnRegister();
  if (!mesh) return false;
  const bool imported = ImportData(mesh);
  mesh->UnRegister();
  return imported;
}

bool trelTraceableMesh::LoadFromFile(const char* path)
{
  FilePath = path ? path : "";
  // A copy, since the caller may have got the path from here.
  const std::string file = FilePath;
  if (ReadFile(file.c_str())) return true;
  ReportError("Can't find \"" + file + "\", please check the file path!\n");
  ClearMesh();
  FilePath.clear();
  return false;
}

bool trelTraceableMesh::AllocateSurface(std::size_t vertices, std::size_t triangles)
{
  const bool fits = FitsInMemory([&] {
    Vertices.resize(vertices);
    Triangles.resize(triangles);
  });
  if (!fits) ReportError("memory allocate error");
  return fits;
}

bool trelTraceableMesh::CopySurface(const trelMesh& mesh)
{
  const auto vertices = static_cast<std::size_t>(std::max(mesh.GetNumberOfVertices(), 0));
  const auto faces = static_cast<std::size_t>(std::max(mesh.GetNumberOfFaces(), 0));
  const float* v = mesh.GetVertexData();
  const std::uint32_t* f = mesh.GetFaceData();
  if (!v || !f || faces == 0 || !AllocateSurface(vertices, faces)) return false;
  for (trelTraceableVertex& vertex : Vertices) {
    vertex = {v[0], v[1], v[2], v[3], v[4], v[5]};
    v += 6;
  }
  for (trelTraceableTriangle& triangle : Triangles) {
    if (!CopyTriangle(f, &triangle)) return false;
    f += 3;
  }
  return true;
}

/** True if no component is infinite or NaN. */
static bool IsFinite(const trelVector& v)
{
  return std::isfinite(v.X) && std::isfinite(v.Y) && std::isfinite(v.Z);
}

/** False if a corner is none of the vertices, or not a finite point. */
bool trelTraceableMesh::CopyTriangle(const std::uint32_t* corners,
                                     trelTraceableTriangle* triangle) const
{
  trelVector positions[3];
  for (int c = 0; c < 3; ++c) {
    if (corners[c] >= Vertices.size()) return false;
    triangle->Vertices[c] = corners[c];
    positions[c] = Vertices[corners[c]].Position();
    if (!IsFinite(positions[c])) return false;
  }
  triangle->Normal = FaceUnitNormal(positions[0], positions[1], positions[2]);
  triangle->Area = TriangleArea(positions[0], positions[1], positions[2]);
  return true;
}

void trelTraceableMesh::ExtendBox(std::uint32_t t, trelBox* box) const
{
  for (const std::uint32_t vertex : Triangles[t].Vertices)
    box->Extend(Vertices[vertex].Position());
}

void trelTraceableMesh::SetBox()
{
  trelBox box;
  for (std::uint32_t t = 0; t < GetNumberOfTriangles(); ++t)
    ExtendBox(t, &box);
  SetCenter((box.High + box.Low) / 2.0);
  SetHalfAxes(box.GetSize() / 2.0);
}

bool trelTraceableMesh::FillTable(int threads) const
{
  std::vector<trelTracedTriangle> traced;
  if (!FitsInMemory([&] { traced.resize(Triangles.size()); })) return false;
  for (std::uint32_t t = 0; t < GetNumberOfTriangles(); ++t) {
    for (int c = 0; c < 3; ++c)
      traced[t].Corners[c] = Vertices[Triangles[t].Vertices[c]].Position();
    traced[t].Normal = Triangles[t].Normal;
    GetRegionsOfTriangle(t, traced[t].Regions);
  }
  return VoxelTable.Build(std::move(traced), GetBox(), GetCenterRule(), threads);
}

bool trelTraceableMesh::BuildVoxelTable(int threads) const
{
  if (Triangles.empty()) return false;
  TableTried = true;
  Crossings = {};
  CrossingsTried = false;
  if (FillTable(threads)) {
    OnTableBuilt(VoxelTable);
    return true;
  }
  ReportError(std::string("Out of memory while allocate memory for voxel table in ") +
              GetClassName() + "!\n");
  OnTableFailed();
  return false;
}

bool trelTraceableMesh::PrepareCrossings(int threads) const
{
  if (Crossings.IsBuilt() || IsEmpty()) return true;
  if (!VoxelTable.IsBuilt() && !BuildVoxelTable(threads)) return false;
  CrossingsTried = true;
  const bool built =
      Crossings.Build(VoxelTable, [this](const auto& table) { return OrientTriangles(table); });
  if (!built) ReportError("memory allocate error");
  return built;
}

bool trelTraceableMesh::Holds(const trelVector& point) const
{
  return EnsureCrossings() && Crossings.FindRegion(point) >= 0;
}

bool trelTraceableMesh::HoldsOn(const trelRay& ray, double at) const
{
  return EnsureCrossings() && Crossings.FindRegionOn(ray, at) >= 0;
}

bool trelTraceableMesh::FindCrossing(const trelRay& ray, double after, double limit,
                                     trelHit* hit) const
{
  return EnsureCrossings() &&
         Crossings.FindCrossing(ray, after, limit, trelMeshCrossings::OuterSurface, hit);
}

double trelTraceableMesh::BoundDistance(const trelVector& point) const
{
  return EnsureCrossings() ? Crossings.BoundDistance(point) : 0.0;
}

bool trelTraceableMesh::IsClear(const trelWay& way, double* radius) const
{
  if (!EnsureCrossings()) *radius = 0.0;
  return EnsureCrossings() && Crossings.IsClear(way, radius);
}

/** A sixth of the sum of the products A (B x C) over the outward triangles, positions relative to
 *  the centre of the box. */
double trelTraceableMesh::ComputeVolume(std::int32_t region) const
{
  if (!EnsureCrossings()) return 0.0;
  const trelVector center = {Center[0], Center[1], Center[2]};
  double sum = 0.0;
  for (std::uint32_t t = 0; t < GetNumberOfTriangles(); ++t) {
    const trelTracedTriangle& triangle = VoxelTable.GetTriangle(t);
    const trelVector *c = triangle.Corners, a = c[0] - center;
    const double part = Crossings.GetTurn(t) * Dot(a, Cross(c[1] - center, c[2] - center));
    const bool behind = region < 0 ? triangle.Regions[0] >= 0 : triangle.Regions[0] == region;
    const bool ahead = region < 0 ? triangle.Regions[1] >= 0 : triangle.Regions[1] == region;
    if (behind != ahead) sum += behind ? part : -part;
  }
  return sum / 6.0;
}

/** The triangle @p face itself. */
bool trelTraceableMesh::MakeSurfaceElement(const trelGridWindow& /*window*/,
                                           CoordinateType /*coordinate*/, const trelVector& /*hit*/,
                                           int face, SurfaceElement* element) const
{
  if (face < 0 || static_cast<std::uint32_t>(face) >= GetNumberOfTriangles()) return true;
  const trelTraceableTriangle& triangle = Triangles[face];
  const trelTraceableVertex& a = Vertices[triangle.Vertices[0]];
  const trelTraceableVertex& b = Vertices[triangle.Vertices[1]];
  const trelTraceableVertex& c = Vertices[triangle.Vertices[2]];
  element->Center = {(a.X + b.X + c.X) / 3.0, (a.Y + b.Y + c.Y) / 3.0, (a.Z + b.Z + c.Z) / 3.0};
  element->Normal = triangle.Normal;
  element->Area = triangle.Area;
  return true;
}
