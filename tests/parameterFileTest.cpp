#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <random>
#include <tuple>

#include "modelCases.h"
#include "testTools.h"
#include "trelModelFindings.h"
#include "trelParameterText.h"
#include "trelSimulationParameterReader.h"

using testing::ElementsAre;
using testing::HasSubstr;

/** Cuts source files, lines and addresses out: "ERROR trelMedium: initial model error!". */
static std::string WithoutPlaces(std::string reports)
{
  const std::string place = ": In ";
  for (std::size_t at = 0; (at = reports.find(place, at)) != std::string::npos;) {
    reports.replace(at, reports.find('\n', at) + 1 - at, " ");
    const std::size_t address = reports.find(" (0x", at);
    reports.erase(address, reports.find("): ", address) + 1 - address);
  }
  return reports;
}

/** A file that reads: the box of tests/models with lines added to its block and its model. */
static std::string Box(const std::string& block, const std::string& model = "")
{
  return ModelCase{"box", "", 0, block, model}.Text();
}

class ParameterFile : public testing::Test
{
protected:
  /** Reports is what was shown then, with FILE for the name and without places. */
  bool Read(const std::string& text, trelRules rules = RulesClassic)
  {
    std::ofstream(Name, std::ios::binary) << text;
    Reader = std::make_unique<trelSimulationParameterReader>();
    Reader->AddFileName(Name.c_str());
    Reader->GetOutput()->SetRules(rules);
    // With them the reports have to be as they are without.
    Findings = trelModelFindings(rules);
    Reader->SetFindings(&Findings);
    bool done = false;
    Reports = WithoutPlaces(ReportsOf([&] { done = Reader->Update(); }));
    const std::size_t at = Reports.find(Name);
    if (at != std::string::npos) Reports.replace(at, Name.size(), "FILE");
    Parameter = Reader->GetOutput();
    return done;
  }

  const TemporaryDirectory Directory;
  const std::string Name = Directory.PathOf("model.trl");
  trelModelFindings Findings;
  std::unique_ptr<trelSimulationParameterReader> Reader;
  std::string Reports;
  trelSimulationParameter* Parameter = nullptr;
};

TEST_F(ParameterFile, RefusesBrokenModels)
{
  const std::string reader = "ERROR trelSimulationParameterReader: ";
  const std::string end = "The simulation parameter read fail!\n\n\n\n";
  const std::map<std::string, std::pair<std::string, std::string>> around = {
      {"without a word", {"", ""}},
      {"while reading the block", {reader + "FILE: \n", "\n\n\n\n"}},
      {"while reading the model", {reader, end}},
      {"when the model is checked", {"ERROR trelSimulationParameter: ", "\n\n" + reader + end}}};
  const std::vector<ModelCase> cases = ReadModelCases("broken.txt");
  EXPECT_GT(cases.size(), 90u);
  for (const ModelCase& c : cases) {
    SCOPED_TRACE("broken.txt:" + std::to_string(c.Line));
    const auto& [before, after] = around.at(c.Stage);
    EXPECT_FALSE(Read(c.Text()));
    EXPECT_EQ(Reports, before + c.Report + after);
    const std::vector<trelFinding>& findings = Findings.GetAll();
    EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), [](const trelFinding& finding) {
      return finding.Kind == FindingError && finding.Line > 0;
    })) << Reports;
    const bool letGo = c.Stage.find("model") != std::string::npos;
    EXPECT_EQ(Parameter->GetMedium() == nullptr, letGo);
  }
}

TEST_F(ParameterFile, ReadsSoundModels)
{
  const std::vector<ModelCase> cases = ReadModelCases("sound.txt");
  EXPECT_GT(cases.size(), 50u);
  for (const ModelCase& c : cases) {
    SCOPED_TRACE("sound.txt:" + std::to_string(c.Line));
    EXPECT_TRUE(Read(c.Text()));
    EXPECT_EQ(Reports, c.Report);
    if (!Parameter->GetMedium()) continue;
    const std::string rows = '\n' + Describe(*Parameter);
    std::istringstream values(c.Values);
    for (std::string value; std::getline(values, value);)
      EXPECT_THAT(rows, HasSubstr('\n' + value + '\n'));
    std::istringstream points(c.Points);
    for (std::string x, y, z, tissue; points >> x >> y >> z >> tissue;) {
      EXPECT_EQ(Parameter->GetMedium()->GetTissueIndex(std::stod(x), std::stod(y), std::stod(z)),
                std::stoi(tissue))
          << x << ' ' << y << ' ' << z;
    }
  }
}

