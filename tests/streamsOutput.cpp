// Writes the random numbers of packets without end, for a program that tests generators: the first
// numbers of all packets, of two entries and two seeds in turn, as a run uses them.
//
// Usage: streamsOutput | dieharder -g 200 -a

#include <array>
#include <cstdint>
#include <cstdio>

#include "trelPacketNumbers.h"

int main()
{
  constexpr std::uint64_t packets = 64, numbers = 64;
  std::array<std::uint32_t, packets* numbers> bits = {};
  for (std::uint64_t first = 0;; first += packets / 4) {
    for (std::uint64_t i = 0; i < packets; ++i) {
      trelPacketNumbers stream;
      stream.Start(7 + i % 2, (i / 2 % 2) << 32, first + i / 4);
      for (std::uint64_t k = 0; k < numbers; ++k)
        bits[k * packets + i] = static_cast<std::uint32_t>(stream.NextRandom() * 0x1.0p32);
    }
    if (std::fwrite(bits.data(), sizeof bits[0], bits.size(), stdout) != bits.size()) return 0;
  }
}
