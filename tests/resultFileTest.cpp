#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "modelFixtures.h"
#include "testModel.h"
#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelFiberDetector.h"
#include "trelPlaneDetector.h"
#include "trelResultFile.h"
#include "trelSimulationResultWriter.h"

using testing::HasSubstr;

/** A directory that goes away. */
class TemporaryDirectory
{
public:
  TemporaryDirectory()
  {
    char name[] = "/tmp/trel-result-XXXXXX";
    Path = mkdtemp(name);
  }
  ~TemporaryDirectory() { std::filesystem::remove_all(Path); }

  std::filesystem::path Path;
};

/** The files in @p directory that are called @p base with an ending, and what is in them. */
static std::map<std::string, std::string> ReadFiles(const std::filesystem::path& directory,
                                                    const std::string& base)
{
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(base + ".", 0) != 0) continue;
    std::ifstream stream(entry.path());
    files[name.substr(base.size())] = {std::istreambuf_iterator<char>(stream),
                                       std::istreambuf_iterator<char>()};
  }
  return files;
}

/** A result whose grids are filled by hand. */
class HandMadeResult
{
public:
  HandMadeResult() { Result->Register(); }
  ~HandMadeResult() { Result->UnRegister(); }

  /** All domains with two time bins and both quantities, and a box of the kind about 0. */
  void SetModel(ShapeType kind, double hx, double hy, double hz)
  {
    Model.AddTissue(Place(new BoxOfKind(kind), 0, 0, 0, hx, hy, hz), {0.5, 1.0, 0.0, 1.0});
    Model->SetDimension(kind < ShapeEllipsoid ? Dimension2D : Dimension3D);
    Model->SetTimeDomain(true);
    Model->SetTimeRange(0, 20, 10);
    Model->SetFrequencyDomain(true);
  }

  void Initialize()
  {
    testing::internal::CaptureStderr();  // the coordinate that does not fit is warned of
    const bool initialized = Result->Initialize(Model.Get());
    const std::string reports = testing::internal::GetCapturedStderr();
    ASSERT_TRUE(initialized) << reports;
  }

  /** The first record; the test ends here if there is none. */
  trelMediumResult* GetRecord()
  {
    trelMediumResult* record = Result->GetMediumResult(0);
    if (!record) std::abort();
    return record;
  }

  /** Numbers the cells of grids from @p first on, 10 more for each grid, time bins going on where
   *  the one before ended; the phases 100 above. */
  void Fill(double first, std::initializer_list<trelGridId> ids)
  {
    for (const trelGridId id : ids) {
      for (const trelGridDomain domain : {GridCW, GridTD, GridFDAmp, GridFDPha}) {
        const trelGrid* grid = GetRecord()->GetGrid(domain, id);
        const std::size_t cells = grid ? grid->GetNumberOfCells() : 0;
        for (std::size_t k = 0; k < cells; ++k) {
          GetRecord()->GetGrid(domain, id)->GetCells()[k] =
              first + static_cast<double>(k) + (domain == GridFDPha ? 100 : 0);
        }
      }
      first += 10;
    }
  }

  /** Makes room for a mesh of two faces and three vertices. */
  void InitializeMesh(bool isTetra)
  {
    Initialize();
    ASSERT_TRUE(GetRecord()->AllocateMeshFaces(2, 3, isTetra));
    ASSERT_TRUE(GetRecord()->InitializeCWTransmittance(Model.Get()));
    ASSERT_TRUE(GetRecord()->InitializeTDTransmittance(Model.Get()));
    ASSERT_TRUE(GetRecord()->InitializeFDTransmittance(Model.Get()));
    const std::uint32_t vertices[2][3] = {{0, 1, 2}, {2, 1, 4294967295u}};
    for (int f = 0; f < 2; ++f)
      std::copy_n(vertices[f], 3, GetRecord()->GetMeshFaces()[f].Vertices);
  }

