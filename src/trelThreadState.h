#ifndef trelThreadState_h
#define trelThreadState_h

#include <cstdint>

#include "trelPacket.h"
#include "trelPacketScores.h"
#include "trelRandomNumbers.h"

class trelDetectorArrayResult;
class trelPhoton;

/**
 * The working set of one thread, zero at thread start, private to it; nothing copies a value into
 * another thread's. Everything but the stream and the block, which live for one parallel region,
 * survives packets and regions.
 *
 * A trace loads its packet from here and from trelPhoton, and stores it when it ends: in between
 * the values here are old. Operations by name read and write them, a step at a time.
 */
struct ThreadState : trelRandomNumbers, trelPacketScores
{
  std::int32_t BoundaryFace;  ///< face of the shape that the last intersection hit
  std::int32_t NextTissue;    ///< tissue behind the boundary, -1 for outside
  // What a boundary has decided and whether a deposit takes a share only: settled within a step, so
  // that between steps they are false, false and true.
  bool ReflectPending;
  bool TransmitPending;
  bool PartialAbsorption;
  double SourceWeight;                              ///< weight of the packet as launched
  trelPhoton* Photon;                               ///< the thread's packet, null between regions
  std::int32_t CurrentLuminousType;                 ///< of the light source; set on the master only
  trelDetectorArrayResult* SpectrumDetectorResult;  ///< record of the current spectrum
  double NormalZ, NormalX, NormalY;  ///< normal at the last boundary, along the travel
  double IndexNext, IndexHere;       ///< refractive indices behind and before the last boundary
  double TransmitAngle;  ///< rad; of the last transmission through a change of index, 0 before it
  /** Index of the fibre detector that the step reached, -1 before. One for each thread, so that it
   *  stays between the test that finds it and the score that uses it. */
  std::int32_t CurrentDetector;
  bool Master;                   ///< this is thread 0 of its team
  std::uint64_t FailedLaunches;  ///< of this thread in the current region

  /** The thread's packet with all that outlives packets, but not yet placed in its tissue. */
  trelPacket LoadPacket() const;
  void StorePacket(const trelPacket& packet);
};

/** The calling thread's own state. */
ThreadState& GetThreadState();

#endif
