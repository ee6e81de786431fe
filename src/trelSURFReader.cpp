#include "trelSURFReader.h"

#include "trelMesh.h"
#include "trelMeshText.h"

bool trelSURFReader::ReadMesh()
{
  const char* invalid = "Not a valid SURF file!\n";
  return ReadKeyword("surfacemesh", invalid) && ReadCount(NumberOfVertices, invalid) &&
         ReadVertices() && ReadCount(NumberOfFaces, invalid) && ReadFaces() &&
         FinishSurface(ComputeNormals);
}

bool trelSURFReader::ReadFaces()
{
  const char* cut = "Error when reading face data!\n";
  if (!CheckCount(NumberOfFaces, 6, cut) || !Output->SetNumberOfFaces(NumberOfFaces)) return false;
  std::uint32_t* face = Output->GetFaceData();
  for (std::int32_t i = 0; i < NumberOfFaces; ++i, face += 3) {
    if (!ReadLine()) return Fail(cut);
    if (Tokens.size() != 3) return false;
    if (!StoreIndices(0, 3, IntegerOf, 1, face)) return Fail(cut);
  }
  return true;
}

trelReportErrorMacro(trelSURFReader)
