#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <sstream>

#include "meshSamples.h"
#include "trelFaceUnitNormal.h"

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

/** All corners of all faces, six numbers each: the same for two files of one mesh, whatever the
 * order of their vertices. */
static std::vector<float> Corners(const trelMesh& mesh)
{
  std::vector<float> corners;
  for (int i = 0; i < 3 * mesh.GetNumberOfFaces(); ++i) {
    const float* vertex = mesh.GetVertexData() + 6l * mesh.GetFaceData()[i];
    corners.insert(corners.end(), vertex, vertex + 6);
  }
  return corners;
}

/** All that a volume has more than a surface. */
static std::vector<std::int32_t> Volume(const trelMesh& mesh)
{
  if (!mesh.IsA("trelTetrahedron")) return {};
  const auto& volume = static_cast<const trelTetrahedron&>(mesh);
  std::vector<std::int32_t> data = {volume.GetNumberOfRegions(), volume.GetNumberOfVertices()};
  data.insert(data.end(), volume.GetRegionData(),
              volume.GetRegionData() + volume.GetNumberOfTetrahedra());
  data.insert(data.end(), volume.GetTetrahedronData(),
              volume.GetTetrahedronData() + 4 * volume.GetNumberOfTetrahedra());
  data.insert(data.end(), volume.GetFaceOwnerData(),
              volume.GetFaceOwnerData() + 2 * volume.GetNumberOfFaces());
  return data;
}

TEST(MeshFiles, EachFormatGivesTheSameMesh)
{
  const TemporaryFile file;
  bool read = false;
  for (const auto& samples : {SurfaceSamples(), VolumeSamples()}) {
    const auto first = file.Read(samples[0], &read);
    ASSERT_TRUE(read);
    for (const MeshSample& sample : samples) {
      SCOPED_TRACE(sample.ending + std::string(":\n") + sample.bytes);
      const auto reader = file.Read(sample, &read);
      ASSERT_TRUE(read);
      trelMesh& mesh = *reader->GetOutput();
      EXPECT_EQ(Corners(mesh), Corners(*first->GetOutput()));
      EXPECT_EQ(mesh.GetNumberOfVertices(), first->GetOutput()->GetNumberOfVertices());
      EXPECT_FALSE(mesh.GetNormalsReversed());
      for (int i = 0; i < 6; ++i)
        EXPECT_EQ(mesh.GetBounds()[i], first->GetOutput()->GetBounds()[i]);
      EXPECT_EQ(Volume(mesh), Volume(*first->GetOutput()));
    }
    const float* bounds = first->GetOutput()->GetBounds();
    const float low = first->GetOutput()->IsA("trelTetrahedron") ? -1.5f : 0.0f;
    EXPECT_EQ(std::vector<float>(bounds, bounds + 6),
              (std::vector<float>{0.0f, 1.0f, 0.0f, 0.5f, low, 2.25f}));
  }
}

/** Vertices of exactly six floats come in one block; with more, or as other types, in rows. */
TEST(MeshFiles, PlyNormalsComeFromTheFile)
{
  const TemporaryFile file;
  for (const bool big : {false, true}) {
    for (const std::string type : {"float", "double"}) {
      for (const bool more : {false, true}) {
        std::string bytes = std::string("ply\nformat binary_") + (big ? "big" : "little") +
                            "_endian 1.0\nelement vertex 4\n";
        for (const char* name : {"x", "y", "z", "nx", "ny", "nz"})
          bytes += "property " + type + " " + name + "\n";
        bytes += more ? "property list char short x\n" : "";
        bytes += "element face 1\nproperty list uchar uint vertex_indices\nend_header\n";
        for (const auto& vertex : SampleVertices) {
          for (const float x : {vertex[0], vertex[1], vertex[2], 0.0f, 3.0f, -4.0f})
            bytes += type == "float" ? Bytes(x, big) : Bytes(double{x}, big);
          if (more) bytes += Bytes<char>(1, big) + "xx";
        }
        bytes += '\3' + Bytes(1u, big) + Bytes(2u, big) + Bytes(3u, big);
        bool read = false;
        const auto reader = file.Read({"ply", bytes}, &read);
        ASSERT_TRUE(read) << bytes;
        const float* last = reader->GetOutput()->GetVertexData() + 18;
        EXPECT_EQ(std::vector<float>(last, last + 6),
                  (std::vector<float>{0.0f, 0.0f, 2.25f, 0.0f, 0.6f, -0.8f}));
        EXPECT_TRUE(reader->GetOutput()->GetNormalsReversed());
      }
    }
  }
}

