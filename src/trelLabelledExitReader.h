#ifndef trelLabelledExitReader_h
#define trelLabelledExitReader_h

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "trelExitTable.h"
#include "trelListedExit.h"

class trelRunRecord;
class trelSimulationParameter;

/**
 * @class   trelLabelledExitReader
 * @brief   reads the table of exits of a labelled result file, and compares its run with another
 *
 * Nothing of the file is taken on trust: what is missing, or of another type or size, is a fault.
 */
class trelLabelledExitReader
{
public:
  trelLabelledExitReader() = default;
  ~trelLabelledExitReader();
  trelLabelledExitReader(const trelLabelledExitReader&) = delete;
  trelLabelledExitReader& operator=(const trelLabelledExitReader&) = delete;

  /** False, with a fault, for a file that is none or has no table. */
  bool Open(const std::string& name);
  /** In what the run of the file differs from one of this record and parameter, or empty. */
  std::string FindDifference(const trelRunRecord& record, const trelSimulationParameter& parameter);
  std::uint64_t GetSeed() const { return Seed; }
  const std::vector<trelExitEntry>& GetEntries() const { return Entries; }

  /** The next rows; false behind the last, and when reading fails. */
  bool ReadNext(std::vector<trelListedExit>* exits);
  /** What is wrong with the file, or empty. */
  const std::string& GetFault() const { return Fault; }

private:
  bool OpenFile(const std::string& name);
  void ReadAll(const std::string& name);
  bool Check(int status);
  bool Fail(const std::string& what);
  std::string GetText(const char* attribute);
  std::size_t GetLength(const char* dimension);
  template <class Number>
  std::vector<Number> ReadColumn(const std::string& variable, std::size_t first, std::size_t count);
  bool ReadEntries();
  /** Of a wavelength and a tissue. */
  using trelPlace = std::array<std::size_t, 2>;
  bool GetCoefficient(const char* name, const trelPlace& place, double* value);
  bool HasCoefficients(const trelSimulationParameter& parameter, const char** different);

  std::string Fault;
  int Id = -1;
  std::uint64_t Seed = 0;
  std::vector<trelExitEntry> Entries;
  std::size_t Rows = 0;
  std::size_t Read = 0;
};

#endif
