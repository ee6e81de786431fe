#include "trelMesh.h"

#include <cmath>
#include <ostream>

#include "trelFaceUnitNormal.h"

void trelMesh::ClearModel()
{
  NormalsReversed = false;
  for (int axis = 0; axis < 3; ++axis) {
    Bounds[2 * axis] = -1.0f;
    Bounds[2 * axis + 1] = 1.0f;
  }
  Vertices.Clear();
  Faces.Clear();
}

void trelMesh::PrintSelf(std::ostream& stream) const
{
  trelDataObject::PrintSelf(stream);
  static const char* const names[6] = {"x_min", "x_max", "y_min", "y_max", "z_min", "z_max"};
  for (int i = 0; i < 6; ++i)
    stream << "Bounding Box " << names[i] << ": " << Bounds[i] << "\n";
}

bool trelMesh::SetNumberOfVertices(std::int32_t n)
{
  if (Vertices.SetCount(n)) return true;
  ReportError("your vertex data's memory is not right allocated");
  return false;
}

bool trelMesh::SetNumberOfFaces(std::int32_t n)
{
  if (Faces.SetCount(n)) return true;
  ReportError("your face data's memory is not right allocated");
  return false;
}

void trelMesh::AddVertex(const float* vertex)
{
  if (!Vertices.Append(vertex)) ReportError("your vertex Data's memory is not right allocated");
}

void trelMesh::AddFace(const std::uint32_t* face)
{
  if (!Faces.Append(face)) ReportError("your face data's memory is not right allocated");
}

/** The record of vertex @p index. */
template <class Vertices>
static auto VertexOf(Vertices& vertices, std::uint32_t index)
{
  return vertices.GetRecord(static_cast<std::int32_t>(index));
}

FaceWinding trelMesh::FaceOrientationOf(const std::uint32_t* face) const
{
  const float* v0 = VertexOf(Vertices, face[0]);
  const float* v1 = VertexOf(Vertices, face[1]);
  const float* v2 = VertexOf(Vertices, face[2]);
  const float a[3] = {v1[0] - v0[0], v1[1] - v0[1], v1[2] - v0[2]};
  const float b[3] = {v2[0] - v0[0], v2[1] - v0[1], v2[2] - v0[2]};
  const float g[3] = {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2],
                      a[0] * b[1] - a[1] * b[0]};
  if (g[0] * g[0] + g[1] * g[1] + g[2] * g[2] == 0.0f) return FaceDegenerate;
  float alongNormals = 0.0f;
  for (int i = 0; i < 3; ++i)
    alongNormals += g[i] * (v0[3 + i] + v1[3 + i] + v2[3 + i]);
  return alongNormals < 0.0f ? FaceReversed : FaceConsistent;
}

bool trelMesh::CheckFaceOrientation()
{
  for (std::int32_t i = 0; i < Faces.GetCount(); ++i) {
    const FaceWinding winding = FaceOrientationOf(Faces.GetRecord(i));
    if (winding == FaceDegenerate) continue;
    NormalsReversed = winding == FaceReversed;
    break;
  }
  return NormalsReversed;
}

void trelMesh::FlipVertexNormals()
{
  for (std::int32_t i = 0; i < Vertices.GetCount(); ++i) {
    float* vertex = Vertices.GetRecord(i);
    for (int k = 3; k < 6; ++k)
      vertex[k] = -vertex[k];
  }
}

void trelMesh::ComputeVertexNormals()
{
  for (std::int32_t i = 0; i < Vertices.GetCount(); ++i)
    std::fill_n(Vertices.GetRecord(i) + 3, 3, 0.0f);
  for (std::int32_t i = 0; i < Faces.GetCount(); ++i) {
    const std::uint32_t* face = Faces.GetRecord(i);
    float normal[3];
    FaceUnitNormal(VertexOf(Vertices, face[0]), VertexOf(Vertices, face[1]),
                   VertexOf(Vertices, face[2]), normal);
    for (int corner = 0; corner < 3; ++corner)
      for (int k = 0; k < 3; ++k)
        VertexOf(Vertices, face[corner])[3 + k] += normal[k];
  }
  for (std::int32_t i = 0; i < Vertices.GetCount(); ++i)
    UnitVector(Vertices.GetRecord(i) + 3);
}

bool trelMesh::ComputeBounds()
{
  if (Vertices.GetCount() == 0) return false;
  float bounds[6];
  for (int k = 0; k < 6; ++k)
    bounds[k] = Vertices.GetData()[k / 2];
  for (std::int32_t i = 0; i < Vertices.GetCount(); ++i) {
    const float* vertex = Vertices.GetRecord(i);
    for (int axis = 0; axis < 3; ++axis) {
      if (!std::isfinite(vertex[axis])) return false;
      bounds[2 * axis] = std::min(bounds[2 * axis], vertex[axis]);
      bounds[2 * axis + 1] = std::max(bounds[2 * axis + 1], vertex[axis]);
    }
  }
  std::copy_n(bounds, 6, Bounds);
  return true;
}