/** The good file @p sample with the first match of @p pattern replaced gives the report @p text. */
struct BadMeshFile
{
  std::size_t sample;
  const char* pattern;
  const char* by;
  const char* text;
};

static void ExpectReports(const std::vector<MeshSample>& samples,
                          const std::vector<BadMeshFile>& cases)
{
  const TemporaryFile file;
  for (const BadMeshFile& test : cases) {
    MeshSample sample = samples[test.sample];
    sample.bytes = std::regex_replace(sample.bytes, std::regex(test.pattern), test.by,
                                      std::regex_constants::format_first_only);
    SCOPED_TRACE(sample.ending + std::string(":\n") + sample.bytes);
    bool read = true;
    CaptureStderr();
    file.Read(sample, &read);
    const std::string report = GetCapturedStderr();
    EXPECT_FALSE(read);
    const std::string end = "): " + file.Path + ": \n" + test.text + "\n\n";
    EXPECT_EQ(report.substr(std::min(report.find("): "), report.size())), end);
  }
}

static const char* const VertexError = "Error when reading vertex data!\n";

TEST(MeshFiles, BadSurfaceFiles)
{
  const char* face = "Error when reading face data!\n";
  const char* surf = "Not a valid SURF file!\n";
  const char* noFacet = "There's no facet in the file!\n";
  std::vector<MeshSample> samples = SurfaceSamples();
  const std::size_t last = samples.size();
  samples.push_back({"stl", "solid" + std::string(75, ' ') + '\1' + std::string(53, '\0')});
  ExpectReports(
      samples,
      {{0, "OFF", "POFF", "Not a valid OFF file!\n"},
       {0, "[\\s\\S]*", "", "Not a valid OFF file!\n"},
       {0, "4 4 6[\\s\\S]*", "4\n", ""},
       {0, "4 4 6", "# a comment", ""},
       {0, "4 4 6", "0 4", ""},
       {0, "4 4 6", "4 -3", ""},
       {0, "4 4 6", "2147483647 4", VertexError},
       {0, "4 4 6", "4 2147483647", face},
       {0, "0 0 0\n", "\n0 0 0\n", VertexError},
       {0, "0.5 0", "0.5", VertexError},
       {0, "0.5", "nan", VertexError},
       {0, "0.5", "1e39", VertexError},
       {0, "2.25[\\s\\S]*", "2.25", face},
       {0, "3 0 2 3", "4 0 1 2 3", face},
       {0, "3 0 2 3", "3 0 2 4", face},
       {0, "3 0 2 3", "3 -1 2 3", face},
       {0, "3 0 2 3", "", face},
       {2, "Surface", "surf ace", surf},
       {2, "\n4[\\s\\S]*", "", surf},
       {2, "4\n1 2[\\s\\S]*", "", surf},
       {2, "1 3 4\n", "1 3 4 1\n", ""},
       {2, "1 3 4\n", "1 3 0\n", ""},
       {2, "1 3 4\n", "1 3 5\n", ""},
       {2, "1 4 2\n", "", face},
       {4, "[\\s\\S]*", "", noFacet},
       {4, "[\\s\\S]*", "solid nothing", noFacet},
       {4, "outer loop\n", "vertex 1 2 3\n", "A facet has more than three vertices!\n"},
       {4, "vertex 0[\\s\\S]*", "vertex 0.0 1", "The file ends inside a vertex!\n"},
       {4, "vertex", "skip", "A facet has less than three vertices!\n"},
       {last, "x", "", "Binary STL isn't supported!\n"},
       {6, "vertex 4", "vertex 0", "Number of vertices or faces is zero!"},
       {6, "vertex 4", "vertex 2000000000", VertexError},
       {6, "face 4", "face 2000000000", face},
       {6, "element vertex", "element x 1\nelement vertex", "Vertex data error!\n"},
       {6, "element face", "element x 1\nelement face", "Face data error!\n"},
       {6, "float z", "float w", "No coordinates information!\n"},
       {6, "0 0.5 0", "0 0.5", VertexError},
       {6, "3 2 1 3 left", "4 2 1 3 0",
        "Only triangle face is supported!\nface no.2\nnumber of vertices in this face : 4"},
       {6, "3 2 1 3 left over", "3 2 1", face},
       {6, "3 2 1 3", "3 2 1 4", face},
       {6, "3 0 3 1\n", "", face},
       {7, "7 2 5 5", "7 3 5 5", VertexError},
       {7, "7 2 5 5", "7 -2 5 5", VertexError},
       {7, "1 9 1 3", "9 9 1 3", face},
       {8, "property float z", "property float16 z",
        "Error when reading vertex data!\nreading vertex no.0\nproperty no.2"},
       {8, "vertex 4", "vertex 40",
        "Error when reading vertex data!\nreading vertex no.4\nproperty no.4"},
       {8, "face 4", "face 5", face},
       {9, "list int32 int16", "list int16 int16",
        "Only triangle face is supported!\nface no.0\nnumber of vertices in this face : 0"}});
}

