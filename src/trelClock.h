#ifndef trelClock_h
#define trelClock_h

#include <cstdint>

/** The wall clock in whole seconds since the epoch: seeds the random streams, times the run. */
std::int64_t WallClockSeconds();

/** Puts @p clock in the place of the system's; null brings the system's back. For tests. */
void SetWallClock(std::int64_t (*clock)());

#endif
