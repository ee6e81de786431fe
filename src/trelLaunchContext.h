#ifndef trelLaunchContext_h
#define trelLaunchContext_h

class trelMedium;

/**
 * @class   trelLaunchContext
 * @brief   what a light source needs of the simulation that launches its packets
 */
class trelLaunchContext
{
public:
  /** The next number of the calling thread's stream, uniform on [0, 1). */
  virtual double NextRandom() = 0;
  /** The medium that the packets travel in. */
  virtual trelMedium* GetMedium() = 0;

protected:
  ~trelLaunchContext() = default;
};

#endif
