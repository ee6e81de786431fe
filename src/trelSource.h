#ifndef trelSource_h
#define trelSource_h

#include "trelProcessObject.h"

/**
 * @class   trelSource
 * @brief   a stage that makes data from files
 */
class trelSource : public trelProcessObject
{
  trelTypeMacro(trelSource, trelProcessObject)

public:
  ~trelSource() override;
};

#endif
