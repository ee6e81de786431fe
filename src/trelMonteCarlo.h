#ifndef trelMonteCarlo_h
#define trelMonteCarlo_h

#include "trelMediumFilter.h"

class trelLightSource;

/**
 * @class   trelMonteCarlo
 * @brief   the base of the medium filters that sample packets
 */
class trelMonteCarlo : public trelMediumFilter
{
  trelTypeMacro(trelMonteCarlo, trelMediumFilter)

public:
  ~trelMonteCarlo() override;

protected:
  /** True if the simulation type runs sources of this kind. */
  bool RunsSource(const trelLightSource& light) const;
};

#endif
