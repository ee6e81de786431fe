#include "trelRunDriver.h"

#include <omp.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <memory>
#include <ostream>
#include <sstream>
#include <system_error>

#include "trelCheckText.h"
#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelExitRecorder.h"
#include "trelLabelledResultWriter.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMedium.h"
#include "trelMediumResult.h"
#include "trelMemory.h"
#include "trelNetcdfFile.h"
#include "trelOpticalParameter.h"
#include "trelOpticalSimulationFilter.h"
#include "trelPaths.h"
#include "trelResultFileSet.h"
#include "trelSimulationParameter.h"
#include "trelSimulationParameterReader.h"
#include "trelSimulationResult.h"
#include "trelSimulationResultWriter.h"
#include "trelSpectrum.h"
#include "trelText.h"
#include "trelThreads.h"
#include "trelTissue.h"

namespace fs = std::filesystem;

/** A coefficient by its name on the command line. */
struct trelRunDriverCoefficient
{
  const char* Name;
  void (trelOpticalParameter::*Set)(double);
  double Least, Greatest;
  const char* Range;
};

static const trelRunDriverCoefficient coefficients[] = {
    {"mua", &trelOpticalParameter::SetAbsorption, 0.0, HUGE_VAL, "0 or above (1/mm)"},
    {"mus", &trelOpticalParameter::SetScattering, 0.0, HUGE_VAL, "0 or above (1/mm)"},
    {"g", &trelOpticalParameter::SetAnisotropy, -1.0, 1.0, "from -1 to 1"},
    {"n", &trelOpticalParameter::SetRefractiveIndex, 1.0, HUGE_VAL, "1 or above"}};

static const trelRunDriverCoefficient* FindCoefficient(const std::string& name)
{
  for (const trelRunDriverCoefficient& coefficient : coefficients) {
    if (EqualWords(coefficient.Name, name)) return &coefficient;
  }
  return nullptr;
}

/** Whether all of @p text is a number. */
static bool ReadWholeText(const std::string& text, double* value)
{
  if (text.find_first_not_of("0123456789+-.eE") != std::string::npos) return false;
  return ReadReal(text, DecimalNumbers, *value);
}

std::string ReadCoefficientChange(const std::string& text, trelCoefficientChange* change)
{
  const std::size_t equals = text.find('=');
  const std::size_t point = text.rfind('.', equals);
  if (equals == std::string::npos || point == std::string::npos || point == 0)
    return "expected TISSUE.NAME=VALUE or TISSUE@WAVELENGTH.NAME=VALUE";
  *change = {text, text.substr(0, point), true, 0, text.substr(point + 1, equals - point - 1), 0.0};
  const std::size_t at = change->Tissue.rfind('@');
  if (at != std::string::npos) {
    double wavelength = 0.0;
    if (!ReadWholeText(change->Tissue.substr(at + 1), &wavelength) || !(wavelength >= 0.0) ||
        !(wavelength < 4294967296.0)) {
      return "expected a wavelength behind @";
    }
    change->Wavelength = static_cast<std::uint32_t>(wavelength);
    change->IsAtAll = false;
    change->Tissue.erase(at);
  }
  if (!FindCoefficient(change->Name)) return "expected mua, mus, g or n ahead of =";
  if (!ReadWholeText(text.substr(equals + 1), &change->Value)) return "expected a number behind =";
  return FindValueFault(*change);
}

std::string FormatCoefficientChange(const trelCoefficientChange& change)
{
  std::ostringstream text;
  text << std::setprecision(17) << change.Tissue;
  if (!change.IsAtAll) text << '@' << change.Wavelength;
  text << '.' << change.Name << '=' << change.Value;
  return text.str();
}

std::string FindValueFault(const trelCoefficientChange& change)
{
  const trelRunDriverCoefficient& coefficient = *FindCoefficient(change.Name);
  const bool isWithin = change.Value >= coefficient.Least && change.Value <= coefficient.Greatest;
  if (isWithin && std::isfinite(change.Value)) return "";
  return std::string(coefficient.Name) + " must be " + coefficient.Range;
}

/** Holds a stage, which nobody registers, to the end of its run. */
struct trelRunDriverDeleter
{
  void operator()(trelObject* stage) const { stage->Delete(); }
};
template <class Stage>
using trelRunDriverHolder = std::unique_ptr<Stage, trelRunDriverDeleter>;

/** The driver that takes the reports. */
static trelRunDriver* activeDriver = nullptr;

trelRunDriver::trelRunDriver(const trelRunOptions& options, std::ostream& log,
                             std::ostream& messages)
    : Options(options),
      Base(FindBase()),
      Log(log),
      Messages(messages),
      Findings(options.Rules),
      Check(Findings),
      Keeper(Base, Record),
      Origin(options.Parts ? *options.Parts : OwnOrigin),
      ExitLimit(options.Exits),
      Control(options.Control ? *options.Control : OwnControl)
{
  activeDriver = this;
  SetReportTaker(TakeReport);
}