TEST(MeshFiles, BadVolumeFiles)
{
  const char* mesh = "Not a valid MESH file!\n";
  ExpectReports(VolumeSamples(), {{0, "[\\s\\S]*", "", "Not a valid AM file!\n"},
                                  {0, "@[\\s\\S]*", "", ""},
                                  {0, "nnodes 5", "nnodes", ""},
                                  {0, "nnodes 5", "nnodes 6", VertexError},
                                  {0, "nnodes 5", "nnodes 4", VertexError},
                                  {0, "nnodes 5", "nnodes 999999999", VertexError},
                                  {0, "0.5 0", "0.5", VertexError},
                                  {0, "@1[\\s\\S]*", "", VertexError},
                                  {0, "hedra 2", "hedra 0", ""},
                                  {0, "hedra 2", "hedra 3", ""},
                                  {0, "hedra 2", "hedra 999999999", ""},
                                  {0, "1 2 3 4", "1 2 3", ""},
                                  {0, "1 2 3 4", "0 2 3 4", ""},
                                  {0, "1 2 3 4", "1 2 3 6", ""},
                                  {0, "@2[\\s\\S]*", "", ""},
                                  {0, "@2\n0", "@2\n-1", ""},
                                  {0, "@2\n0", "@2\n2147483647", ""},
                                  {0, "@2\n0", "@2\n0\n0", ""},
                                  {0, "@2\n0", "@2\n", ""},
                                  {0, "@2\n0", "@2\n0 0", ""},
                                  {2, "[\\s\\S]*", "", mesh},
                                  {2, "5 vertices", "0", ""},
                                  {2, "5 vertices", "999999999", VertexError},
                                  {2, "2\n1 1[\\s\\S]*", "", mesh},
                                  {2, "2 1 3 2 5[\\s\\S]*", "", mesh},
                                  {2, "1 1 2.0 3 4", "1 1 2 3", ""},
                                  {2, "1 1 2.0 3 4", "1 1 2 3 4 5", ""},
                                  {2, "1 1 2.0 3 4", "0 1 2 3 4", ""},
                                  {2, "1 1 2.0 3 4", "1 1 nan 3 4", ""},
                                  {2, "1 1 2.0 3 4", "1 1 1e30 3 4", ""}});
}

TEST(MeshFiles, FilesThatCannotBeOpened)
{
  for (const char* ending : {"off", "ply", "stl", "surf", "am", "mesh"}) {
    CaptureStderr();
    EXPECT_FALSE(MakeMeshReader(ending)->Update());
    EXPECT_NE(GetCapturedStderr().find("There's no file to read!\n\n"), std::string::npos);
    const auto reader = MakeMeshReader(ending);
    reader->AddFileName("/nowhere/mesh");
    CaptureStderr();
    EXPECT_FALSE(reader->Update());
    const std::string report = GetCapturedStderr();
    if (std::string(ending) == "stl")
      EXPECT_NE(report.find("Can not open file!\n\n\n"), std::string::npos);
    else
      EXPECT_EQ(report, "");
    for (const char* endless : {"/dev/zero", "/tmp"}) {
      const auto other = MakeMeshReader(ending);
      other->AddFileName(endless);
      EXPECT_FALSE(other->Update());
    }
  }
}

