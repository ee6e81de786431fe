#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <random>

#include "modelCases.h"
#include "trelParameterText.h"
#include "trelSimulationParameterReader.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

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
  ParameterFile() { std::filesystem::create_directories(Directory); }
  ~ParameterFile() override
  {
    if (Parameter) Parameter->UnRegister();
    std::filesystem::remove_all(Directory);
  }

  bool Read(const std::string& text)
  {
    std::ofstream(Name, std::ios::binary) << text;
    return ReadName(Name);
  }

  /** Reports is what was shown then, with FILE for the name and without places. */
  bool ReadName(const std::string& name)
  {
    auto* reader = new trelSimulationParameterReader;
    if (!name.empty()) reader->AddFileName(name.c_str());
    CaptureStderr();
    const bool done = reader->Update();
    Reports = WithoutPlaces(GetCapturedStderr());
    const std::size_t at = Reports.find(name);
    if (!name.empty() && at != std::string::npos) Reports.replace(at, name.size(), "FILE");
    trelSimulationParameter* output = reader->GetOutput();
    output->Register();
    if (Parameter) Parameter->UnRegister();
    Parameter = output;
    reader->Delete();
    return done;
  }

  const std::string Directory =
      std::filesystem::temp_directory_path() / ("trelParameterFile." + std::to_string(::getpid()));
  const std::string Name = Directory + "/model.trl";
  std::string Reports;
  trelSimulationParameter* Parameter = nullptr;
};

TEST_F(ParameterFile, RefusesBrokenModels)
{
  const std::string reader = "ERROR trelSimulationParameterReader: ";
  const std::string end = "The simulation parameter read fail!\n\n";
  const std::map<std::string, std::pair<std::string, std::string>> around = {
      {"while reading the block", {reader + "FILE: \n", "\n\n"}},
      {"while reading the model", {reader, end}},
      {"when the model is checked", {"ERROR trelSimulationParameter: ", "\n\n" + reader + end}}};
  const std::vector<ModelCase> cases = ReadModelCases("broken.txt");
  EXPECT_GT(cases.size(), 90u);
  for (const ModelCase& c : cases) {
    SCOPED_TRACE("broken.txt:" + std::to_string(c.Line));
    const auto& [before, after] = around.at(c.Stage);
    EXPECT_FALSE(Read(c.Text()));
    EXPECT_EQ(Reports, before + c.Report + after);
    const bool letGo = c.Stage != "while reading the block";
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
    lines.push_back(std::string(text.GetToken(0)) + ' ' + std::to_string(text.GetNumberOfTokens()));
    std::string path = "none";
    if (text.IsOneOf(0, "road PATH")) paths += text.GetPath(path) ? path + '|' : "-|";
  }
  EXPECT_THAT(lines, ElementsAre("One 3", full + " 1", full + " 1", "tail 1", "cut 1", "path 4",
                                 "path 3", "path 3", "path 1"));
  EXPECT_EQ(paths, "a b.off|-|b c|-|");
}

TEST_F(ParameterFile, RefusesWhatItCannotOpen)
{
  const std::string opening = "ERROR trelSimulationParameterReader: Can not open file!\n\n\n";
  EXPECT_FALSE(ReadName(""));
  EXPECT_EQ(Reports, "ERROR trelSimulationParameterReader: There's no file to read!\n\n");
  for (const std::string& name : {Directory + "/none.trl", Directory}) {
    EXPECT_FALSE(ReadName(name));
    EXPECT_EQ(Reports, opening);
  }
}

TEST_F(ParameterFile, StopsWithoutAMessageWithoutADimension)
{
  EXPECT_FALSE(Read("trl\nsimulationproperty\nsimulationtype DOT\n"));
  EXPECT_EQ(Reports, "");
}

TEST_F(ParameterFile, GoesOnAfterAMeshThatCannotBeRead)
{
  for (const char* path : {"none.off", "\"a b/none.off\" more", "\"a b", "\"\"", "/", "a\\b.ply"}) {
    const std::string line = "path " + std::string(path) + "\n";
    EXPECT_TRUE(Read(Box("mediumshapetetratype 1\n", "mediumtetra" + line))) << path;
    EXPECT_TRUE(Read(Box("", "tissueshape trianglemesh\ntissue" + line))) << path;
    if (line.find("more") == std::string::npos) continue;
    EXPECT_THAT(Reports, HasSubstr(Directory + "/a b/none.off"));
  }
}

static std::string DocumentedExample()
{
  const std::string all = FileText(TREL_SOURCE_DIR "/docs/parameter-file.md");
  const std::string fence = "```trl\n";
  const std::size_t first = all.find(fence) + fence.size();
  return all.substr(first, all.find("```", first) - first);
}

TEST_F(ParameterFile, ReadsTheExampleOfItsDocumentWholeAndCutAtEveryByte)
{
  const std::string whole = DocumentedExample();
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

TEST_F(ParameterFile, ReadsAgainIntoANewModel)
{
  trelSimulationParameterReader reader;
  reader.AddFileName(Name.c_str());
  for (const bool good : {true, false, true}) {
    std::ofstream(Name) << (good ? Box("", "detectorlens 1\n") : "none");
    CaptureStderr();
    EXPECT_EQ(reader.Update(), good);
    GetCapturedStderr();
    EXPECT_EQ(reader.GetReaderErrorText(), good ? "" : "Not a valid TRL file!\n");
    EXPECT_EQ(reader.GetOutput()->GetNumberOfDetectors(), good ? 1 : 0);
  }
}

TEST_F(ParameterFile, StagesNeedAFileAndAModel)
{
  using Reader = trelSimulationParameterReader;
  bool (Reader::*const stages[])(trelSimulationParameter*) = {
      &Reader::ReadSimulationProperty, &Reader::ReadSpectrumData, &Reader::ReadModel2D,
      &Reader::ReadModel3D};
  for (const auto stage : stages) {
    Reader reader;
    for (int attempt = 0; attempt < 2; ++attempt) {
      EXPECT_FALSE((reader.*stage)(reader.GetOutput()));
      EXPECT_EQ(reader.GetReaderErrorText(), "No file has been opened!\n");
    }
  }
  Reader reader;
  CaptureStderr();
  EXPECT_FALSE(reader.AllocateModel(nullptr));
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("): 2D simulation parameter read error!\n\n"));
}