trelRunDriver::~trelRunDriver()
{
  SetReportTaker(nullptr);
  activeDriver = nullptr;
  ReleaseReference(Parameter);
}

// Reports of the stages

/** A report has two lines, "ERROR: In PLACE" and "CLASS (ADDRESS): TEXT". */
void trelRunDriver::TakeReport(const char* report)
{
  const std::string all = report;
  const bool isError = all.rfind("Warning", 0) != 0;
  const std::size_t line = std::min(all.find('\n'), all.size() - 1) + 1;
  const std::size_t address = all.find(" (", line);
  const std::size_t mark = all.find(": ", line);
  std::string text = mark == std::string::npos ? all : all.substr(mark + 2);
  text.erase(text.find_last_not_of("\n! ") + 1);
  const std::string className = address < mark ? all.substr(line, address - line) : std::string();
  if (activeDriver->Stage == Reading) activeDriver->TakeReadReport(isError, className, text);
  // The check has told of traps, with lines.
  const bool isTold = className == "trelOpticalSimulationFilter" && !isError;
  if (activeDriver->Stage == Running && !isTold) activeDriver->Tell(isError, text);
}

/** What the reader and the model say of themselves is told better by the findings. */
void trelRunDriver::TakeReadReport(bool isError, const std::string& className,
                                   const std::string& text)
{
  const bool isOfModel =
      className == "trelSimulationParameterReader" || className == "trelSimulationParameter";
  if (isOfModel && isError) {
    if (ReadFault.empty()) ReadFault = text;
    return;
  }
  static const std::string fitted = "transmittance is modified to the ";
  if (const std::size_t at = text.find(fitted); at != std::string::npos) {
    const std::size_t word = at + fitted.size();
    TellCells(text.substr(word, text.find(' ', word) - word));
    return;
  }
  static const char* const toldElsewhere[] = {
      "tissueaxis: got", "threadnum: got", "a number of packets", "which is read as",
      "Zero scattering", "is not closed",  "Can't find \"",       "Can not open file"};
  for (const char* words : toldElsewhere) {
    if (text.find(words) != std::string::npos) return;
  }
  const int line = isOfModel ? Findings.GetLineOfText(text) : Reader->GetLineNumber();
  Findings.Add(FindingWarning, line, 0, text);
}

/** Tells that the file asks for cells of the surface that its outer shape does not have; those that
 *  it does not ask for are no matter. */
void trelRunDriver::TellCells(std::string word)
{
  const int line = Findings.GetLineOf("", "transmittancematrix");
  if (line == 0) return;
  word[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(word[0])));
  Findings.Add(FindingWarning, line, 2,
               "the outermost shape has no such cells on its surface: " + word + " ones are taken",
               "write transmittancematrix 1 " + word);
}

void trelRunDriver::Tell(bool isError, const std::string& text)
{
  Messages << GetModelName() << (isError ? ": error: " : ": warning: ") << text << std::endl;
}

template <class Work>
bool trelRunDriver::DoStage(Stages stage, const char* name, Work work)
{
  Stage = stage;
  bool isDone = false;
  if (FitsInMemory([&] { isDone = work(); })) return isDone;
  Stage = Running;
  Messages << GetModelName() << ": error: out of memory while " << name << std::endl;
  return false;
}

// Reading and checking

std::string trelRunDriver::FindBase() const
{
  const fs::path model = NativePath(Options.Model);
  if (Options.Base == "-") return Options.Base;
  if (Options.Base.empty()) return model.stem().string();
  std::error_code error;
  const fs::path base = NativePath(Options.Base);
  return base.filename().empty() || fs::is_directory(base, error) ? (base / model.stem()).string()
                                                                  : Options.Base;
}

bool trelRunDriver::Read(trelSimulationParameterReader& reader)
{
  Reader = &reader;
  reader.AddFileName(Options.Model.c_str());
  reader.GetOutput()->SetRules(Options.Rules);
  reader.SetFindings(&Findings);
  if (std::FILE* file = OpenRegularFile(NativePath(Options.Model))) {
    std::fclose(file);
  } else {
    Findings.Add(FindingError, 0, 0, "the model cannot be opened",
                 "name a parameter file, which this user may read");
    return false;
  }
  const bool isRead = reader.Update();
  Reader = nullptr;
  if (isRead) ReplaceReference(Parameter, reader.GetOutput());
  if (!isRead && Findings.CountErrors() == 0)
    Findings.Add(FindingError, 0, 0, ReadFault.empty() ? "the model cannot be read" : ReadFault);
  return isRead;
}

