#ifndef trelExitColumns_h
#define trelExitColumns_h

#include <string>
#include <vector>

#include "trelExitTable.h"
#include "trelNetcdfFile.h"

/**
 * @file trelExitColumns.h
 * The columns of the table of exits in a labelled result file, as they are written and read.
 */

/** A column: one number, or three along xyz. */
struct trelExitColumn
{
  using Entries = std::vector<trelExitEntry>;

  trelNetcdfVariable Variable;
  /** Adds what the column has of an exit. */
  void (*Take)(const Entries& entries, const trelExit& exit, std::vector<double>& values);
  /** The other way; the columns before this one are set. What is no such number becomes -1. */
  void (*Set)(const Entries& entries, const double* values, trelExit& exit);
};

/** A column by tissue. */
struct trelExitPathColumn
{
  const char *Name, *Words, *Units;
  trelNetcdfType Type;
  double (*Get)(const trelTissuePath& path);
  void (*Set)(double value, trelTissuePath& path);
};

std::vector<trelExitColumn> ListExitColumns();
const std::vector<trelExitPathColumn>& ListExitPathColumns();
/** The name of the variable of a leg. */
std::string GetPathName(const trelExitPathColumn& column, int leg);

/** Rows that are held at a time, for columns of so many tissues. */
std::size_t CountExitsOfBlock(std::size_t tissues);

#endif
