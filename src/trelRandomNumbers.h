#ifndef trelRandomNumbers_h
#define trelRandomNumbers_h

#include <cstdint>

#include "trelRandomStream.h"

/** Length of a block of random numbers. */
constexpr int RandomBlockLength = 768;

/**
 * Uniform numbers of one stream, a block at a time, so that a number costs no call. Stream and
 * block live for one parallel region; the place in the block outlives them.
 */
struct trelRandomNumbers
{
  trelRandomStream* Stream;  ///< null between regions
  double* RandomBlock;       ///< RandomBlockLength uniform numbers, null between regions
  std::int32_t RandomIndex;  ///< next position in RandomBlock; not reset between regions

  /** The next number on [0, 1): the only way in which the transport reads random numbers. */
  double NextRandom()
  {
    const double random = RandomBlock[RandomIndex];
    if (++RandomIndex == RandomBlockLength) RefillRandomBlock();
    return random;
  }

  /** Whether the next @p count numbers stand in the block, the first at GetNext(). */
  bool HasNext(int count) const { return RandomIndex + count <= RandomBlockLength; }
  const double* GetNext() const { return RandomBlock + RandomIndex; }
  /** As @p count calls of NextRandom(), of numbers that stand in the block. */
  void Skip(int count)
  {
    RandomIndex += count;
    if (RandomIndex == RandomBlockLength) RefillRandomBlock();
  }

  /** A number on (0, 1). */
  double NextPositiveRandom()
  {
    double random = NextRandom();
    while (!(random > 0.0))
      random = NextRandom();
    return random;
  }

  /** Makes stream and block, the stream with @p seed, and fills the block; false without memory. */
  bool OpenStream(std::uint32_t seed);
  void CloseStream();

private:
  void RefillRandomBlock();
};

#endif
