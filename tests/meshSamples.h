#ifndef meshSamples_h
#define meshSamples_h

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <sstream>
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

inline std::unique_ptr<trelMeshReader> MakeMeshReader(const std::string& ending)
{
  if (ending == "off") return std::make_unique<trelOFFReader>();
  if (ending == "ply") return std::make_unique<trelPLYReader>();
  if (ending == "stl") return std::make_unique<trelSTLReader>();
  if (ending == "surf") return std::make_unique<trelSURFReader>();
  if (ending == "am") return std::make_unique<trelAMReader>();
  return std::make_unique<trelNeutralReader>();
}

/** A mesh file. The first word of its name is its ending, which chooses the reader. */
struct MeshSample
{
  std::string name, bytes;

  std::string GetEnding() const { return name.substr(0, name.find(' ')); }
  bool IsVolume() const { return GetEnding() == "am" || GetEnding() == "mesh"; }
};

/** How an error report that names the source of the class @p source begins. */
inline std::string StartOfError(const std::string& source)
{
  return "ERROR: In ..\\..\\src\\" + source + ", line ";
}

/** A file of this process that is removed at the end. */
class TemporaryFile
{
public:
  ~TemporaryFile() { std::filesystem::remove(Path); }

  /** A reader for the format of @p sample that has read its bytes; @p read tells the result. */
  std::unique_ptr<trelMeshReader> Read(const MeshSample& sample, bool* read) const
  {
    std::ofstream(Path, std::ios::binary) << sample.bytes;
    auto reader = MakeMeshReader(sample.GetEnding());
    reader->AddFileName(Path.c_str());
    *read = reader->Update();
    return reader;
  }

  const std::string Path =
      (std::filesystem::temp_directory_path() / ("mesh " + std::to_string(getpid()))).string();
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

/** The bytes that @p digits name, two digits each. */
inline std::string BytesOf(const std::string& digits)
{
  std::istringstream words(digits);
  std::string bytes;
  for (std::string word; words >> word;)
    for (std::size_t i = 0; i < word.size(); i += 2)
      bytes += static_cast<char>(std::stoi(word.substr(i, 2), nullptr, 16));
  return bytes;
}

/** The files in tests/meshes/@p file: each stands behind a line "=== NAME", bytes that are no text
 * behind "0x ". The texts are in capitals and have the line ends of DOS if @p dos is true. */
inline std::vector<MeshSample> ReadSamples(const char* file, bool dos = false)
{
  std::ifstream stream(std::string(TREL_SOURCE_DIR "/tests/meshes/") + file);
  std::vector<MeshSample> samples;
  for (std::string line; std::getline(stream, line);) {
    if (line.rfind("=== ", 0) == 0) {
      samples.push_back({line.substr(4), ""});
    } else if (line.rfind("0x ", 0) == 0) {
      samples.back().bytes += BytesOf(line.substr(3));
    } else if (!samples.empty()) {
      for (char& c : line)
        c = static_cast<char>(dos ? std::toupper(c) : c);
      samples.back().bytes += line + (dos ? "\r\n" : "\n");
    }
  }
  return samples;
}

/** One mesh in each format and its variants: a tetrahedron's surface, and two tetrahedra. */
inline std::vector<MeshSample> ReadGoodFiles()
{
  std::vector<MeshSample> samples = ReadSamples("good.txt");
  for (const MeshSample& sample : ReadSamples("good.txt", true))
    samples.push_back(sample);
  return samples;
}

/** A volume of blocks of cubes of edge 1, six tetrahedra each; vertices and tetrahedra are in
 * random order if there is @p random. The caller tells the regions. */
struct CubeGrid
{
  using Place = std::array<int, 3>;

