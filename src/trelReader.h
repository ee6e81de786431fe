#ifndef trelReader_h
#define trelReader_h

#include "trelFileNames.h"
#include "trelSource.h"

/**
 * @class   trelReader
 * @brief   a stage that reads its data from the files that it was given
 */
class trelReader : public trelSource, public trelFileNames
{
  trelTypeMacro(trelReader, trelSource)

public:
  ~trelReader() override;
};

#endif
