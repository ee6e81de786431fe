#ifndef trelRunRecord_h
#define trelRunRecord_h

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class trelNetcdfFile;
class trelSimulationParameter;

/**
 * @class   trelRunRecord
 * @brief   what a result file says of the run that made it: its attributes, in their order
 *
 * The model and the meshes are looked at when they are added, which is ahead of the packets: a file
 * may be edited while its run goes on.
 */
class trelRunRecord
{
public:
  void Add(const char* name, const std::string& text) { Texts.emplace_back(name, text); }
  void Add(const char* name, double value) { Reals.emplace_back(name, value); }
  void Add(const char* name, std::uint64_t value) { Counts.emplace_back(name, value); }

  /** The text of the parameter file @p model, which is called @p name, and the SHA-256 of it and of
   * the meshes that @p parameter has read; its rules, and a hash of the coefficients in force. */
  void AddModel(const std::string& model, const std::string& name,
                const trelSimulationParameter& parameter);
  /** Compiler, date (UTC, ISO 8601) and the processor of this machine. */
  void AddMachine();

  /** A text that was added; empty if none was. */
  std::string GetText(const std::string& name) const;
  /** Writes all as attributes of @p file. */
  void Write(class trelNetcdfFile& file) const;

private:
  std::vector<std::pair<std::string, std::string>> Texts;
  std::vector<std::pair<std::string, double>> Reals;
  std::vector<std::pair<std::string, std::uint64_t>> Counts;
};

/** The SHA-256 (FIPS 180-4) of a text and of a regular file, in hexadecimal; empty if the file
 *  cannot be read. */
std::string ComputeHash(const std::string& text);
std::string ComputeFileHash(const std::string& path);

#endif
