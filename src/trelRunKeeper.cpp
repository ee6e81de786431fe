#include "trelRunKeeper.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <ostream>
#include <system_error>

#include "trelExactMonteCarlo.h"
#include "trelLabelledExits.h"
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
    if (Exits) WriteExits(run, file);
  }
  const bool isKept = file.Commit();
  if (!isKept && !HasFailed)
    *Messages << "warning: no checkpoint: " << file.GetFault() << std::endl;
  HasFailed = !isKept;
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  if (Interval > 0.0) Pause(std::max(Interval, partsOfTime * taken.count()));
}

void trelRunKeeper::WriteExits(trelExactMonteCarlo& run, trelNetcdfFile& file)
{
  run.ConcludeAudience(true);
  file.AddDimension("tissue", Tissues);
  ::WriteExits(file, *Exits, Tissues, HasEmission);
}

void trelRunKeeper::Pause(double seconds)
{
  const bool isNews = seconds > 1.5 * Told || seconds < Told / 1.5;
  if (Log && !HasFailed && isNews)
    *Log << "checkpoint " << CheckpointName << ", every " << seconds << " s" << std::endl;
  if (!HasFailed && isNews) Told = seconds;
  Control->SetPauseSeconds(seconds);
}

void trelRunKeeper::RemoveCheckpoint() const
{
  std::error_code error;
  fs::remove(NativePath(CheckpointName), error);
}