/** The tissue of this number, else the only one of this name; null if there is none. */
static const trelTissue* FindTissue(const trelMedium& medium, const std::string& meant)
{
  const trelTissue* named = nullptr;
  int number = 0, others = 0;
  for (const trelTissue* tissue : ItemsOf<trelTissue>(medium.GetTissues())) {
    if (meant == std::to_string(++number)) return tissue;
    if (!EqualWords(tissue->GetName(), meant)) continue;
    others += named ? 1 : 0;
    named = tissue;
  }
  return others == 0 ? named : nullptr;
}

trelRunStatus trelRunDriver::Apply(const trelCoefficientChange& change)
{
  const trelRunDriverCoefficient* coefficient = FindCoefficient(change.Name);
  const trelTissue* tissue = FindTissue(*Parameter->GetMedium(), change.Tissue);
  bool isApplied = false;
  for (int j = 0; tissue && tissue->GetOpticalParameter(j); ++j) {
    trelOpticalParameter* optics = tissue->GetOpticalParameter(j);
    const bool isFirst = change.Wavelength == 0 && j == 0;
    if (!change.IsAtAll && !isFirst && optics->GetWavelength() != change.Wavelength) continue;
    (optics->*coefficient->Set)(change.Value);
    isApplied = true;
  }
  if (isApplied) return RunDone;
  Messages << Options.Program << ": error: " << change.Text
           << ": the model has no such tissue or wavelength, or several of that name" << std::endl;
  return RunUsage;
}

trelRunStatus trelRunDriver::ApplyOptions()
{
  const int threads = Options.Threads > 0 ? Options.Threads : omp_get_num_procs();
  Parameter->SetThreadNumber(std::clamp(threads, 1, MaximumNumberOfThreads));
  omp_set_num_threads(Parameter->GetThreadNumber());
  Parameter->SetSaveElements(Options.SavesElements);
  for (const trelCoefficientChange& change : Options.Changes) {
    const trelRunStatus status = Apply(change);
    if (status != RunDone) return status;
  }
  return Options.Rules == RulesExact ? FindGoal() : RunDone;
}

/** Which total the option means. */
trelRunStatus trelRunDriver::FindGoal()
{
  std::string fault;
  GoalTotal = trelErrorGoal::FindTotal(*Parameter, Options.Total, &fault);
  if (fault.empty()) return RunDone;
  Messages << Options.Program << ": error: --of " << Options.Total << ": " << fault << std::endl;
  return RunUsage;
}

void trelRunDriver::ShowCheck(bool isRead)
{
  Findings.Sort();
  if (Options.IsCheck && Options.Format) {
    Log << Options.Format(Check) << std::flush;
    return;
  }
  Messages << FormatFindings(Findings, GetModelName()) << std::flush;
  if (Options.IsCheck && isRead) Log << FormatCheckText(Check) << std::flush;
}

int trelRunDriver::Run()
{
  Check.Model = GetModelName();
  Check.Program = Options.Program;
  Check.LaunchesPilot = Options.FliesPilot;
  Check.WantedCut = Options.Cut;
  if (Options.Rules == RulesExact && CountBatches() != 1) Check.SetsOfGrids = 3;
  const trelRunDriverHolder<trelSimulationParameterReader> reader(
      new trelSimulationParameterReader);
  const bool isRead = DoStage(Reading, "reading the model", [&] { return Read(*reader); });
  if (isRead) {
    const trelRunStatus status = ApplyOptions();
    if (status != RunDone) return status;
    const bool isChecked = DoStage(Checking, "checking the model", [&] {
      Check.Look(*Parameter, Options.AllowsOpen);
      const bool isTimed = Options.IsCheck && Options.FliesPilot && Findings.CountErrors() == 0;
      if (isTimed) Check.ExpectedSeconds = MeasureSeconds();
      return true;
    });
    if (!isChecked) return RunFailed;
  }
  ShowCheck(isRead);
  if (!isRead || Findings.CountErrors() > 0) return RunFailed;
  if (Options.IsCheck) return RunDone;
  return Options.Again.IsOn() ? RunAgain() : RunModel();
}

// Running

/** How long the packets that the entries ask for now take, s. */
double trelRunDriver::RunPackets()
{
  const auto start = std::chrono::steady_clock::now();
  const trelRunDriverHolder<trelOpticalSimulationFilter> filter(new trelOpticalSimulationFilter);
  filter->SetInput(Parameter);
  const bool isDone = filter->Update();
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  return isDone ? seconds.count() : -1.0;
}

/** From two runs with few packets, so that what is prepared once counts once. Not for a model that
 *  is run afterwards: entries keep the weight of their first launch. */
