#include "trelPLYReader.h"

#include "trelMesh.h"

bool trelPLYReader::OpenFile(const char* name)
{
  return Ply.OpenPlyFile(name);
}

void trelPLYReader::CloseFile()
{
  Ply.close();
}

bool trelPLYReader::ReadMesh()
{
  if (Ply.number_of_vertices() < 1 || Ply.number_of_faces() < 1)
    return Fail("Number of vertices or faces is zero!");
  trelMesh* mesh = GetOutput();
  if (!Ply.check_counts()) return Fail(Ply.error_text().c_str());
  if (!mesh->SetNumberOfVertices(Ply.number_of_vertices()) ||
      !mesh->SetNumberOfFaces(Ply.number_of_faces()))
    return false;
  if (!Ply.read_vert_data(mesh->GetVertexData()) || !Ply.read_face_data(mesh->GetFaceData()))
    return Fail(Ply.error_text().c_str());
  return FinishSurface(Ply.no_normals());
}

trelReportErrorMacro(trelPLYReader)
