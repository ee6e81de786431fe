#ifndef trelPacketAudience_h
#define trelPacketAudience_h

#include <vector>

#include "trelPacketObserver.h"

class trelRunPlan;
struct trelExactModel;
struct trelPlannedPacket;

/**
 * @class   trelPacketAudience
 * @brief   has an observer for each thread of a run, or says which of its packets are flown again
 */
class trelPacketAudience
{
public:
  virtual ~trelPacketAudience() = default;

  /** Ahead of the packets. False if it cannot look at them. */
  virtual bool Prepare(const trelExactModel& model, const trelRunPlan& plan, int threads) = 0;
  /** Who looks at the packets that the thread takes next; null for nobody. */
  virtual trelPacketObserver* FindObserver(int thread) = 0;
  /** Whether it cannot go on; the run fails at the end of its batch. */
  virtual bool HasFailed() const { return false; }
  /** While packets rest, and behind them: those from place @p first up to @p end belong to the
   *  results. */
  virtual void Conclude(std::int64_t /*first*/, std::int64_t /*end*/) {}

  /** Where packets are flown again: gives the plan the shares of the run that had them, */
  virtual void AmendPlan(trelRunPlan& /*plan*/) {}
  /** and takes the next of them, a block at a time; false behind the last. The places that an
   *  observer is told are those in the block. */
  virtual bool TakeNext(std::vector<trelPlannedPacket>* /*packets*/) { return false; }
};

#endif
