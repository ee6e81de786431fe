#include "trelSimulationParameterReader.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "trelList.h"
#include "trelMedium.h"
#include "trelModelFaults.h"
#include "trelModelSection.h"
#include "trelPaths.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelSimulationPropertyBlock.h"
#include "trelTissue.h"

/** Ends the reports that close a failed read, ahead of the two line ends that end all reports;
 *  scripts that cut the error stream into reports depend on it. */
static const char* const endOfReport = "\n\n";

trelSimulationParameterReader::~trelSimulationParameterReader()
{
  ReleaseReference(Output);
}

trelSimulationParameter* trelSimulationParameterReader::GetOutput()
{
  if (!Output) ReplaceReference(Output, new trelSimulationParameter);
  return Output;
}

void trelSimulationParameterReader::ShowError(const std::string& text)
{
  ErrorMacro(text);
}

void trelSimulationParameterReader::ShowWarning(const std::string& text)
{
  WarningMacro(text);
}

bool trelSimulationParameterReader::Execute()
{
  const char* name = GetFileName(0);
  if (!name) {
    ErrorMacro("There's no file to read!");
    return false;
  }
  if (!Text.Open(name)) {
    ErrorMacro("Can not open file!\n");
    return false;
  }
  SetParameterDirectory(name);
  BeginRead();
  const bool done = ReadFile(name);
  if (!Text.GetCommaNote().empty()) WarningMacro(Text.GetCommaNote());
  Text.Close();
  return done;
}

void trelSimulationParameterReader::BeginRead()
{
  const trelRules rules = GetOutput()->GetRules();
  if (OutputFilled) ReleaseReference(Output);
  GetOutput()->SetRules(rules);
  OutputFilled = true;
  State.Begin();
  Version = "2.0";
  Format = 0;
}

bool trelSimulationParameterReader::ReadFile(const char* name)
{
  trelSimulationParameter* output = GetOutput();
  if (!ReadHeader() || !ReadSimulationProperty(output) || !AllocateModel(output) ||
      !ReadSpectrumData(output)) {
    ErrorMacro(name << ": \n" << State.GetReaderErrorText() << endOfReport);
    return false;
  }
  if (output->GetDimension() == DimensionUnset) {
    ExplainDimension();
    return false;
  }
  if (!ReadModel(output) || !CheckModel(output)) {
    output->ClearModel();
    ErrorMacro(State.GetReaderErrorText() << "The simulation parameter read fail!" << endOfReport);
    return false;
  }
  return true;
}

bool trelSimulationParameterReader::ReadModel(trelSimulationParameter* parameter)
{
  // What follows the model section of a two-dimensional file is read as a three-dimensional one.
  if (parameter->GetDimension() == Dimension2D && !ReadModel2D(parameter)) return false;
  if (!ReadModel3D(parameter)) return false;
  WarnOfFlatTissues();
  return true;
}

bool trelSimulationParameterReader::CheckModel(trelSimulationParameter* parameter)
{
  ExplainEnd();
  if (State.GetFindings()) FindModelFaults(*parameter, State);
  return parameter->Validate();
}

/** True for an analytic shape with a half-length that is not above 0, or infinite. */
static bool IsFlat(const trelShapeObject& shape)
{
  if (shape.GetTraits().IsMesh()) return false;
  const trelVector halfAxes = shape.GetHalfAxes();
  for (int axis = 0; axis < shape.GetTraits().Dimension; ++axis)
    if (!(halfAxes[axis] > 0.0 && std::isfinite(halfAxes[axis]))) return true;
  return false;
}

void trelSimulationParameterReader::WarnOfFlatTissues()
{
  int flat = 0;
  std::string names;
  for (int i = 0; i < State.GetTissueNum(); ++i) {
    const trelTissue* tissue = State.GetModelIndex().GetTissue(i);
    if (!tissue->GetShape() || !IsFlat(*tissue->GetShape())) continue;
    if (++flat <= 10) names += " " + tissue->GetName();
  }
  if (flat == 0) return;
  WarningMacro("tissueaxis: got 0, a negative or an infinite half-length in "
               << flat << " tissues (" << names.substr(1) << (flat > 10 ? " ...)" : ")")
               << ", expected finite half-lengths above 0 (mm)\n");
}

bool trelSimulationParameterReader::ExplainStop(bool done, trelFilePart part)
{
  if (done || !State.GetFindings() || !State.GetKeywordUnknown()) return done;
  std::vector<trelKnownKeyword> keywords = {{"trl", PartHeader, 1},
                                            {"format", PartHeader, 2},
                                            {"comment", PartHeader, 1},
                                            {"spectrum", PartWavelengths, 3}};
  trelSimulationPropertyBlock::ListKeywords(keywords);
  trelModelSection::ListKeywords(GetOutput()->GetRules(), keywords);
  ExplainKeyword(State, part, keywords);
  return done;
}

void trelSimulationParameterReader::ExplainEnd()
{
  trelModelFindings* findings = State.GetFindings();
  if (!findings || findings->GetLineOf("", "endtrl") > 0) return;
  findings->Add(FindingMistake, State.GetLastLine(), 0, "the file breaks off: there is no endtrl",
                "end it with endtrl");
}

/** Without a dimension nothing is read, and nothing said. */
void trelSimulationParameterReader::ExplainDimension()
{
  trelModelFindings* findings = State.GetFindings();
  if (!findings) return;
  const int block = findings->GetLineOf("", "endsimulationproperty");
  if (block == 0) {
    findings->Add(FindingError, State.GetLastLine(), 0,
                  "the file breaks off: there is no endsimulationproperty",
                  "end the simulation properties with endsimulationproperty");
  } else {
    findings->Add(FindingError, block, 0, "the simulation properties have no dimension",
                  "write dimension 3d or dimension 2d ahead of roi and roiseparation");
  }
}