double trelRunDriver::MeasureSeconds()
{
  std::vector<std::pair<trelSpectrum*, std::uint32_t>> entries;
  double total = 0.0;
  for (const trelLightSource* source : ItemsOf<trelLightSource>(Parameter->GetLightSources())) {
    for (trelSpectrum* entry : ItemsOf<trelSpectrum>(source->GetSpectra())) {
      entries.emplace_back(entry, entry->GetPhotonNumber());
      total += entry->GetPhotonNumber();
    }
  }
  const auto run = [&](double packets, double* done) {
    *done = 0.0;
    for (const auto& [entry, number] : entries) {
      const double part = std::min<double>(std::ceil(number * (packets / total)), number);
      entry->SetPhotonNumber(static_cast<std::uint32_t>(part));
      *done += part;
    }
    return RunPackets();
  };
  if (!(total > 0.0)) return -1.0;
  constexpr double enoughSeconds = 0.3;
  double few = 0.0, done = 0.0;
  const double base = run(10.0, &few);
  double seconds = base;
  for (double packets = 100.0; base >= 0.0 && packets < 10.0 * total; packets *= 4.0) {
    seconds = run(packets, &done);
    if (seconds - base > enoughSeconds || done >= total) break;
  }
  for (const auto& [entry, number] : entries)
    entry->SetPhotonNumber(number);
  if (base < 0.0 || seconds < 0.0) return -1.0;
  return done > few ? base + std::max(seconds - base, 0.0) * (total - few) / (done - few) : base;
}

std::vector<std::string> trelRunDriver::ListFiles() const
{
  std::vector<std::string> files;
  if (WritesText()) files = ListTextFiles();
  if (WritesLabelled()) files.insert(files.begin(), GetLabelledName());
  return files;
}

std::vector<std::string> trelRunDriver::ListTextFiles() const
{
  const bool isExact = Options.Rules == RulesExact;
  const bool hasFibers = isExact && Parameter->CountFiberDetectors() > 0;
  const bool hasDetectors =
      Parameter->GetNumberOfDetectors() > 0 && Parameter->GetDimension() == Dimension3D;
  const bool isCW = Parameter->GetContinuousWave();
  const struct
  {
    const char* Ending;
    bool IsOn, HasDetectors;
  } domains[] = {{".CW", isCW, isCW || !isExact},  // the classic rules write this one always
                 {".TD", Parameter->GetTimeDomain(), hasFibers},
                 {".FD", Parameter->GetFrequencyDomain(), hasFibers}};
  std::vector<std::string> files;
  const auto add = [&](bool isWritten, const char* kind, const char* ending) {
    if (isWritten) files.push_back(Base + kind + ending);
  };
  for (const auto& domain : domains) {
    add(domain.IsOn && Parameter->GetSaveAbsorption(), ".A", domain.Ending);
    add(domain.IsOn && Parameter->GetSaveTransmittance(), ".T", domain.Ending);
  }
  for (const auto& domain : domains)
    add(hasDetectors && domain.HasDetectors && (domain.IsOn || !isExact), ".D", domain.Ending);
  return files;
}

bool trelRunDriver::CanWrite()
{
  for (const std::string& name : ListFiles()) {
    const bool isLabelled = WritesLabelled() && name == GetLabelledName();
    const std::string fault = isLabelled ? trelNetcdfFile::FindFault(name) : "";
    if (isLabelled ? fault.empty() : trelResultFileSet::CanOpen(name)) continue;
    std::error_code error;
    const fs::path folder = fs::path(NativePath(name)).parent_path();
    const bool isThere = folder.empty() || fs::exists(folder, error);
    Messages << Options.Program << ": error: the results cannot be written: " << name
             << (isThere && isLabelled ? ": " + fault : "")
             << (isThere ? "\n      = make the folder, or its files, writable"
                         : ": there is no such folder\n      = make the folder")
             << ", or name another base with -o" << std::endl;
    return false;
  }
  return true;
}

void trelRunDriver::BeginRecord()
{
  Record.Add("source", Options.Program);
  Record.Add("arithmetic", trelExactMonteCarlo::Arithmetic);
  Record.AddModel(Options.Model, GetModelName(), *Parameter);
  std::string changes;
  for (const trelCoefficientChange& change : Options.Changes)
    changes += (changes.empty() ? "" : "\n") + FormatCoefficientChange(change);
  if (!changes.empty()) Record.Add("changed_coefficients", changes);
  Record.AddMachine();
}

int trelRunDriver::RunModel()
{
  if (!CanWrite()) return RunNotWritten;
  if (WritesLabelled()) {
    BeginRecord();
    const int status = TakeOrigin();
    if (status != RunDone) return status;
  }
  if (!Options.IsQuiet) LogStart();
  return Simulate();
}

