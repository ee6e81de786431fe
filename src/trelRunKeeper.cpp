#include "trelRunKeeper.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <ostream>
#include <system_error>
#include <utility>

#include "trelExactMonteCarlo.h"
#include "trelPaths.h"
#include "trelRunControl.h"
#include "trelRunRecord.h"
#include "trelRunStateWriter.h"

namespace fs = std::filesystem;

/** Writing takes one part of so many of the time at most. */
static constexpr double partsOfTime = 20.0;

trelRunKeeper::trelRunKeeper(const std::string& base, const trelRunRecord& record)
    : ResultName(base + ".nc"), CheckpointName(base + ".checkpoint.nc"), Record(record)
{
}

bool trelRunKeeper::HasCheckpoint() const
{
  std::error_code error;
  return fs::exists(NativePath(CheckpointName), error);
}

trelRunKeeper::Candidate trelRunKeeper::OpenCandidate(const std::string& name)
{
  Candidate found;
  found.File = std::make_unique<trelNetcdfInput>();
  found.Fault = found.File->Open(name);
  if (!found.Fault.empty()) return found;
  double done[2] = {};
  const std::string variable = GetStateVariable(trelExactMonteCarlo::StateOfProgress);
  if (!found.File->GetCount("seed", &found.Seed) || !found.File->Get(variable, 0, 2, done))
    found.Fault = "it holds no state of a run in batches, or is of another program";
  found.Batches = done[0];
  found.Packets = done[1];
  return found;
}

std::string trelRunKeeper::Open()
{
  Candidate result = OpenCandidate(ResultName);
  if (HasCheckpoint()) {
    Candidate checkpoint = OpenCandidate(CheckpointName);
    if (!checkpoint.Fault.empty()) return CheckpointName + ": " + checkpoint.Fault;
    if (result.Fault.empty() && result.Seed != checkpoint.Seed)
      return ResultName + " and " + CheckpointName + " are of different runs: remove one of them";
    OriginName = CheckpointName;
    if (!result.Fault.empty() || result.IsBehind(checkpoint)) result = std::move(checkpoint);
  }
  if (!result.Fault.empty()) return ResultName + ": " + result.Fault;
  if (OriginName.empty()) OriginName = ResultName;
  Origin = std::move(result.File);
  Reader = std::make_unique<trelRunStateReader>(*Origin);
  Seed = result.Seed;
  return "";
}

std::string trelRunKeeper::FindDifference() const
{
  static const std::pair<const char*, const char*> kept[] = {
      {"rules", "the rules"},
      {"model_without_packets_sha256", "the model"},
      {"mesh_sha256", "a mesh"},
      {"coefficients_sha256", "a coefficient"}};
  for (const auto& [name, words] : kept) {
    if (Origin->GetText(name) != Record.GetText(name)) return words;
  }
  std::uint64_t arithmetic = 0;
  const bool isSame =
      Origin->GetCount("arithmetic", &arithmetic) && arithmetic == trelExactMonteCarlo::Arithmetic;
  return isSame ? "" : "the arithmetic of the program";
}

void trelRunKeeper::Watch(trelExactMonteCarlo& run, trelRunControl& control, double seconds,
                          std::ostream* log, std::ostream& messages)
{
  Control = &control;
  Interval = seconds;
  Log = log;
  Messages = &messages;
  Control->SetPauseSeconds(seconds);
  run.SetCheckpoint([this, &run] { Keep(run); });
  run.SetAtEnd([this, &run] { Begin(run); });
}

void trelRunKeeper::Begin(trelExactMonteCarlo& run)
{
  if (run.GetSummary().BatchesDone == 0) return;
  File = std::make_unique<trelNetcdfFile>();
  if (!File->Create(ResultName)) return;
  trelRunStateWriter writer(*File);
  run.PassState(false, writer);
}

void trelRunKeeper::Keep(trelExactMonteCarlo& run)
{
  const auto start = std::chrono::steady_clock::now();
  trelNetcdfFile file;
  file.Hasten();
  if (file.Create(CheckpointName)) {
    Record.Write(file);
    trelRunStateWriter writer(file);
    run.PassState(true, writer);
  }
  const bool isKept = file.Commit();
  if (!isKept && !HasFailed)
    *Messages << "warning: no checkpoint: " << file.GetFault() << std::endl;
  HasFailed = !isKept;
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  LongestWrite = std::max(LongestWrite, taken.count());
  if (Interval > 0.0) Pause(std::max(Interval, partsOfTime * LongestWrite));
}

void trelRunKeeper::Pause(double seconds)
{
  if (Log && !HasFailed && seconds != Told)
    *Log << "checkpoint " << CheckpointName << ", every " << seconds << " s" << std::endl;
  if (!HasFailed) Told = seconds;
  Control->SetPauseSeconds(seconds);
}

void trelRunKeeper::RemoveCheckpoint() const
{
  std::error_code error;
  fs::remove(NativePath(CheckpointName), error);
}
