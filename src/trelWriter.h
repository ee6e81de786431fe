#ifndef trelWriter_h
#define trelWriter_h

#include "trelFileNames.h"
#include "trelTarget.h"

/**
 * @class   trelWriter
 * @brief   a stage that writes its data to files named after the one that it was given
 */
class trelWriter : public trelTarget, public trelFileNames
{
  trelTypeMacro(trelWriter, trelTarget)

public:
  ~trelWriter() override;
};

#endif
