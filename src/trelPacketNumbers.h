#ifndef trelPacketNumbers_h
#define trelPacketNumbers_h

#include <cstdint>

#include "trelElementary.h"
#include "trelUniformNumbers.h"

/**
 * @class   trelPacketNumbers
 * @brief   the random numbers of one packet, a stream of its own
 *
 * xoshiro256++ (D. Blackman and S. Vigna, ACM Trans. Math. Softw. 47 (2021) 36), whose state is
 * hashed by SplitMix64 from what the packet is: so a packet flies the same path whichever thread
 * traces it, and whatever other packets do. Numbers have 53 bits. A stream of a counter-based
 * generator would cost about three times the instructions, alone and in vector lanes.
 */
class trelPacketNumbers final : public trelUniformNumbers
{
public:
  /** Starts the stream of packet @p number of @p entry, an entry of a source. */
  void Start(std::uint64_t seed, std::uint64_t entry, std::uint64_t number)
  {
    std::uint64_t hash = seed;
    hash = Mix(hash + Golden) ^ entry;
    Fill(Mix(hash + Golden) ^ number);
  }

  /** The stream of the next of those that come of the packet: of what this one is, and which of
   *  them it is. No number of this stream is used up. */
  trelPacketNumbers Branch()
  {
    trelPacketNumbers branch;
    branch.Fill(Mix(Key + BranchStep * Golden) ^ ++Branches);
    return branch;
  }

  /** Uniform on [0, 1). */
  double NextRandom() override { return static_cast<double>(NextInteger()) * 0x1.0p-53; }
  /** Uniform on (0, 1]. */
  double NextPositiveRandom() { return static_cast<double>(NextInteger() + 1) * 0x1.0p-53; }

  /** The four words of the stream's state, from which packets in lanes take numbers side by side.
   */
  std::uint64_t* GetState() { return State; }

private:
  static constexpr std::uint64_t Golden = 0x9e3779b97f4a7c15;
  static constexpr std::uint64_t BranchStep = 5;  ///< behind those of the four words of the state

  void Fill(std::uint64_t key)
  {
    Key = key;
    Branches = 0;
    for (std::uint64_t& word : State)
      word = Mix(key += Golden);
  }

  static std::uint64_t Mix(std::uint64_t z)
  {
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }
  /** 53 bits, signed: processors turn these into a double in one instruction. */
  std::int64_t NextInteger() { return static_cast<std::int64_t>(NextWordOf(State) >> 11); }

  std::uint64_t State[4] = {};
  std::uint64_t Key = 0;  ///< what the packet is, hashed
  std::uint64_t Branches = 0;
};

#endif
