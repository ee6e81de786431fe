#ifndef trelKeywordSection_h
#define trelKeywordSection_h

#include <algorithm>
#include <cstddef>
#include <string>

#include "trelReadState.h"

class trelSimulationParameter;

/** What a line does to the section it stands in. */
enum KeywordOutcome
{
  KeywordDone,
  KeywordEndsSection,
  KeywordFails
};

/**
 * @class   trelKeywordSection
 * @brief   the base of the sections of the parameter file, which are read by a table
 *
 * A table has a row for each keyword: Words, the words for it, separated by blanks, Needs, the
 * smallest number of tokens on its line, and Handler, the member of the section that does the work.
 * A new keyword is a new row.
 *
 * A section has the operation Handle(row), which does what a row says for the current line; its
 * argument is null for a keyword that the table lacks. It may have a Fits(row) of its own.
 */
class trelKeywordSection
{
protected:
  trelKeywordSection(trelReadState& state, trelSimulationParameter& parameter)
      : State(state), Parameter(parameter), Text(state.GetText())
  {
  }
  ~trelKeywordSection() = default;

  /**
   * Takes lines until one ends the section; false if the read has to stop. The end of the file
   * ends every section without an error, so that a file may leave out what it does not need.
   */
  template <class Section, class Row, std::size_t N>
  static bool ReadLines(Section& section, const Row (&table)[N])
  {
    const auto isMeant = [&](const Row& row) {
      return section.Fits(row) && section.Text.IsOneOf(0, row.Words);
    };
    while (section.Text.TakeStatement()) {
      const Row* const row = std::find_if(table, table + N, isMeant);
      section.State.NoteLine();
      section.State.SetKeywordUnknown(row == table + N);
      const KeywordOutcome outcome = section.Handle(row == table + N ? nullptr : row);
      if (outcome != KeywordDone) return outcome == KeywordEndsSection;
      section.State.ExplainRest();
    }
    return true;
  }

  /** Whether the current line is long enough for @p row. */
  template <class Row>
  bool Fits(const Row& row) const
  {
    return Text.GetNumberOfTokens() >= row.Needs;
  }

  /** Handlers of a line without effect and of the last one. */
  template <class Row>
  KeywordOutcome Ignore(const Row&)
  {
    Text.PassRest();
    return KeywordDone;
  }
  template <class Row>
  KeywordOutcome End(const Row&)
  {
    return KeywordEndsSection;
  }

  /** Records @p text; the section goes on. */
  KeywordOutcome Record(const std::string& text);
  /** Records @p text; the read has to stop. */
  KeywordOutcome Fail(const std::string& text);
  /** Puts the numbers behind the keyword into @p values, from the start, at most @p count of them.
   *  @return how many there were */
  int TakeNumbers(double* values, int count) const;

  /** Tells that word @p i is none of @p words. */
  template <class Value, std::size_t N>
  void ExplainWord(int i, const trelWord<Value> (&words)[N])
  {
    std::vector<std::string> list;
    for (const trelWord<Value>& word : words)
      AppendWords(word.Words, list);
    State.ExplainWord(i, list);
  }

  trelReadState& State;
  trelSimulationParameter& Parameter;
  trelParameterText& Text;
};

#endif
