#ifndef trelTissueClaims_h
#define trelTissueClaims_h

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

/** A box of cells of a grid: the first and the last along each axis. Empty if a last one lies below
 *  its first. */
struct trelCellRange
{
  std::ptrdiff_t First[3];
  std::ptrdiff_t Last[3];
};

/**
 * @class   trelTissueClaims
 * @brief   who holds the cells of the look-up grid of trelMedium while its tissues claim them
 *
 * Cells that the same tissues have claimed form a group and have one holder. Thus a tissue that
 * claims the cells of an earlier one costs a look at each of their groups, not at each cell: a
 * hundred thousand tissues over one another take no longer than as many side by side.
 *
 * May throw std::bad_alloc.
 */
class trelTissueClaims
{
public:
  /** A grid of @p size cells along each axis, at most 128, which @p holder holds. */
  trelTissueClaims(const std::ptrdiff_t size[3], std::int32_t holder);

  /** The groups that make up the cells of @p range, after those that reach beyond it have been
   *  parted. Valid until the next call. */
  const std::vector<std::int32_t>& PartGroups(const trelCellRange& range);

  std::int32_t GetHolder(std::int32_t group) const { return Groups[group].Holder; }
  void SetHolder(std::int32_t group, std::int32_t holder) { Groups[group].Holder = holder; }

  /** The holder of each cell, the last axis fastest. */
  std::vector<std::int32_t> GetHolders() const;

private:
  struct Group
  {
    std::int32_t Holder;
    std::int32_t Cells;     /**< how many there are */
    std::int32_t Met;       /**< how many of them lie in the range of the call */
    std::int32_t PartOfMet; /**< the group of those; the same one if it lies in the range wholly */
  };
  /** The groups of a range that has been asked for. */
  struct Answer
  {
    std::int64_t Partings = -1;
    std::vector<std::int32_t> Groups;
  };

  template <class Visit>
  void VisitCells(const trelCellRange& range, Visit visit);
  void CollectGroups(const trelCellRange& range, std::vector<std::int32_t>& groups);
  bool PartAll(std::vector<std::int32_t>& groups);
  Answer& FindAnswer(const trelCellRange& range);

  std::ptrdiff_t Size[3];
  std::vector<std::int32_t> GroupOfCell;
  std::vector<Group> Groups;
  /** How often groups have been parted: an older answer may lack some. */
  std::int64_t Partings = 0;
  std::unordered_map<std::uint64_t, Answer> Answers;
  std::size_t GroupsInAnswers = 0;
};

#endif
