#ifndef trelSimulationObject_h
#define trelSimulationObject_h

#include "trelObject.h"

/**
 * @class   trelSimulationObject
 * @brief   the common base of the physical model and of the result records
 */
class trelSimulationObject : public trelObject
{
  trelTypeMacro(trelSimulationObject, trelObject)

public:
  ~trelSimulationObject() override;
};

#endif
