#ifndef trelRunKeeper_h
#define trelRunKeeper_h

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>

#include "trelNetcdfFile.h"
#include "trelNetcdfInput.h"
#include "trelRunStateReader.h"

class trelExactMonteCarlo;
class trelRunControl;
class trelRunRecord;

/**
 * @class   trelRunKeeper
 * @brief   the state of a run in files: checkpoints while it goes on, and what it goes on from
 *
 * A checkpoint lies beside the result, BASE.checkpoint.nc, has the finished batches and what the
 * open one has so far, and is replaced as a whole. BASE.nc has the finished batches alone. The
 * writing takes a twentieth of the time at most: it becomes rarer if need be.
 */
class trelRunKeeper
{
public:
  /** Of the run that @p record is of, which lives longer and is complete before the packets fly. */
  trelRunKeeper(const std::string& base, const trelRunRecord& record);

  // Going on.
  /** Chooses of BASE.nc and its checkpoint the one that is further. What is wrong, or empty. */
  std::string Open();
  /** How the run of that file differs from this one, which it must not; empty if it does not. */
  std::string FindDifference() const;
  /** Its name, its seed and its state. */
  const std::string& GetOriginName() const { return OriginName; }
  std::uint64_t GetSeed() const { return Seed; }
  trelRunStateReader* GetOrigin() { return Reader.get(); }
  /** Whether there is a checkpoint. */
  bool HasCheckpoint() const;

  // Keeping.
  /** From now on @p run is kept every @p seconds, as @p control says when; 0: only when it is
   *  stopped. The log and the messages live longer. */
  void Watch(trelExactMonteCarlo& run, trelRunControl& control, double seconds, std::ostream* log,
             std::ostream& messages);
  /** BASE.nc, begun with the state of the finished batches; null if there is none. */
  trelNetcdfFile* GetFile() { return File.get(); }
  /** The run is over and its result in its place. */
  void RemoveCheckpoint() const;

private:
  struct Candidate
  {
    std::unique_ptr<trelNetcdfInput> File;
    std::string Fault;
    std::uint64_t Seed = 0;
    double Batches = 0.0, Packets = 0.0;
    bool IsBehind(const Candidate& other) const
    {
      return Batches < other.Batches || (Batches == other.Batches && Packets < other.Packets);
    }
  };
  static Candidate OpenCandidate(const std::string& name);
  void Keep(trelExactMonteCarlo& run);
  void Pause(double seconds);
  void Begin(trelExactMonteCarlo& run);

  const std::string ResultName, CheckpointName;
  const trelRunRecord& Record;
  std::string OriginName;
  std::unique_ptr<trelNetcdfInput> Origin;
  std::unique_ptr<trelRunStateReader> Reader;
  std::unique_ptr<trelNetcdfFile> File;
  std::uint64_t Seed = 0;
  trelRunControl* Control = nullptr;
  double Interval = 0.0, LongestWrite = 0.0, Told = 0.0;
  bool HasFailed = false;
  std::ostream* Log = nullptr;
  std::ostream* Messages = nullptr;
};

#endif
