#ifndef trelExitRecorder_h
#define trelExitRecorder_h

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "trelExitTable.h"
#include "trelPacketAudience.h"
#include "trelRunPlan.h"

/** The number of exits asked for as a text, a number or "all"; false if @p text is neither. */
bool ReadExitLimit(const std::string& text, std::int64_t* limit);
std::string FormatExitLimit(std::int64_t limit);

/**
 * @class   trelExitRecorder
 * @brief   enters the exits of a run in a table, with what their ways did in each tissue
 *
 * Every straight piece of a way counts, whole or cut short, in clear tissue too.
 */
class trelExitRecorder final : public trelPacketAudience
{
public:
  static constexpr std::int64_t AllExits = INT64_MAX;

  /** @p folder is where the table keeps its files; @p limit is the number of exits asked for. */
  trelExitRecorder(std::filesystem::path folder, std::int64_t limit);
  ~trelExitRecorder() override;

  /** Of a run that goes on or is put together: @p fill, which may fail, adds the exits that there
   *  are, once the entries are known. */
  void SetOrigin(std::function<bool(trelExitTable& table)> fill) { Fill = std::move(fill); }
  /** The packets flown, in their order, if they are not those of one range. */
  void SetRanges(std::vector<trelPacketRange> ranges) { Ranges = std::move(ranges); }

  bool Prepare(const trelExactModel& model, const trelRunPlan& plan, int threads) override;
  trelPacketObserver* FindObserver(int thread) override;
  bool HasFailed() const override { return Table.HasFault(); }
  void Conclude(std::int64_t first, std::int64_t end) override;

  trelExitTable& GetTable() { return Table; }
  /** Whether the model has more tissues than a table may have. */
  bool HasTooManyTissues() const { return TooManyTissues; }

private:
  class Observer;
  void Cover(std::int64_t first, std::int64_t end);

  const std::filesystem::path Folder;
  const std::int64_t Limit;
  std::function<bool(trelExitTable& table)> Fill;
  std::vector<trelPacketRange> Ranges;
  trelExitTable Table;
  std::vector<Observer> Observers;  ///< by thread
  const trelRunPlan* Plan = nullptr;
  bool TooManyTissues = false;
};

#endif