  void Sum()
  {
    for (int i = 0; Result->GetMediumResult(i); ++i) {
      Result->GetMediumResult(i)->SumCWAbsorption();
      Result->GetMediumResult(i)->SumTDAbsorption();
      Result->GetMediumResult(i)->SumCWTransmittance();
      Result->GetMediumResult(i)->SumTDTransmittance();
    }
  }

  TestModel Model;
  trelSimulationResult* Result = new trelSimulationResult;
};

/** A box of 1 x 2 x 3 cells, with packets that left and their times of flight. */
static void MakeCube(HandMadeResult& made)
{
  made.SetModel(ShapeCube, 0.5, 1, 1.5);
  made.Model.AddSource(TestModel::Make<trelCube>({0, 0, 0}, {0.1, 0.1, 0.1}), 2);
  made.Model->SetSavePhotonFlyTime(true);
  made.Initialize();
  made.GetRecord()->SetSpecularReflectance(0.25);
  for (int packet = 1; packet <= 4; ++packet) {
    made.GetRecord()->RecordFlyTime(packet, -0.5, 1e-10, 12345.678);
    made.GetRecord()->IncrementTransmitPhotonNum();
  }
  made.GetRecord()->IncrementAbsorpPhotonNum();
  made.Fill(1, {AbsorptionXYZ});
  made.Fill(10, {TransmittanceTopXY, TransmittanceBottomXY, TransmittanceFrontYZ,
                 TransmittanceBackYZ, TransmittanceLeftXZ, TransmittanceRightXZ});
}

/** R 2, A 2, Z 1, D 3 cells. */
static void MakeEllipsoid(HandMadeResult& made)
{
  made.SetModel(ShapeEllipsoid, 1, 1, 0.5);
  made.Model->SetSeparations(1, 1, 1, 0.5, 180, 60);
  made.Model->SetAbsorptionCoordinate(CoordinateCylindrical);
  made.Initialize();
  made.Fill(1, {AbsorptionRAZ});
  made.Fill(10, {TransmittanceSideDA});
}

/** R 1, A 2, Z 3 cells, no absorption. */
static void MakeCylinder(HandMadeResult& made)
{
  made.SetModel(ShapeCylinder, 1, 1, 1.5);
  made.Model->SetSeparations(1, 1, 1, 1, 180, 60);
  made.Model->SetSaveAbsorption(false);
  made.Model->SetTransmittanceCoordinate(CoordinateCylindrical);
  made.Initialize();
  made.Fill(10, {TransmittanceSideAZ});
  made.Fill(30, {TransmittanceTopRA, TransmittanceBottomRA});
}

/** X 1, Y 2, Z 3, A 2 cells, no absorption, continuous wave only. */
static void MakeCartesianCylinder(HandMadeResult& made)
{
  made.SetModel(ShapeCylinder, 0.5, 1, 1.5);
  made.Model->SetSeparations(1, 1, 1, 1, 180, 60);
  made.Model->SetSaveAbsorption(false);
  made.Model->SetTimeDomain(false);
  made.Model->SetFrequencyDomain(false);
  made.Initialize();
  made.Fill(10, {TransmittanceSideAZ});
  made.Fill(30, {TransmittanceTopXY, TransmittanceBottomXY});
}

/** 1 x 2 cells. */
static void MakeRectangle(HandMadeResult& made)
{
  made.SetModel(ShapeRectangle, 0.5, 1, 0);
  made.Initialize();
  made.Fill(1, {AbsorptionXY});
  made.Fill(10, {TransmittanceUp, TransmittanceDown, TransmittanceLeft, TransmittanceRight});
}

/** R 1, A 2 cells; a second wavelength with nothing but zeros. */
static void MakeEllipse(HandMadeResult& made)
{
  made.Model->SetWavelengths({600, 700});
  made.SetModel(ShapeEllipse, 1, 1, 0);
  made.Model->SetSeparations(1, 1, 1, 1, 180, 60);
  made.Model->SetAbsorptionCoordinate(CoordinatePolar);
  made.Initialize();
  made.Fill(1, {AbsorptionRA});
  made.Fill(10, {TransmittanceSide});
}

