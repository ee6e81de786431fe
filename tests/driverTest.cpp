#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "testModel.h"
#include "trelDriver.h"
#include "trelMediumFilter.h"
#include "trelOpticalSimulationFilter.h"

using testing::HasSubstr;
using testing::Not;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;
namespace fs = std::filesystem;

static const char* const CubeModel = R"(trl
format ascii 2.2
simulationproperty
simulationtype DOT
dimension 3d
spectrumnum 1
lightsourcenum 1
tissuenum 1
absorptionmatrix 1 cartesian
transmittancematrix 1 cartesian
roiseparation 1 1 1 1 30 30
endsimulationproperty
spectrum 1 650
lightsource 1
lightsourceshape cube
lightsourcecenter 0 0 -5
lightsourceaxis 1e-9 1e-9 1e-9
lightsourceproperty external solid nospecular
lightsourceazimuthangle 0 0
lightsourcedeflectangle 0 0
lightsourcespectrumindex 1 1.0 400
tissue 1 box
tissueshape cube
tissuecenter 0 0 0
tissueaxis 5 5 5
tissuespectrumindex 1 0.9 0.9 0.9 1.4
endtrl
)";

/** Runs the driver in a directory of its own, with the clock stopped. */
class DriverTest : public testing::Test
{
protected:
  DriverTest()
  {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    Directory = fs::temp_directory_path() / (std::string("trel-driver-") + test->name());
    fs::remove_all(Directory);
    fs::create_directories(Directory);
  }
  ~DriverTest() override { fs::remove_all(Directory); }

  std::string PathOf(const std::string& name) const { return (Directory / name).string(); }

  std::string Write(const std::string& name, const std::string& text) const
  {
    std::ofstream(PathOf(name)) << text;
    return PathOf(name);
  }

  void Run(const std::vector<std::string>& arguments)
  {
    std::vector<const char*> pointers{"trel"};
    for (const std::string& argument : arguments)
      pointers.push_back(argument.c_str());
    std::ostringstream log;
    CaptureStderr();
    EXPECT_EQ(RunDriver(static_cast<int>(pointers.size()), pointers.data(), log), 0);
    Report = GetCapturedStderr();
    Log = log.str();
  }

