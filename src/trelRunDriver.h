#ifndef trelRunDriver_h
#define trelRunDriver_h

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "trelExactMonteCarlo.h"
#include "trelExitOrigin.h"
#include "trelModelCheck.h"
#include "trelReplayRun.h"
#include "trelRunKeeper.h"
#include "trelRunOrigin.h"
#include "trelRunProgress.h"
#include "trelRunRecord.h"

class trelExitRecorder;
class trelSimulationParameter;

/** How a run of the program ends. Scripts depend on the values. A run that a signal stopped ends
 * with 128 and its number. */
enum trelRunStatus
{
  RunDone = 0,
  RunFailed = 1,     ///< the model is wrong, or the run failed
  RunUsage = 2,      ///< the command line is wrong
  RunNotWritten = 3  ///< the results cannot be written
};

/** A coefficient that the command line changes. */
struct trelCoefficientChange
{
  std::string Text;    ///< as it was given
  std::string Tissue;  ///< a number from 1, or a name
  bool IsAtAll;        ///< at all wavelengths, or at Wavelength; 0 is the first one
  std::uint32_t Wavelength;
  std::string Name;  ///< "mua", "mus", "g" or "n"
  double Value;
};

/** Reads "TISSUE.NAME=VALUE" or "TISSUE@WAVELENGTH.NAME=VALUE"; what is wrong with it, or empty. */
std::string ReadCoefficientChange(const std::string& text, trelCoefficientChange* change);
/** The same as a text that can be read. */
std::string FormatCoefficientChange(const trelCoefficientChange& change);
/** What is wrong with the value of a change, or empty. */
std::string FindValueFault(const trelCoefficientChange& change);

/** What a run is asked for. */
struct trelRunOptions
{
  std::string Model;
  std::string Base;  ///< of the result files; empty: the model's name, in the current folder; "-":
                     ///< none are written
  bool WritesText = false;          ///< text files, too; by the classic rules there are no others
  std::string Program = "trelrun";  ///< name and version, as the log has them
  trelRules Rules = RulesExact;
  int Threads = 0;  ///< 0: as many as the process may use
  // Of exact runs.
  std::optional<std::uint64_t> Seed;  ///< none: of the system's entropy
  std::int64_t Packets = 0;           ///< of all sources together; 0: as in the model
  /** None: 20, or in a run that goes on as many as it was to have. */
  std::optional<std::int64_t> Batches;
  double RelativeError = 0.0;        ///< that ends the run; 0: all packets are flown
  std::string Total = "absorption";  ///< whose error that is
  bool KeepsBatches = false;         ///< the result has the grids of every batch
  bool SavesElements = false;        ///< absorption by tetrahedron, too
  trelPacketRange Range;             ///< fly only these packets of the run
  bool IsContinued = false;          ///< go on from the result that is there
  /** Puts these together instead of flying packets; lives longer than the driver. */
  trelRunOrigin* Parts = nullptr;
  std::string ModelName;  ///< as the result has it; empty: Model
  /** How often the state is kept beside the result, s; 0: only when the run is stopped. */
  double CheckpointSeconds = 60.0;
  /** Packets that are flown again in place of a run; the path of one goes to the log. */
  trelReplayOptions Again;
  /** Exits that the result file gets a table of; 0: none. */
  std::int64_t Exits = 0;
  std::vector<trelCoefficientChange> Changes;
  bool IsCheck = false;  ///< look at the model, and stop
  // Of a check:
  bool FliesPilot = true;           ///< to see what becomes of packets, and how long they take
  std::optional<trelCutPlane> Cut;  ///< tissues in a plane
  bool IsQuiet = false;
  bool AllowsOpen = false;  ///< surfaces that are not closed are run
  // By the exact rules alone:
  double MaximumSeconds = 0.0;  ///< the packets end then; 0: when all are flown
  trelProgressForm Progress = ProgressNone;
  int Columns = 80;  ///< of the terminal that shows a bar
  /** Stops the packets; lives longer than the driver. Null: nobody does. */
  trelRunControl* Control = nullptr;
  /** Puts a check into words, the findings too; null: FormatCheckText, and the findings apart. */
  std::string (*Format)(const trelModelCheck& check) = nullptr;
};

