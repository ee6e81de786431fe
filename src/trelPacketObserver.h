#ifndef trelPacketObserver_h
#define trelPacketObserver_h

#include <cstddef>
#include <cstdint>

#include "trelLedger.h"
#include "trelVector.h"

struct trelExactPacket;

/** A launched packet: the entry of the plan, its number there, and how many the run launches ahead
 *  of it. */
struct trelObservedPacket
{
  std::size_t Entry;
  std::int64_t Number;
  std::int64_t Place;
};

/** What a packet was ahead of a step, but for what it still is. */
struct trelStepStart
{
  trelVector Direction;
  std::int32_t Tissue;
  std::uint32_t Interactions;
  double Settled;
};

/** Where a packet left the medium or was collected. */
struct trelExitPlace
{
  std::int32_t Detector;  ///< the fibre, from 1; 0 for none
  std::int32_t Face;      ///< of the medium, from 1; 0 for a fibre that it met inside
};

/**
 * @class   trelPacketObserver
 * @brief   is told of all that happens to the packets of one thread
 *
 * Packets with an observer take the same steps in a loop of their own, so that the others pay for
 * none. An emission starts within the step of the excitation whose end it comes from, and ends
 * within it.
 */
class trelPacketObserver
{
public:
  virtual ~trelPacketObserver() = default;

  /** A packet is launched, if it meets the medium, */
  virtual void Begin(const trelObservedPacket& packet) = 0;
  /** and it and its emissions are over. */
  virtual void Finish() {}
  /** A packet of the source, or of an emission, stands where it starts. */
  virtual void Start(const trelExactPacket& packet) = 0;
  /** It has gone straight to where it is, and what happens there has happened. */
  virtual void Step(const trelStepStart& before, const trelExactPacket& after) = 0;
  /** It leaves the medium, in its new direction, or meets a fibre; ahead of Step(). */
  virtual void Leave(const trelExactPacket& packet, const trelExitPlace& exit) = 0;
  /** It ends in the medium; ahead of Step(). */
  virtual void End(const trelExactPacket& /*packet*/, trelLedgerPart /*part*/) {}
};

#endif
