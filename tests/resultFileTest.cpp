#include <cstring>
#include <functional>
#include <limits>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "modelFixtures.h"
#include "testModel.h"
#include "testTools.h"
#include "trelResultFile.h"
#include "trelResultFileSet.h"
#include "trelSimulationResultWriter.h"

using testing::HasSubstr;
namespace fs = std::filesystem;

static void NumberCells(trelGrid* grid, double first)
{
  const std::size_t cells = grid ? grid->GetNumberOfCells() : 0;
  for (std::size_t k = 0; k < cells; ++k)
    grid->GetCells()[k] = first + static_cast<double>(k);
}

/** A result whose cells are numbered instead of scored; cells of 1 mm, 180 and 60 degrees. */
class NumberedResult
{
public:
  NumberedResult() { Result->Register(); }
  ~NumberedResult() { Result->UnRegister(); }

  void SetModel(ShapeType shape, double hx, double hy, double hz)
  {
    Model.AddTissue(Place(new BoxOfKind(shape), 0, 0, 0, hx, hy, hz), {0.5, 1.0, 0.0, 1.0});
    Model->SetDimension(shape < ShapeEllipsoid ? Dimension2D : Dimension3D);
    Model->SetSeparations(1, 1, 1, 1, 180, 60);
  }

  void Initialize()
  {
    ReportsOf([this] { ASSERT_TRUE(Result->Initialize(Model.Get())); });
  }

  trelMediumResult& GetRecord() { return *Result->GetMediumResult(0); }

  /** Makes room for a mesh of two faces and three vertices. */
  void AddMesh(bool isTetra)
  {
    ASSERT_TRUE(GetRecord().AllocateMeshFaces(2, 3, isTetra));
    ASSERT_TRUE(GetRecord().InitializeCWTransmittance(Model.Get()));
    ASSERT_TRUE(GetRecord().InitializeTDTransmittance(Model.Get()));
    ASSERT_TRUE(GetRecord().InitializeFDTransmittance(Model.Get()));
    const std::uint32_t vertices[2][3] = {{0, 1, 2}, {2, 1, 4294967295u}};
    for (int f = 0; f < 2; ++f)
      std::copy_n(vertices[f], 3, GetRecord().GetMeshFaces()[f].Vertices);
  }

  /** Absorption from 1 on, the surfaces from 10, 20, ... on in the order of the table of grids;
   *  time bins go on where the one before ended, and phases lie 100 above. */
  void Number()
  {
    for (const trelGridKind kind : {GridAbsorption, GridTransmittance}) {
      double first = kind == GridAbsorption ? 1.0 : 10.0;
      for (const trelGridId id : GetGridIds(kind)) {
        if (!GetRecord().GetGrid(GridCW, id)) continue;
        for (const trelGridDomain domain : {GridCW, GridTD, GridFDAmp})
          NumberCells(GetRecord().GetGrid(domain, id), first);
        NumberCells(GetRecord().GetGrid(GridFDPha, id), first + 100.0);
        first += 10.0;
      }
    }
    GetRecord().SumCWAbsorption();
    GetRecord().SumTDAbsorption();
    GetRecord().SumCWTransmittance();
    GetRecord().SumTDTransmittance();
  }

  /** Writes all files and compares them with those of tests/golden. */
  void ExpectGoldenFiles(const std::string& name)
  {
    SCOPED_TRACE(name);
    const TemporaryDirectory directory;
    trelSimulationResultWriter writer;
    writer.AddFileName(directory.PathOf(name).c_str());
    writer.SetInput(Result, Model.Get());
    ASSERT_TRUE(writer.Update());
    EXPECT_EQ(writer.GetProgress(), 1000);
    EXPECT_EQ(writer.GetProgressText(),
              name == "nothing" ? "" : "Storing absorption data...  100%");
    const auto golden = ReadFiles(TREL_SOURCE_DIR "/tests/golden", name);
    auto written = ReadFiles(directory.Path, name);
    EXPECT_EQ(written.size(), golden.size());
    for (const auto& [ending, text] : golden)
      EXPECT_EQ(written[ending], text) << ending;
  }

