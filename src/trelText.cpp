#include "trelText.h"

#include <algorithm>
#include <charconv>
#include <limits>

static char Lower(char c)
{
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

static bool IsSeparator(char c)
{
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool EqualWords(std::string_view a, std::string_view b)
{
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return Lower(x) == Lower(y); });
}

bool EndsWithWord(std::string_view text, std::string_view ending)
{
  return text.size() >= ending.size() &&
         EqualWords(text.substr(text.size() - ending.size()), ending);
}

void SplitTokens(std::string_view line, std::vector<std::string_view>& tokens)
{
  tokens.clear();
  for (auto end = line.begin();;) {
    const auto start = std::find_if_not(end, line.end(), IsSeparator);
    if (start == line.end()) return;
    end = std::find_if(start, line.end(), IsSeparator);
    tokens.push_back(line.substr(start - line.begin(), end - start));
  }
}

/** Takes the white space and the sign ahead of a number; true for a minus. Of two signs the second
 * stays. */
static bool TakeSign(std::string_view& digits, trelNumberForm form)
{
  if (form == LibraryNumbers) {
    digits.remove_prefix(std::min(digits.find_first_not_of("\v\f"), digits.size()));
  }
  if (digits.empty() || (digits[0] != '+' && digits[0] != '-')) return false;
  const bool negative = digits[0] == '-';
  digits.remove_prefix(1);
  return negative;
}

/** Whether the digits of a number begin. The conversions below would take a minus as well. */
static bool StartsNumber(std::string_view digits)
{
  return !digits.empty() && digits[0] != '-';
}

std::int32_t ReadInteger(std::string_view token, trelNumberForm form)
{
  using Limits = std::numeric_limits<std::int32_t>;
  std::string_view digits = token;
  const bool negative = TakeSign(digits, form);
  std::int64_t value = 0;
  if (!StartsNumber(digits)) return 0;
  const auto parsed = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (parsed.ec == std::errc::result_out_of_range) value = std::numeric_limits<std::int64_t>::max();
  value = negative ? -value : value;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

static bool IsHexadecimal(std::string_view digits)
{
  static constexpr std::string_view first = ".0123456789abcdefABCDEF";
  return digits.size() > 2 && digits[0] == '0' && Lower(digits[1]) == 'x' &&
         first.find(digits[2]) < first.size();
}

/** Whether a number that is out of range is too small and not too large: its first digit that is
 * not 0 stands behind the point when the exponent is applied. */
static bool IsTiny(std::string_view number, bool hexadecimal)
{
  const std::size_t mark = std::min(number.find_first_of(hexadecimal ? "pP" : "eE"), number.size());
  const std::string_view digits = number.substr(0, mark);
  const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
  const auto first = static_cast<std::int64_t>(digits.find_first_not_of("0."));
  const std::int64_t exponent =
      mark < number.size() ? ReadInteger(number.substr(mark + 1), DecimalNumbers) : 0;
  return (point - first) * (hexadecimal ? 4 : 1) + exponent < 0;
}

template <class Real>
bool ReadReal(std::string_view token, trelNumberForm form, Real& value)
{
  value = 0;
  std::string_view digits = token;
  const bool negative = TakeSign(digits, form);
  if (!StartsNumber(digits)) return false;
  const bool hexadecimal = form == LibraryNumbers && IsHexadecimal(digits);
  if (hexadecimal) digits.remove_prefix(2);
  const char* const start = digits.data();
  const auto parsed =
      std::from_chars(start, start + digits.size(), value,
                      hexadecimal ? std::chars_format::hex : std::chars_format::general);
  // Behind "0x" without digits the 0 alone is the number.
  if (parsed.ec == std::errc::invalid_argument && !hexadecimal) return false;
  if (parsed.ec == std::errc::result_out_of_range) {
    const std::string_view number = digits.substr(0, parsed.ptr - start);
    value = IsTiny(number, hexadecimal) ? Real(0) : std::numeric_limits<Real>::infinity();
  }
  if (negative) value = -value;
  return true;
}

template bool ReadReal(std::string_view, trelNumberForm, float&);
template bool ReadReal(std::string_view, trelNumberForm, double&);