  explicit CubeGrid(const std::vector<Place>& blocks, std::mt19937* random = nullptr)
  {
    for (std::size_t b = 0; b < blocks.size(); ++b)
      for (int x = 0; x < blocks[b][0]; ++x)
        for (int y = 0; y < blocks[b][1]; ++y)
          for (int z = 0; z < blocks[b][2]; ++z)
            AddCube({static_cast<int>(b) * 100 + x, y, z});
    std::vector<std::uint32_t> names(Places.size());
    std::iota(names.begin(), names.end(), 0u);
    if (random) std::shuffle(names.begin(), names.end(), *random);
    Mesh.SetNumberOfVertices(static_cast<int>(names.size()));
    for (const auto& [place, index] : Places)
      std::copy(place.begin(), place.end(), Mesh.GetVertexData() + 6 * names[index]);
    for (auto& tetrahedron : Tetrahedra)
      for (std::uint32_t& corner : tetrahedron)
        corner = names[corner];
    if (random) std::shuffle(Tetrahedra.begin(), Tetrahedra.end(), *random);
    Mesh.SetNumberOfTetrahedra(static_cast<int>(Tetrahedra.size()));
    std::copy_n(Tetrahedra[0].data(), 4 * Tetrahedra.size(), Mesh.GetTetrahedronData());
    Mesh.SetNumberOfRegions(2);
  }

  /** Each order of the axes is a way along the edges from the lowest to the highest corner. */
  void AddCube(const Place& cube)
  {
    std::array<std::size_t, 3> axes = {0, 1, 2};
    do {
      Place place = cube;
      Tetrahedra.emplace_back();
      for (std::size_t i = 0; i < 4; ++i) {
        const auto next = static_cast<std::uint32_t>(Places.size());
        Tetrahedra.back()[i] = Places.emplace(place, next).first->second;
        if (i < 3) ++place[axes[i]];
      }
    } while (std::next_permutation(axes.begin(), axes.end()));
  }

  /** In one block of @p n cubes along each axis, in order, makes [from, to)^3 region 1 and the rest
   * region 0, and builds the faces. */
  bool BuildCore(int n, int from, int to)
  {
    const auto within = [&](int i) { return i >= from && i < to; };
    for (int t = 0; t < 6 * n * n * n; ++t)  // the cubes stand in the order of x, y, z
      Mesh.GetRegionData()[t] = within(t / 6 / n / n) && within(t / 6 / n % n) && within(t / 6 % n);
    return Mesh.BuildFaces();
  }

  std::map<Place, std::uint32_t> Places;
  std::vector<std::array<std::uint32_t, 4>> Tetrahedra;
  trelTetrahedron Mesh;
};

using Point = std::array<double, 3>;
using SurfacePointer = std::unique_ptr<trelTriangleMesh>;

/** The cube [-1, 1]^3, n x n squares of two triangles on each side, its points moved by `move`. The
 *  sides repeat the vertices that they share. */
inline SurfacePointer MovedCube(int n, const std::function<Point(const Point&)>& move)
{
  auto cube = std::make_unique<trelTriangleMesh>();
  for (int side = 0; side < 6; ++side) {
    const int axis = side / 2, first = side * (n + 1) * (n + 1);
    for (int k = 0; k < (n + 1) * (n + 1); ++k) {
      Point p;
      p[axis] = side % 2 ? 1 : -1;
      p[(axis + 1) % 3] = 2.0 * (k / (n + 1)) / n - 1;
      p[(axis + 2) % 3] = 2.0 * (k % (n + 1)) / n - 1;
      p = move(p);
      const float vertex[6] = {float(p[0]), float(p[1]), float(p[2])};
      cube->AddVertex(vertex);
    }
    for (int k = 0; k < n * n; ++k) {
      const auto a = std::uint32_t(first + k / n * (n + 1) + k % n), c = a + n + 2;
      const std::uint32_t b = side % 2 ? a + n + 1 : a + 1, d = side % 2 ? a + 1 : a + n + 1;
      const std::uint32_t faces[2][3] = {{a, b, c}, {a, c, d}};
      cube->AddFace(faces[0]);
      cube->AddFace(faces[1]);
    }
  }
  return cube;
}

/** A sphere of 12 n^2 triangles about (0, 0, 0). */
inline SurfacePointer Sphere(double radius, int n)
{
  return MovedCube(n, [&](const Point& p) {
    const double scale = radius / std::hypot(p[0], p[1], p[2]);
    return Point{p[0] * scale, p[1] * scale, p[2] * scale};
  });
}

#endif