  TestModel Model;
  trelSimulationResult* Result = new trelSimulationResult;
};

/** Makes the solid of a row of the golden ones, with both quantities in all domains. */
static void MakeSolid(NumberedResult& made, std::istream& row)
{
  int shape = 0, absorption = 0, transmittance = 0, wavelengths = 0, launched = 0, left = 0;
  double hx = 0.0, hy = 0.0, hz = 0.0;
  row >> shape >> hx >> hy >> hz >> absorption >> transmittance >> wavelengths >> launched >> left;
  ASSERT_TRUE(row);
  if (wavelengths == 2) made.Model->SetWavelengths({600, 700});
  made.SetModel(static_cast<ShapeType>(shape), hx, hy, hz);
  made.Model->SetAbsorptionCoordinate(static_cast<CoordinateType>(absorption));
  made.Model->SetTransmittanceCoordinate(static_cast<CoordinateType>(transmittance));
  made.Model->SetTimeDomain(true);
  made.Model->SetTimeRange(0, 20, 10);
  made.Model->SetFrequencyDomain(true);
  made.Model->SetSavePhotonFlyTime(launched > 0);
  if (launched) made.Model.AddSource(TestModel::Make<trelCube>({0, 0, 0}, {1, 1, 1}), launched);
  made.Initialize();
  trelMediumResult& record = made.GetRecord();
  for (int packet = 1; packet <= left; ++packet) {
    record.RecordFlyTime(record.GetTransmitPhotonNum(), {static_cast<double>(packet), -0.5, 1e-10},
                         12345.678);
    record.IncrementTransmitPhotonNum();
    record.SetSpecularReflectance(0.25);
  }
  if (launched) record.IncrementAbsorpPhotonNum();
  if (shape == ShapeTriangleMesh || shape == ShapeTetrahedron) {
    made.AddMesh(shape == ShapeTetrahedron);
  }
}

TEST(ResultFile, IsTheGoldenOne)
{
  for (std::istringstream& row : ReadTable("../golden/solids.txt")) {
    std::string name;
    row >> name;
    NumberedResult made;
    MakeSolid(made, row);
    made.Number();
    made.ExpectGoldenFiles(name);
  }
  NumberedResult nothing;  // a run that simulates nothing: two files without a block
  nothing.ExpectGoldenFiles("nothing");
}

TEST(ResultFile, IsNamedWhenItCannotBeWritten)
{
  const TemporaryDirectory directory;
  const std::string base = directory.PathOf("run");
  NumberedResult made;
  made.SetModel(ShapeCube, 0.5, 1, 1.5);
  made.Model->SetTimeDomain(true);
  made.Model->SetTimeRange(0, 20, 10);
  made.Initialize();
  trelSimulationResultWriter writer;
  writer.AddFileName(base.c_str());
  writer.SetInput(made.Result, made.Model.Get());
  const auto reportOfUpdate = [&] { return ReportsOf([&] { EXPECT_FALSE(writer.Update()); }); };
  fs::create_symlink("/dev/full", base + ".T.CW");  // a disk without room
  EXPECT_THAT(reportOfUpdate(),
              HasSubstr("): Could not write all of file : " + base + ".T.CW\n\n"));
  EXPECT_EQ(writer.GetProgressText(), "Storing absorption data...  100%");
  EXPECT_EQ(directory.Count(), 1) << "the link alone";
  fs::create_directory(base + ".A.CW");
  EXPECT_THAT(reportOfUpdate(), HasSubstr("): Cannot open file : " + base + ".A.CW\n\n"));
}

/** Writes "new" to the files @p names of one set; whether they were put in their places, after
 * @p before, which sees them complete. */
