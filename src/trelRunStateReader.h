#ifndef trelRunStateReader_h
#define trelRunStateReader_h

#include <string>

#include "trelStateArchive.h"

class trelNetcdfInput;

/**
 * @class   trelRunStateReader
 * @brief   sets the state of a run as a file has it
 *
 * What the file does not have in the same length is not set, and neither is what follows.
 */
class trelRunStateReader final : public trelStateArchive
{
public:
  explicit trelRunStateReader(const trelNetcdfInput& file) : File(file) {}
  using trelStateArchive::Pass;
  void Pass(const char* name, const std::vector<trelNumbers>& pieces) override;
  bool IsSound() const override { return Missing.empty(); }
  /** The first name that the file does not have so. */
  const std::string& GetMissing() const { return Missing; }

private:
  const trelNetcdfInput& File;
  std::string Missing;
};

#endif