void trelSimulationParameterReader::ExplainWavelength()
{
  const std::size_t read = State.GetWavelengthList().size();
  const trelModelFindings* findings = State.GetFindings();
  if (!findings) return;
  State.Explain(
      FindingError, 0,
      "spectrum " + std::to_string(read + 1) + " expected: spectrumnum (line " +
          std::to_string(findings->GetLineOf("", "spectrumnum")) + ") is " +
          std::to_string(State.GetSpectrumNum()) + ", found " + std::to_string(read),
      "write a line spectrum INDEX WAVELENGTH for each, in order, or correct spectrumnum");
}

bool trelSimulationParameterReader::Fail(const std::string& text)
{
  State.Record(text);
  return false;
}

bool trelSimulationParameterReader::IsReady()
{
  if (!State.GetReaderErrorText().empty()) return false;
  return Text.IsOpen() || Fail("No file has been opened!\n");
}

bool trelSimulationParameterReader::ReadHeader()
{
  if (!Text.Rewind() || !Text.TakeLine() || !Text.IsOneOf(0, "trl")) {
    State.Explain(FindingError, 0, "this is no parameter file: its first line is not 'trl'",
                  "begin the file with a line 'trl', without a byte-order mark");
    return Fail("Not a valid TRL file!\n");
  }
  while (Text.TakeStatement()) {
    const KeywordOutcome outcome = ReadHeaderLine();
    if (outcome != KeywordDone) return outcome == KeywordEndsSection;
  }
  return Fail("End of header not found!\n");
}

KeywordOutcome trelSimulationParameterReader::ReadHeaderLine()
{
  if (Text.IsOneOf(0, "comment")) return KeywordDone;
  if (!Text.IsOneOf(0, "format") || Text.GetNumberOfTokens() < 2) return KeywordEndsSection;
  Format = Text.IsOneOf(1, "ascii") ? 0 : 1;
  if (Format == 1) return KeywordEndsSection;
  if (Text.GetNumberOfTokens() < 3) return KeywordDone;
  Version = Text.GetToken(2);
  if (Version == "2.0" || Version == "2.1" || Version == "2.2") return KeywordDone;
  State.Record(
      "The version of the parameter file is not supported by the current version of TREL!\n");
  return KeywordFails;
}

bool trelSimulationParameterReader::ReadSimulationProperty(trelSimulationParameter* parameter)
{
  if (!IsReady() || !parameter || !parameter->GetMedium()) return false;
  return ExplainStop(trelSimulationPropertyBlock(State, *parameter).Read(), PartProperties);
}

bool trelSimulationParameterReader::AllocateModel(trelSimulationParameter* parameter)
{
  if (!parameter || !parameter->GetMedium()) {
    ErrorMacro("2D simulation parameter read error!");
    return false;
  }
  const std::int32_t sources = State.GetLightSourceNum();
  const std::int32_t tissues = State.GetTissueNum();
  const std::int32_t spectra = State.GetSpectrumNum();
  if (!State.GetModelIndex().Allocate(*parameter, sources, tissues, spectra)) {
    std::ostringstream text;
    text << "lightsourcenum, tissuenum, spectrumnum: got " << sources << ", " << tissues << ", "
         << spectra << " (" << trelModelIndex::CountObjects(sources, tissues, spectra)
         << " objects), expected at most " << trelModelIndex::MaximumOfObjects
         << " objects (light sources, tissues, and an entry of each for each spectrum)\n";
    return Fail(text.str());
  }
  if (!parameter->GetDetectors()) parameter->SetDetectors(new trelList);
  return true;
}

bool trelSimulationParameterReader::ReadSpectrumData(trelSimulationParameter* parameter)
{
  if (!IsReady() || !parameter) return false;
  if (State.GetSpectrumNum() < 0) return Fail("spectrum data error!\n");
  std::vector<std::uint32_t>& wavelengths = State.GetWavelengthList();
  wavelengths.clear();
  while (Text.TakeStatement()) {
    const std::int64_t read = static_cast<std::int64_t>(wavelengths.size());
    State.NoteLine();
    if (!Text.IsOneOf(0, "spectrum") || Text.GetNumberOfTokens() < 3 ||
        Text.GetInteger(1) != read + 1) {
      ExplainWavelength();
      return Fail("Error when reading wavelength data!\n");
    }
    wavelengths.push_back(static_cast<std::uint32_t>(Text.GetInteger(2)));
    State.ExplainRest();
    if (read + 1 >= State.GetSpectrumNum()) {
      parameter->SetWavelengths(wavelengths);
      return true;
    }
  }
  return true;
}

bool trelSimulationParameterReader::ReadModel2D(trelSimulationParameter* parameter)
{
  if (!IsReady()) return false;
  if (!parameter) return Fail("No file has been opened!\n");
  return ExplainStop(trelModelSection(State, *parameter, Dimension2D).Read(), PartModel2D);
}

bool trelSimulationParameterReader::ReadModel3D(trelSimulationParameter* parameter)
{
  if (!IsReady()) return false;
  if (!parameter) return Fail("3D simulation parameter read fail!\n");
  return ExplainStop(trelModelSection(State, *parameter, Dimension3D).Read(), PartModel3D);
}