TEST_F(ParameterFile, TakesLinesAndPaths)
{
  const std::string full(254, 'x');
  std::ofstream(Name, std::ios::binary)
      << " \t\r\n#a comment\n \tOne  # two\r\n"
      << full << "\n"
      << full << "tail\n"
      << std::string("cut\0off\n", 8) << "path \"a b.off\" c\npath d.off \"\npath a\"b c\"\npath";
  trelParameterText text;
  ASSERT_TRUE(text.Open(Name.c_str()));
  std::vector<std::string> lines;
  std::string paths;
  while (text.TakeStatement()) {
    lines.push_back(std::to_string(text.GetLineNumber()) + ' ' + std::string(text.GetToken(0)) +
                    ' ' + std::to_string(text.GetNumberOfTokens()));
    std::string path = "none";
    if (text.IsOneOf(0, "road PATH")) paths += text.GetPath(path) ? path + '|' : "-|";
  }
  EXPECT_THAT(lines, ElementsAre("3 One 3", "4 " + full + " 1", "5 " + full + " 1", "5 tail 1",
                                 "6 cut 1", "7 path 4", "8 path 3", "9 path 3", "10 path 1"));
  EXPECT_EQ(paths, "a b.off|-|b c|-|");
}

TEST_F(ParameterFile, GoesOnAfterAMeshThatCannotBeRead)
{
  for (const char* path : {"none.off", "\"a b/none.off\" more", "\"a b", "\"\"", "/", "a\\b.ply"}) {
    const std::string line = "path " + std::string(path) + "\n";
    EXPECT_TRUE(Read(Box("mediumshapetetratype 1\n", "mediumtetra" + line))) << path;
    EXPECT_TRUE(Read(Box("", "tissueshape trianglemesh\ntissue" + line))) << path;
    if (line.find("more") == std::string::npos) continue;
    EXPECT_THAT(Reports, HasSubstr(Directory.PathOf("a b/none.off")));
  }
}

TEST_F(ParameterFile, ReadsAMeshByAPathWithBlanks)
{
  std::filesystem::create_directory(Directory.PathOf("a b"));
  std::filesystem::copy_file(TREL_SOURCE_DIR "/examples/nodule.off",
                             Directory.PathOf("a b/c d.off"));
  for (const char* path : {"\"a b/c d.off\" more", "\"a b\\c d.off\""}) {
    EXPECT_TRUE(Read(Box("", "tissueshape trianglemesh\ntissuepath " + std::string(path) + "\n")));
    EXPECT_EQ(Reports, "");
    EXPECT_FALSE(Parameter->GetMedium()->GetTissue(0)->GetShape()->IsEmpty()) << path;
  }
}

TEST_F(ParameterFile, ReadsTheExampleOfItsDocumentWholeAndCutAtEveryByte)
{
  const std::string all = ReadText(TREL_SOURCE_DIR "/docs/parameter-file.md");
  const std::string fence = "```trl\n";
  const std::size_t first = all.find(fence) + fence.size();
  const std::string whole = all.substr(first, all.find("```", first) - first);
  const std::size_t dimension = whole.find("dimension 3d");
  ASSERT_NE(dimension, std::string::npos);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const bool done = Read(whole.substr(0, length));
    EXPECT_TRUE(done || !Reports.empty() || length < dimension + 12) << length;
  }
  EXPECT_TRUE(Read(whole));
  EXPECT_EQ(Reports, "");
  EXPECT_EQ(Parameter->GetNumberOfTissues(), 2);
}

TEST_F(ParameterFile, SurvivesBytesThatAreNoText)
{
  const std::string whole = Box("threadnum 2 3 4\n", "detectorlens 1\nfiberdetector 2\n");
  std::mt19937 random(20210718);
  for (int i = 0; i < 1000; ++i) {
    std::string text = whole;
    for (int changes = i % 20; changes >= 0; --changes) {
      text[random() % text.size()] = static_cast<char>(random() % 256);
    }
    EXPECT_TRUE(Read(text) || !Reports.empty() || text.find("dimension 3d") == std::string::npos);
  }
  std::string noise = "trl\n";
  for (int i = 0; i < 100000; ++i)
    noise += static_cast<char>(random() % 256);
  EXPECT_FALSE(Read(noise));
}

