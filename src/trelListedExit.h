#ifndef trelListedExit_h
#define trelListedExit_h

#include <cstdint>
#include <functional>
#include <vector>

/** What tells an exit of a table from all others, and its weight; see trelExit. */
struct trelListedExit
{
  std::int64_t Source;
  std::int64_t Spectrum;
  std::int64_t Packet;
  std::int64_t Conversion;
  std::int64_t Detector;
  double Weight;
};

/** Reads the next exits of a table; false behind the last. */
using trelReadExits = std::function<bool(std::vector<trelListedExit>* exits)>;

#endif
