#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "modelCases.h"
#include "testModel.h"
#include "testTools.h"
#include "trelDriver.h"
#include "trelMediumFilter.h"
#include "trelOpticalSimulationFilter.h"

using testing::HasSubstr;
using testing::Not;

static const std::string CubeModel =
    ReadText(TREL_SOURCE_DIR "/tests/models/cube-with-detectors.trl");

static std::string Replace(std::string text, const std::string& from, const std::string& to)
{
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

/** A line of the model that is replaced, by which lines, and the messages that the run ends with.
 */
struct FailingRun
{
  std::string Old, New, Messages;
};

static std::vector<FailingRun> ReadFailingRuns()
{
  std::vector<FailingRun> runs;
  for (const std::istringstream& row : ReadTable("failing-runs.txt")) {
    const std::string line = row.str() + "\n";
    if (line[0] == '-') {
      runs.push_back({line.substr(2), "", ""});
    } else if (line[0] == '+') {
      runs.back().New += line.substr(2);
    } else {
      runs.back().Messages += line;
    }
  }
  return runs;
}

/** Runs the driver in a directory of its own, with the clock stopped. */
class Driver : public testing::Test
{
protected:
  void Run(const std::vector<std::string>& arguments)
  {
    std::vector<const char*> pointers{"trel"};
    for (const std::string& argument : arguments)
      pointers.push_back(argument.c_str());
    std::ostringstream log;
    Report = ReportsOf(
        [&] { EXPECT_EQ(RunDriver(static_cast<int>(pointers.size()), pointers.data(), log), 0); });
    Log = log.str();
  }

  /** Runs @p model; the result files are called "out". */
  void RunModel(const std::string& model, const std::string& base = "out")
  {
    std::ofstream(Model) << model;
    Run({Model, Directory.PathOf(base), "0.1", "1", "0.5", "1.37", "ignored"});
  }

  /** The log of a run, whatever became of it, with what the stages say of their success. */
  std::string LogOf(const std::string& file, const std::string& base, const std::string& read,
                    const std::string& written) const
  {
    return "\n" + file + "\n\n" + base + "\n\n0.1\n\n1\n\n0.5\n\n1.37\n" + read +
           "\nrun start ......\nconsuming time is 0\n" + written + "run over\n\nsimulation over\n";
  }

  const FixedClock Clock{1000};
  const TemporaryDirectory Directory;
  const std::string Model = Directory.PathOf("cube.trl"), Base = Directory.PathOf("out");
  std::string Log, Report;
};

TEST_F(Driver, WritesTheLogAndTheFiles)
{
  RunModel(CubeModel);
  EXPECT_EQ(Log, LogOf(Model, Base, "parameter read ok \n", "write ok \n"));
  EXPECT_EQ(Report, "");
  const auto files = ReadFiles(Directory.Path, "out");
  EXPECT_EQ(files.size(), 3u);
  EXPECT_TRUE(files.count(".A.CW") && files.count(".T.CW") && files.count(".D.CW"));
}

TEST_F(Driver, NamesMissingArgumentsAndRunsNothing)
{
  Run({"cube.trl", "out", "0.1"});
  EXPECT_EQ(Log, "");
  EXPECT_THAT(Report, HasSubstr("4. scattering coefficient"));
  EXPECT_THAT(Report, Not(HasSubstr("3. absorption")));
  Run({});
  EXPECT_THAT(Report, HasSubstr("1. parameter file"));
}

TEST_F(Driver, KeepsTheFormOfTheLogWhenNoModelIsRead)
{
  const std::string empty = Directory.PathOf("empty.trl"), none = Directory.PathOf("none.trl");
  const std::string pipe = Directory.PathOf("pipe");
  std::ofstream{empty};
  ASSERT_EQ(mkfifo(pipe.c_str(), 0666), 0);
  const std::pair<std::string, const char*> cases[] = {{empty, "Not a valid TRL file!"},
                                                       {none, "Can not open file!"},
                                                       {pipe, "Can not open file!"},
                                                       {Directory.Path, "Can not open file!"}};
  for (const auto& [file, report] : cases) {
    Run({file, Base, "0.1", "1", "0.5", "1.37"});
    EXPECT_EQ(Log, LogOf(file, Base, "", ""));
    EXPECT_THAT(Report, HasSubstr(report));
    EXPECT_THAT(Report, HasSubstr("): No data to write!\n"));
  }
}

TEST_F(Driver, KeepsTheFormOfTheLogWhenTheSimulationFails)
{
  for (const auto& [from, to, messages] : ReadFailingRuns()) {
    SCOPED_TRACE(to);
    RunModel(Replace(CubeModel, from, to));
    EXPECT_EQ(Log, LogOf(Model, Base, "parameter read ok \n", ""));
    EXPECT_EQ(MessagesOf(Report), messages);
  }
}

TEST_F(Driver, SaysNothingOfSuccessWhenTheFilesCannotBeWritten)
{
  RunModel(CubeModel, "none/out");
  EXPECT_EQ(Log, LogOf(Model, Directory.PathOf("none/out"), "parameter read ok \n", ""));
  EXPECT_THAT(Report, HasSubstr("): Cannot open file : "));
}

TEST_F(Driver, FollowsBeamsToFibresAndCameras)
{
  Run({TREL_SOURCE_DIR "/tests/models/beams.trl", Base, "0.05", "0", "0.5", "1"});
  EXPECT_EQ(ReadText(Base + ".D.CW"), ReadText(TREL_SOURCE_DIR "/tests/golden/beams.D.CW"));
  EXPECT_THAT(ReadText(Base + ".T.CW"), HasSubstr("\nTransmitPhotonNum 200\n"))
      << "only the packets of the four beams for the cameras leave";
}

TEST_F(Driver, SimulatesNothingWithAFreespaceAlgorithmOtherThanPinhole)
{
  for (const std::string word : {"lambert", "hrrt", "vrmc"}) {
    RunModel(Replace(CubeModel, "dimension 3d", "dimension 3d\nfreespacealgorithm " + word), word);
    EXPECT_THAT(Log, HasSubstr("write ok \n"));
    auto files = ReadFiles(Directory.Path, word);
    EXPECT_EQ(files.size(), 2u);
    EXPECT_EQ(files[".A.CW"] + files[".T.CW"], "");
  }
}

/** The lines in which the run told of a trap, before its packets. */
static std::vector<std::string> TrapsIn(const std::string& report)
{
  std::istringstream lines(report);
  std::vector<std::string> traps;
  std::string place, line;
  for (; std::getline(lines, line); place = line) {
    const bool warns = place.rfind("Warning", 0) == 0;
    if (warns && (place.find("trelOpticalSimulationFilter,") < place.size() ||
                  place.find("trelSimulationParameterReader,") < place.size())) {
      traps.push_back(line);
    }
  }
  return traps;
}

TEST_F(Driver, TellsOfModelsThatDoNotMeanWhatTheySay)
{
  for (const char* mesh : {"nodule.off", "ball-in-box.mesh"})
    std::filesystem::copy(std::string(TREL_SOURCE_DIR "/examples/") + mesh, Directory.Path);
  std::vector<ModelCase> cases = ReadModelCases("traps.txt");
  EXPECT_GT(cases.size(), 30u);
  const std::string ball =
      Replace(ReadText(TREL_SOURCE_DIR "/examples/ball-in-box.trl"), "50000", "9");
  cases.push_back({"nothing", "told", 0, "", ball});
  cases.push_back(
      {"nothing", "told", 0, "", Replace(ball, "1.36", "1.37"), "", "tissues 1 and 2 touch\n"});
  for (const ModelCase& c : cases) {
    SCOPED_TRACE("traps.txt:" + std::to_string(c.Line));
    RunModel(c.Text());
    std::vector<testing::Matcher<std::string>> told;
    std::istringstream words(c.Report);
    for (std::string line; std::getline(words, line);)
      told.push_back(HasSubstr(line));
    EXPECT_THAT(TrapsIn(Report), testing::UnorderedElementsAreArray(told));
  }
}
