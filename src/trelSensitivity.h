#ifndef trelSensitivity_h
#define trelSensitivity_h

#include <atomic>
#include <map>
#include <utility>
#include <vector>

#include "trelExitTable.h"
#include "trelListedExit.h"
#include "trelPacketAudience.h"
#include "trelScoreTable.h"

class trelSimulationParameter;
class trelSimulationResult;
struct trelTransportModel;

/** Which part of which packets' ways a grid of sensitivities takes. */
enum trelSensitivityKind
{
  SensitivityOfLight,       ///< launched packets, up to their own exit
  SensitivityOfExcitation,  ///< launched packets, up to the conversion whose emission left
  SensitivityOfEmission,    ///< those emissions
  NumberOfSensitivities
};

/**
 * @class   trelSensitivity
 * @brief   how the light of listed exits changes with the absorption of each cell
 *
 * The weight of a packet falls by exp(-mua L) on a way L, so that its derivative with respect to
 * mua of a cell is minus the length in the cell times its weight at the exit. The packets are flown
 * again, and as these weights are known beforehand, each straight piece is scored at once. Weights
 * are divided by the number of launched packets that the list covers.
 */
class trelSensitivity final : public trelPacketAudience
{
public:
  /** Exits of the entries @p covered as @p read has them; with @p detector only those that this
   *  fibre collected, 0 for all. @p parameter, whose grids take fluence in the continuous wave,
   *  outlives it. */
  trelSensitivity(trelSimulationParameter& parameter, std::vector<trelExitEntry> covered,
                  std::int64_t detector, trelReadExits read);
  ~trelSensitivity() override;

  bool Prepare(const trelExactModel& model, const trelRunPlan& plan, int threads) override;
  trelPacketObserver* FindObserver(int thread) override;
  void AmendPlan(trelRunPlan& plan) override;
  bool TakeNext(std::vector<trelPlannedPacket>* packets) override;

  /** The grids, in mm times the unit of the sources' energy; null without dyes but for the first.
   */
  const trelSimulationResult* GetResult(trelSensitivityKind kind) const { return Results[kind]; }
  std::int64_t GetNumberOfExits() const { return Exits; }
  /** What keeps the grids from being true, or empty. */
  const char* FindFault() const;

private:
  class Observer;
  /** A launched packet and its exits, in the order of conversions. */
  struct Group
  {
    std::size_t Entry;  ///< of Covered
    std::size_t First, Last;
  };
  bool MakeGrids(const trelExactModel& model);
  bool IsValid(const trelListedExit& exit) const;
  bool ReadMore();
  std::size_t CloseGroups(bool isEnd);

  trelSimulationParameter& Parameter;
  const std::vector<trelExitEntry> Covered;
  /** Of Covered, by the numbers of source and spectrum. */
  std::map<std::pair<std::int64_t, std::int64_t>, std::size_t> EntryOf;
  const std::int64_t Detector;
  const trelReadExits Read;
  const trelTransportModel* Model = nullptr;
  trelSimulationResult* Results[NumberOfSensitivities] = {};
  trelScoreTables Tables[NumberOfSensitivities];
  std::vector<std::size_t> Planned;  ///< entry of the plan, by that of Covered
  std::vector<Observer> Observers;   ///< by thread
  bool IsAlone = false;
  std::vector<trelListedExit> Rows;  ///< of the groups, and behind them those not taken yet
  std::vector<trelListedExit> Block;
  std::vector<Group> Groups;
  std::size_t Taken = 0;  ///< of Rows, in Groups
  std::int64_t Exits = 0;
  bool HasGrid = true;
  bool IsDamaged = false;
  std::atomic<bool> Differs{false};
};

#endif
