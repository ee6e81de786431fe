#ifndef trelTarget_h
#define trelTarget_h

#include "trelProcessObject.h"

/**
 * @class   trelTarget
 * @brief   a stage that sends data to files
 */
class trelTarget : public trelProcessObject
{
  trelTypeMacro(trelTarget, trelProcessObject)

public:
  ~trelTarget() override;
};

#endif
