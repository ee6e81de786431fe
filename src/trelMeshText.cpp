#include "trelMeshText.h"

#include <algorithm>
#include <cmath>

#include "trelText.h"

std::int64_t IntegerOf(std::string_view token)
{
  return ReadInteger(token, LibraryNumbers);
}

std::int64_t TruncatedNumberOf(std::string_view token)
{
  double number = 0.0;
  ReadReal(token, LibraryNumbers, number);
  return std::fabs(number) <= INT32_MAX ? static_cast<std::int64_t>(number) : -1;
}

float FloatOf(std::string_view token)
{
  float number = 0.0f;
  ReadReal(token, LibraryNumbers, number);
  return number;
}

std::int64_t MeasureFile(std::FILE* file)
{
  long size = 0;
  if (std::fseek(file, 0, SEEK_END) == 0) size = std::ftell(file);
  std::rewind(file);
  // Directories are opened like files, and some systems give them the largest size there is.
  return std::fgetc(file) == EOF || std::fseek(file, 0, SEEK_SET) != 0 ? 0 : std::max(size, 0l);
}
