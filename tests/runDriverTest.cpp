#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <thread>

#include "testModel.h"
#include "testTools.h"
#include "trelCheckText.h"
#include "trelDriver.h"
#include "trelModelFindings.h"
#include "trelRunDriver.h"

using testing::HasSubstr;

/** The files of @p model by the other program, and by this one with the classic rules. */
struct TwoRuns
{
  std::map<std::string, std::string> Files[2];
};

static TwoRuns RunBoth(const std::string& model, const TemporaryDirectory& directory)
{
  const FixedClock clock{1000};
  const std::string trel = directory.PathOf("trel"), trelrun = directory.PathOf("trelrun");
  const char* arguments[] = {"trel", model.c_str(), trel.c_str(), "0.05", "2", "0.8", "1.4"};
  std::ostringstream log;
  // In a thread of its own, as in a process of its own: a thread keeps its last boundary.
  ReportsOf([&] { std::thread([&] { RunDriver(7, arguments, log); }).join(); });
  trelRunOptions options;
  options.Model = model;
  options.Base = trelrun;
  options.Rules = RulesClassic;
  options.Threads = 1;
  for (const auto& [name, value] :
       {std::pair<const char*, double>{"mua", 0.05}, {"mus", 2.0}, {"g", 0.8}, {"n", 1.4}})
    options.Changes.push_back({name, "1", false, 0, name, value});
  int status = RunFailed;
  std::thread([&] { status = trelRunDriver(options, log, log).Run(); }).join();
  EXPECT_EQ(status, RunDone) << log.str();
  EXPECT_THAT(log.str(), testing::EndsWith("trelrun, classic rules\n"));
  return {{ReadFiles(directory.Path, "trel"), ReadFiles(directory.Path, "trelrun")}};
}

TEST(RunDriver, GivesTheFilesOfTheOtherProgramByTheClassicRules)
{
  const TemporaryDirectory directory;
  for (const char* mesh : {"nodule.off", "ball-in-box.mesh"})
    std::filesystem::copy(std::string(TREL_SOURCE_DIR "/examples/") + mesh, directory.Path);
  for (const char* name : {"fluorescence", "fibers", "ball-in-box", "nodule", "bioluminescence",
                           "modulated-slab", "limb-time", "plane"}) {
    SCOPED_TRACE(name);
    std::string text = ReadText(TREL_SOURCE_DIR "/examples/" + std::string(name) + ".trl");
    text = std::regex_replace(text, std::regex("(lightsourcespectrumindex \\d+ \\S+) \\d+(\r?\n)"),
                              "$1 200$2");
    text = std::regex_replace(text, std::regex("threadnum \\d+"), "threadnum 1");
    const std::string model = directory.PathOf(std::string(name) + ".trl");
    std::ofstream(model) << text;
    const TwoRuns runs = RunBoth(model, directory);
    EXPECT_GE(runs.Files[0].size(), 2u);
    EXPECT_TRUE(runs.Files[0] == runs.Files[1]);
  }
}

TEST(ModelFindings, ShowsTheLineAndMarksTheWord)
{
  const TemporaryDirectory directory;
  const std::string name = directory.PathOf("m");
  std::ofstream(name) << "one\n\tnow two\x01 three\r\n" << std::string(1000, 'x') << "\n";
  trelModelFindings findings(RulesExact);
  findings.Add(FindingMistake, 2, 1, "odd", "write it");
  findings.Add(FindingMistake, 2, 1, "odd", "again");
  findings.Add(FindingWarning, 3, 7, "long");
  findings.Add(FindingWarning, 99, 0, "behind the end");
  findings.Add(FindingWarning, 0, 0, "of all");
  const std::string shown = FormatFindings(findings, name);
  EXPECT_THAT(shown, testing::StartsWith(name + ":2: error: odd\n    2 |  now two? three\n"
                                                "      |      ^~~~\n      = write it\n"));
  EXPECT_THAT(shown, HasSubstr("\n    3 | " + std::string(200, 'x') + "\n"));
  EXPECT_THAT(shown,
              HasSubstr(name + ":99: warning: behind the end\n" + name + ": warning: of all"));
  EXPECT_EQ(findings.CountErrors(), 1u);
  EXPECT_EQ(findings.CountWarnings(), 3u);
}
