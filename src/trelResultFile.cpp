#include "trelResultFile.h"

#include <algorithm>
#include <charconv>
#include <cstring>

bool trelResultFile::Open(std::FILE* stream)
{
  Close();
  File = stream;
  Failed = false;
  if (File) std::setvbuf(File, nullptr, _IONBF, 0);
  return File != nullptr;
}

bool trelResultFile::Close()
{
  if (!File) return true;
  Flush();
  const bool closed = std::fclose(File) == 0;
  File = nullptr;
  return closed && !Failed;
}

void trelResultFile::Flush()
{
  if (File && !Failed) Failed = std::fwrite(Buffer, 1, Used, File) != Used;
  Used = 0;
}

void trelResultFile::MakeRoom(std::size_t characters)
{
  if (Used + characters > BufferSize) Flush();
}

void trelResultFile::Put(std::string_view text)
{
  while (!text.empty()) {
    MakeRoom(1);
    const std::size_t part = std::min(text.size(), BufferSize - Used);
    std::memcpy(Buffer + Used, text.data(), part);
    Used += part;
    text.remove_prefix(part);
  }
}

void trelResultFile::Put(std::int64_t value)
{
  MakeRoom(LongestNumber);
  char* end = std::to_chars(Buffer + Used, Buffer + BufferSize, value).ptr;
  Used = static_cast<std::size_t>(end - Buffer);
}

void trelResultFile::Put(double value)
{
  MakeRoom(LongestNumber);
  Used += FormatReal(value, Buffer + Used);
}

std::size_t trelResultFile::FormatReal(double value, char* text)
{
  constexpr std::size_t width = 12;
  constexpr std::size_t longest = 16;
  constexpr int decimals = 5;
  // The digits are those of printf by definition of to_chars, which needs no format and no locale.
  const char* end =
      std::to_chars(text, text + longest, value, std::chars_format::scientific, decimals).ptr;
  const auto length = static_cast<std::size_t>(end - text);
  if (length >= width) return length;
  std::memmove(text + width - length, text, length);
  std::memset(text, ' ', width - length);
  return width;
}

void trelResultFile::PrintList(const double* cells, std::size_t count)
{
  for (std::size_t k = 0; k < count; ++k) {
    Print(cells[k], "\n");
  }
}

void trelResultFile::PrintRows(const double* cells, std::size_t rows, std::size_t columns)
{
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column) {
      Print(*cells++, " ");
    }
    Print("\n");
  }
}
