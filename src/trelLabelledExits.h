#ifndef trelLabelledExits_h
#define trelLabelledExits_h

#include <cstddef>

class trelExitTable;
class trelNetcdfFile;

/**
 * @file trelLabelledExits.h
 * The table of exits in a labelled result file: a row for each along the dimension exit, and for
 * each spectrum of a source, along exit_entry, how many packets it covers.
 */

/** Writes the table, whose rows are read once, beside the dimension tissue of the file.
 *  @p hasEmission: the exits may be of emissions, whose path has a second leg. */
void WriteExits(trelNetcdfFile& file, trelExitTable& table, std::size_t tissues, bool hasEmission);

#endif
