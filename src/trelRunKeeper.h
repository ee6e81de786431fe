#ifndef trelRunKeeper_h
#define trelRunKeeper_h

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>

#include "trelNetcdfFile.h"

class trelExactMonteCarlo;
class trelRunControl;
class trelExitTable;
class trelRunRecord;

/**
 * @class   trelRunKeeper
 * @brief   keeps the state of a run in files while it goes on
 *
 * A checkpoint lies beside the result, has the finished batches and what the open one has so far,
 * and is replaced as a whole. The result has the state of the finished batches alone. The writing
 * of checkpoints takes a twentieth of the time at most: they become rarer if need be.
 */
class trelRunKeeper
{
public:
  /** Of the run that @p record is of, which lives longer and is complete before the packets fly. */
  trelRunKeeper(const std::string& base, const trelRunRecord& record);

  const std::string& GetResultName() const { return ResultName; }
  const std::string& GetCheckpointName() const { return CheckpointName; }
  bool HasCheckpoint() const;

  /** From now on @p run is kept every @p seconds, as @p control says when; 0: only when it is
   *  stopped. The log, which may be null, and the messages live longer. */
  void Watch(trelExactMonteCarlo& run, trelRunControl& control, double seconds, std::ostream* log,
             std::ostream& messages);
  /** Keeps the exits of the run too, @p tissues being those of its model. */
  void SetExits(trelExitTable* exits, std::size_t tissues, bool hasEmission)
  {
    Exits = exits;
    Tissues = tissues;
    HasEmission = hasEmission;
  }
  /** The result, begun with the state of the finished batches; null if there is none. */
  trelNetcdfFile* GetFile() { return File.get(); }
  /** The run is over and its result in its place. */
  void RemoveCheckpoint() const;

private:
  void Keep(trelExactMonteCarlo& run);
  void WriteExits(trelExactMonteCarlo& run, trelNetcdfFile& file);
  void Pause(double seconds);
  void Begin(trelExactMonteCarlo& run);

  const std::string ResultName, CheckpointName;
  const trelRunRecord& Record;
  std::unique_ptr<trelNetcdfFile> File;
  trelRunControl* Control = nullptr;
  trelExitTable* Exits = nullptr;
  std::size_t Tissues = 0;
  bool HasEmission = false;
  double Interval = 0.0, Told = 0.0;
  bool HasFailed = false;
  std::ostream* Log = nullptr;
  std::ostream* Messages = nullptr;
};

#endif