static void MakeMesh(HandMadeResult& made, ShapeType kind)
{
  made.SetModel(kind, 1, 1, 1);
  made.Model->SetSaveAbsorption(false);
  made.InitializeMesh(kind == ShapeTetrahedron);
  made.Fill(1, {TransmittanceMeshFace});
  made.Fill(10, {TransmittanceMeshVertex});
}

static void AddFiber(HandMadeResult& made, trelShapeObject* shape)
{
  auto* fiber = new trelFiberDetector;
  fiber->SetShape(shape);
  made.Model->AddDetector(fiber);
}

/** A camera of 3 x 2 pixels of 1 mm^2, an ellipsoid of D 3, A 2 and a cylinder of X 1, Y 2, Z 3, A
 * 2 cells, numbered from 10 with 10 more for each grid. The totals are the sums. */
static void MakeDetectors(HandMadeResult& made)
{
  made.SetModel(ShapeEllipsoid, 1, 1, 0.5);
  made.Model->SetSeparations(1, 1, 1, 0.5, 180, 60);
  made.Model->SetSaveAbsorption(false);
  made.Model->SetTimeDomain(false);
  made.Model->SetFrequencyDomain(false);
  auto* plane = new trelPlaneDetector;
  plane->SetResolution(3, 2);
  plane->SetSize(3, 2);
  made.Model->AddDetector(plane);
  AddFiber(made, TestModel::Make<trelEllipsoid>({0, 0, 0}, {1, 1, 1}));
  AddFiber(made, TestModel::Make<trelCylinder>({0, 0, 0}, {0.5, 1, 1.5}));
  made.Initialize();
  trelDetectorArrayResult* records = made.Result->GetDetectorArrayResult(0);
  double* pixels = records->GetDetectorResult(0)->GetDetectionMatrix()->GetCells();
  for (int k = 0; k < 6; ++k)
    pixels[k] = k + 1;
  records->GetDetectorResult(0)->ComputeTotalDetection();
  for (int j = 1; j <= 2; ++j) {
    trelDetectorResult* record = records->GetDetectorResult(j);
    const auto fill = [record] {
      double first = 0.0;
      for (const trelGridUse& use : record->GetUses()) {
        trelGrid* grid = record->GetGrid(use.Grid);
        first += 10.0;
        for (std::size_t k = 0; k < grid->GetNumberOfCells(); ++k)
          grid->GetCells()[k] = first + static_cast<double>(k);
      }
    };
    fill();
    record->FinalizeFiber();
    fill();
  }
}

TEST(ResultFile, IsTheGoldenOne)
{
  const struct
  {
    const char* Name;
    void (*Make)(HandMadeResult&);
  } cases[] = {
      {"cube", MakeCube},
      {"ellipsoid", MakeEllipsoid},
      {"cylinder-cylindrical", MakeCylinder},
      {"cylinder-cartesian", MakeCartesianCylinder},
      {"rectangle", MakeRectangle},
      {"ellipse", MakeEllipse},
      {"triangles", [](HandMadeResult& made) { MakeMesh(made, ShapeTriangleMesh); }},
      {"tetrahedra", [](HandMadeResult& made) { MakeMesh(made, ShapeTetrahedron); }},
      // A run that simulates nothing: two files without a block.
      {"nothing", [](HandMadeResult&) {}},
      {"detectors", MakeDetectors},
  };
  const TemporaryDirectory directory;
  for (const auto& c : cases) {
    HandMadeResult made;
    c.Make(made);
    made.Sum();
    trelSimulationResultWriter writer;
    writer.AddFileName((directory.Path / c.Name).c_str());
    writer.SetInput(made.Result, made.Model.Get());
    ASSERT_TRUE(writer.Update()) << c.Name;
    EXPECT_EQ(writer.GetProgress(), 1000);
    auto golden = ReadFiles(TREL_SOURCE_DIR "/tests/golden", c.Name);
    auto written = ReadFiles(directory.Path, c.Name);
    for (const auto& [ending, text] : golden) {
      EXPECT_EQ(written[ending], text) << c.Name << ending;
    }
    EXPECT_EQ(written.size(), golden.size()) << c.Name;
  }
}

