#ifndef trelFlyTimes_h
#define trelFlyTimes_h

#include "trelUntouchedTable.h"
#include "trelVector.h"

/** Where and when a packet left: x, y, z in mm, time of flight in ps. */
using trelFlyTimeRow = double[4];

/**
 * @class   trelFlyTimes
 * @brief   a row for each packet that leaves the medium, by its number among those that left
 *
 * All packets of a run may leave, so that the table is held to the memory of the machine. Threads
 * record without a lock: no two packets have one number.
 */
class trelFlyTimes
{
public:
  /** Makes a zeroed row for each of so many packets; false, and no table, if memory is short. */
  bool Allocate(std::int64_t packets) { return Table.AllocateWithinMemory(packets); }
  void Release() { Table.Release(); }

  /** The rows, null if there is no table, and their number. */
  trelFlyTimeRow* GetRows() const { return Table.GetRows(); }
  std::int64_t GetNumberOfRows() const { return Table.GetNumberOfRows(); }

  /** Stores the packet of number @p row. Nothing happens without a table or behind its end. */
  void Record(std::int64_t row, const trelVector& position, double time)
  {
    if (row < 0 || row >= Table.GetNumberOfRows()) return;
    double* values = Table.GetRows()[row];
    values[0] = position.X;
    values[1] = position.Y;
    values[2] = position.Z;
    values[3] = time;
  }

private:
  trelUntouchedTable<trelFlyTimeRow> Table;
};

#endif
