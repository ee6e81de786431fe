#include "trelAMReader.h"

#include <cstddef>

#include "trelMeshText.h"
#include "trelTetrahedron.h"
#include "trelText.h"

bool trelAMReader::ReadMesh()
{
  const char* vertexError = "Error when reading vertex data!\n";
  trelTetrahedron* mesh = GetTetrahedra();
  if (!ReadHeader() || !CheckCount(NumberOfVertices, 6, vertexError) ||
      !mesh->SetNumberOfVertices(NumberOfVertices))
    return false;
  float* vertices = mesh->GetVertexData();
  const auto storeVertex = [&](std::int32_t i) {
    return StoreVertex(vertices + std::ptrdiff_t{6} * i);
  };
  if (!ReadSection(NumberOfVertices, false, storeVertex)) return Fail(vertexError);

  if (!CheckCount(NumberOfFaces, 8, "") || !mesh->SetNumberOfTetrahedra(NumberOfFaces))
    return false;
  std::uint32_t* corners = mesh->GetTetrahedronData();
  const auto storeTetrahedron = [&](std::int32_t i) {
    return Tokens.size() == 4 && StoreIndices(0, 4, IntegerOf, 1, corners + std::ptrdiff_t{4} * i);
  };
  const auto storeRegion = [&](std::int32_t i) {
    return Tokens.size() == 1 && StoreRegion(i, IntegerOf(Tokens[0]));
  };
  return ReadSection(NumberOfFaces, false, storeTetrahedron) &&
         ReadSection(NumberOfFaces, true, storeRegion) && FinishVolume();
}

bool trelAMReader::ReadHeader()
{
  if (!ReadLine()) return Fail("Not a valid AM file!\n");
  while (ReadLine()) {
    if (Tokens.empty() || Tokens[0][0] == '#') continue;
    if (Tokens[0][0] == '@') return true;
    if (Tokens.size() < 2) continue;
    const auto count = static_cast<std::int32_t>(IntegerOf(Tokens[1]));
    if (EqualWords(Tokens[0], "nNodes")) NumberOfVertices = count;
    if (EqualWords(Tokens[0], "nTetrahedra")) NumberOfFaces = count;
  }
  return false;
}

template <class StoreRecord>
bool trelAMReader::ReadSection(std::int32_t count, bool last, StoreRecord store)
{
  std::int32_t stored = 0;
  while (ReadLine()) {
    if (Tokens.empty()) continue;
    if (Tokens[0][0] == '@') return stored == count;
    if (stored == count || !store(stored)) return false;
    ++stored;
  }
  return last && stored == count;
}

trelReportErrorMacro(trelAMReader)
