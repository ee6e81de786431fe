#ifndef trelFilter_h
#define trelFilter_h

#include "trelProcessObject.h"

/**
 * @class   trelFilter
 * @brief   a stage that turns data into data
 */
class trelFilter : public trelProcessObject
{
  trelTypeMacro(trelFilter, trelProcessObject)

public:
  ~trelFilter() override;
};

#endif
