#ifndef trelErrorGoal_h
#define trelErrorGoal_h

#include <limits>
#include <string>

#include "trelCameraBatches.h"
#include "trelLedgerBatches.h"

class trelSimulationParameter;

/** A total that may be watched: a line of the ledger, or what a camera sees. */
struct trelGoalTotal
{
  std::string Line = "absorbed";
  int Camera = -1;  ///< number of the detector from 0; below 0 the line counts
};

/**
 * @class   trelErrorGoal
 * @brief   how sure a total of a run is by now, and whether that is enough
 *
 * The total is a line of the ledger or that of a camera. Its relative standard error is the largest
 * of all wavelengths that have light. It is looked at after each batch up to the twentieth and then
 * whenever there are a tenth more, and only from the twentieth on it ends a run. Who looks often,
 * and stops at the first low estimate, favours low ones.
 */
class trelErrorGoal
{
public:
  static constexpr std::int64_t FirstBatches = 20;

  /** What @p name stands for in a model: "absorption", "transmittance", a face as the result files
   *  call it, "fibre2", "camera1". With a fault if there is no such total. */
  static trelGoalTotal FindTotal(const trelSimulationParameter& parameter, const std::string& name,
                                 std::string* fault);

  /** Ends a run when the error of @p total is below @p error; of 0 it is told and ends nothing. */
  void Set(const trelGoalTotal& total, double error);
  /** Whether the error is to end the run. */
  bool IsOn() const { return Goal > 0.0; }
  /** Ahead of a run whose ledger has these lines. */
  void Prepare(const std::vector<trelLedgerLine>& lines);

  /** Looks at the batches if it is time; whether it did. */
  bool Look(const trelLedgerBatches& batches, const trelCameraBatches& cameras);
  /** By the last look: the error, NaN if it cannot be told, and whether it is low enough. */
  double GetError() const { return Error; }
  bool IsReached() const { return Reached; }
  /** As many batches as it would take, if their scatter stays what it is. */
  std::int64_t FindBatches() const;

private:
  double FindError(const trelLedgerBatches& batches, const trelCameraBatches& cameras) const;

  trelGoalTotal Total;
  double Goal = 0.0;
  std::size_t Place = 0;
  std::int64_t Seen = 0;  ///< batches at the last look
  std::int64_t Next = 2;
  double Error = std::numeric_limits<double>::quiet_NaN();
  bool Reached = false;
};

#endif