TEST(MeshFiles, PlyHeaderErrors)
{
  const TemporaryFile file;
  PlyFileReader ply;
  const auto opens = [&](const std::string& bytes) {
    std::ofstream(file.Path, std::ios::binary) << bytes;
    return ply.OpenPlyFile(file.Path.c_str());
  };
  EXPECT_FALSE(ply.OpenPlyFile("/nowhere/ply"));
  EXPECT_EQ(ply.error_text(), "Can not open file!\n");
  EXPECT_FALSE(opens("plx\n"));
  EXPECT_EQ(ply.error_text(), "Not a valid PLY file!\n");
  EXPECT_FALSE(opens("ply\nformat ascii 1.0\n"));
  EXPECT_EQ(ply.error_text(), "End of header not found!\n");
  EXPECT_FALSE(opens("ply\nformat text 1.0\nend_header\n"));
  EXPECT_EQ(ply.error_text(), "Unknown file format!\n");
  // Faces first: the vertices are kept for later.
  for (std::size_t i : {6, 9}) {
    ASSERT_TRUE(opens(SurfaceSamples()[i].bytes));
    std::uint32_t faces[12] = {};
    float first[24] = {}, second[24] = {};
    ASSERT_TRUE(ply.read_face_data(faces) && ply.read_vert_data(first) &&
                ply.read_vert_data(second) && ply.read_face_data(faces));
    EXPECT_EQ(faces[11], 1u);
    EXPECT_TRUE(first[20] == 2.25f && std::equal(first, first + 24, second));
  }
}

TEST(MeshFiles, CutFilesAreRefusedOrWhole)
{
  const TemporaryFile file;
  for (const auto& samples : {SurfaceSamples(), VolumeSamples()}) {
    for (const MeshSample& sample : samples) {
      CaptureStderr();
      for (std::size_t size = 0; size < sample.bytes.size(); ++size) {
        bool read = false;
        const auto reader = file.Read({sample.ending, sample.bytes.substr(0, size)}, &read);
        if (!read) continue;
        EXPECT_EQ(MeshFault(*reader->GetOutput()), "") << sample.ending << size;
        // STL tells nowhere how many facets there are.
        const std::size_t most = sample.ending == std::string("stl") ? sample.bytes.size() : 20;
        EXPECT_GE(size + most, sample.bytes.size()) << sample.ending << sample.bytes;
      }
      GetCapturedStderr();
    }
  }
}

/** A volume of blocks of cubes of six tetrahedra each, vertices and tetrahedra in random order if
 * there is @p random. The region is 1 where x >= @p split. */
struct CubeGrid
{
  CubeGrid(const std::vector<std::array<int, 3>>& blocks, int split, std::mt19937* random)
  {
    for (std::size_t b = 0; b < blocks.size(); ++b)
      for (int x = 0; x < blocks[b][0]; ++x)
        for (int y = 0; y < blocks[b][1]; ++y)
          for (int z = 0; z < blocks[b][2]; ++z)
            AddCube(static_cast<int>(b) * 100 + x, y, z);
    std::vector<std::uint32_t> names(Places.size());
    std::iota(names.begin(), names.end(), 0u);
    if (random) {
      std::shuffle(names.begin(), names.end(), *random);
      std::shuffle(Tetrahedra.begin(), Tetrahedra.end(), *random);
    }
    Mesh.SetNumberOfVertices(static_cast<int>(names.size()));
    for (const auto& [place, index] : Places)
      std::copy(place.begin(), place.end(), Mesh.GetVertexData() + 6 * names[index]);
    Mesh.SetNumberOfTetrahedra(static_cast<int>(Tetrahedra.size()));
    Mesh.SetNumberOfRegions(2);
    for (std::size_t t = 0; t < Tetrahedra.size(); ++t) {
      for (std::size_t i = 0; i < 4; ++i)
        Mesh.GetTetrahedronData()[4 * t + i] = names[Tetrahedra[t].corners[i]];
      Mesh.GetRegionData()[t] = Tetrahedra[t].x >= split;
    }
  }

  void AddCube(int x, int y, int z)
  {
    std::array<int, 3> axes = {0, 1, 2};
    do {
      std::array<int, 3> place = {x, y, z};
      Tetrahedron tetrahedron = {x, {}};
      for (std::size_t i = 0; i < 4; ++i) {
        const auto next = static_cast<std::uint32_t>(Places.size());
        tetrahedron.corners[i] = Places.emplace(place, next).first->second;
        if (i < 3) ++place[static_cast<std::size_t>(axes[i])];
      }
      Tetrahedra.push_back(tetrahedron);
    } while (std::next_permutation(axes.begin(), axes.end()));
  }

