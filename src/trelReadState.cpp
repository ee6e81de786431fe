#include "trelReadState.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <sstream>

#include "trelText.h"

void trelReadState::Begin()
{
  SpectrumNum = LightSourceNum = TissueNum = DetectorNum = 0;
  WavelengthList.clear();
  ReaderErrorText.clear();
  Owner.clear();
  ExplainedLine = LastLine = 0;
  KeywordUnknown = false;
}

void trelReadState::Record(const std::string& text)
{
  ReaderErrorText += text;
  if (!Findings || KeywordUnknown || ExplainedLine == std::max(Text.GetLineNumber(), 1)) return;
  Explain(FindingError, 0, text.substr(0, text.find_last_not_of("!\n") + 1));
}

void trelReadState::SetFindings(trelModelFindings* findings)
{
  Findings = findings;
  if (!Findings) {
    Text.WatchNumbers({});
    return;
  }
  Text.WatchNumbers([this](int token, trelNumberKind kind) { ExplainNumber(token, kind); });
}

void trelReadState::NoteLine()
{
  if (!Findings) return;
  const std::string keyword(Text.GetToken(0));
  const std::string index(Text.GetToken(1));
  if (Text.IsOneOf(0, "lightsource tissue fiberdetector detectorlens spectrum")) {
    Owner =
        Text.IsOneOf(0, "fiberdetector detectorlens") ? "detector " + index : keyword + ' ' + index;
  }
  const bool hasIndex = EndsWithWord(keyword, "spectrumindex");
  const std::string setting = hasIndex ? keyword + ' ' + index : keyword;
  LastLine = Text.GetLineNumber();
  Findings->NoteLine(Owner, setting, LastLine);
  Findings->NoteLine("", keyword, LastLine);
}

void trelReadState::Explain(trelFindingKind kind, int word, const std::string& text,
                            const std::string& remedy)
{
  if (!Findings) return;
  ExplainedLine = std::max(Text.GetLineNumber(), 1);
  Findings->Add(kind, ExplainedLine, word, text, remedy);
}

void trelReadState::ExplainIndex(const char* keyword, std::int32_t count)
{
  if (!Findings) return;
  const int line = Findings->GetLineOf("", keyword);
  const std::string index(Text.GetToken(1));
  std::string text =
      std::string(Text.GetToken(0)) + ": got the index " + QuoteWord(index) + ", but " + keyword;
  text += line > 0 ? " (line " + std::to_string(line) + ") is " + std::to_string(count)
                   : " is not given";
  Explain(FindingError, 1, text,
          Text.GetInteger(1) > count ? std::string("write ") + keyword + ' ' + index
                                     : "indices count from 1");
}

void trelReadState::ExplainWord(int i, const std::vector<std::string>& words, trelFindingKind kind)
{
  if (!Findings) return;
  const std::string word(Text.GetToken(i));
  std::string list;
  for (const std::string& known : words)
    list += (list.empty() ? "" : ", ") + known;
  const std::string nearest = FindNearestWord(word, words);
  Explain(kind, i,
          (word.empty() ? "no value" : "unknown value " + QuoteWord(word)) + " of " +
              std::string(Text.GetToken(0)) +
              (nearest.empty() ? "" : "; did you mean '" + nearest + "'?"),
          "write one of " + list);
}

void trelReadState::ExplainOrder(trelFindingKind kind, const std::string& keyword)
{
  if (!Findings) return;
  Explain(kind, 0,
          std::string(Text.GetToken(0)) + " stands ahead of the line '" + keyword +
              "' that it belongs to",
          "put the line '" + keyword + "' ahead of it");
}

static bool IsUnit(std::string_view word)
{
  static const char* const units[] = {
      "mm",   "cm",   "m",     "um",    "nm",  "ps",     "ns",   "us",  "ms",     "s",   "fs",
      "Hz",   "kHz",  "MHz",   "GHz",   "deg", "rad",    "1/mm", "/mm", "1/cm",   "/cm", "J",
      "mm-1", "cm-1", "mm^-1", "cm^-1", "%",   "degree", "W",    "mW",  "degrees"};
  return std::any_of(std::begin(units), std::end(units),
                     [word](const char* unit) { return EqualWords(word, unit); });
}

void trelReadState::ExplainRest()
{
  const int rest = Text.GetNumberRead();
  if (!Findings || rest >= Text.GetNumberOfTokens() || Findings->HoldsLine(Text.GetLineNumber()))
    return;
  const std::string_view word = Text.GetToken(rest);
  double value = 0.0;
  const bool isComment = word[0] == '#', isUnit = IsUnit(word);
  const bool isNumber = ReadReal(word, DecimalNumbers, value);
  const bool isBehindNumber = ReadReal(Text.GetToken(rest - 1), DecimalNumbers, value);
  Explain(isUnit || isNumber || (isComment && isBehindNumber) ? FindingMistake : FindingWarning,
          rest,
          QuoteWord(word) + " is not read: " + std::string(Text.GetToken(0)) + " takes " +
              std::to_string(rest - 1) + (rest == 2 ? " word" : " words"),
          isComment ? "write the comment on a line of its own"
          : isUnit  ? "write numbers alone, in mm, ps, MHz, degrees, and coefficients in 1/mm"
                    : "leave it out; docs/parameter-file.md has the form of the line");
}

/** The number as the file would have to say it; empty if that cannot be told. */
static std::string SuggestNumber(std::string_view token, trelNumberKind kind)
{
  std::string text(token);
  const std::size_t comma = text.find(',');
  if (comma != std::string::npos && text.find(',', comma + 1) == std::string::npos)
    text[comma] = '.';
  double value = 0.0;
  if (!ReadReal(text, DecimalNumbers, value) || !std::isfinite(value)) return "";
  if (kind == WholeNumber && !(value == std::floor(value) && std::fabs(value) < 2147483648.0))
    return "";
  std::ostringstream shown;
  shown.precision(15);
  shown << value;
  return shown.str();
}

void trelReadState::ExplainNumber(int token, trelNumberKind kind)
{
  const std::string_view word = Text.GetToken(token);
  double value = 0.0;
  if (!ReadReal(word, DecimalNumbers, value)) {
    Explain(FindingMistake, token, "number expected, got " + QuoteWord(word),
            word[0] == '#' ? "write the comment on a line of its own" : "write a number");
    return;
  }
  std::ostringstream read;
  if (kind == WholeNumber) {
    read << ReadInteger(word, DecimalNumbers);
  } else {
    read << value;
  }
  const bool hasComma = word.find(',') != std::string_view::npos;
  const std::string better = SuggestNumber(word, kind);
  Explain(FindingMistake, token,
          QuoteWord(word) + " is read as " + read.str() +
              (hasComma              ? ": the decimal sign is a point"
               : kind == WholeNumber ? ": a whole number is expected here"
                                     : ""),
          better.empty() ? "write the number alone" : "write " + better);
}
