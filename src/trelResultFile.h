#ifndef trelResultFile_h
#define trelResultFile_h

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

/**
 * @class   trelResultFile
 * @brief   a text file that is written fast and checked once
 *
 * Grids have millions of cells, so numbers are formatted into a buffer and not through a stream. A
 * failed write is remembered and shows when the file is closed; what follows it is dropped.
 */
class trelResultFile
{
public:
  trelResultFile() = default;
  ~trelResultFile() { Close(); }
  trelResultFile(const trelResultFile&) = delete;
  trelResultFile& operator=(const trelResultFile&) = delete;

  /** Writes to @p stream from now on, and closes it in the end; false for null. */
  bool Open(std::FILE* stream);
  /** Writes what is left and closes. False if any byte did not get through; true without a file. */
  bool Close();

  /** Writes each argument in turn: texts as they stand, integers as "%d", reals as "%12.5e". */
  template <class... Values>
  void Print(const Values&... values)
  {
    (Put(values), ...);
  }

  /** Writes each of @p count reals as "%12.5e" on a line of its own. */
  void PrintList(const double* cells, std::size_t count);
  /** Writes a line for each row: its reals as "%12.5e", a blank behind each. */
  void PrintRows(const double* cells, std::size_t rows, std::size_t columns);

  /** Writes "%12.5e" of @p value into @p text, without a null; the length. At most 16 characters.
   */
  static std::size_t FormatReal(double value, char* text);

private:
  static constexpr std::size_t BufferSize = 1 << 16;
  static constexpr std::size_t LongestNumber = 24;

  void Put(std::string_view text);
  void Put(std::int32_t value) { Put(static_cast<std::int64_t>(value)); }
  void Put(std::uint32_t value) { Put(static_cast<std::int64_t>(value)); }
  void Put(std::int64_t value);
  void Put(double value);
  void MakeRoom(std::size_t characters);
  void Flush();

  std::FILE* File = nullptr;
  bool Failed = false;
  std::size_t Used = 0;
  char Buffer[BufferSize];
};

#endif
