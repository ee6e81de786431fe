#ifndef meshSamples_h
#define meshSamples_h

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "trelAMReader.h"
#include "trelNeutralReader.h"
#include "trelOFFReader.h"
#include "trelPLYReader.h"
#include "trelSTLReader.h"
#include "trelSURFReader.h"
#include "trelTetrahedron.h"
#include "trelTriangleMesh.h"

/** A mesh file: its name's ending chooses the reader. */
struct MeshSample
{
  const char* ending;
  std::string bytes;
};

inline std::unique_ptr<trelMeshReader> MakeMeshReader(const std::string& ending)
{
  if (ending == "off") return std::make_unique<trelOFFReader>();
  if (ending == "ply") return std::make_unique<trelPLYReader>();
  if (ending == "stl") return std::make_unique<trelSTLReader>();
  if (ending == "surf") return std::make_unique<trelSURFReader>();
  if (ending == "am") return std::make_unique<trelAMReader>();
  return std::make_unique<trelNeutralReader>();
}

/** A file of this process that is removed at the end. */
class TemporaryFile
{
public:
  TemporaryFile()
      : Path((std::filesystem::temp_directory_path() / ("mesh " + std::to_string(getpid())))
                 .string())
  {
  }
  ~TemporaryFile() { std::filesystem::remove(Path); }

  /** A reader for the format of @p sample that has read its bytes; @p read tells the result. */
  std::unique_ptr<trelMeshReader> Read(const MeshSample& sample, bool* read) const
  {
    std::ofstream(Path, std::ios::binary) << sample.bytes;
    auto reader = MakeMeshReader(sample.ending);
    reader->AddFileName(Path.c_str());
    *read = reader->Update();
    return reader;
  }

  const std::string Path;
};

/** What is wrong with a mesh that was read successfully; "" if nothing. */
inline std::string MeshFault(const trelMesh& mesh)
{
  const auto outside = [&](const std::uint32_t* indices, std::int32_t count) {
    return std::any_of(indices, indices + count, [&](std::uint32_t index) {
      return index >= static_cast<std::uint32_t>(mesh.GetNumberOfVertices());
    });
  };
  for (int i = 0; i < 6; i += 2)
    if (!(mesh.GetBounds()[i] <= mesh.GetBounds()[i + 1])) return "bounds";
  if (outside(mesh.GetFaceData(), mesh.GetNumberOfFaces() * 3)) return "face index";
  if (!mesh.IsA("trelTetrahedron")) return mesh.GetNumberOfFaces() < 1 ? "no faces" : "";
  const auto& volume = static_cast<const trelTetrahedron&>(mesh);
  if (outside(volume.GetTetrahedronData(), volume.GetNumberOfTetrahedra() * 4)) return "corner";
  for (std::int32_t i = 0; i < volume.GetNumberOfTetrahedra(); ++i) {
    const std::int32_t region = volume.GetRegionData()[i];
    if (region < 0 || region >= volume.GetNumberOfRegions()) return "region";
  }
  return "";
}

inline std::string Replaced(const std::string& text, const char* pattern, const char* by)
{
  return std::regex_replace(text, std::regex(pattern), by);
}