  struct Tetrahedron
  {
    int x;
    std::uint32_t corners[4];
  };
  std::map<std::array<int, 3>, std::uint32_t> Places;
  std::vector<Tetrahedron> Tetrahedra;
  trelTetrahedron Mesh;
};

/** Twice the signed area vector of an outer face dotted with the way to its apex is below 0. */
static bool PointsOutward(const trelTetrahedron& mesh, int face)
{
  const std::uint32_t* corner = mesh.GetFaceData() + 3 * face;
  const std::uint32_t* apex = mesh.GetTetrahedronData() + 4 * mesh.GetFaceOwnerData()[2 * face];
  while (std::find(corner, corner + 3, *apex) != corner + 3)
    ++apex;
  const auto vertex = [&](std::uint32_t i) { return mesh.GetVertexData() + 6 * i; };
  float normal[3], height = 0;
  FaceUnitNormal(vertex(corner[0]), vertex(corner[1]), vertex(corner[2]), normal);
  for (int i = 0; i < 3; ++i)
    height += normal[i] * (vertex(*apex)[i] - vertex(corner[0])[i]);
  return height < 0;
}

struct FaceCounts
{
  int outer = 0, interface = 0, inward = 0, unsorted = 0, openEdges = 0;
};

static FaceCounts CountFaces(const trelTetrahedron& mesh)
{
  FaceCounts counts;
  std::set<std::pair<std::uint32_t, std::uint32_t>> open;
  for (int face = 0; face < mesh.GetNumberOfFaces(); ++face) {
    const std::uint32_t* corner = mesh.GetFaceData() + 3 * face;
    if (mesh.GetFaceOwnerData()[2 * face + 1] != -1) {
      ++counts.interface;
      counts.unsorted += !(corner[0] < corner[1] && corner[1] < corner[2]);
      continue;
    }
    ++counts.outer;
    counts.inward += !PointsOutward(mesh, face);
    for (int i = 0; i < 3; ++i)  // a closed surface runs along each edge once in each direction
      if (!open.erase({corner[(i + 1) % 3], corner[i]}))
        open.emplace(corner[i], corner[(i + 1) % 3]);
  }
  counts.openEdges = static_cast<int>(open.size());
  return counts;
}

TEST(Tetrahedron, FacesBoundRegionsAndWindOutward)
{
  const struct
  {
    std::vector<std::array<int, 3>> blocks;
    int split, outer, interface;
  } cases[] = {{{{2, 1, 1}}, 9, 20, 0},
               {{{2, 1, 1}, {1, 2, 3}}, 1, 64, 2},
               {{{26, 26, 26}}, 13, 8112, 1352}};
  for (const auto& test : cases) {
    CubeGrid grid(test.blocks, test.split, nullptr);
    CaptureStderr();
    ASSERT_TRUE(grid.Mesh.BuildFaces());
    EXPECT_EQ(GetCapturedStderr(), "");
    const FaceCounts counts = CountFaces(grid.Mesh);
    EXPECT_EQ(counts.outer, test.outer);
    EXPECT_EQ(counts.interface, test.interface);
    EXPECT_EQ(counts.inward + counts.unsorted + counts.openEdges, 0);
  }
}

TEST(Tetrahedron, OneAndTwoTetrahedra)
{
  for (const int regions : {0, 1, 2}) {  // 0: a single tetrahedron
    trelTetrahedron mesh;
    ASSERT_TRUE(mesh.SetNumberOfVertices(5) && mesh.SetNumberOfTetrahedra(regions ? 2 : 1));
    const float places[5][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 0, -1}};
    for (int i = 0; i < 5; ++i)
      std::copy_n(places[i], 3, mesh.GetVertexData() + 6 * i);
    const std::uint32_t corners[8] = {3, 1, 0, 2, 0, 4, 1, 2};
    std::copy_n(corners, 4 * mesh.GetNumberOfTetrahedra(), mesh.GetTetrahedronData());
    if (regions == 2) mesh.GetRegionData()[1] = 1;
    ASSERT_TRUE(mesh.BuildFaces());
    const FaceCounts counts = CountFaces(mesh);
    EXPECT_EQ(counts.outer, regions ? 6 : 4);
    EXPECT_EQ(counts.interface, regions == 2 ? 1 : 0);
    EXPECT_EQ(counts.inward + counts.unsorted + counts.openEdges, 0);
  }
}

