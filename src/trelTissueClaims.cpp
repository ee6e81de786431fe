#include "trelTissueClaims.h"

#include <utility>

/** The most groups that all answers together keep, 64 MB; beyond it they are dropped and made anew.
 */
static constexpr std::size_t maximumOfAnswers = std::size_t{1} << 24;

trelTissueClaims::trelTissueClaims(const std::ptrdiff_t size[3], std::size_t tissues,
                                   std::int32_t outermost)
    : Size{size[0], size[1], size[2]},
      Outermost(outermost),
      Meetings(tissues),
      Cells(static_cast<std::size_t>(size[0] * size[1] * size[2]), 0)
{
  Groups.push_back({outermost, static_cast<std::int32_t>(Cells.size()), 0, 0});
}

void trelTissueClaims::CollectGroups(const trelCellRange& range, std::vector<std::int32_t>& groups)
{
  groups.clear();
  VisitCells(range, [&](std::int32_t group) {
    if (Groups[group].Met++ == 0) groups.push_back(group);
  });
}

/** Makes a new group of what each group has in the range; false if all lie in it wholly. */
bool trelTissueClaims::PartAll(std::vector<std::int32_t>& groups)
{
  const std::size_t before = Groups.size();
  for (std::int32_t& group : groups) {
    const Group old = Groups[group];
    Groups[group].Met = 0;
    Groups[group].PartOfMet = group;
    if (old.Met == old.Cells) continue;
    const auto part = static_cast<std::int32_t>(Groups.size());
    Groups[group].Cells -= old.Met;
    Groups[group].PartOfMet = part;
    Groups.push_back({old.Holder, old.Met, 0, part});
    group = part;
  }
  return Groups.size() > before;
}

trelTissueClaims::Answer& trelTissueClaims::FindAnswer(const trelCellRange& range)
{
  constexpr int bits = 7;  // enough for 128 cells along an axis
  std::uint64_t key = 0;
  for (int axis = 0; axis < 3; ++axis) {
    key = key << bits | static_cast<std::uint64_t>(range.First[axis]);
    key = key << bits | static_cast<std::uint64_t>(range.Last[axis]);
  }
  if (GroupsInAnswers > maximumOfAnswers) {
    Answers.clear();
    GroupsInAnswers = 0;
  }
  return Answers[key];
}

/** The groups that make up the cells of the range, after those that reach beyond it have been
 *  split. Valid until the next call. */
const std::vector<std::int32_t>& trelTissueClaims::PartGroups(const trelCellRange& range)
{
  Answer& answer = FindAnswer(range);
  if (answer.Partings == Partings) return answer.Groups;
  GroupsInAnswers -= answer.Groups.size();
  CollectGroups(range, answer.Groups);
  if (PartAll(answer.Groups)) {
    ++Partings;
    VisitCells(range, [&](std::int32_t& group) { group = Groups[group].PartOfMet; });
  }
  GroupsInAnswers += answer.Groups.size();
  answer.Partings = Partings;
  return answer.Groups;
}

void trelTissueClaims::DissolveGroups()
{
  for (std::int32_t& cell : Cells)
    cell = Groups[cell].Holder;
  Groups.clear();
  Answers.clear();
}

std::vector<std::int32_t> trelTissueClaims::TakeHolders()
{
  if (!Groups.empty()) DissolveGroups();
  return std::move(Cells);
}