/**
 * @class   trelRunDriver
 * @brief   the program that follows light by the exact rules: reads, checks, runs, writes
 *
 * What is wrong goes to the messages, with lines of the model; how the run went to the log, whose
 * last line names program and rules. Reports of the stages are taken and put into its own words
 * while it runs, so that there is one at a time.
 */
class trelRunDriver
{
public:
  trelRunDriver(const trelRunOptions& options, std::ostream& log, std::ostream& messages);
  ~trelRunDriver();
  trelRunDriver(const trelRunDriver&) = delete;
  trelRunDriver& operator=(const trelRunDriver&) = delete;

  /** A trelRunStatus, or 128 and the number of a signal. */
  int Run();

private:
  /** What becomes of the reports of a stage. */
  enum Stages
  {
    Reading,
    Checking,
    Running
  };
  static void TakeReport(const char* text);
  void TakeReadReport(bool isError, const std::string& className, const std::string& text);
  void TellCells(std::string word);
  void Tell(bool isError, const std::string& text);
  template <class Work>
  bool DoStage(Stages stage, const char* name, Work work);

  bool Read(class trelSimulationParameterReader& reader);
  int RunModel();
  int RunAgain();
  void BeginRecord();
  trelRunStatus Apply(const trelCoefficientChange& change);
  trelRunStatus ApplyOptions();
  trelRunStatus FindGoal();
  void ShowCheck(bool isRead);
  double MeasureSeconds();
  double RunPackets();
  int Simulate();
  int TakeOrigin();
  std::string FindOriginDifference();
  std::string FindOriginOfOldForm() const;
  void AddExits(trelExactMonteCarlo& exact);
  void LogStart();
  void Configure(class trelOpticalSimulationFilter& filter);
  void LogSeed(std::uint64_t seed);
  bool TellOrigin();
  void TellEnd(const struct trelExactSummary& summary);
  void TellGoal(const struct trelExactSummary& summary);
  bool TellExits();
  void TellStop(const struct trelExactSummary& summary);
  bool CanWrite();
  void LogLedger(const std::vector<struct trelLedgerLine>& lines);
  void LogTotals(const class trelMediumResult& record);
  void AddCameras(const trelExactMonteCarlo& exact, const trelSimulationResult& result,
                  std::size_t spectrum, std::vector<struct trelLedgerLine>& lines) const;
  void Summarize(class trelOpticalSimulationFilter& filter, double seconds);
  bool WritesLabelled() const { return Base != "-" && Options.Rules == RulesExact; }
  const std::string& GetModelName() const
  {
    return Options.ModelName.empty() ? Options.Model : Options.ModelName;
  }
  std::int64_t CountBatches() const
  {
    if (Options.Parts) return Origin.GetBatches();
    return Options.Batches.value_or(Options.IsContinued ? 0 : DefaultBatches);
  }
  bool WritesText() const
  {
    return Base != "-" && (Options.WritesText || Options.Rules == RulesClassic);
  }
  std::string GetLabelledName() const { return Base + ".nc"; }
  std::vector<std::string> ListTextFiles() const;
  std::vector<std::string> ListFiles() const;
  bool WriteResults(class trelOpticalSimulationFilter& filter, double seconds);
  bool WriteLabelled(class trelOpticalSimulationFilter& filter, double seconds);
  std::string FindBase() const;

  static constexpr std::int64_t DefaultBatches = 20;

  const trelRunOptions Options;
  const std::string Base;
  std::ostream& Log;
  std::ostream& Messages;
  trelModelFindings Findings;
  trelModelCheck Check;
  trelRunRecord Record;
  trelRunKeeper Keeper;
  trelRunOrigin OwnOrigin;
  trelRunOrigin& Origin;
  trelExitOrigin ExitOrigin;
  std::int64_t ExitLimit;  ///< of the table of exits; 0: none
  std::unique_ptr<trelExitRecorder> Exits;
  trelRunControl OwnControl;
  trelRunControl& Control;
  Stages Stage = Reading;
  class trelSimulationParameterReader* Reader = nullptr;
  trelSimulationParameter* Parameter = nullptr;
  trelGoalTotal GoalTotal;  ///< whose error is watched
  /** What the reader reported of the whole model. */
  std::string ReadFault;
};

#endif
