#ifndef trelExitOrigin_h
#define trelExitOrigin_h

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "trelLabelledExitReader.h"

class trelExitTable;
class trelRunOrigin;

/**
 * @class   trelExitOrigin
 * @brief   the tables of exits of the files that a run goes on from or is put together from
 *
 * Each file has the exits of its packets from the first on, either of all of them or at least as
 * many as were asked for. So with the least number that any was asked for, the first of all of them
 * are those that a run in one piece would have.
 */
class trelExitOrigin
{
public:
  /** Which table of exits the files make: asked for are @p asked, 0 for what they have. What
   *  differs, or empty. */
  std::string Choose(const trelRunOrigin& origin, std::int64_t asked);
  /** The same of parts that are put together. Why they make none, or empty. */
  std::string ChooseOfParts(const trelRunOrigin& origin);
  /** How many exits the files were asked for, the least of them; 0: they have no table. */
  std::int64_t GetLimit() const { return Limit; }

  /** Opens the tables. What is wrong with a file, or empty. */
  std::string Open(const trelRunOrigin& origin);
  /** Adds the exits of the files to @p table, which has the entries of the run, whose model has so
   *  many tissues. False, with a fault, if they are not those of the packets of the files. */
  bool Fill(trelExitTable& table, std::size_t tissues, bool hasEmission);
  /** What is wrong with a file, or empty. */
  const std::string& GetFault() const { return Fault; }

private:
  bool FillFrom(std::size_t file, int part, trelExitTable& table, std::size_t tissues, int legs);
  bool CoversAll(std::size_t file, std::int64_t batch) const;

  std::int64_t Limit = 0;
  const trelRunOrigin* Origin = nullptr;
  std::vector<std::unique_ptr<trelLabelledExitReader>> Readers;  ///< by file
  std::string Fault;
};

#endif
