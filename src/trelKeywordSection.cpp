#include "trelKeywordSection.h"

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

int trelKeywordSection::TakeNumbers(double* values, int count) const
{
  const int given = std::min(count, Text.GetNumberOfTokens() - 1);
  for (int i = 0; i < given; ++i)
    values[i] = Text.GetReal(i + 1);
  return given;
}
