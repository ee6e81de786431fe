#include "trelSimulationParameterReader.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "trelList.h"
#include "trelMedium.h"
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
  if (OutputFilled) ReleaseReference(Output);
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
  if (output->GetDimension() == DimensionUnset) return false;
  if (!ReadModel(output) || !output->Validate()) {
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
  return trelSimulationPropertyBlock(State, *parameter).Read();
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
    if (!Text.IsOneOf(0, "spectrum") || Text.GetNumberOfTokens() < 3 ||
        Text.GetInteger(1) != read + 1) {
      return Fail("Error when reading wavelength data!\n");
    }
    wavelengths.push_back(static_cast<std::uint32_t>(Text.GetInteger(2)));
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
  return trelModelSection(State, *parameter, Dimension2D).Read();
}

bool trelSimulationParameterReader::ReadModel3D(trelSimulationParameter* parameter)
{
  if (!IsReady()) return false;
  if (!parameter) return Fail("3D simulation parameter read fail!\n");
  return trelModelSection(State, *parameter, Dimension3D).Read();
}
