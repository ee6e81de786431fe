#ifndef trelKeywordTable_h
#define trelKeywordTable_h

#include <cstddef>

#include "trelParameterText.h"

/**
 * @file trelKeywordTable.h
 * A section of the parameter file as a table: a row for each keyword, with the words for it (parted
 * by blanks), the smallest number of tokens on its line, and the member that does the work. A new
 * keyword is a new row.
 */

/** What a line does to the section it stands in. */
enum KeywordOutcome
{
  KeywordDone,
  KeywordEndsSection,
  KeywordFails
};

/** The first row of @p table whose word begins the line and that the line has enough tokens for. */
template <class Row, std::size_t N>
const Row* FindKeyword(const trelParameterText& text, const Row (&table)[N])
{
  for (const Row& row : table) {
    if (text.GetNumberOfTokens() >= row.Needs && text.IsOneOf(0, row.Words)) return &row;
  }
  return nullptr;
}

/**
 * Takes lines, each to section.Handle() with its row or null, until one ends the section. The end
 * of the file is a good end of every section, so that a file may leave out what it does not need.
 */
template <class Section, class Row, std::size_t N>
bool ReadSection(trelParameterText& text, Section& section, const Row (&table)[N])
{
  while (text.TakeStatement()) {
    const KeywordOutcome outcome = section.Handle(FindKeyword(text, table));
    if (outcome != KeywordDone) return outcome == KeywordEndsSection;
  }
  return true;
}

/** A value and the words for it, parted by blanks. */
template <class Value>
struct trelWord
{
  const char* Words;
  Value Meaning;
};

/** The value that token @p i names; null if @p words knows no such word. */
template <class Value, std::size_t N>
const Value* FindWord(const trelParameterText& text, int i, const trelWord<Value> (&words)[N])
{
  for (const trelWord<Value>& word : words) {
    if (text.IsOneOf(i, word.Words)) return &word.Meaning;
  }
  return nullptr;
}

#endif