  /** The names of the files in the directory that begin with `stem`. */
  std::vector<std::string> FilesOf(const std::string& stem) const
  {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(Directory)) {
      const std::string name = entry.path().filename().string();
      if (name.rfind(stem + ".", 0) == 0) names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  const FixedClock Clock{1000};
  fs::path Directory;
  std::string Log, Report;
};

static std::string Replace(std::string text, const std::string& from, const std::string& to)
{
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

TEST_F(DriverTest, TheLogIsTheWholeOfTheStandardOutput)
{
  const std::string model = Write("cube.trl", CubeModel), base = PathOf("out");
  Run({model, base, "0.1", "1", "0.5", "1.37", "ignored"});
  EXPECT_EQ(Log, "\n" + model + "\n\n" + base +
                     "\n\n0.1\n\n1\n\n0.5\n\n1.37\n"
                     "parameter read ok \n\nrun start ......\nconsuming time is 0\nwrite ok \n"
                     "run over\n\nsimulation over\n");
  EXPECT_EQ(Report, "");
  EXPECT_THAT(FilesOf("out"), testing::ElementsAre("out.A.CW", "out.T.CW"));
}

TEST_F(DriverTest, MissingArgumentsAreNamedAndNothingRuns)
{
  Run({"cube.trl", "out", "0.1"});
  EXPECT_EQ(Log, "");
  EXPECT_THAT(Report, HasSubstr("4. scattering coefficient"));
  EXPECT_THAT(Report, Not(HasSubstr("3. absorption")));
  Run({});
  EXPECT_THAT(Report, HasSubstr("1. parameter file"));
}

/** What follows the echo of the arguments. */
static std::string AfterArguments(const std::string& log)
{
  const std::size_t at = log.find("\n\n1.37\n");
  return at == std::string::npos ? log : log.substr(at + 7);
}

TEST_F(DriverTest, AFailedStageLeavesTheFormOfTheLog)
{
  const std::string nothing =
      "\nrun start ......\nconsuming time is 0\nrun over\n\nsimulation over\n";
  const std::string good = CubeModel;
  const struct
  {
    const char* Name;
    std::string File, Base, Log, Report;
  } cases[] = {
      {"no such file", PathOf("none.trl"), "out", nothing, "Can not open file!"},
      {"directory", Directory.string(), "out", nothing, "Can not open file!"},
      {"empty", Write("empty.trl", ""), "out", nothing, "Not a valid TRL file!"},
      {"bad coefficient on the command line is caught before the run", Write("ok.trl", good), "out",
       "parameter read ok \n" + nothing, ""},
      {"no such folder", Write("ok.trl", good), "none/out",
       "parameter read ok \n\nrun start ......\nconsuming time is 0\nrun over\n\nsimulation over\n",
       "Cannot open file : "},
      {"algorithm without an implementation",
       Write("amc.trl", Replace(good, "tissuenum 1", "tissuenum 1\nmediumalgorithm amc")), "out",
       "parameter read ok \n" + nothing, "The type of algorithm is error!"},
      {"inner tissue that sticks out",
       Write("out.trl", Replace(Replace(good, "tissuenum 1", "tissuenum 2"), "endtrl",
                                "tissue 2 a\ntissueshape cube\ntissueaxis 9 1 1\n"
                                "tissuespectrumindex 1 1 1 0 1\nendtrl")),
       "out", "", " tissue shape is outside the outermost tissue shape, initial model error!"},
      {"absurd grid", Write("fine.trl", Replace(good, "roiseparation 1 1", "roiseparation 1e-9 1")),
       "out", "parameter read ok \n" + nothing,
       "Out of memory while allocating memory for absorption matrix, please check the settings of "
       "ROI and ROI Separation!"},
  };
  for (const auto& c : cases) {
    const bool badOptics = std::string(c.Name).find("coefficient") != std::string::npos;
    Run({c.File, PathOf(c.Base), badOptics ? "-1" : "1", "1", "0", "1.37"});
    if (!c.Log.empty()) {
      EXPECT_EQ(AfterArguments(Log), c.Log) << c.Name << "\n" << Report;
    }
    EXPECT_THAT(Log, testing::EndsWith("run over\n\nsimulation over\n")) << c.Name;
    EXPECT_THAT(Report, HasSubstr(c.Report)) << c.Name;
    if (Log.find("write ok") == std::string::npos) {
      EXPECT_NE(Report, "") << c.Name;
    }
  }
}

TEST_F(DriverTest, AFullDiskIsReported)
{
  if (!fs::exists("/dev/full")) GTEST_SKIP() << "no device that is always full";
  const std::string model = Write("cube.trl", CubeModel);
  fs::create_symlink("/dev/full", PathOf("out.A.CW"));
  Run({model, PathOf("out"), "0.1", "1", "0", "1.37"});
  EXPECT_THAT(Log, Not(HasSubstr("write ok")));
  EXPECT_THAT(Report, HasSubstr("out.A.CW"));
}

TEST_F(DriverTest, AFreespaceAlgorithmOtherThanPinholeSimulatesNothing)
{
  for (const std::string word : {"lambert", "hrrt", "vrmc"}) {
    const std::string model = Write(
        "cube.trl", Replace(CubeModel, "dimension 3d", "dimension 3d\nfreespacealgorithm " + word));
    Run({model, PathOf(word), "0.1", "1", "0", "1.37"});
    EXPECT_THAT(Log, HasSubstr("write ok \n"));
    EXPECT_THAT(FilesOf(word), testing::ElementsAre(word + ".A.CW", word + ".T.CW"));
    EXPECT_EQ(fs::file_size(PathOf(word + ".A.CW")), 0u);
  }
}

TEST_F(DriverTest, TheCommandLineOverridesTheFirstTissueAndSpectrumOnly)
{
  const std::string model = Write("cube.trl", CubeModel);
  Run({model, PathOf("a"), "5", "0", "0", "1"});
  std::ifstream file(PathOf("a.A.CW"));
  std::string line;
  while (std::getline(file, line) && line.rfind("3DCWAbsorption ", 0) != 0) {
  }
  // exp(-50) leaves the far side; with the 0.9 and 0.9 of the file far more would come back.
  EXPECT_NEAR(std::stod(line.substr(15)), 1.0, 1e-5) << line;
}

TEST(OpticalSimulationFilter, ChoosesByTheSimulationType)
{
  trelOpticalSimulationFilter empty;
  EXPECT_FALSE(empty.Update());
  EXPECT_EQ(empty.GetMediumFilter(), nullptr);
  const struct
  {
    SimulationType Type;
    const char* Class;
  } cases[] = {{BLT, "trelBioluminescenceVRMC"}, {DOT, "trelDiffuseVRMC"}};
  for (const auto& c : cases) {
    TestModel model(c.Type);
    trelOpticalSimulationFilter filter;
    filter.SetInput(model.Get());
    ASSERT_NE(filter.GetMediumFilter(), nullptr);
    EXPECT_TRUE(filter.GetMediumFilter()->IsA(c.Class));
  }
}

TEST(OpticalSimulationFilter, ReportsAModelThatCannotBePrepared)
{
  TestModel model;  // no tissue
  trelOpticalSimulationFilter filter;
  filter.SetInput(model.Get());
  CaptureStderr();
  EXPECT_FALSE(filter.Update());
  const std::string report = GetCapturedStderr();
  EXPECT_THAT(report, HasSubstr("Initialization of Monte Carlo simulation failed!"));
  EXPECT_THAT(report, HasSubstr("\ntrelDiffuseVRMC ("));
  EXPECT_THAT(report, HasSubstr("..\\..\\src\\trelVarianceReductionMonteCarlo, line "));
  EXPECT_THAT(report, HasSubstr("Error happens while simulating light propagation in medium!"));
}
