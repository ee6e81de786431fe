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

  /** False, with a fault, for a file that is none or has no table. With @p isWhole all of its
   *  columns are tried, else those of listed exits. */
  bool Open(const std::string& name, bool isWhole = false);
  /** In what the run of the file differs from one of this record and parameter, or empty. */
  std::string FindDifference(const trelRunRecord& record, const trelSimulationParameter& parameter);
  std::uint64_t GetSeed() const { return Seed; }
  const std::vector<trelExitEntry>& GetEntries() const { return Entries; }

  /** The next rows; false behind the last, and when reading fails. */
  bool ReadNext(std::vector<trelListedExit>* exits);
  /** The same with all that rows have, of a run with these numbers of tissues and legs. */
  bool ReadNext(std::size_t tissues, int legs, std::vector<trelExitRow>* rows);
  std::size_t GetNumberOfRows() const { return Rows; }
  /** What is wrong with the file, or empty. */
  const std::string& GetFault() const { return Fault; }

private:
  bool OpenFile(const std::string& name);
  void ReadAll(const std::string& name, bool isWhole);
  bool Check(int status);
  bool Fail(const std::string& what);
  std::string GetText(const char* attribute);
  std::size_t GetLength(const char* dimension);
  template <class Number>
  std::vector<Number> ReadColumn(const std::string& variable, std::size_t first, std::size_t count,
                                 std::size_t width = 0);
  bool HasShape(const std::string& variable, std::size_t rows, std::size_t width, int* id);
  bool ReadEntries();
  int CountLegs();
  void ReadPaths(int leg, std::size_t tissues, std::vector<trelExitRow>* rows);
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
