#ifndef trelNetcdfInput_h
#define trelNetcdfInput_h

#include <cstddef>
#include <cstdint>
#include <string>

/**
 * @class   trelNetcdfInput
 * @brief   reads attributes and numbers of a NetCDF-4 file
 *
 * The file may be wrong in any way: what cannot be read gives false or nothing. For one thread.
 */
class trelNetcdfInput
{
public:
  trelNetcdfInput() = default;
  ~trelNetcdfInput();
  trelNetcdfInput(const trelNetcdfInput&) = delete;
  trelNetcdfInput& operator=(const trelNetcdfInput&) = delete;

  /** What keeps @p name from being read, or empty. */
  std::string Open(const std::string& name);
  /** An attribute of the file; empty, or false, if it has no such one of this type. */
  std::string GetText(const char* name) const;
  bool GetCount(const char* name, std::uint64_t* value) const;
  /** The numbers of a variable with one dimension; 0 if there is no such one. */
  std::size_t GetLength(const std::string& variable) const;
  /** Reads @p number of its numbers from the one at @p first on. */
  bool Get(const std::string& variable, std::size_t first, std::size_t number,
           double* values) const;

private:
  void ReadAll() const;

  int Id = -1;
};

#endif
