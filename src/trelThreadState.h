#ifndef trelThreadState_h
#define trelThreadState_h

#include <cstdint>

#include "trelRandomStream.h"

class trelDetectorArrayResult;
class trelMediumResult;
class trelPhoton;
struct trelScoreTable;

/** Length of a thread's block of random numbers. */
constexpr int RandomBlockLength = 768;

/**
 * The working set of one thread: what the functions of a packet's step share. One per thread, zero
 * at thread start, private to it; nothing copies a value into another thread's. Everything but the
 * stream and the block, which live for one parallel region, survives packets and regions.
 */
struct ThreadState
{
  std::int32_t BoundaryFace;  ///< face of the shape that the last intersection hit
  trelRandomStream* Stream;   ///< the thread's stream, null between regions
  std::int32_t NextTissue;    ///< tissue behind the boundary, -1 for outside
  bool ReflectPending;        ///< the boundary reflects; consumed after the hop
  bool TransmitPending;       ///< the boundary transmits; consumed after the hop
  bool PartialAbsorption;     ///< false: the next deposit takes the whole weight (lost roulette)
  double SourceWeight;        ///< weight of the packet as launched; scoring multiplies by it
  trelPhoton* Photon;         ///< the thread's packet
  trelMediumResult* SpectrumMediumResult;           ///< record of the current spectrum
  std::int32_t CurrentLuminousType;                 ///< of the light source; set on the master only
  trelDetectorArrayResult* SpectrumDetectorResult;  ///< record of the current spectrum
  double NormalZ, NormalX, NormalY;  ///< normal at the last boundary, along the travel
  double IndexNext, IndexHere;       ///< refractive indices behind and before the last boundary
  double TransmitAngle;  ///< rad; of the last transmission through a change of index, 0 before it
  double* RandomBlock;   ///< RandomBlockLength uniform numbers, null between regions
  std::int32_t RandomIndex;  ///< next position in RandomBlock; not reset between regions

  const trelScoreTable* Scores;       ///< the grids of SpectrumMediumResult, flat
  const trelScoreTable* FiberScores;  ///< those of SpectrumDetectorResult, by detector
  /** Index of the fibre detector that the step reached, -1 before. Between the test that finds it
   *  and the score that needs it no other thread may put its own here, so each has one. */
  std::int32_t CurrentDetector;
  bool OneThread;                ///< the team is this thread alone: no atomic adds
  bool Master;                   ///< this is thread 0 of its team
  std::uint64_t FailedLaunches;  ///< of this thread in the current region
  std::uint64_t EndedByLimit;    ///< packets of this thread in this region, after too many steps

  /** The next uniform number on [0, 1): the only way in which the transport reads random numbers.
   */
  double NextRandom()
  {
    const double random = RandomBlock[RandomIndex];
    if (++RandomIndex == RandomBlockLength) RefillRandomBlock();
    return random;
  }

  /** A uniform number on (0, 1). */
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

/** The calling thread's own state. */
ThreadState& GetThreadState();

#endif
