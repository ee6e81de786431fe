#include "trelMeshText.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>

static bool IsSeparator(char c)
{
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

void SplitTokens(char* line, std::vector<char*>& tokens)
{
  tokens.clear();
  for (;;) {
    while (IsSeparator(*line))
      ++line;
    if (!*line) return;
    tokens.push_back(line);
    while (*line && !IsSeparator(*line))
      ++line;
    if (*line) *line++ = '\0';
  }
}

bool EqualWords(const char* a, const char* b)
{
  const auto lower = [](char c) { return std::tolower(static_cast<unsigned char>(c)); };
  while (*a && lower(*a) == lower(*b))
    ++a, ++b;
  return *a == *b;
}

std::int64_t IntegerOf(const char* token)
{
  const std::int64_t number = std::strtoll(token, nullptr, 10);
  return std::clamp<std::int64_t>(number, INT32_MIN, INT32_MAX);
}

std::int64_t TruncatedNumberOf(const char* token)
{
  const double number = std::strtod(token, nullptr);
  return std::fabs(number) <= INT32_MAX ? static_cast<std::int64_t>(number) : -1;
}

float FloatOf(const char* token)
{
  return std::strtof(token, nullptr);
}

std::int64_t MeasureFile(std::FILE* file)
{
  long size = 0;
  if (std::fseek(file, 0, SEEK_END) == 0) size = std::ftell(file);
  std::rewind(file);
  // Directories are opened like files, and some systems give them the largest size there is.
  return std::fgetc(file) == EOF || std::fseek(file, 0, SEEK_SET) != 0 ? 0 : std::max(size, 0l);
}