/** The orientation of the outer faces step by step, with a search over all edges for each face. */
class PlainOrientation
{
public:
  explicit PlainOrientation(const trelTetrahedron& mesh) : Mesh(mesh)
  {
    Faces.assign(mesh.GetFaceData(), mesh.GetFaceData() + 3 * mesh.GetNumberOfFaces());
    for (int f = 0; f < mesh.GetNumberOfFaces(); ++f) {
      int* v = &Faces[3 * static_cast<std::size_t>(f)];
      if (mesh.GetFaceOwnerData()[2 * f + 1] != -1) continue;
      std::sort(v, v + 3);
      ++Unused;
      for (const auto& key : {std::pair(v[0], v[1]), {v[0], v[2]}, {v[1], v[2]}})
        Edges[key].faces.push_back(f);
    }
    auto current = Edges.begin();
    Seed(*current);
    while (Unused > 0) {
      if (Use(*current)) current = FirstVisited(1);
      if (current != Edges.end()) continue;
      current = FirstVisited(0);
      if (current != Edges.end()) Seed(*current);
    }
  }

  std::vector<int> Faces;

private:
  struct Edge
  {
    std::vector<int> faces;
    int direction = 0, visits = 0;
  };
  using EdgeMap = std::map<std::pair<int, int>, Edge>;

  EdgeMap::iterator FirstVisited(int visits)
  {
    return std::find_if(Edges.begin(), Edges.end(),
                        [visits](const auto& edge) { return edge.second.visits == visits; });
  }

  int Third(int face, const std::pair<int, int>& key) const
  {
    const int* v = &Faces[3 * static_cast<std::size_t>(face)];
    return *std::find_if(v, v + 3, [&](int i) { return i != key.first && i != key.second; });
  }

  void Seed(EdgeMap::value_type& edge)
  {
    const int face = edge.second.faces[0];
    const int third = Third(face, edge.first);
    const std::uint32_t* apex = Mesh.GetTetrahedronData() + 4 * Mesh.GetFaceOwnerData()[2 * face];
    const int corners[3] = {edge.first.first, edge.first.second, third};
    while (std::count(corners, corners + 3, static_cast<int>(*apex)))
      ++apex;
    const auto at = [&](int i) { return Mesh.GetVertexData() + 6 * i; };
    float n[3], height = 0;
    FaceUnitNormal(at(corners[0]), at(corners[1]), at(third), n);
    for (int i = 0; i < 3; ++i)
      height += n[i] * (at(static_cast<int>(*apex))[i] - at(corners[0])[i]);
    edge.second.direction = height <= 0 ? 1 : 0;
  }

  bool Use(EdgeMap::value_type& edge)
  {
    const auto& faces = edge.second.faces;
    const auto unused =
        std::find_if(faces.begin(), faces.end(), [&](int f) { return Used.count(f) == 0; });
    if (unused == faces.end()) return false;
    edge.second.direction ^= 1;
    ++edge.second.visits;
    auto [p, q] = edge.first;
    if (edge.second.direction == 1) std::swap(p, q);
    const int r = Third(*unused, edge.first);
    const int wound[3] = {p, q, r};
    std::copy_n(wound, 3, &Faces[3 * static_cast<std::size_t>(*unused)]);
    Used.insert(*unused);
    --Unused;
    for (const auto& [from, to] : {std::pair(q, r), {r, p}}) {
      Edge& other = Edges[{std::min(from, to), std::max(from, to)}];
      other.direction = from < to ? 0 : 1;
      ++other.visits;
    }
    return true;
  }

  const trelTetrahedron& Mesh;
  EdgeMap Edges;
  std::set<int> Used;
  int Unused = 0;
};

