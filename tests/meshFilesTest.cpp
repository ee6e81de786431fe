#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <iomanip>
#include <regex>
#include <set>

#include "meshSamples.h"
#include "testTools.h"
#include "trelFaceUnitNormal.h"

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

/** All that a mesh holds but the order of its vertices: those of its faces, six numbers each, then
 * what a volume has more than a surface. */
static std::vector<double> ContentsOf(const trelMesh& mesh)
{
  std::vector<double> contents;
  const auto append = [&contents](const auto* data, int count) {
    contents.insert(contents.end(), data, data + count);
  };
  for (int i = 0; i < 3 * mesh.GetNumberOfFaces(); ++i)
    append(mesh.GetVertexData() + 6l * mesh.GetFaceData()[i], 6);
  append(mesh.GetBounds(), 6);
  if (!mesh.IsA("trelTetrahedron")) return contents;
  const auto& volume = static_cast<const trelTetrahedron&>(mesh);
  append(volume.GetRegionData(), volume.GetNumberOfTetrahedra());
  append(volume.GetTetrahedronData(), 4 * volume.GetNumberOfTetrahedra());
  append(volume.GetFaceOwnerData(), 2 * volume.GetNumberOfFaces());
  contents.push_back(volume.GetNumberOfRegions());
  return contents;
}

TEST(MeshFiles, EachFormatGivesTheSameMesh)
{
  const TemporaryFile file;
  bool read = false;
  const std::vector<MeshSample> samples = ReadGoodFiles();
  ASSERT_EQ(samples.size(), 22u);
  const auto surface = file.Read(samples.front(), &read), volume = file.Read(samples.back(), &read);
  for (const MeshSample& sample : samples) {
    SCOPED_TRACE(sample.name + ":\n" + sample.bytes);
    const auto reader = file.Read(sample, &read);
    ASSERT_TRUE(read);
    trelMesh& mesh = *reader->GetOutput();
    EXPECT_EQ(ContentsOf(mesh), ContentsOf(*(sample.IsVolume() ? volume : surface)->GetOutput()));
    EXPECT_EQ(mesh.GetNumberOfVertices(), sample.IsVolume() ? 5 : 4);
    EXPECT_FALSE(mesh.GetNormalsReversed());
    const float bounds[6] = {0.0f, 1.0f, 0.0f, 0.5f, sample.IsVolume() ? -1.5f : 0.0f, 2.25f};
    EXPECT_TRUE(std::equal(bounds, bounds + 6, mesh.GetBounds()));
  }
}

TEST(MeshFiles, PlyNormalsComeFromTheFile)
{
  const TemporaryFile file;
  ASSERT_EQ(ReadSamples("normals.txt").size(), 8u);
  for (const MeshSample& sample : ReadSamples("normals.txt")) {
    SCOPED_TRACE(sample.name);
    bool read = false;
    const auto reader = file.Read(sample, &read);
    ASSERT_TRUE(read);
    const float last[6] = {0.0f, 0.0f, 2.25f, 0.0f, 0.6f, 0.8f};
    EXPECT_TRUE(std::equal(last, last + 6, reader->GetOutput()->GetVertexData() + 18));
    EXPECT_TRUE(reader->GetOutput()->GetNormalsReversed());
  }
}

/** The report of a reader that refuses @p sample, from the file's name on. */
static std::string ReportOf(const TemporaryFile& file, const MeshSample& sample)
{
  bool read = true;
  CaptureStderr();
  const auto reader = file.Read(sample, &read);
  const std::string report = GetCapturedStderr();
  EXPECT_FALSE(read);
  EXPECT_THAT(report, testing::StartsWith(StartOfError(reader->GetClassName())));
  return report.substr(std::min(report.find("): "), report.size()));
}

/** Whether a quoted text follows, which becomes @p text; in the file \\n stands for a line's end.
 */
static bool ReadQuoted(std::istream& stream, std::string* text)
{
  if (!(stream >> std::quoted(*text, '"', '\0'))) return false;
  *text = std::regex_replace(*text, std::regex(R"(\\n)"), "\n");
  return true;
}

