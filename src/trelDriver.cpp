#include "trelDriver.h"

#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>

#include "trelClock.h"
#include "trelMemory.h"
#include "trelObjectMacros.h"
#include "trelOpticalParameter.h"
#include "trelOpticalSimulationFilter.h"
#include "trelSimulationParameter.h"
#include "trelSimulationParameterReader.h"
#include "trelSimulationResult.h"
#include "trelSimulationResultWriter.h"
#include "trelTissue.h"

static constexpr int NumberOfArguments = 6;

/** What each argument is, in the words of the report on a missing one. */
static const char* const ArgumentNames[NumberOfArguments] = {
    "parameter file (.trl)",
    "base name of the result files",
    "absorption coefficient of the first tissue (1/mm)",
    "scattering coefficient of the first tissue (1/mm)",
    "anisotropy of the first tissue",
    "refractive index of the first tissue"};

static void ReportMissingArguments(int given)
{
  std::string text = "Missing on the command line:\n";
  for (int i = given; i < NumberOfArguments; ++i) {
    text += "  " + std::to_string(i + 1) + ". " + ArgumentNames[i] + "\n";
  }
  text += "Usage: trel MODEL.trl RESULT ABSORPTION SCATTERING ANISOTROPY REFRACTIVE_INDEX\n\n";
  DisplayText(text);
}

/** The coefficients of the command line, in its order. */
struct trelCommandLineOptics
{
  double Absorption;
  double Scattering;
  double Anisotropy;
  double RefractiveIndex;
};

static void OverrideFirstTissue(trelSimulationParameter& parameter,
                                const trelCommandLineOptics& optics)
{
  trelTissue* tissue = parameter.GetTissue(0);
  trelOpticalParameter* first = tissue ? tissue->GetOpticalParameter(0) : nullptr;
  if (!first) return;
  first->SetAnisotropy(optics.Anisotropy);
  first->SetRefractiveIndex(optics.RefractiveIndex);
  first->SetAbsorption(optics.Absorption);
  first->SetScattering(optics.Scattering);
}

#define trelOutOfMemory(where) \
  "ERROR: In ..\\..\\src\\trelDriver\ntrelDriver: Out of memory while " where "!\n\n"

/** Does a part of a run; shows @p report if it breaks off for lack of memory. */
template <class Work>
static void GuardMemory(const char* report, Work work)
{
  if (!FitsInMemory(work)) DisplayLiteral(report);
}

/** Holds a stage, which nobody registers, to the end of its run. */
struct trelStageDeleter
{
  void operator()(trelObject* stage) const { stage->Delete(); }
};
template <class Stage>
using trelStageHolder = std::unique_ptr<Stage, trelStageDeleter>;

/** The read stage; the registered parameter, or null. */
static trelSimulationParameter* ReadParameter(const char* file, const trelCommandLineOptics& optics,
                                              std::ostream& log)
{
  trelSimulationParameter* parameter = nullptr;
  GuardMemory(trelOutOfMemory("reading the parameter file"), [&] {
    const trelStageHolder<trelSimulationParameterReader> reader(new trelSimulationParameterReader);
    reader->AddFileName(file);
    if (!reader->Update()) return;
    ReplaceReference(parameter, reader->GetOutput());
    OverrideFirstTissue(*parameter, optics);
    log << "parameter read ok " << std::endl;
  });
  return parameter;
}

/** The simulation stage; the registered result, or null. */
static trelSimulationResult* Simulate(trelSimulationParameter* parameter, std::ostream& log)
{
  trelSimulationResult* result = nullptr;
  const std::int64_t start = WallClockSeconds();
  GuardMemory(trelOutOfMemory("simulating"), [&] {
    const trelStageHolder<trelOpticalSimulationFilter> filter(new trelOpticalSimulationFilter);
    filter->SetInput(parameter);
    if (filter->Update()) ReplaceReference(result, filter->GetOutput());
  });
  log << "consuming time is " << WallClockSeconds() - start << std::endl;
  return result;
}

static void WriteResult(const char* baseName, trelSimulationResult* result,
                        trelSimulationParameter* parameter, std::ostream& log)
{
  GuardMemory(trelOutOfMemory("writing the results"), [&] {
    const trelStageHolder<trelSimulationResultWriter> writer(new trelSimulationResultWriter);
    writer->AddFileName(baseName);
    writer->SetInput(result, parameter);
    if (writer->Update()) log << "write ok " << std::endl;
  });
}

int RunDriver(int count, const char* const* arguments, std::ostream& log)
{
  if (count <= NumberOfArguments) {
    GuardMemory(trelOutOfMemory("reading the command line"),
                [&] { ReportMissingArguments(count > 0 ? count - 1 : 0); });
    return 0;
  }
  const trelCommandLineOptics optics = {std::atof(arguments[3]), std::atof(arguments[4]),
                                        std::atof(arguments[5]), std::atof(arguments[6])};
  log << std::endl << arguments[1] << std::endl << std::endl << arguments[2] << std::endl;
  for (const double value :
       {optics.Absorption, optics.Scattering, optics.Anisotropy, optics.RefractiveIndex}) {
    log << std::endl << value << std::endl;
  }
  trelSimulationParameter* parameter = ReadParameter(arguments[1], optics, log);
  log << std::endl << "run start ......" << std::endl;
  trelSimulationResult* result = Simulate(parameter, log);
  WriteResult(arguments[2], result, parameter, log);
  ReleaseReference(parameter);
  ReleaseReference(result);
  log << "run over" << std::endl << std::endl << "simulation over" << std::endl;
  return 0;
}