TEST_F(ParameterFile, TakesALongLineAsSeveral)
{
  const std::string tail(10000, 'x');
  EXPECT_FALSE(Read("trl\n#" + tail));
  EXPECT_THAT(Reports, HasSubstr("FILE: \nread simulation property error!\n"));
  EXPECT_FALSE(Read(Box("", "tissueangle " + tail + "\n")));
  EXPECT_THAT(Reports, HasSubstr(": \"tissueangle\"\nFormat of the simulation data is incorrect!"));
  EXPECT_TRUE(Read(Box("", '#' + tail.substr(0, 253) + "endtrl\nnothing of this\n")));
}

TEST_F(ParameterFile, ReadsAHundredThousandTissues)
{
  std::ostringstream model;
  for (int i = 1; i <= 100000; ++i)
    model << "tissue " << i << " t\ntissuespectrumindex 1 0 1 0 1\n";
  EXPECT_TRUE(Read(Box("tissuenum 100000\n", model.str()))) << Reports;
  EXPECT_EQ(Parameter->GetTissue(99999)->GetOpticalParameter(0)->GetScattering(), 1.0);
}

static const std::string disc =
    "lightsourceshape cylinder\nlightsourceaxis 2 2 0\nlightsourceproperty solid\n";

/** Words that the exact rules alone know: what they set, or what is said of them. */
TEST_F(ParameterFile, ReadsTheWordsOfTheExactRules)
{
  const std::string direction =
      "lightsourcedirection: expected three numbers, finite and not all 0\n";
  const std::string profile = "lightsourceprofile: expected gaussian and a width above 0 (mm)\n";
  const std::string shape =
      "lightsourceprofile: expected a solid disc, a cylinder of half-height 0\n";
  const struct
  {
    std::string lines;
    double x, width;
    std::string report;
  } cases[] = {{"LightSourceDirection 3 0 -4", 0.6, 0, ""},
               {"lightsourcedirection 1e300 0 0", 1, 0, ""},
               {"lightsourcedirection 1e-310 0 0 9", 1, 0, ""},
               {disc + "lightsourceprofile Gaussian 1.5", 0, 1.5, ""},
               {"lightsourceprofile gaussian 1.5\n" + disc, 0, 1.5, ""},
               {"lightsourcedirection 0 0 0", 0, 0, direction},
               {"lightsourcedirection 0 inf 0", 0, 0, direction},
               {"lightsourceprofile gauss 1", 0, 0, profile},
               {disc + "lightsourceprofile gaussian 0", 0, 0, profile},
               {disc + "lightsourceprofile gaussian inf", 0, 0, profile},
               {"lightsourceprofile gaussian 1", 0, 0, shape},
               {disc + "lightsourceaxis 2 2 1\nlightsourceprofile gaussian 1", 0, 0, shape},
               {disc + "lightsourceproperty face\nlightsourceprofile gaussian 1", 0, 0, shape},
               {"lightsourcedirection 1 0", 0, 0, "\"lightsourcedirection\"\nFormat of"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.lines);
    EXPECT_EQ(Read(Box("", c.lines + "\n"), RulesExact), c.report.empty());
    EXPECT_EQ(Reports.empty(), c.report.empty());
    EXPECT_THAT(Reports, HasSubstr(c.report));
    if (!c.report.empty()) continue;
    EXPECT_EQ(Parameter->GetRules(), RulesExact);
    EXPECT_DOUBLE_EQ(Parameter->GetLightSource(0)->GetDirection().X, c.x);
    EXPECT_EQ(Parameter->GetLightSource(0)->GetProfileWidth(), c.width);
    // Both words lead to the same report under the classic rules.
    EXPECT_FALSE(Read(Box("", c.lines + "\n")));
    EXPECT_THAT(Reports, HasSubstr("\"\nFormat of the simulation data is incorrect!\n"));
  }
}

TEST_F(ParameterFile, KeepsWhichLimitsAreStatedAndTheRulesOfASecondRead)
{
  for (const auto& [block, steps, time] : {std::tuple{"", false, false},
                                           {"stepnummax 7\n", true, false},
                                           {"flytimemax 7\n", false, true}}) {
    ASSERT_TRUE(Read(Box(block), RulesExact));
    EXPECT_EQ(Parameter->GetStepNumberMaxGiven(), steps);
    EXPECT_EQ(Parameter->GetFlyTimeMaxGiven(), time);
    ASSERT_TRUE(Reader->Execute());
    EXPECT_EQ(Reader->GetOutput()->GetRules(), RulesExact);
  }
}
