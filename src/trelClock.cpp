#include "trelClock.h"

#include <ctime>

static std::int64_t SystemClockSeconds()
{
  return static_cast<std::int64_t>(std::time(nullptr));
}

static std::int64_t (*Clock)() = SystemClockSeconds;

std::int64_t WallClockSeconds()
{
  return Clock();
}

void SetWallClock(std::int64_t (*clock)())
{
  Clock = clock ? clock : SystemClockSeconds;
}