TEST(MeshFiles, BadFilesAreReported)
{
  const TemporaryFile file;
  const std::string start = "): " + file.Path + ": \n";
  std::map<std::string, std::string> good;
  for (const MeshSample& sample : ReadSamples("good.txt"))
    good[sample.name] = sample.bytes;
  int tests = 0;
  for (MeshSample bad : ReadSamples("bad.txt")) {
    std::istringstream lines(bad.bytes);
    for (std::string text, from, to; ReadQuoted(lines, &text); ++tests) {
      ASSERT_TRUE(ReadQuoted(lines, &from) && ReadQuoted(lines, &to));
      bad.bytes = std::regex_replace(good.at(bad.name), std::regex(from), to,
                                     std::regex_constants::format_first_only);
      EXPECT_EQ(ReportOf(file, bad), start + text + "\n\n") << bad.name << ":\n" << bad.bytes;
    }
  }
  EXPECT_EQ(tests, 78);
  const std::string binary = "solid" + std::string(75, ' ') + '\1' + std::string(53, '\0');
  EXPECT_EQ(ReportOf(file, {"stl", binary}), start + "Binary STL isn't supported!\n\n\n");
}

TEST(MeshFiles, StlFacetsMayLackCorners)
{
  const TemporaryFile file;
  for (const MeshSample& good : ReadSamples("good.txt")) {
    if (good.name != "stl") continue;
    bool read = false;
    CaptureStderr();
    const auto reader = file.Read({"stl", "solid facet\n" + good.bytes}, &read);
    EXPECT_THAT(GetCapturedStderr(), testing::HasSubstr("has 5 facets but 12 corners"));
    ASSERT_TRUE(read);
    const std::uint32_t* last = reader->GetOutput()->GetFaceData() + 12;
    EXPECT_TRUE(std::all_of(last, last + 3, [](std::uint32_t corner) { return corner == 0; }));
  }
}

TEST(MeshFiles, FilesThatCannotBeOpened)
{
  const TemporaryDirectory directory;
  const std::string pipe = directory.PathOf("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0666), 0);
  for (const std::string ending : {"off", "ply", "stl", "surf", "am", "mesh"}) {
    CaptureStderr();
    EXPECT_FALSE(MakeMeshReader(ending)->Update());
    EXPECT_THAT(GetCapturedStderr(), testing::HasSubstr("There's no file to read!\n\n"));
    for (const std::string& path :
         {std::string("/dev/zero"), directory.PathOf(""), pipe, directory.PathOf("nowhere")}) {
      SCOPED_TRACE(path);
      const auto reader = MakeMeshReader(ending);
      reader->AddFileName(path.c_str());
      CaptureStderr();
      EXPECT_FALSE(reader->Update());
      const std::string report = GetCapturedStderr();
      EXPECT_EQ(report.empty(), ending != "stl");
      EXPECT_THAT(report, testing::HasSubstr(ending == "stl" ? "Can not open file!\n\n\n" : ""));
    }
  }
}

TEST(MeshFiles, PlyHeaderErrors)
{
  const TemporaryFile file;
  PlyFileReader ply;
  EXPECT_FALSE(ply.OpenPlyFile("/nowhere/ply"));
  EXPECT_EQ(ply.error_text(), "Can not open file!\n");
  for (const auto& [text, bytes] :
       {std::pair("Not a valid PLY file!\n", "plx\n"),
        {"End of header not found!\n", "ply\nformat ascii 1.0\n"},
        {"Unknown file format!\n", "ply\nformat text 1.0\nend_header\n"}}) {
    std::ofstream(file.Path) << bytes;
    EXPECT_FALSE(ply.OpenPlyFile(file.Path.c_str()));
    EXPECT_EQ(ply.error_text(), text);
  }
  // Faces first: the vertices are kept for later.
  for (const MeshSample& sample : ReadGoodFiles()) {
    if (sample.GetEnding() != "ply") continue;
    std::ofstream(file.Path, std::ios::binary) << sample.bytes;
    std::uint32_t faces[12] = {};
    float first[24] = {}, second[24] = {};
    ASSERT_TRUE(ply.OpenPlyFile(file.Path.c_str()) && ply.read_face_data(faces) &&
                ply.read_vert_data(first) && ply.read_vert_data(second) &&
                ply.read_face_data(faces));
    EXPECT_EQ(faces[11], 1u);
    EXPECT_TRUE(first[18 + 2] == 2.25f && std::equal(first, first + 24, second));
  }
}

TEST(MeshFiles, CutFilesAreRefusedOrWhole)
{
  const TemporaryFile file;
  for (const MeshSample& sample : ReadGoodFiles()) {
    CaptureStderr();
    for (std::size_t size = 0; size < sample.bytes.size(); ++size) {
      bool read = false;
      const auto reader = file.Read({sample.name, sample.bytes.substr(0, size)}, &read);
      if (!read) continue;
      EXPECT_EQ(MeshFault(*reader->GetOutput()), "") << sample.name << size;
      // STL tells nowhere how many facets there are.
      const std::size_t most = sample.GetEnding() == "stl" ? sample.bytes.size() : 20;
      EXPECT_GE(size + most, sample.bytes.size()) << sample.name << ":\n" << sample.bytes;
    }
    GetCapturedStderr();
  }
}

/** How high the first owner of the face reaches above the plane of @p corner, wound like that. */
static float ApexHeight(const trelTetrahedron& mesh, int face, const std::uint32_t corner[3])
{
  const std::uint32_t* apex = mesh.GetTetrahedronData() + 4 * mesh.GetFaceOwnerData()[2 * face];
  while (std::find(corner, corner + 3, *apex) != corner + 3)
    ++apex;
  const auto vertex = [&](std::uint32_t i) { return mesh.GetVertexData() + 6 * i; };
  float normal[3], height = 0;
  FaceUnitNormal(vertex(corner[0]), vertex(corner[1]), vertex(corner[2]), normal);
  for (int i = 0; i < 3; ++i)
    height += normal[i] * (vertex(*apex)[i] - vertex(corner[0])[i]);
  return height;
}

/** Wrong faces are outer ones that wind inward and others whose vertices do not ascend. */
struct FaceCounts
{
  int outer = 0, interface = 0, wrong = 0, openEdges = 0;
};

static FaceCounts CountFaces(const trelTetrahedron& mesh)
{
  FaceCounts counts;
  std::set<std::pair<std::uint32_t, std::uint32_t>> open;
  for (int face = 0; face < mesh.GetNumberOfFaces(); ++face) {
    const std::uint32_t* corner = mesh.GetFaceData() + 3 * face;
    if (mesh.GetFaceOwnerData()[2 * face + 1] != -1) {
      ++counts.interface;
      counts.wrong += !(corner[0] < corner[1] && corner[1] < corner[2]);
      continue;
    }
    ++counts.outer;
    counts.wrong += !(ApexHeight(mesh, face, corner) < 0);
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
    std::vector<CubeGrid::Place> blocks;
    /** How many tetrahedra, and how many of them are region 0. */
    int kept, first, outer, interface;
  } cases[] = {{{{1, 1, 1}}, 1, 1, 4, 0},
               {{{1, 1, 1}}, 2, 2, 6, 0},
               {{{1, 1, 1}}, 2, 1, 6, 1},
               {{{2, 1, 1}}, 12, 12, 20, 0},
               {{{2, 1, 1}, {1, 2, 3}}, 48, 6, 64, 2},
               {{{26, 26, 26}}, 105456, 52728, 8112, 1352}};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.kept);
    CubeGrid grid(test.blocks);
    ASSERT_TRUE(grid.Mesh.SetNumberOfTetrahedra(test.kept));
    for (int i = test.first; i < test.kept; ++i)
      grid.Mesh.GetRegionData()[i] = 1;
    CaptureStderr();
    ASSERT_TRUE(grid.Mesh.BuildFaces());
    EXPECT_EQ(GetCapturedStderr(), "");
    const FaceCounts counts = CountFaces(grid.Mesh);
    EXPECT_EQ(counts.outer, test.outer);
    EXPECT_EQ(counts.interface, test.interface);
    EXPECT_EQ(counts.wrong + counts.openEdges, 0);
  }
}

