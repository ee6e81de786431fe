#include "trelParameterText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "trelPaths.h"

static const char* const Separators = " \t\r\n";

/** Lower case in ASCII, whatever the locale says. */
static char Lower(char c)
{
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

static bool EqualWords(std::string_view a, std::string_view b)
{
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return Lower(x) == Lower(y); });
}

/** @p token without a leading plus, which std::from_chars does not take. */
static std::string_view WithoutPlus(std::string_view token)
{
  const bool plus = token.size() > 1 && token[0] == '+' && token[1] != '-';
  return plus ? token.substr(1) : token;
}

bool trelParameterText::Open(const char* name)
{
  Close();
  CommaNote.clear();
  File = OpenRegularFile(NativePath(name));
  return IsOpen();
}

void trelParameterText::Close()
{
  if (File) std::fclose(File);
  File = nullptr;
  Tokens.clear();
}

bool trelParameterText::Rewind()
{
  return File && std::fseek(File, 0, SEEK_SET) == 0;
}

bool trelParameterText::TakeLine()
{
  Tokens.clear();
  if (!File || !std::fgets(LineBuffer, sizeof LineBuffer, File)) return false;
  const std::string_view line(LineBuffer);
  std::size_t start = line.find_first_not_of(Separators);
  while (start != std::string_view::npos) {
    const std::size_t end = std::min(line.find_first_of(Separators, start), line.size());
    Tokens.push_back(line.substr(start, end - start));
    start = line.find_first_not_of(Separators, end);
  }
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
  return i < 0 || i >= GetNumberOfTokens() ? std::string_view() : Tokens[i];
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

std::int32_t trelParameterText::GetInteger(int i) const
{
  NoteComma(i);
  const std::string_view digits = WithoutPlus(GetToken(i));
  std::int32_t value = 0;
  const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (parsed.ec != std::errc::result_out_of_range) return value;
  using Limits = std::numeric_limits<std::int32_t>;
  return digits[0] == '-' ? Limits::min() : Limits::max();
}

bool trelParameterText::HasNumber(int i) const
{
  const std::string_view digits = WithoutPlus(GetToken(i));
  double value = 0.0;
  const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return parsed.ec != std::errc::invalid_argument && !std::isnan(value);
}

double trelParameterText::GetReal(int i) const
{
  NoteComma(i);
  const std::string_view digits = WithoutPlus(GetToken(i));
  double value = 0.0;
  const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (parsed.ec == std::errc::result_out_of_range) {
    // A line is too short to leave the range by its digits alone: the sign of the exponent tells.
    const std::string_view number(digits.data(), parsed.ptr - digits.data());
    const bool tiny = number.find("e-") < number.size() || number.find("E-") < number.size();
    value = tiny ? 0.0 : std::copysign(HUGE_VAL, digits[0] == '-' ? -1.0 : 1.0);
  }
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
  const std::size_t close = line.find('"', open + 1);
  if (close == std::string_view::npos) return false;
  path = line.substr(open + 1, close - open - 1);
  return true;
}
