#ifndef trelSTLReader_h
#define trelSTLReader_h

#include <array>
#include <cstdint>
#include <cstdio>
#include <unordered_map>
#include <vector>

#include "trelMeshReader.h"

/**
 * @class   trelSTLReader
 * @brief   reads a triangle surface in the STL text format
 *
 * The file is a stream of words, of which two matter, in any letter case: "facet" opens a triangle,
 * "vertex" is followed by the coordinates of a corner. Corners at exactly the same place become one
 * vertex (0 and -0 are the same), found by a hash. The file's normals are not used. The binary
 * form of the format is refused.
 */
class trelSTLReader final : public trelMeshReader
{
  trelTypeMacro(trelSTLReader, trelMeshReader)

public:
  ~trelSTLReader() override;

protected:
  bool OpenFile(const char* name) override;
  void CloseFile() override;
  bool ReadMesh() override;
  void ReportError(const std::string& message) const override;

private:
  using Point = std::array<float, 3>;
  struct PointHash
  {
    std::size_t operator()(const Point& point) const;
  };

  bool IsBinary();
  bool ReadWord();
  bool ReadFacets();
  bool ReadCorner();
  bool FillMesh();

  std::FILE* File = nullptr;
  /** A longer word is read in pieces. */
  char Word[100] = {};
  std::vector<Point> Vertices;
  std::unordered_map<Point, std::uint32_t, PointHash> VertexOf;
  /** Three vertex indices a facet, zero until its corners are read. */
  std::vector<std::uint32_t> FaceIndices;
  std::int32_t NumberOfVertices = -1;
  std::int32_t NumberOfFaces = -1;
  /** How many entries of FaceIndices have been read. */
  std::size_t CornersRead = 0;
};

#endif
