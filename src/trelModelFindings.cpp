#include "trelModelFindings.h"

#include <algorithm>
#include <iterator>
#include <tuple>

static std::string ToLower(std::string_view word)
{
  std::string lower(word);
  for (char& c : lower)
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

void trelModelFindings::Add(trelFindingKind kind, int line, int word, const std::string& text,
                            const std::string& remedy)
{
  const auto isSame = [&](const trelFinding& other) {
    return other.Line == line && other.Text == text;
  };
  if (std::any_of(All.begin(), All.end(), isSame)) return;
  if (kind == FindingMistake) kind = Rules == RulesExact ? FindingError : FindingWarning;
  ++(kind == FindingError ? Errors : Warnings);
  if (All.size() >= MostKept) {
    const auto warning = std::find_if(All.rbegin(), All.rend(), [](const trelFinding& finding) {
      return finding.Kind == FindingWarning;
    });
    if (kind != FindingError || warning == All.rend()) return;
    All.erase(std::prev(warning.base()));
  }
  All.push_back({kind, line, word, text, remedy});
}

void trelModelFindings::Sort()
{
  const auto placeOf = [](const trelFinding& finding) {
    return std::make_tuple(finding.Line == 0, finding.Line, finding.Word);
  };
  std::stable_sort(All.begin(), All.end(), [&](const trelFinding& a, const trelFinding& b) {
    return placeOf(a) < placeOf(b);
  });
}

bool trelModelFindings::HoldsLine(int line) const
{
  return std::any_of(All.begin(), All.end(),
                     [&](const trelFinding& finding) { return finding.Line == line; });
}

bool trelModelFindings::Holds(const std::string& text) const
{
  return std::any_of(All.begin(), All.end(),
                     [&](const trelFinding& finding) { return finding.Text == text; });
}

void trelModelFindings::NoteLine(const std::string& owner, std::string_view keyword, int line)
{
  Lines[ToLower(owner) + ' ' + ToLower(keyword)] = line;
}

int trelModelFindings::GetLineOf(const std::string& owner, std::string_view keyword) const
{
  const auto found = Lines.find(ToLower(owner) + ' ' + ToLower(keyword));
  return found == Lines.end() ? 0 : found->second;
}

/** The digits in @p text behind the first of the words that are followed by a number. */
static std::string FindNumberBehind(const std::string& text, const std::string& word)
{
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
    std::size_t first = at + word.size();
    if (first < text.size() && text[first] == 's') ++first;
    if (first >= text.size() || text[first] != ' ') continue;
    const std::size_t end = std::min(text.find_first_not_of("0123456789", ++first), text.size());
    if (end > first) return text.substr(first, end - first);
  }
  return "";
}

int trelModelFindings::GetLineOfText(const std::string& text) const
{
  const std::size_t colon = text.find(": ");
  if (colon == std::string::npos) return 0;
  const std::string keyword = text.substr(0, std::min(colon, text.find(' ')));
  const bool isOfSource = keyword.rfind("lightsource", 0) == 0;
  const bool isOfFiber = keyword.rfind("fiberdetector", 0) == 0;
  const char* const kind = isOfSource ? "light source" : isOfFiber ? "detector" : "tissue";
  const std::string number = FindNumberBehind(text, kind);
  const std::string owner = (isOfSource ? "lightsource" : kind) + (' ' + number);
  for (const std::string& setting : {keyword, keyword + " 1"}) {
    if (const int line = GetLineOf(owner, setting)) return line;
  }
  // A tissue that is told of by its axes may be a mesh, which has a path.
  if (const int line = GetLineOf(owner, isOfSource ? "lightsource" : "tissue")) return line;
  return GetLineOf("", keyword);
}

std::string QuoteWord(std::string_view word)
{
  static constexpr std::size_t longest = 40;
  std::string text(word.substr(0, longest));
  for (char& c : text)
    c = c >= ' ' && c <= '~' ? c : '?';
  return "'" + text + (word.size() > longest ? "..." : "") + "'";
}

/** Letters left out, added or changed, or two neighbours swapped (optimal string alignment). */
static std::size_t CountEdits(const std::string& a, const std::string& b)
{
  const std::size_t columns = b.size() + 1;
  std::vector<std::size_t> edits((a.size() + 1) * columns);
  const auto at = [&](std::size_t i, std::size_t j) -> std::size_t& {
    return edits[i * columns + j];
  };
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        at(i, j) = i + j;
        continue;
      }
      const std::size_t change = at(i - 1, j - 1) + (a[i - 1] == b[j - 1] ? 0 : 1);
      at(i, j) = std::min({at(i - 1, j) + 1, at(i, j - 1) + 1, change});
      const bool isSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (isSwapped) at(i, j) = std::min(at(i, j), at(i - 2, j - 2) + 1);
    }
  }
  return edits.back();
}

std::string FindNearestWord(std::string_view word, const std::vector<std::string>& words)
{
  const std::string given = ToLower(word);
  std::string nearest;
  std::size_t fewest = given.size() / 3 + 1;
  for (const std::string& known : words) {
    if (given.size() > 2 * known.size()) continue;
    const std::size_t edits = CountEdits(given, ToLower(known));
    if (edits >= fewest) continue;
    fewest = edits;
    nearest = known;
  }
  return nearest;
}
