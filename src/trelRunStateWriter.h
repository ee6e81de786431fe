#ifndef trelRunStateWriter_h
#define trelRunStateWriter_h

#include "trelStateArchive.h"

class trelNetcdfFile;

/**
 * @class   trelRunStateWriter
 * @brief   writes the state of a run into a file: each name as a variable without axes
 */
class trelRunStateWriter final : public trelStateArchive
{
public:
  explicit trelRunStateWriter(trelNetcdfFile& file) : File(file) {}
  using trelStateArchive::Pass;
  void Pass(const char* name, const std::vector<trelNumbers>& pieces) override;
  bool IsSound() const override;

private:
  trelNetcdfFile& File;
};

#endif
