#ifndef trelMonteCarlo_h
#define trelMonteCarlo_h

#include "trelMediumFilter.h"

/**
 * @class   trelMonteCarlo
 * @brief   the base of the medium filters that sample packets
 */
class trelMonteCarlo : public trelMediumFilter
{
  trelTypeMacro(trelMonteCarlo, trelMediumFilter)

public:
  ~trelMonteCarlo() override;
};

#endif