void trelRunDriver::LogStart()
{
  const auto packets =
      Options.Packets > 0 ? Options.Packets : static_cast<std::int64_t>(Check.Packets);
  Log << GetModelName() << ": ";
  if (Origin.IsOpen()) {
    Log << (Options.Parts ? "put together from " : "goes on from ") << Origin.GetName()
        << (Options.Parts ? " and others" : "");
  } else {
    Log << packets << " packets";
  }
  Log << " on " << Parameter->GetThreadNumber()
      << (Parameter->GetThreadNumber() == 1 ? " thread" : " threads") << std::endl;
}

/** Opens what the run goes on from, if it does. */
int trelRunDriver::TakeOrigin()
{
  const auto refuse = [&](const std::string& text, const char* remedy) {
    Messages << Options.Program << ": error: the run cannot "
             << (Options.Parts ? "be put together: " : "go on: ") << text << "\n      = " << remedy
             << std::endl;
  };
  if (Options.IsContinued) {
    const std::string fault =
        Origin.OpenContinued(Keeper.GetResultName(), Keeper.GetCheckpointName());
    if (!fault.empty()) {
      refuse(fault, "name its base with -o, or run without --continue");
      return RunNotWritten;
    }
  } else if (Keeper.HasCheckpoint()) {
    Tell(false,
         "there is a checkpoint of a run that did not end, which this one replaces:"
         " --continue would go on from it");
  }
  if (!Origin.IsOpen()) return RunDone;
  const std::string difference = FindOriginDifference();
  if (!difference.empty()) {
    refuse(difference, "give model and options as that run had them");
    return RunFailed;
  }
  std::string fault = FindOriginOfOldForm();
  if (!fault.empty()) {
    refuse(fault, "fly its packets again with this version");
    return RunNotWritten;
  }
  if (ExitLimit == 0) return RunDone;
  fault = ExitOrigin.Open(Origin);
  if (fault.empty()) return RunDone;
  refuse(fault, "its exits cannot be taken over");
  return RunNotWritten;
}

/** Of a file that lacks what this version keeps of a model like this; empty if there is none. */
std::string trelRunDriver::FindOriginOfOldForm() const
{
  if (Parameter->ListCameras().empty()) return "";
  const std::string name = Origin.FindFileWithout(trelCameraBatches::StateOfRows);
  return name.empty() ? ""
                      : name + " is of an earlier version, without the cameras' totals by batch";
}

/** In what the run is another than that of the files; empty if it is not. */
std::string trelRunDriver::FindOriginDifference()
{
  std::string difference = Origin.FindDifference(Record);
  if (!difference.empty()) return difference;
  if (Options.KeepsBatches && !Origin.HasCells())
    return Origin.GetName() + " does not have the grids of its batches (--keep-batches)";
  if (Parameter->GetSavePhotonFlyTime())
    return "photonflytime lists all packets, and the list is not kept";
  if (Options.Seed && *Options.Seed != Origin.GetSeed())
    return "the seed is not that of " + Origin.GetName();
  if (Options.Parts) {
    const std::string reason = ExitOrigin.ChooseOfParts(Origin);
    if (!reason.empty()) Tell(false, reason);
  } else {
    difference = ExitOrigin.Choose(Origin, Options.Exits);
  }
  ExitLimit = ExitOrigin.GetLimit();
  return difference;
}

/** Flies packets of a run again, in place of one. */
int trelRunDriver::RunAgain()
{
  trelReplayRun again(Options.Again, *Parameter, Control,
                      [this](bool isError, const std::string& text) { Tell(isError, text); });
  bool isDone = false;
  if (Options.Again.File.empty()) {
    isDone = DoStage(Running, "flying a packet", [&] {
      return again.FlyPacket(Options.Seed.value_or(0), Options.Packets, CountBatches(), Log);
    });
    Log << std::flush;
    return isDone ? RunDone : RunFailed;
  }
  std::error_code error;
  if (Base == "-" ||
      fs::equivalent(NativePath(GetLabelledName()), NativePath(Options.Again.File), error)) {
    Tell(true, "--replay: name another file for the sensitivities with -o");
    return RunUsage;
  }
  if (!CanWrite()) return RunNotWritten;
  BeginRecord();
  isDone = DoStage(Running, "flying packets again",
                   [&] { return again.Open(Record, Options.Seed) && again.FlyExits(); });
  if (const int reason = Control.GetReason(); reason > 0) return 128 + reason;
  if (!isDone) return again.IsReadable() ? RunFailed : RunNotWritten;
  isDone = DoStage(Running, "writing the results",
                   [&] { return again.Write(GetLabelledName(), Record); });
  if (!isDone) return RunNotWritten;
  if (!Options.IsQuiet)
    Log << again.GetNumberOfExits() << " exits of " << Options.Again.File << "\nfiles "
        << GetLabelledName() << '\n'
        << Options.Program << ", " << Check.Rules << " rules" << std::endl;
  return RunDone;
}

