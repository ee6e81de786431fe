#include "trelTraceableMesh.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "trelMemory.h"
#include "trelMesh.h"
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

bool trelTraceableMesh::CopySurface(trelMesh& mesh)
{
  const auto vertices = static_cast<std::size_t>(std::max(mesh.GetNumberOfVertices(), 0));
  const auto faces = static_cast<std::size_t>(std::max(mesh.GetNumberOfFaces(), 0));
  const float* v = mesh.GetVertexData();
  const std::uint32_t* f = mesh.GetFaceData();
  if (!v || !f || faces == 0) return false;
  const bool fits = FitsInMemory([&] {
    Vertices.resize(vertices);
    Triangles.resize(faces);
  });
  if (!fits) {
    ReportError("memory allocate error");
    return false;
  }
  for (trelTraceableVertex& vertex : Vertices) {
    vertex = {v[0], v[1], v[2], v[3], v[4], v[5]};
    v += 6;
  }
  for (trelTraceableTriangle& triangle : Triangles) {
    double corners[3][3];
    for (int c = 0; c < 3; ++c, ++f) {
      if (*f >= vertices) return false;
      triangle.Vertices[c] = *f;
      GetPosition(*f, corners[c]);
      for (const double coordinate : corners[c])
        if (!std::isfinite(coordinate)) return false;
    }
    FaceUnitNormal(corners[0], corners[1], corners[2], triangle.Normal);
    triangle.Area = TriangleArea(corners[0], corners[1], corners[2]);
  }
  return true;
}

void trelTraceableMesh::GetPosition(std::uint32_t vertex, double position[3]) const
{
  position[0] = Vertices[vertex].X;
  position[1] = Vertices[vertex].Y;
  position[2] = Vertices[vertex].Z;
}

void trelTraceableMesh::StartBounds(double bounds[6])
{
  for (int a = 0; a < 3; ++a) {
    bounds[2 * a] = std::numeric_limits<double>::infinity();
    bounds[2 * a + 1] = -std::numeric_limits<double>::infinity();
  }
}

void trelTraceableMesh::ExtendBounds(std::uint32_t t, double bounds[6]) const
{
  for (const std::uint32_t vertex : Triangles[t].Vertices) {
    double position[3];
    GetPosition(vertex, position);
    for (int a = 0; a < 3; ++a) {
      bounds[2 * a] = std::min(bounds[2 * a], position[a]);
      bounds[2 * a + 1] = std::max(bounds[2 * a + 1], position[a]);
    }
  }
}

void trelTraceableMesh::SetBox()
{
  double bounds[6];
  StartBounds(bounds);
  for (std::uint32_t t = 0; t < GetNumberOfTriangles(); ++t)
    ExtendBounds(t, bounds);
  double center[3], half[3];
  for (int a = 0; a < 3; ++a) {
    center[a] = (bounds[2 * a + 1] + bounds[2 * a]) / 2;
    half[a] = (bounds[2 * a + 1] - bounds[2 * a]) / 2;
  }
  SetCenter(center);
  SetHalfAxes(half);
}

bool trelTraceableMesh::FillTable(int threads) const
{
  std::vector<trelTracedTriangle> traced;
  if (!FitsInMemory([&] { traced.resize(Triangles.size()); })) return false;
  for (std::uint32_t t = 0; t < GetNumberOfTriangles(); ++t) {
    for (int c = 0; c < 3; ++c)
      GetPosition(Triangles[t].Vertices[c], traced[t].Corners[c]);
    std::copy_n(Triangles[t].Normal, 3, traced[t].Normal);
    GetRegionsOfTriangle(t, traced[t].Regions);
  }
  return VoxelTable.Build(std::move(traced), Bounds, GetCenterRule(), threads);
}

bool trelTraceableMesh::BuildVoxelTable(int threads) const
{
  if (Triangles.empty()) return false;
  TableTried = true;
  if (FillTable(threads)) {
    OnTableBuilt(VoxelTable);
    return true;
  }
  ReportError(std::string("Out of memory while allocate memory for voxel table in ") +
              GetClassName() + "!\n");
  OnTableFailed();
  return false;
}

/** The triangle @p face itself. */
bool trelTraceableMesh::MakeSurfaceElement(const trelGridWindow& /*window*/,
                                           CoordinateType /*coordinate*/, const double /*hit*/[3],
                                           int face, SurfaceElement* element) const
{
  if (face < 0 || static_cast<std::uint32_t>(face) >= GetNumberOfTriangles()) return true;
  const trelTraceableTriangle& triangle = Triangles[face];
  const trelTraceableVertex& a = Vertices[triangle.Vertices[0]];
  const trelTraceableVertex& b = Vertices[triangle.Vertices[1]];
  const trelTraceableVertex& c = Vertices[triangle.Vertices[2]];
  SetVector(element->Center, (a.X + b.X + c.X) / 3.0, (a.Y + b.Y + c.Y) / 3.0,
            (a.Z + b.Z + c.Z) / 3.0);
  std::copy_n(triangle.Normal, 3, element->Normal);
  element->Area = triangle.Area;
  return true;
}
