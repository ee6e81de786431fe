#include "trelKeywordSection.h"

#include <sstream>

KeywordOutcome trelKeywordSection::Record(const std::string& text)
{
  State.Record(text);
  return KeywordDone;
}

KeywordOutcome trelKeywordSection::Fail(const std::string& text)
{
  State.Record(text);
  return KeywordFails;
}

void trelKeywordSection::AppendWords(const char* words, std::vector<std::string>& list)
{
  std::istringstream stream(words);
  for (std::string word; stream >> word;)
    list.push_back(word);
}

int trelKeywordSection::TakeNumbers(double* values, int count) const
{
  const int given = std::min(count, Text.GetNumberOfTokens() - 1);
  for (int i = 0; i < given; ++i)
    values[i] = Text.GetReal(i + 1);
  return given;
}