/** What the options say of an exact run. Its seed is told before the packets, so that a run that
 *  does not end can be repeated too. */
void trelRunDriver::Configure(trelOpticalSimulationFilter& filter)
{
  filter.SetInput(Parameter);
  if (Options.MaximumSeconds > 0.0) Control.SetMaximumSeconds(Options.MaximumSeconds);
  auto* exact = dynamic_cast<trelExactMonteCarlo*>(filter.GetMediumFilter());
  if (!exact) return;
  if (Options.Seed) exact->SetSeed(*Options.Seed);
  if (Origin.IsOpen()) {
    exact->SetSeed(Origin.GetSeed());
    exact->ContinueFrom(Origin.GetState());
  }
  exact->SetPackets(Options.Packets);
  exact->SetBatches(CountBatches());
  exact->SetRange(Options.Range);
  exact->SetKeepsBatches(Options.KeepsBatches || (Origin.IsOpen() && Origin.HasCells()));
  exact->SetControl(&Control);
  exact->GetGoal().Set(GoalTotal, Options.RelativeError);
  if (Origin.HasOneSeed()) Record.Add("seed", exact->GetSeed());
  std::ostream* const log = Options.IsQuiet ? nullptr : &Log;
  if (WritesLabelled() && exact->HasStatistics())
    Keeper.Watch(*exact, Control, Options.CheckpointSeconds, log, Messages);
  if (ExitLimit > 0) AddExits(*exact);
  if (Options.Progress != ProgressNone) {
    exact->AddDependent(
        new trelRunProgress(Control, Options.Progress, Options.Columns, GetModelName(), Messages));
  }
  if (log) LogSeed(exact->GetSeed());
}

void trelRunDriver::LogSeed(std::uint64_t seed)
{
  Log << "seed " << seed;
  if (CountBatches() > 0)
    Log << ", batches " << CountBatches()
        << (Options.RelativeError > 0.0 ? " or as many as it takes" : "")
        << " (numbers of packets are rounded up to a multiple)";
  Log << std::endl;
}

/** The run gets a table of exits, with those of the files that it goes on from. */
void trelRunDriver::AddExits(trelExactMonteCarlo& exact)
{
  const fs::path folder = fs::path(NativePath(GetLabelledName())).parent_path();
  const auto tissues = static_cast<std::size_t>(Parameter->GetNumberOfTissues());
  const bool hasEmission = Parameter->GetSimulationType() == FMT;
  Exits = std::make_unique<trelExitRecorder>(folder, ExitLimit);
  if (Origin.IsOpen())
    Exits->SetOrigin([this, tissues, hasEmission](trelExitTable& table) {
      return ExitOrigin.Fill(table, tissues, hasEmission);
    });
  std::vector<trelPacketRange> ranges;
  for (const trelFlownRange& range : Origin.GetRanges())
    ranges.push_back(
        {static_cast<std::int64_t>(range.First), static_cast<std::int64_t>(range.Number)});
  Exits->SetRanges(std::move(ranges));
  Record.Add("exits_asked", FormatExitLimit(ExitLimit));
  Keeper.SetExits(&Exits->GetTable(), tissues, hasEmission);
  exact.SetAudience(Exits.get());
}

int trelRunDriver::Simulate()
{
  const auto start = std::chrono::steady_clock::now();
  const trelRunDriverHolder<trelOpticalSimulationFilter> filter(new trelOpticalSimulationFilter);
  Configure(*filter);
  const bool isDone = DoStage(Running, "simulating", [&] { return filter->Update(); });
  // A camera that fails takes nothing from the other results.
  const bool isKept = Options.Rules == RulesExact && filter->HasLeftMedium();
  if ((Exits && !TellExits()) || !TellOrigin()) return RunNotWritten;
  if (!isDone && !isKept) return RunFailed;
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  const auto* exact = dynamic_cast<const trelExactMonteCarlo*>(filter->GetMediumFilter());
  if (exact) TellEnd(exact->GetSummary());
  const int reason = Control.GetReason();
  const int stopped = reason > 0 ? 128 + reason : RunFailed;
  if (!filter->GetMediumFilter()->HasResults()) return stopped;
  const bool isWritten = DoStage(Running, "writing the results",
                                 [&] { return WriteResults(*filter, seconds.count()); });
  if (!isWritten) return RunNotWritten;
  if (WritesLabelled() && exact && !exact->GetSummary().EndedEarly()) Keeper.RemoveCheckpoint();
  if (!Options.IsQuiet) Summarize(*filter, seconds.count());
  if (reason > 0) return stopped;
  return isDone ? RunDone : RunFailed;
}