/** A writer on a directory of its own, and what it reports. */
class ResultWriter : public testing::Test
{
protected:
  ResultWriter()
  {
    Writer.AddFileName((Directory.Path / "run").c_str());
    Result->Register();
  }
  ~ResultWriter() override { Result->UnRegister(); }

  template <class Action>
  static std::string ReportOf(Action action)
  {
    testing::internal::CaptureStderr();
    EXPECT_FALSE(action());
    return testing::internal::GetCapturedStderr();
  }
  std::string ReportOfUpdate()
  {
    return ReportOf([this] { return Writer.Update(); });
  }

  TemporaryDirectory Directory;
  trelSimulationResult* Result = new trelSimulationResult;
  trelSimulationResultWriter Writer;
};

TEST_F(ResultWriter, ReportsWhatItMisses)
{
  EXPECT_THAT(ReportOfUpdate(), HasSubstr("): No data to write!\n\n"));
  Writer.SetInput(Result, nullptr);
  Result->GetMediumResults()->Append(nullptr);
  const std::string report = ReportOfUpdate();
  EXPECT_THAT(report, HasSubstr("ERROR: In ..\\..\\src\\trelSimulationResultWriter, line "));
  EXPECT_THAT(report, HasSubstr("): No Medium result data to write!\n\n"));
  EXPECT_THAT(ReportOf([this] { return Writer.WriteCWTransmittance(); }),
              HasSubstr("): No Medium result to write!\n\n"));
  Result->ClearModel();
  EXPECT_THAT(ReportOfUpdate(), HasSubstr("): No data to write!\n\n"));
  trelSimulationResultWriter nameless;
  nameless.SetInput(Result, nullptr);
  EXPECT_THAT(ReportOf([&] { return nameless.Update(); }),
              HasSubstr("): No file name specified!\n\n"));
}

TEST_F(ResultWriter, SaysWhichFileItCannotWrite)
{
  HandMadeResult made;
  MakeCube(made);
  Writer.SetInput(made.Result, made.Model.Get());
  const std::string base = (Directory.Path / "run").string();
  std::filesystem::create_symlink("/dev/full", base + ".T.CW");  // a disk without room
  EXPECT_THAT(ReportOfUpdate(),
              HasSubstr("): Could not write all of file : " + base + ".T.CW\n\n"));
  EXPECT_TRUE(std::filesystem::exists(base + ".A.CW")) << "what was written stays";
  EXPECT_EQ(Writer.GetProgressText(), "Storing absorption data...  100%");
  EXPECT_FALSE(std::filesystem::exists(base + ".A.TD"));
  std::filesystem::remove(base + ".A.CW");
  std::filesystem::create_directory(base + ".A.CW");
  EXPECT_THAT(ReportOfUpdate(), HasSubstr("): Cannot open file : " + base + ".A.CW\n\n"));
}

TEST(ResultNumbers, HaveTheFormOfPrintf)
{
  using limits = std::numeric_limits<double>;
  std::vector<double> values = {0.0, -0.0, 9.999995, 9.9999949999999, -1e-300, 1e300};
  for (const double special : {limits::infinity(), limits::quiet_NaN(), limits::denorm_min(),
                               limits::min(), limits::max()}) {
    values.push_back(special);
    values.push_back(-special);
  }
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
  const std::string name = (directory.Path / "run.txt").string();
  trelResultFile file;
  ASSERT_TRUE(file.Open(name));
  const std::string longText(200001, 'x');
  const std::vector<double> cells(30000, 1.5);
  file.Print(longText, -7, "\n");
  file.PrintRows(cells.data(), 3, 10000);
  ASSERT_TRUE(file.Close());
  const std::string text = ReadFiles(directory.Path, "run")[".txt"];
  EXPECT_EQ(text.size(), 200001u + 3 + 30000 * 13 + 3);
  EXPECT_EQ(text.substr(0, 200004), longText + "-7\n");
  EXPECT_EQ(text.substr(text.size() - 14), " 1.50000e+00 \n");
}
