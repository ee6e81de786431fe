#ifndef trelModelFindings_h
#define trelModelFindings_h

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "trelModelTypes.h"

/** How grave a finding is. */
enum trelFindingKind
{
  FindingWarning,
  /** What is taken in another way than it looks: an error under the exact rules, under the classic
   *  ones, which have always run such models, a warning. */
  FindingMistake,
  FindingError
};

/** What there is to tell of a model, and where in its file. */
struct trelFinding
{
  trelFindingKind Kind;  ///< a warning or an error
  int Line;              ///< of the file, from 1; 0 for the model as a whole
  int Word;              ///< of that line, from 0
  std::string Text;
  std::string Remedy;  ///< what to write instead; may be empty
};

/**
 * @class   trelModelFindings
 * @brief   what is wrong with a model or odd in it, with the places in its file
 *
 * The reader tells of lines as it takes them, and notes where each setting stands, so that what a
 * later look at the model finds can be told with a line, too.
 */
class trelModelFindings
{
public:
  /** The rules decide what a mistake is; default RulesClassic. */
  explicit trelModelFindings(trelRules rules = RulesClassic) : Rules(rules) {}

  /** Adds a finding, unless there is one with the same place and text. Beyond MostKept they are
   *  counted only, but an error takes the place of a warning. */
  void Add(trelFindingKind kind, int line, int word, const std::string& text,
           const std::string& remedy = "");
  static constexpr std::size_t MostKept = 200;

  const std::vector<trelFinding>& GetAll() const { return All; }
  std::size_t CountErrors() const { return Errors; }
  std::size_t CountWarnings() const { return Warnings; }
  /** Puts them in the order of the file, those of the model as a whole last. */
  void Sort();
  /** Whether a finding is about the line. */
  bool HoldsLine(int line) const;
  /** Whether a finding has this text. */
  bool Holds(const std::string& text) const;

  /** Notes that the setting @p keyword of @p owner ("tissue 2", or empty) stands on a line. Letter
   *  case does not matter. */
  void NoteLine(const std::string& owner, std::string_view keyword, int line);
  /** The last line of a setting; 0 if there is none. */
  int GetLineOf(const std::string& owner, std::string_view keyword) const;
  /** The line of "KEYWORD: ... tissue 2 ..." (or "light source 2"), a text about a setting. */
  int GetLineOfText(const std::string& text) const;

private:
  trelRules Rules;
  std::vector<trelFinding> All;
  std::size_t Errors = 0;
  std::size_t Warnings = 0;
  std::map<std::string, int> Lines;
};

/** @p word in single quotes as messages show it: cut, and without what is no text. */
std::string QuoteWord(std::string_view word);

/** The one of @p words that differs from @p word by the fewest letters left out, added, changed or
 *  swapped; empty if more than a third of them are wrong. */
std::string FindNearestWord(std::string_view word, const std::vector<std::string>& words);

#endif