/** False if what the run goes on from could not be read to its end. */
bool trelRunDriver::TellOrigin()
{
  if (!Origin.IsOpen() || Origin.GetState()->IsSound()) return true;
  Messages << Options.Program << ": error: " << Origin.GetName() << ": its state cannot be read ("
           << Origin.GetState()->GetMissing() << ")" << std::endl;
  return false;
}

void trelRunDriver::TellEnd(const trelExactSummary& summary)
{
  if (Options.RelativeError > 0.0) TellGoal(summary);
  if (summary.EndedEarly()) TellStop(summary);
}

/** What has ended a run that is to be sure enough. */
void trelRunDriver::TellGoal(const trelExactSummary& summary)
{
  std::ostringstream known;
  known << "relative error of " << Options.Total << ' ' << summary.RelativeError << " after "
        << summary.BatchesDone << " batches, " << summary.PacketsFlown << " packets";
  if (summary.ReachedError && !Options.IsQuiet)
    Log << "ended by --rel-error: " << known.str() << std::endl;
  if (summary.ReachedError || summary.EndedEarly()) return;
  Messages << GetModelName() << ": warning: ended by "
           << (Options.Packets > 0 ? "--packets"
                                   : std::to_string(trelExactMonteCarlo::MostTimes) +
                                         " times the model's packets or by memory")
           << " before --rel-error: " << known.str()
           << (Options.Packets > 0 ? "" : "; --packets or --max-seconds set another end")
           << std::endl;
}

/** Tells what is wrong with the table of exits, and whose packets it does not cover; false if it
 *  could not be kept. */
bool trelRunDriver::TellExits()
{
  const trelExitTable& table = Exits->GetTable();
  const std::string& fault =
      ExitOrigin.GetFault().empty() ? table.GetFault() : ExitOrigin.GetFault();
  if (!fault.empty()) {
    Tell(true, fault);
    return false;
  }
  if (Exits->HasTooManyTissues()) {
    Tell(true, "--exits: the model has more than " + std::to_string(trelExitTable::MostTissues) +
                   " tissues");
    return true;
  }
  for (const trelExitEntry& entry : table.Entries) {
    if (entry.Covered > 0) continue;
    Tell(false, "--exits: none of the packets of light source " + std::to_string(entry.Source) +
                    " at " + std::to_string(entry.Wavelength) +
                    " is among those whose exits are in the table");
  }
  return true;
}

/** That a run is partial, and by how much. */
void trelRunDriver::TellStop(const trelExactSummary& summary)
{
  const int reason = Control.GetReason();
  std::ostringstream flown;
  flown << summary.PacketsFlown << " of " << summary.Packets << " packets";
  if (!Options.IsQuiet) {
    Log << "partial: " << flown.str() << '\n';
    for (const trelFlownEntry& entry : summary.Flown) {
      Log << "light source " << entry.Source << " at " << entry.Wavelength << ": " << entry.Flown
          << " of " << entry.Asked << '\n';
    }
    Log << std::flush;
  }
  Messages << GetModelName() << ": warning: the run was stopped "
           << (reason > 0 ? "by signal " + std::to_string(reason) : "by --max-seconds") << " after "
           << flown.str()
           << (summary.IsToScale() ? "; the results are of the finished batches"
                                   : "; nothing is written: no batch was finished")
           << (Keeper.HasCheckpoint() ? "; --continue goes on from here" : "") << std::endl;
}

bool trelRunDriver::WriteResults(trelOpticalSimulationFilter& filter, double seconds)
{
  if (WritesLabelled() && !WriteLabelled(filter, seconds)) return false;
  if (!WritesText()) return true;
  const trelRunDriverHolder<trelSimulationResultWriter> writer(new trelSimulationResultWriter);
  writer->AddFileName(Base.c_str());
  writer->SetInput(filter.GetOutput(), Parameter);
  return writer->Update();
}

bool trelRunDriver::WriteLabelled(trelOpticalSimulationFilter& filter, double seconds)
{
  const auto& exact = dynamic_cast<const trelExactMonteCarlo&>(*filter.GetMediumFilter());
  const trelPacketRange range = exact.GetRange();
  const std::vector<trelFlownRange> own = {{exact.GetSeed(),
                                            static_cast<std::uint64_t>(range.First),
                                            static_cast<std::uint64_t>(range.Number)}};
  Record.Add("packet_ranges", FormatRanges(Options.Parts ? Origin.GetRanges() : own));
  Record.Add("packets", exact.GetSummary().PacketsFlown);
  Record.Add("batches", static_cast<std::uint64_t>(exact.GetSummary().BatchesDone));
  if (exact.GetSummary().EndedEarly()) Record.Add("partial", std::uint64_t{1});
  Record.Add("threads", static_cast<std::uint64_t>(Parameter->GetThreadNumber()));
  Record.Add("elapsed_seconds", seconds);
  Record.Add("cpu_seconds", static_cast<double>(std::clock()) / CLOCKS_PER_SEC);
  const trelRunDriverHolder<trelLabelledResultWriter> writer(new trelLabelledResultWriter);
  writer->AddFileName(GetLabelledName().c_str());
  writer->SetInput(filter.GetOutput(), Parameter);
  writer->SetErrors(exact.GetStatistics().GetErrors());
  trelLabelledBatches::Input batches{&exact.GetStatistics().GetProjections(),
                                     &exact.GetLedgerBatches(),
                                     &exact.GetStatistics(),
                                     {}};
  for (std::size_t i = 0; i < exact.GetLedger().Records.size(); ++i)
    batches.Lines.push_back(exact.ListLedger(i));
  writer->SetBatches(batches);
  writer->SetRecord(Record);
  writer->SetFile(Keeper.GetFile());
  if (Exits) writer->SetExits(&Exits->GetTable());
  return writer->Update();
}

