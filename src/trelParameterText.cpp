#include "trelParameterText.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "trelPaths.h"
#include "trelText.h"

bool trelParameterText::Open(const char* name)
{
  Close();
  CommaNote.clear();
  File = OpenRegularFile(NativePath(name));
  return Rewind();
}

void trelParameterText::Close()
{
  if (File) std::fclose(File);
  File = nullptr;
  Tokens.clear();
}

bool trelParameterText::Rewind()
{
  LineNumber = 0;
  AtLineStart = true;
  return File && std::fseek(File, 0, SEEK_SET) == 0;
}

bool trelParameterText::TakeLine()
{
  Tokens.clear();
  NumberRead = 0;
  // Only a read that fills the buffer puts a character in its last place but one.
  char& last = LineBuffer[sizeof LineBuffer - 2];
  last = '\n';
  if (!File || !std::fgets(LineBuffer, sizeof LineBuffer, File)) return false;
  if (AtLineStart) ++LineNumber;
  AtLineStart = last == '\n' || last == '\0';
  SplitTokens(LineBuffer, Tokens);
  return true;
}

bool trelParameterText::TakeStatement()
{
  while (TakeLine()) {
    if (!Tokens.empty() && Tokens[0][0] != '#') return true;
  }
  return false;
}

std::string_view trelParameterText::GetToken(int i) const
{
  if (i < 0 || i >= GetNumberOfTokens()) return {};
  NumberRead = std::max(NumberRead, i + 1);
  return Tokens[i];
}

bool trelParameterText::IsOneOf(int i, std::string_view words) const
{
  const std::string_view token = GetToken(i);
  while (!token.empty() && !words.empty()) {
    const std::size_t blank = std::min(words.find(' '), words.size());
    if (EqualWords(token, words.substr(0, blank))) return true;
    words.remove_prefix(std::min(blank + 1, words.size()));
  }
  return false;
}

static bool IsDigit(char c)
{
  return c >= '0' && c <= '9';
}

void trelParameterText::NoteComma(int i) const
{
  const std::string_view token = GetToken(i);
  const std::size_t comma = token.find(',');
  if (!CommaNote.empty() || comma == 0 || comma >= token.size() - 1) return;
  if (!IsDigit(token[comma - 1]) || !IsDigit(token[comma + 1])) return;
  CommaNote = std::string(GetToken(0)) + ": got " + std::string(token) + ", which is read as " +
              std::string(token.substr(0, comma)) +
              ": the decimal sign is a point, and digits are not grouped";
}

/** The number of digits from @p at on. */
static std::size_t CountDigits(std::string_view token, std::size_t at)
{
  std::size_t end = at;
  while (end < token.size() && IsDigit(token[end]))
    ++end;
  return end - at;
}

static bool HasSign(std::string_view token, std::size_t at)
{
  return at < token.size() && (token[at] == '+' || token[at] == '-');
}

/** Whether the token is a number from its first to its last character. */
static bool IsNumber(std::string_view token, trelNumberKind kind)
{
  std::size_t at = HasSign(token, 0) ? 1 : 0;
  if (kind == RealNumber &&
      (EqualWords(token.substr(at), "inf") || EqualWords(token.substr(at), "infinity"))) {
    return true;
  }
  std::size_t digits = CountDigits(token, at);
  at += digits;
  if (kind == RealNumber && at < token.size() && token[at] == '.') {
    const std::size_t places = CountDigits(token, ++at);
    digits += places;
    at += places;
  }
  if (digits == 0) return false;
  if (kind == RealNumber && at < token.size() && (token[at] == 'e' || token[at] == 'E')) {
    at += HasSign(token, at + 1) ? 2 : 1;
    const std::size_t exponent = CountDigits(token, at);
    if (exponent == 0) return false;
    at += exponent;
  }
  return at == token.size();
}

void trelParameterText::NoteOddNumber(int i, trelNumberKind kind) const
{
  if (TakeOddNumber && i < GetNumberOfTokens() && !IsNumber(GetToken(i), kind))
    TakeOddNumber(i, kind);
}

std::int32_t trelParameterText::GetInteger(int i) const
{
  NoteOddNumber(i, WholeNumber);
  NoteComma(i);
  return ReadInteger(GetToken(i), DecimalNumbers);
}

bool trelParameterText::HasNumber(int i) const
{
  double value = 0.0;
  return ReadReal(GetToken(i), DecimalNumbers, value) && !std::isnan(value);
}

double trelParameterText::GetReal(int i) const
{
  NoteOddNumber(i, RealNumber);
  NoteComma(i);
  double value = 0.0;
  ReadReal(GetToken(i), DecimalNumbers, value);
  return std::isnan(value) ? 0.0 : value;
}

std::uint32_t trelParameterText::GetTruncated(int i) const
{
  return static_cast<std::uint32_t>(std::clamp(GetReal(i), 0.0, LargestTruncated));
}

bool trelParameterText::GetPath(std::string& path) const
{
  if (GetNumberOfTokens() < 2) return false;
  path = GetToken(1);
  const std::string_view line(LineBuffer);
  const std::size_t open = line.find('"');
  if (open == std::string_view::npos) return true;
  // The path may have blanks, and what follows the quotes is no part of the model.
  PassRest();
  const std::size_t close = line.find('"', open + 1);
  if (close == std::string_view::npos) return false;
  path = line.substr(open + 1, close - open - 1);
  return true;
}

void AppendWords(const char* words, std::vector<std::string>& list)
{
  std::istringstream stream(words);
  for (std::string word; stream >> word;)
    list.push_back(word);
}