/** The bytes of @p value in either order. */
template <class Number>
std::string Bytes(Number value, bool bigEndian)
{
  std::string bytes(sizeof value, '\0');
  std::memcpy(&bytes[0], &value, sizeof value);
  if (bigEndian) std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

static const float SampleVertices[4][3] = {{0, 0, 0}, {0, 0.5f, 0}, {1, 0, 0}, {0, 0, 2.25f}};
static const int SampleFaces[4][3] = {{0, 1, 2}, {0, 2, 3}, {2, 1, 3}, {0, 3, 1}};
static const char* const SampleVertexLines = "0 0 0\n0 0.5 0\n1 0 0\n0 0 2.25\n";

/** One tetrahedron's surface as a binary PLY file: coordinates of type Coordinate, then a colour
 * and a list; faces of a colour and a list with lengths of type Count and indices of type Index. */
template <class Coordinate, class Count, class Index>
std::string BinaryPly(const std::string& header, bool bigEndian)
{
  std::string bytes = header;
  for (const auto& vertex : SampleVertices) {
    for (const float x : vertex)
      bytes += Bytes(static_cast<Coordinate>(x), bigEndian);
    bytes += 'c' + Bytes<std::uint16_t>(2, bigEndian) + "listlist";
  }
  for (const auto& face : SampleFaces) {
    bytes += 'c' + Bytes<Count>(3, bigEndian);
    for (const int i : face)
      bytes += Bytes(static_cast<Index>(i), bigEndian);
  }
  return bytes;
}

/** The surface of one tetrahedron in each format and its variants. */
inline std::vector<MeshSample> SurfaceSamples()
{
  const std::string vertices = SampleVertexLines;
  const std::string off = "OFF\n\n4 4 6\n" + vertices + "3 0 1 2\n3 0 2 3\n3 2 1 3\n3 0 3 1\n";
  const std::string ply =
      "ply\nformat ascii 1.0\ncomment made by hand\nelement vertex 4\nproperty float x\n"
      "property float y\nproperty float z\nelement face 4\n"
      "property list uchar int vertex_indices\nend_header\n" +
      vertices + "3 0 1 2\n3 0 2 3\n3 2 1 3 left over\n3 0 3 1\n";
  const std::string rich =
      "PLY\r\nFORMAT ASCII 1.0\r\nelement vertex 4\r\nproperty uchar red\r\n"
      "property list uchar float weights\r\nproperty double x\r\nproperty double y\r\n"
      "property double z\r\nelement face 4\r\nproperty list uchar int flags\r\n"
      "property int id\r\nproperty list int int vertex_index\r\nelement edge 1\r\n"
      "property int a\r\nEND_HEADER\r\n"
      "7 0 0 0 0\r\n7 2 5 5 0 .5 0\r\n7 1 9 1 0 0\r\n7 0 0 0 2.25\r\n"
      "0 1 3 0 1 2\r\n1 9 1 3 0 2 3\r\n0 1 3 2 1 3\r\n0 1 3 0 3 1\r\n5\r\n";
  const std::string binary =
      "ply\nformat binary_F_endian 1.0\ncomment \nelement vertex 4\nproperty T x\n"
      "property T y\nproperty T z\nproperty uchar red\nproperty list ushort int marks\n"
      "element face 4\nproperty uchar green\nproperty list C I vertex_index\nEnd_Header\n";
  const auto header = [&](const char* order, const char* type, const char* count,
                          const char* index) {
    std::string text = Replaced(Replaced(binary, "F", order), "T", type);
    text = Replaced(Replaced(text, "C", count), "I", index);
    // The mark that ends the header lies across the byte 1024.
    return text.insert(text.find("comment ") + 8, 1019 - text.find("End_Header"), '.');
  };
  std::string stl = "solid a tetrahedron\n";
  for (const auto& face : SampleFaces) {
    stl += "facet normal 0 0 1\nouter loop\n";
    for (const int i : face) {
      stl += "vertex";
      for (const float x : SampleVertices[i])
        stl += x == 0 && &face != SampleFaces ? " -0" : " " + std::to_string(x);
      stl += "\n";
    }
    stl += "endloop\nendfacet\n";
  }
  std::string upper = stl;
  for (char& c : upper)
    c = static_cast<char>(std::toupper(c));
  const std::string surf = "SurfaceMesh\n4\n" + vertices + "4\n1 2 3\n1 3 4\n3 2 4\n1 4 2\n";
  return {
      {"off", off},
      {"off", Replaced(Replaced(off, "OFF", "off x"), "\n", "\t\r\n")},
      {"surf", surf},
      {"surf", Replaced(surf, "\n", " \r\n")},
      {"stl", stl},
      {"stl", upper},
      {"ply", ply},
      {"ply", rich},
      {"ply", BinaryPly<float, std::uint8_t, std::int32_t>(
                  header("little", "float", "uchar", "int"), false)},
      {"ply", BinaryPly<double, std::int32_t, std::int16_t>(
                  header("big", "float64", "int32", "int16"), true)},
      {"ply", BinaryPly<double, float, double>(header("big", "double", "float", "double"), true)}};
}

/** Two tetrahedra of two regions in each format and its variants. */
inline std::vector<MeshSample> VolumeSamples()
{
  const std::string vertices = std::string(SampleVertexLines) + "0 0 -1.5\n";
  const std::string am = "a mesh\n# nNodes 9\nnnodes 5\n\nnTetrahedra 2\nsomething else\n@3 x\n" +
                         vertices + "\n@1\n1 2 3 4\n1 3 2 5\n@2\n0\n1\n";
  const std::string mesh = "5 vertices\n" + vertices + "2\n1 1 2.0 3 4\n2 1 3 2 5\n0 triangles\n";
  return {{"am", am},
          {"am", Replaced(am, "\n", "\t\r\n") + "@4\nrest"},
          {"mesh", mesh},
          {"mesh", Replaced(mesh, "\n", "\r\n")}};
}

#endif