static bool WriteSet(const std::vector<std::string>& names, const std::function<void()>& before)
{
  trelResultFileSet files;
  for (const std::string& name : names) {
    std::FILE* stream = files.Open(name);
    if (!stream) return false;
    std::fputs("new", stream);
    std::fclose(stream);
  }
  before();
  std::string failed;
  const bool placed = files.Commit(failed);
  EXPECT_EQ(failed, placed ? "" : names.back());
  return placed;
}

TEST(ResultFileSet, IsPlacedWholeOrNotAtAll)
{
  const TemporaryDirectory directory;
  const std::string a = directory.PathOf("a"), b = directory.PathOf("b"), c = directory.PathOf("c");
  const auto writeOld = [&] { std::ofstream(a) << "old"; };
  writeOld();
  fs::permissions(a, fs::perms(0640));
  EXPECT_FALSE(WriteSet({a, b, c}, [&] { fs::create_directory(c); }));
  EXPECT_EQ(ReadText(a), "old");
  EXPECT_EQ(directory.Count(), 2) << "neither b nor a temporary file";
  fs::remove(c);
  fs::create_symlink("d", c);  // to nothing so far
  EXPECT_TRUE(WriteSet({a, b, c}, [&] { EXPECT_EQ(ReadText(a), "old"); }));
  for (const std::string& name : {a, b, directory.PathOf("d")})
    EXPECT_EQ(ReadText(name), "new") << name;
  EXPECT_EQ(fs::status(a).permissions(), fs::perms(0640));
  EXPECT_TRUE(fs::is_symlink(c));
  EXPECT_EQ(directory.Count(), 4);
  writeOld();
  EXPECT_FALSE(WriteSet({a, directory.PathOf("none/b")}, [] {})) << "the second has no folder";
  RemoveTemporaryFiles();
  EXPECT_EQ(ReadText(a), "old");
  EXPECT_EQ(directory.Count(), 4);
}

TEST(ResultNumbers, HaveTheFormOfPrintf)
{
  using limits = std::numeric_limits<double>;
  std::vector<double> values = {0.0, -0.0, 9.999995, 9.9999949999999, -1e-300, 1e300};
  values.insert(values.end(), {limits::infinity(), -limits::infinity(), limits::quiet_NaN(),
                               limits::denorm_min(), limits::max()});
  std::mt19937_64 random(20);
  std::uniform_real_distribution<double> ordinary(-20.0, 20.0);
  for (int k = 0; k < 100000; ++k) {
    const std::uint64_t bits = random();
    double value = 0.0;
    std::memcpy(&value, &bits, sizeof(value));
    values.push_back(value);
    values.push_back(std::pow(10.0, ordinary(random)));
    values.push_back((std::floor(ordinary(random) * 1e5) + 0.5) * 0.0009765625);  // ties
  }
  for (const double value : values) {
    char expected[32], text[32];
    std::snprintf(expected, sizeof(expected), "%12.5e", value);
    ASSERT_EQ(std::string(text, trelResultFile::FormatReal(value, text)), expected);
  }
}

TEST(ResultNumbers, GoThroughTheBufferWhole)
{
  const TemporaryDirectory directory;
  const std::string name = directory.PathOf("run.txt");
  trelResultFile file;
  ASSERT_TRUE(file.Open(std::fopen(name.c_str(), "w")));
  const std::string longText(200001, 'x');
  const std::vector<double> cells(30000, 1.5);
  file.Print(longText, -7, "\n");
  file.PrintRows(cells.data(), 3, 10000);
  ASSERT_TRUE(file.Close());
  const std::string text = ReadText(name);
  EXPECT_EQ(text.size(), 200001u + 3 + 30000 * 13 + 3);
  EXPECT_EQ(text.substr(0, 200004), longText + "-7\n");
  EXPECT_EQ(text.substr(text.size() - 14), " 1.50000e+00 \n");
}
