#include "trelTriangleMesh.h"

#include <ostream>

trelTriangleMesh::~trelTriangleMesh()
{
  DebugMacro("trelTriangleMesh", "Destructing trelMesh!");
}

unsigned long trelTriangleMesh::GetActualMemorySize() const
{
  return (static_cast<unsigned long>(GetNumberOfFaces()) +
          2ul * static_cast<unsigned long>(GetNumberOfVertices())) *
         12ul;
}

void trelTriangleMesh::PrintSelf(std::ostream& stream) const
{
  trelMesh::PrintSelf(stream);
  stream << "Vertex Number: " << GetNumberOfVertices() << "\n"
         << "Face Number: " << GetNumberOfFaces() << "\n"
         << "Vertex Data Pointer: " << static_cast<const void*>(GetVertexData()) << "\n"
         << "Face Data Pointer: " << static_cast<const void*>(GetFaceData()) << "\n";
}

void trelTriangleMesh::ShallowCopy(trelDataObject* source)
{
  if (!source || !source->IsA("trelTriangleMesh")) return;
  const auto* mesh = static_cast<const trelTriangleMesh*>(source);
  // The arrays follow the counts, so that no reader of this mesh runs past their ends.
  if (!SetNumberOfVertices(mesh->GetNumberOfVertices())) return;
  if (!SetNumberOfFaces(mesh->GetNumberOfFaces())) return;
  std::copy_n(mesh->Bounds, 6, Bounds);
}

void trelTriangleMesh::DeepCopy(trelDataObject* source)
{
  if (source == this || !source || !source->IsA("trelTriangleMesh")) return;
  const auto* mesh = static_cast<const trelTriangleMesh*>(source);
  ClearModel();
  ShallowCopy(source);
  if (GetNumberOfFaces() != mesh->GetNumberOfFaces()) return;
  std::copy_n(mesh->GetVertexData(), static_cast<std::size_t>(GetNumberOfVertices()) * 6,
              GetVertexData());
  std::copy_n(mesh->GetFaceData(), static_cast<std::size_t>(GetNumberOfFaces()) * 3, GetFaceData());
}

trelReportErrorMacro(trelTriangleMesh)
