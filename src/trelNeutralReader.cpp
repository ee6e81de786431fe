#include "trelNeutralReader.h"

#include "trelMeshText.h"
#include "trelTetrahedron.h"

static const char* const NotNeutral = "Not a valid MESH file!\n";

bool trelNeutralReader::ReadMesh()
{
  return ReadCount(NumberOfVertices, NotNeutral) && ReadVertices() &&
         ReadCount(NumberOfFaces, NotNeutral) && ReadTetrahedra() && FinishVolume();
}

bool trelNeutralReader::ReadTetrahedra()
{
  trelTetrahedron* mesh = GetTetrahedra();
  if (!CheckCount(NumberOfFaces, 10, NotNeutral) || !mesh->SetNumberOfTetrahedra(NumberOfFaces))
    return false;
  std::uint32_t* corners = mesh->GetTetrahedronData();
  for (std::int32_t i = 0; i < NumberOfFaces; ++i, corners += 4) {
    if (!ReadLine()) return Fail(NotNeutral);
    if (Tokens.size() != 5 || !StoreRegion(i, TruncatedNumberOf(Tokens[0]) - 1) ||
        !StoreIndices(1, 4, TruncatedNumberOf, 1, corners))
      return false;
  }
  return true;
}

trelReportErrorMacro(trelNeutralReader)
