#ifndef trelClock_h
#define trelClock_h

#include <cstdint>

/** The wall clock in whole seconds since the epoch: seeds the random streams, times the run. */
std::int64_t WallClockSeconds();

/** Replaces the system's clock by @p clock; null restores it. For tests. */
void SetWallClock(std::int64_t (*clock)());

#endif
