#ifndef trelPacketNumbers_h
#define trelPacketNumbers_h

#include <cstdint>

#include "trelUniformNumbers.h"

/**
 * @class   trelPacketNumbers
 * @brief   the random numbers of one packet, a stream of its own
 *
 * xoshiro256+ (D. Blackman and S. Vigna, ACM Trans. Math. Softw. 47 (2021) 36), whose state is
 * hashed by SplitMix64 from what the packet is: so a packet flies the same path whichever thread
 * traces it, and whatever other packets do. Numbers have 53 bits.
 */
class trelPacketNumbers final : public trelUniformNumbers
{
public:
  /** Starts the stream of packet @p number of @p entry, an entry of a source. */
  void Start(std::uint64_t seed, std::uint64_t entry, std::uint64_t number)
  {
    std::uint64_t hash = seed;
    hash = Mix(hash + Golden) ^ entry;
    hash = Mix(hash + Golden) ^ number;
    for (std::uint64_t& word : State)
      word = Mix(hash += Golden);
  }

  /** A stream for what comes of the packet, which depends on where this one stands. */
  trelPacketNumbers Branch()
  {
    trelPacketNumbers branch;
    branch.Start(NextBits(), 0, 0);
    return branch;
  }

  /** Uniform on [0, 1). */
  double NextRandom() override { return static_cast<double>(NextInteger()) * 0x1.0p-53; }
  /** Uniform on (0, 1]. */
  double NextPositiveRandom() { return static_cast<double>(NextInteger() + 1) * 0x1.0p-53; }

private:
  static constexpr std::uint64_t Golden = 0x9e3779b97f4a7c15;

  static std::uint64_t Mix(std::uint64_t z)
  {
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }
  static std::uint64_t Rotate(std::uint64_t x, int bits)
  {
    return (x << bits) | (x >> (64 - bits));
  }
  /** 53 bits, signed: processors turn these into a double in one instruction. */
  std::int64_t NextInteger() { return static_cast<std::int64_t>(NextBits() >> 11); }
  std::uint64_t NextBits()
  {
    const std::uint64_t result = State[0] + State[3];
    const std::uint64_t t = State[1] << 17;
    State[2] ^= State[0];
    State[3] ^= State[1];
    State[1] ^= State[2];
    State[0] ^= State[3];
    State[2] ^= t;
    State[3] = Rotate(State[3], 45);
    return result;
  }

  std::uint64_t State[4] = {};
};

#endif
