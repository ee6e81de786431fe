#ifndef trelLaunchContext_h
#define trelLaunchContext_h

#include "trelUniformNumbers.h"

class trelMedium;

/**
 * @class   trelLaunchContext
 * @brief   what a light source needs of the simulation that launches its packets
 */
class trelLaunchContext : public trelUniformNumbers
{
public:
  /** The medium that the packets travel in. */
  virtual trelMedium* GetMedium() = 0;

protected:
  ~trelLaunchContext() = default;
};

#endif
