#ifndef trelExitRecorder_h
#define trelExitRecorder_h

#include <filesystem>
#include <vector>

#include "trelExitTable.h"
#include "trelPacketAudience.h"

/**
 * @class   trelExitRecorder
 * @brief   enters the exits of a run in a table, with what their ways did in each tissue
 *
 * Every straight piece of a way counts, whole or cut short, in clear tissue too.
 */
class trelExitRecorder final : public trelPacketAudience
{
public:
  /** The columns of a table by tissue are of this many at most. */
  static constexpr std::int32_t MostTissues = 4096;
  static constexpr std::int64_t AllExits = INT64_MAX;

  /** @p folder is where the table keeps its files; @p limit is the number of exits asked for. */
  trelExitRecorder(std::filesystem::path folder, std::int64_t limit);
  ~trelExitRecorder() override;

  bool Prepare(const trelExactModel& model, const trelRunPlan& plan, int threads) override;
  trelPacketObserver* FindObserver(int thread) override;
  bool HasFailed() const override { return Table.HasFault(); }
  void Conclude(std::int64_t first, std::int64_t end) override;

  trelExitTable& GetTable() { return Table; }
  /** Whether the model has tissues more than MostTissues. */
  bool HasTooManyTissues() const { return TooManyTissues; }

private:
  class Observer;

  const std::filesystem::path Folder;
  const std::int64_t Limit;
  trelExitTable Table;
  std::vector<Observer> Observers;  ///< by thread
  const trelRunPlan* Plan = nullptr;
  bool TooManyTissues = false;
};

#endif