/** Blocks of cubes in random order. With some tetrahedra left out edges have four faces: one
 * warning, and all faces outward still. */
TEST(Tetrahedron, FacesWindOutwardInAnyOrder)
{
  std::mt19937 random(7);
  const auto size = [&random] { return 1 + static_cast<int>(random() % 3); };
  for (int i = 0; i < 100; ++i) {
    SCOPED_TRACE(i);
    std::vector<CubeGrid::Place> blocks = {{2, 2, 2}};
    for (int b = 0; b < size(); ++b)
      blocks.push_back({size(), size(), size()});
    CubeGrid grid(blocks, &random);
    for (int t = 0; t < grid.Mesh.GetNumberOfTetrahedra(); ++t)
      grid.Mesh.GetRegionData()[t] = t % 2;
    ASSERT_TRUE(grid.Mesh.BuildFaces());
    const FaceCounts whole = CountFaces(grid.Mesh);
    ASSERT_EQ(whole.wrong + whole.openEdges, 0);
    ASSERT_TRUE(grid.Mesh.SetNumberOfTetrahedra(grid.Mesh.GetNumberOfTetrahedra() / 4));
    CaptureStderr();
    ASSERT_TRUE(grid.Mesh.BuildFaces());
    const std::string report = GetCapturedStderr();
    ASSERT_EQ(CountFaces(grid.Mesh).wrong, 0);
    ASSERT_EQ(report.find("Warning: In "), 0u);
    ASSERT_EQ(report.find("Warning: In ", 1), std::string::npos);
    ASSERT_THAT(report, testing::HasSubstr(" edge(s) don't join two faces, for example that of "));
  }
}
