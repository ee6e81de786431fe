#include "trelLineMeshReader.h"

#include "trelMesh.h"
#include "trelMeshText.h"
#include "trelPaths.h"
#include "trelText.h"

trelLineMeshReader::~trelLineMeshReader()
{
  CloseFile();
}

bool trelLineMeshReader::OpenFile(const char* name)
{
  CloseFile();
  File = OpenRegularFile(name);
  if (!File) return false;
  // A file that grows may give lines without end; no file has more lines than bytes.
  FileSize = LinesLeft = MeasureFile(File);
  NumberOfVertices = NumberOfFaces = -1;
  return true;
}

void trelLineMeshReader::CloseFile()
{
  if (File) std::fclose(File);
  File = nullptr;
}

bool trelLineMeshReader::ReadLine()
{
  constexpr int longest = 254;
  Tokens.clear();
  if (LinesLeft-- <= 0 || !std::fgets(LineBuffer, longest + 1, File)) return false;
  SplitTokens(LineBuffer, Tokens);
  return true;
}

bool trelLineMeshReader::ReadCount(std::int32_t& count, const char* missing)
{
  if (!ReadLine() || Tokens.empty()) return Fail(missing);
  count = static_cast<std::int32_t>(IntegerOf(Tokens[0]));
  return true;
}

bool trelLineMeshReader::ReadKeyword(const char* keyword, const char* details)
{
  const bool found = ReadLine() && !Tokens.empty() && EqualWords(Tokens[0], keyword);
  return found || Fail(details);
}

bool trelLineMeshReader::CheckCount(std::int32_t count, int shortest, const char* cut)
{
  // The last line may lack its end.
  if (std::int64_t{count} * shortest - 1 > FileSize) return Fail(cut);
  return count > 0;
}

bool trelLineMeshReader::ReadVertices()
{
  return CheckCount(NumberOfVertices, 6, "Error when reading vertex data!\n") &&
         GetOutput()->SetNumberOfVertices(NumberOfVertices) &&
         ReadVertexLines(Output->GetVertexData());
}

bool trelLineMeshReader::ReadVertexLines(float* vertices)
{
  for (std::int32_t i = 0; i < NumberOfVertices; ++i, vertices += 6)
    if (!ReadLine() || !StoreVertex(vertices)) return Fail("Error when reading vertex data!\n");
  return true;
}

bool trelLineMeshReader::StoreVertex(float* vertex) const
{
  const std::size_t numbers = ComputeNormals ? 3 : 6;
  if (Tokens.size() < numbers) return false;
  for (std::size_t k = 0; k < numbers; ++k)
    vertex[k] = FloatOf(Tokens[k]);
  return true;
}

bool trelLineMeshReader::StoreIndices(std::size_t token, int corners, NumberOf number,
                                      std::int64_t base, std::uint32_t* record) const
{
  for (int i = 0; i < corners; ++i) {
    const std::int64_t index = number(Tokens[token + static_cast<std::size_t>(i)]) - base;
    if (index < 0 || index >= NumberOfVertices) return false;
    record[i] = static_cast<std::uint32_t>(index);
  }
  return true;
}
