#ifndef trelRunStateReader_h
#define trelRunStateReader_h

#include <string>
#include <utility>
#include <vector>

#include "trelStateArchive.h"

class trelNetcdfInput;

/**
 * @class   trelRunStateReader
 * @brief   sets the state of a run as a file has it, or several files of parts of a run together
 *
 * Sums of several files are added, lists by batch, whose names end in "_by_batch", joined in the
 * order of the files. What a file does not have in the same length is not set, and neither is what
 * follows.
 */
class trelRunStateReader final : public trelStateArchive
{
public:
  /** The files live longer. */
  explicit trelRunStateReader(std::vector<const trelNetcdfInput*> files) : Files(std::move(files))
  {
  }
  using trelStateArchive::Pass;
  void Pass(const char* name, const std::vector<trelNumbers>& pieces) override;
  bool Admits(const char* name, std::size_t numbers) override;
  bool IsSound() const override { return Missing.empty(); }
  /** The first name that a file does not have so. */
  const std::string& GetMissing() const { return Missing; }

private:
  bool Join(const std::string& variable, const std::vector<trelNumbers>& pieces) const;
  bool Combine(const char* name, const std::string& variable,
               const std::vector<trelNumbers>& pieces) const;

  const std::vector<const trelNetcdfInput*> Files;
  std::string Missing;
};

#endif