/** The lines of the ledger that are not 0, with the share of what was launched. */
void trelRunDriver::LogLedger(const std::vector<trelLedgerLine>& lines)
{
  const double launched = lines.front().Weight;
  if (lines.front().Packets == 0 && launched == 0.0) return;
  char text[128];
  std::snprintf(text, sizeof text, "  %-28s %13s %13s %10s %13s\n", "", "share", "weight", "+-",
                "packets");
  Log << text;
  for (const trelLedgerLine& line : lines) {
    if (line.Weight == 0.0 && line.Packets == 0) continue;
    const std::string name = std::string(2 * static_cast<std::size_t>(line.Level), ' ') + line.Name;
    std::snprintf(text, sizeof text, "  %-28s %13.6g %13.6g", name.c_str(),
                  launched > 0.0 ? line.Weight / launched : 0.0, line.Weight);
    Log << text;
    std::snprintf(text, sizeof text, " %10.2g", line.Error);
    // What is alike in all batches but for rounding has none.
    Log << (line.Error > 1e-12 * std::fabs(line.Weight) ? text : std::string(11, ' '));
    if (line.HasPackets) Log << ' ' << std::setw(13) << line.Packets;
    Log << '\n';
  }
}

/** The totals of cameras, as lines behind those of the ledger. */
void trelRunDriver::AddCameras(const trelExactMonteCarlo& exact, const trelSimulationResult& result,
                               std::size_t spectrum, std::vector<trelLedgerLine>& lines) const
{
  for (const int camera : Parameter->ListCameras()) {
    const trelDetectorArrayResult* records =
        result.GetDetectorArrayResult(static_cast<int>(spectrum));
    const double total = records->GetDetectorResult(camera)->GetTotalDetection();
    const double error = exact.GetStatistics().GetCameras().FindError(spectrum, camera);
    lines.push_back({"camera " + std::to_string(camera + 1) + ", 1/sr", 0, total, 0, false, error});
  }
}

void trelRunDriver::LogTotals(const trelMediumResult& record)
{
  const bool isPlanar = Parameter->GetDimension() == Dimension2D;
  Log << "at " << record.GetSpectrumId() << ": packets "
      << record.GetAbsorpPhotonNum() + record.GetTransmitPhotonNum() << ", of which "
      << record.GetTransmitPhotonNum() << " left";
  if (Parameter->GetContinuousWave() && Parameter->GetSaveAbsorption())
    Log << "; absorbed "
        << (isPlanar ? record.GetTotalAbsorption2D() : record.GetTotalAbsorption3D());
  if (Parameter->GetContinuousWave() && Parameter->GetSaveTransmittance())
    Log << "; transmitted "
        << (isPlanar ? record.GetTotalTransmittance2D() : record.GetTotalTransmittance3D());
}

void trelRunDriver::Summarize(trelOpticalSimulationFilter& filter, double seconds)
{
  const auto* exact = dynamic_cast<const trelExactMonteCarlo*>(filter.GetMediumFilter());
  std::size_t i = 0;
  for (const trelMediumResult* record :
       ItemsOf<trelMediumResult>(filter.GetOutput()->GetMediumResults())) {
    LogTotals(*record);
    if (exact && exact->GetSummary().EmissionWeights[i] > 0.0)
      Log << "; emission packets of " << exact->GetSummary().EmissionWeights[i];
    Log << '\n';
    if (exact) {
      std::vector<trelLedgerLine> lines = exact->ListLedger(i);
      AddCameras(*exact, *filter.GetOutput(), i, lines);
      LogLedger(lines);
    }
    ++i;
  }
  Log << "time " << seconds << " s\n";
  const char* between = "files ";
  for (const std::string& name : ListFiles()) {
    Log << between << name;
    between = " ";
  }
  Log << (between[0] == 'f' ? "" : "\n") << Options.Program << ", " << Check.Rules << " rules"
      << std::endl;
}
