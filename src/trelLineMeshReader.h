#ifndef trelLineMeshReader_h
#define trelLineMeshReader_h

#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

#include "trelMeshReader.h"

class trelTetrahedron;

/**
 * @class   trelLineMeshReader
 * @brief   what the formats share that are read line by line: the line buffer, counts, records
 *
 * A line is read in pieces of at most 254 characters; what is longer goes on as the next line.
 * Tokens point into the buffer, so that nothing is allocated for a line.
 */
class trelLineMeshReader : public trelMeshReader
{
  trelTypeMacro(trelLineMeshReader, trelMeshReader)

public:
  ~trelLineMeshReader() override;

protected:
  /** How a token becomes an index: trelMeshText.h has two. */
  using NumberOf = std::int64_t (*)(std::string_view token);

  bool OpenFile(const char* name) override;
  void CloseFile() override;

  /** Reads the next line and splits it; false at the end of the file. */
  bool ReadLine();
  /** Reads a line whose first token is @p count; fails with @p missing if there is none. */
  bool ReadCount(std::int32_t& count, const char* missing);
  /** Reads line 1, whose first token is @p keyword in any letter case; else fails with @p details.
   */
  bool ReadKeyword(const char* keyword, const char* details);
  /**
   * Refuses a count of records that cannot be, before memory is allocated for it: not positive, or
   * more than the file has room for with @p shortest bytes each, which fails with @p cut, as the
   * end of the file would.
   */
  bool CheckCount(std::int32_t count, int shortest, const char* cut);

  /** Sizes the vertex array for NumberOfVertices and fills it from as many lines. */
  bool ReadVertices();
  /** Reads as many lines as there are vertices, x y z each, into @p vertices. */
  bool ReadVertexLines(float* vertices);
  /** Stores the tokens 0, 1, 2 of the line as the place of a vertex; false with fewer tokens. */
  bool StoreVertex(float* vertex) const;
  /** Stores @p corners tokens from @p token on as vertex indices, of which the file's lowest is
   * @p base; false if one is no vertex. */
  bool StoreIndices(std::size_t token, int corners, NumberOf number, std::int64_t base,
                    std::uint32_t* record) const;

  std::vector<std::string_view> Tokens;
  std::FILE* File = nullptr;
  char LineBuffer[256] = {};
  std::int32_t NumberOfVertices = -1;
  /** The number of faces, in a tetrahedron format of tetrahedra. */
  std::int32_t NumberOfFaces = -1;

private:
  std::int64_t FileSize = 0;
  std::int64_t LinesLeft = 0;
};

#endif