TEST(Tetrahedron, OuterSurfaceIsThatOfThePlainForm)
{
  std::mt19937 random(7);
  const auto size = [&random] { return 1 + static_cast<int>(random() % 3); };
  for (int i = 0; i < 100; ++i) {
    std::vector<std::array<int, 3>> blocks;
    for (int b = 0; b < size(); ++b)
      blocks.push_back({size(), size(), size()});
    CubeGrid grid(blocks, size(), &random);
    ASSERT_TRUE(grid.Mesh.BuildFaces());
    const PlainOrientation plain(grid.Mesh);
    const std::uint32_t* faces = grid.Mesh.GetFaceData();
    ASSERT_TRUE(
        std::equal(plain.Faces.begin(), plain.Faces.end(), faces,
                   [](int a, std::uint32_t b) { return static_cast<std::uint32_t>(a) == b; }))
        << "mesh " << i;
  }
}

/** Tetrahedra at random leave edges of four faces: one warning, and all faces outward still. */
TEST(Tetrahedron, SurfaceThatIsNoManifoldGivesAWarning)
{
  std::mt19937 random(11);
  for (int i = 0; i < 50; ++i) {
    CubeGrid grid({{2, 2, 2}}, 1, &random);
    ASSERT_TRUE(grid.Mesh.SetNumberOfTetrahedra(12));
    CaptureStderr();
    ASSERT_TRUE(grid.Mesh.BuildFaces());
    const std::string report = GetCapturedStderr();
    const FaceCounts counts = CountFaces(grid.Mesh);
    EXPECT_EQ(counts.inward + counts.unsorted, 0);
    if (i > 0) continue;
    EXPECT_EQ(report.find("Warning: In "), 0u);
    EXPECT_EQ(report.find("Warning: In ", 1), std::string::npos);
    EXPECT_NE(report.find(" edge(s) don't join two faces, for example that of vertices "),
              std::string::npos);
  }
}

TEST(TriangleMesh, RecordsAreKeptAndAppended)
{
  trelTriangleMesh mesh;
  const float vertices[3][6] = {{0, 0, 0, 0, 0, -1}, {1, 0, 0, 0, 0, -1}, {0, 1, 0, 0, 0, -1}};
  const std::uint32_t faces[2][3] = {{0, 1, 1}, {0, 1, 2}};
  EXPECT_FALSE(mesh.CheckFaceOrientation());
  for (const auto& vertex : vertices)
    mesh.AddVertex(vertex);
  for (const auto& face : faces)
    mesh.AddFace(face);
  EXPECT_EQ(mesh.GetActualMemorySize(), 96u);
  EXPECT_EQ(mesh.FaceOrientationOf(mesh.GetFaceData()), FaceDegenerate);
  EXPECT_TRUE(mesh.CheckFaceOrientation());
  mesh.FlipVertexNormals();
  EXPECT_FALSE(mesh.CheckFaceOrientation());
  EXPECT_TRUE(mesh.GetNormalsFlipped());
  EXPECT_TRUE(mesh.ComputeBounds());

  trelTriangleMesh copy, shape;
  copy.DeepCopy(&mesh);
  shape.ShallowCopy(&mesh);
  EXPECT_EQ(Corners(copy), Corners(mesh));
  EXPECT_EQ(shape.GetNumberOfVertices(), 3);
  EXPECT_EQ(shape.GetBounds()[0], 0.0f);
  const float* before = mesh.GetVertexData();
  EXPECT_TRUE(copy.SetNumberOfVertices(2) && copy.SetNumberOfVertices(4) &&
              mesh.SetNumberOfVertices(3));
  EXPECT_EQ(before, mesh.GetVertexData());
  EXPECT_TRUE(std::equal(before, before + 12, copy.GetVertexData()));
  EXPECT_EQ(copy.GetVertexData()[12], 0.0f);

  CaptureStderr();
  EXPECT_FALSE(mesh.SetNumberOfFaces(-1));
  EXPECT_NE(GetCapturedStderr().find("your face data's memory is not right allocated\n\n"),
            std::string::npos);
  EXPECT_EQ(mesh.GetNumberOfFaces(), 2);
  std::ostringstream text;
  mesh.PrintSelf(text);
  EXPECT_NE(text.str().find("Bounding Box x_max: 1\n"), std::string::npos);
  EXPECT_NE(text.str().find("Vertex Number: 3\nFace Number: 2\n"), std::string::npos);
  mesh.ClearModel();
  EXPECT_EQ(mesh.GetNumberOfVertices(), 0);
  EXPECT_EQ(mesh.GetBounds()[0], -1.0f);
}
