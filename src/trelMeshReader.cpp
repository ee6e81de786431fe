#include "trelMeshReader.h"

#include "trelMemory.h"
#include "trelTriangleMesh.h"

trelMeshReader::~trelMeshReader()
{
  ReleaseReference(Output);
}

trelMesh* trelMeshReader::GetOutput()
{
  if (!Output) ReplaceReference(Output, static_cast<trelMesh*>(new trelTriangleMesh));
  return Output;
}

bool trelMeshReader::Execute()
{
  if (GetNumberOfFiles() < 1) {
    ReportError("There's no file to read!");
    return false;
  }
  if (!OpenFile(GetFileName(0))) return false;
  bool complete = false;
  if (!FitsInMemory([&] { complete = ReadMesh(); })) Fail("memory allocate error");
  CloseFile();
  if (!complete) ReportError(std::string(GetFileName(0)) + ": \n" + lastError);
  return complete;
}

bool trelMeshReader::Fail(const char* details)
{
  lastError += details;
  return false;
}

bool trelMeshReader::ComputeBounds()
{
  return Output->ComputeBounds() || Fail("Error when reading vertex data!\n");
}

bool trelMeshReader::FinishSurface(bool normals)
{
  if (!ComputeBounds()) return false;
  if (normals) Output->ComputeVertexNormals();
  Output->CheckFaceOrientation();
  return true;
}
