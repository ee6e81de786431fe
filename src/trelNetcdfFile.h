#ifndef trelNetcdfFile_h
#define trelNetcdfFile_h

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "trelResultFileSet.h"

/** What a number of a variable is. */
enum trelNetcdfType
{
  NetcdfReal,     ///< 64-bit float
  NetcdfInteger,  ///< 32 bits, signed
  NetcdfCount,    ///< 64 bits, signed
  NetcdfText      ///< a string of any length
};

/** What every use of the library below needs first, for a file that is there. */
void PrepareNetcdf(const std::string& path);

/** A variable: its name, what it is in words, its unit as UDUNITS spells it, and the names of its
 *  dimensions, the last one fastest. */
struct trelNetcdfVariable
{
  std::string Name;
  std::string LongName;
  std::string Units;
  std::vector<std::string> Dimensions;
  trelNetcdfType Type = NetcdfReal;
  bool HasChecksum = false;  ///< numbers that are not as they were written cannot be read
};

/**
 * @class   trelNetcdfFile
 * @brief   a NetCDF-4 file that is written whole or not at all
 *
 * Written under a temporary name beside its target; Commit() brings it to the disk and renames it.
 * The first failure is kept as a text that names the file, and what follows it does nothing, so
 * that callers ask once, in the end. A file that is not committed goes away.
 *
 * Names follow the first use: a variable may be defined after others have been written. Variables
 * with dimensions are compressed. For one thread: the library below knows no others.
 */
class trelNetcdfFile
{
public:
  trelNetcdfFile() = default;
  ~trelNetcdfFile();
  trelNetcdfFile(const trelNetcdfFile&) = delete;
  trelNetcdfFile& operator=(const trelNetcdfFile&) = delete;

  /** What is written from here on is not compressed: for what is written often. */
  void Hasten() { IsHasty = true; }
  /** Begins the file @p name; false if it cannot be created or replaced. */
  bool Create(const std::string& name);
  /** What makes Create() fail, or empty; nothing changes. */
  static std::string FindFault(const std::string& name);
  /** Puts the file in its place; false, with the old one as it was, if anything has failed. */
  bool Commit();
  /** What failed first, with the name of the file; empty if nothing has. */
  const std::string& GetFault() const { return Fault; }
  /** Lets the file fail by a fault of the caller's: the first one counts. */
  void Fail(const std::string& what);

  /** A dimension; one that is there stays. False for a length of 0, which no dimension has. */
  bool AddDimension(const std::string& name, std::size_t length);
  /** A dimension of cells with its coordinate variable: the middles, and as bounds the borders,
   *  which are one more. False without cells. */
  bool AddAxis(const trelNetcdfVariable& axis, const std::vector<double>& borders);
  /** Defines a variable, whose dimensions are there. */
  void AddVariable(const trelNetcdfVariable& variable);

  /** An attribute of a variable, or with "" as its name of the file. */
  void SetText(const std::string& variable, const char* name, const std::string& text);
  void SetReal(const std::string& variable, const char* name, double value);
  void SetCount(const std::string& variable, const char* name, std::uint64_t value);

  /** Writes a block of a variable: the first index and the number along each of its dimensions. */
  void Put(const std::string& variable, const std::vector<std::size_t>& start,
           const std::vector<std::size_t>& count, const double* values);
  /** Writes all of a variable. */
  void PutAll(const std::string& variable, const double* values);
  void PutAll(const std::string& variable, const std::int32_t* values);
  void PutAll(const std::string& variable, const std::int64_t* values);
  void PutAll(const std::string& variable, const std::vector<std::string>& values);

private:
  bool IsSound() const;
  bool Open(const std::string& path);
  bool Check(int status, const std::string& what);
  int FindVariable(const std::string& name);
  void Compress(int variable, const std::vector<std::size_t>& lengths, bool hasChecksum);

  std::string Name;
  std::string Path;  ///< the temporary one
  std::string Fault;
  bool IsHasty = false;
  int Id = -1;  ///< of the open file; -1 if there is none
  trelResultFileSet Files;
};

#endif
