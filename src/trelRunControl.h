#ifndef trelRunControl_h
#define trelRunControl_h

#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

/** How far a run has come. */
struct trelRunState
{
  std::uint64_t Packets = 0;      ///< flown
  std::uint64_t PacketsHere = 0;  ///< of them, those of this process
  std::uint64_t PacketsAsked = 0;
  std::uint64_t Interactions = 0;
  double Seconds = 0.0;       ///< since the first packet
  double SecondsLeft = -1.0;  ///< at the mean rate so far, until the deadline at most; -1: unknown
  double RelativeError = -1.0;  ///< of the total that is watched; -1: unknown
  bool IsDone = false;          ///< all packets asked for are flown, and the run is over

  double GetShare() const
  {
    return PacketsAsked == 0 ? 1.0
                             : static_cast<double>(Packets) / static_cast<double>(PacketsAsked);
  }
  /** A count a second. */
  double GetRate(std::uint64_t count) const
  {
    return Seconds > 0.0 ? static_cast<double>(count) / Seconds : 0.0;
  }
};

/** What one thread has done of a run. It alone writes, whoever wants to reads. On a cache line of
 *  its own, so that threads do not slow each other down. */
struct alignas(64) trelRunCounter
{
  std::atomic<std::uint64_t> Packets{0};
  std::atomic<std::uint64_t> Interactions{0};

  /** Counts a packet at its end; with one writer that takes no locked instruction. */
  void CountPacket(std::uint64_t interactions)
  {
    constexpr auto relaxed = std::memory_order_relaxed;
    Packets.store(Packets.load(relaxed) + 1, relaxed);
    Interactions.store(Interactions.load(relaxed) + interactions, relaxed);
  }
};

/**
 * @class   trelRunControl
 * @brief   ends a run early, and tells how far it has come while it goes on
 *
 * Made by whoever starts the run, for one run, and asked by its packets: a stop is heeded at the
 * next packet of each thread. RequestStop() and IsRunning() may be called by the handler of a
 * signal, Look() by any thread while the run goes on.
 */
class trelRunControl
{
public:
  /** Why a run is to end; the number of a signal is a reason, too. */
  enum Reasons
  {
    NotStopped = 0,
    StoppedByTime = -1
  };

  /** Asks the run to end. The first reason stays. */
  void RequestStop(int reason)
  {
    int none = NotStopped;
    Reason.compare_exchange_strong(none, reason, std::memory_order_relaxed);
  }
  bool IsStopRequested() const { return GetReason() != NotStopped; }
  int GetReason() const { return Reason.load(std::memory_order_relaxed); }

  /** The packets are to rest every @p seconds, above 0, from now on; 0: never. */
  void SetPauseSeconds(double seconds);
  /** Whether packets are to end: the run's, or for a rest. */
  bool IsHaltRequested() const
  {
    return IsStopRequested() || PauseRequested.load(std::memory_order_relaxed);
  }
  /** Whether a rest was asked for, which begins now. */
  bool TakePause() { return PauseRequested.exchange(false, std::memory_order_relaxed); }

  /** The run is to end @p seconds from now, above 0. Not while it goes on. */
  void SetMaximumSeconds(double seconds);
  bool HasDeadline() const { return MaximumSeconds > 0.0; }
  bool HasTimes() const { return HasDeadline() || PauseSeconds > 0.0; }
  /** Requests the stop if the deadline has passed, and a rest if it is due. */
  void HeedTimes();

  /** From here to End() packets fly: @p asked on @p threads threads, of which @p before have been
   *  flown. May run out of memory. */
  void Begin(std::uint64_t asked, std::uint64_t before, int threads);
  void End();
  bool IsRunning() const { return Running.load(std::memory_order_relaxed); }

  /** While the run goes on, by its main thread: how many packets it will take as far as is known by
   *  now, and how sure it is, -1 if that cannot be told. */
  void Expect(std::uint64_t packets, double relativeError);

  /** The counter of a thread, from 0, of those that Begin() was told of. */
  trelRunCounter& GetCounter(int thread) { return Counters[static_cast<std::size_t>(thread)]; }
  trelRunState Look() const;

private:
  using Clock = std::chrono::steady_clock;

  double FindSecondsLeft(const trelRunState& state, Clock::time_point now) const;

  std::atomic<int> Reason{NotStopped};
  std::atomic<bool> Running{false};
  std::atomic<bool> PauseRequested{false};
  static_assert(std::atomic<int>::is_always_lock_free, "a handler must not wait for a lock");
  double MaximumSeconds = 0.0;  ///< from Start; 0: no deadline
  Clock::time_point Start;
  /** Written while the packets rest, and read by the clock's thread. */
  std::atomic<double> PauseSeconds{0.0};
  std::atomic<Clock::time_point> LastPause{};
  Clock::time_point FirstPacket;
  std::uint64_t Before = 0;
  std::atomic<std::uint64_t> Asked{0};
  std::atomic<double> RelativeError{-1.0};
  std::vector<trelRunCounter> Counters;
};

#endif
