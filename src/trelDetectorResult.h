#ifndef trelDetectorResult_h
#define trelDetectorResult_h

#include "trelSimulationObject.h"

/**
 * @class   trelDetectorResult
 * @brief   what one detector collected of one spectrum entry; nothing in this version
 */
class trelDetectorResult : public trelSimulationObject
{
  trelTypeMacro(trelDetectorResult, trelSimulationObject)

public:
  ~trelDetectorResult() override;
};

#endif
