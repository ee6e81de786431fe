#ifndef trelUntouchedTable_h
#define trelUntouchedTable_h

#include <cstdint>
#include <limits>

#include "trelMemory.h"

/**
 * @class   trelUntouchedTable
 * @brief   zeroed rows that cost no memory until they are written
 *
 * For tables that are as long as a run could possibly need. Rows are plain data.
 */
template <class Row>
class trelUntouchedTable
{
public:
  trelUntouchedTable() = default;
  ~trelUntouchedTable() { Release(); }
  trelUntouchedTable(const trelUntouchedTable&) = delete;
  trelUntouchedTable& operator=(const trelUntouchedTable&) = delete;

  /** Rows of a length that a run hardly reaches. False, and no table, for a negative number or if
   *  the addresses do not suffice. */
  bool Allocate(std::int64_t rows) { return AllocateRows(rows, false); }
  /** Rows that a run may well fill: taken from the memory of the machine, false beyond it. */
  bool AllocateWithinMemory(std::int64_t rows) { return AllocateRows(rows, true); }
  /** Frees the rows and returns what was taken from the memory of the machine. */
  void Release()
  {
    FreeUntouchedBlock(Rows, GetSize(NumberOfRows));
    if (IsTaken) ReturnMemory(GetSize(NumberOfRows));
    Rows = nullptr;
    NumberOfRows = 0;
    IsTaken = false;
  }

  /** The first row; null without a table. */
  Row* GetRows() const { return Rows; }
  std::int64_t GetNumberOfRows() const { return NumberOfRows; }

private:
  static std::size_t GetSize(std::int64_t rows)
  {
    return static_cast<std::size_t>(rows) * sizeof(Row);
  }

  bool AllocateRows(std::int64_t rows, bool takes)
  {
    Release();
    constexpr auto most =
        static_cast<std::int64_t>(std::numeric_limits<std::size_t>::max() / 2 / sizeof(Row));
    if (rows < 0 || rows > most) return false;
    if (takes && !TakeMemory(GetSize(rows))) return false;
    Rows = static_cast<Row*>(AllocateUntouchedBlock(GetSize(rows)));
    if (!Rows) {
      if (takes) ReturnMemory(GetSize(rows));
      return false;
    }
    NumberOfRows = rows;
    IsTaken = takes;
    return true;
  }

  Row* Rows = nullptr;
  std::int64_t NumberOfRows = 0;
  bool IsTaken = false;
};

#endif
