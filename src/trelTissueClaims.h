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
 * hundred thousand shells or layers, which share the cells of a few hundred boxes, take a second.
 * Where the boxes differ so much that there are thousands of groups, looking at cells one by one is
 * cheaper, and groups are given up.
 *
 * May throw std::bad_alloc.
 */
class trelTissueClaims
{
public:
  /** A grid of @p size cells along each axis, at most 128, for @p tissues tissues of which
   *  @p outermost holds all cells. */
  trelTissueClaims(const std::ptrdiff_t size[3], std::size_t tissues, std::int32_t outermost);

  /**
   * Lets @p tissue claim the cells of @p range. It gets those of the outermost at once; for any
   * other holder that it meets there @p wins is called with it, once, and says whether it gets
   * those too.
   */
  template <class Wins>
  void Claim(std::int32_t tissue, const trelCellRange& range, Wins wins)
  {
    const auto meet = [&](std::int32_t holder) {
      Meeting& meeting = Meetings[holder];
      if (meeting.Tissue != tissue) meeting = {tissue, holder == Outermost || wins(holder)};
      return meeting.Won ? tissue : holder;
    };
    if (Groups.size() > maximumOfGroups) DissolveGroups();
    if (!Groups.empty()) {
      for (const std::int32_t group : PartGroups(range))
        Groups[group].Holder = meet(Groups[group].Holder);
      return;
    }
    std::int32_t last = -1, next = -1;  // neighbouring cells mostly have one holder
    VisitCells(range, [&](std::int32_t& holder) {
      if (holder != last) {
        last = holder;
        next = meet(holder);
      }
      holder = next;
    });
  }

  /** The holder of each cell, the last axis fastest; ends the claims. */
  std::vector<std::int32_t> TakeHolders();

private:
  struct Group
  {
    std::int32_t Holder;
    std::int32_t Cells;     /**< how many there are */
    std::int32_t Met;       /**< how many of them lie in the range of the call */
    std::int32_t PartOfMet; /**< the group of those; the same one if it lies in the range wholly */
  };
  /** How the last claim on cells of a holder ended. */
  struct Meeting
  {
    std::int32_t Tissue = -1;
    bool Won = false;
  };
  /** The groups of a range that has been asked for. */
  struct Answer
  {
    std::int64_t Partings = -1;
    std::vector<std::int32_t> Groups;
  };

  const std::vector<std::int32_t>& PartGroups(const trelCellRange& range);
  static constexpr std::size_t maximumOfGroups = 4096;

  /** Calls @p visit with the entry of each cell in the range, to be read or changed. */
  template <class Visit>
  void VisitCells(const trelCellRange& range, Visit visit)
  {
    for (std::ptrdiff_t i = range.First[0]; i <= range.Last[0]; ++i) {
      for (std::ptrdiff_t j = range.First[1]; j <= range.Last[1]; ++j) {
        std::int32_t* row = Cells.data() + (i * Size[1] + j) * Size[2];
        for (std::ptrdiff_t k = range.First[2]; k <= range.Last[2]; ++k)
          visit(row[k]);
      }
    }
  }
  void DissolveGroups();
  void CollectGroups(const trelCellRange& range, std::vector<std::int32_t>& groups);
  bool PartAll(std::vector<std::int32_t>& groups);
  Answer& FindAnswer(const trelCellRange& range);

  std::ptrdiff_t Size[3];
  std::int32_t Outermost;
  /** By holder. */
  std::vector<Meeting> Meetings;
  /** The group of each cell or, once these are dissolved, its holder; the last axis fastest. */
  std::vector<std::int32_t> Cells;
  /** Empty once dissolved. */
  std::vector<Group> Groups;
  /** Number of times that groups were split: a kept answer from before may lack some. */
  std::int64_t Partings = 0;
  std::unordered_map<std::uint64_t, Answer> Answers;
  std::size_t GroupsInAnswers = 0;
};

#endif
