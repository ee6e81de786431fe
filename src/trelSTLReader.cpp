#include "trelSTLReader.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "trelMesh.h"
#include "trelMeshText.h"
#include "trelPaths.h"
#include "trelText.h"

static const char* const NoFacet = "There's no facet in the file!\n";

trelSTLReader::~trelSTLReader()
{
  CloseFile();
}

bool trelSTLReader::OpenFile(const char* name)
{
  CloseFile();
  File = OpenRegularFile(name);
  if (!File) ErrorMacro("Can not open file!\n");
  return File != nullptr;
}

void trelSTLReader::CloseFile()
{
  if (File) std::fclose(File);
  File = nullptr;
}

bool trelSTLReader::ReadMesh()
{
  if (MeasureFile(File) == 0) return Fail(NoFacet);
  if (IsBinary()) return Fail("Binary STL isn't supported!\n");
  return ReadFacets() && FillMesh() && FinishSurface(ComputeNormals);
}

/** The binary form has 80 bytes of any text and then the number of triangles, whose highest byte is
 * zero; a text has no zero byte. */
bool trelSTLReader::IsBinary()
{
  char head[84] = {};
  const std::size_t size = std::fread(head, 1, sizeof head, File);
  std::rewind(File);
  return std::memchr(head, '\0', size) != nullptr;
}

bool trelSTLReader::ReadWord()
{
  return std::fscanf(File, "%99s", Word) == 1;
}

bool trelSTLReader::ReadFacets()
{
  Vertices.clear();
  VertexOf.clear();
  FaceIndices.clear();
  CornersRead = 0;
  while (ReadWord()) {
    if (EqualWords(Word, "facet"))
      FaceIndices.resize(FaceIndices.size() + 3);
    else if (EqualWords(Word, "vertex") && !ReadCorner())
      return false;
  }
  if (FaceIndices.empty()) return Fail(NoFacet);
  if (Vertices.empty()) return Fail("There's no vertex in the file!\n");
  if (CornersRead < FaceIndices.size()) {
    WarningMacro("\"" << GetFileName(0) << "\" has " << FaceIndices.size() / 3 << " facets but "
                      << CornersRead << " corners: those behind a gap move up, and the places left "
                      << "at the end take the first corner");
  }
  return true;
}

bool trelSTLReader::ReadCorner()
{
  if (CornersRead == FaceIndices.size()) return Fail("A facet has more than three vertices!\n");
  Point point;
  for (float& coordinate : point) {
    if (!ReadWord()) return Fail("The file ends inside a vertex!\n");
    coordinate = FloatOf(Word);
    // NaN equals nothing, itself neither, and would fill one place of the hash.
    if (!std::isfinite(coordinate)) return Fail("Error when reading vertex data!\n");
  }
  const auto next = static_cast<std::uint32_t>(Vertices.size());
  const auto [known, isNew] = VertexOf.emplace(point, next);
  if (isNew) Vertices.push_back(point);
  FaceIndices[CornersRead++] = known->second;
  return true;
}

std::size_t trelSTLReader::PointHash::operator()(const Point& point) const
{
  std::uint64_t hash = 0;
  for (float coordinate : point) {
    // Adding zero makes 0 of -0: equal points have equal hashes.
    const float value = coordinate + 0.0f;
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    hash = (hash ^ bits) * 0x9E3779B97F4A7C15u;
    hash ^= hash >> 32;
  }
  return static_cast<std::size_t>(hash);
}

bool trelSTLReader::FillMesh()
{
  // A number beyond the range turns negative, which the mesh refuses.
  NumberOfVertices = static_cast<std::int32_t>(Vertices.size());
  NumberOfFaces = static_cast<std::int32_t>(FaceIndices.size() / 3);
  trelMesh* mesh = GetOutput();
  if (!mesh->SetNumberOfVertices(NumberOfVertices) || !mesh->SetNumberOfFaces(NumberOfFaces))
    return false;
  float* vertex = mesh->GetVertexData();
  for (const Point& point : Vertices) {
    std::copy(point.begin(), point.end(), vertex);
    vertex += 6;
  }
  std::copy(FaceIndices.begin(), FaceIndices.end(), mesh->GetFaceData());
  return true;
}

trelReportErrorMacro(trelSTLReader)
