#include "trelRunControl.h"

#include <algorithm>

static double SecondsBetween(std::chrono::steady_clock::time_point from,
                             std::chrono::steady_clock::time_point to)
{
  return std::chrono::duration<double>(to - from).count();
}

void trelRunControl::SetMaximumSeconds(double seconds)
{
  MaximumSeconds = seconds;
  Start = Clock::now();
}

void trelRunControl::HeedDeadline()
{
  if (HasDeadline() && SecondsBetween(Start, Clock::now()) >= MaximumSeconds)
    RequestStop(StoppedByTime);
}

void trelRunControl::Begin(std::uint64_t asked, int threads)
{
  Counters = std::vector<trelRunCounter>(static_cast<std::size_t>(threads));
  Expect(asked, -1.0);
  FirstPacket = Clock::now();
  HeedDeadline();
  Running = true;
}

void trelRunControl::Expect(std::uint64_t packets, double relativeError)
{
  Asked.store(packets, std::memory_order_relaxed);
  RelativeError.store(relativeError, std::memory_order_relaxed);
}

void trelRunControl::End()
{
  Running = false;
}

trelRunState trelRunControl::Look() const
{
  trelRunState state;
  state.PacketsAsked = Asked.load(std::memory_order_relaxed);
  state.RelativeError = RelativeError.load(std::memory_order_relaxed);
  for (const trelRunCounter& counter : Counters) {
    state.Packets += counter.Packets.load(std::memory_order_relaxed);
    state.Interactions += counter.Interactions.load(std::memory_order_relaxed);
  }
  const Clock::time_point now = Clock::now();
  state.Seconds = SecondsBetween(FirstPacket, now);
  state.SecondsLeft = FindSecondsLeft(state, now);
  state.IsDone = !IsRunning() && state.Packets == state.PacketsAsked;
  return state;
}

double trelRunControl::FindSecondsLeft(const trelRunState& state, Clock::time_point now) const
{
  double left = -1.0;
  if (state.Packets > 0) left = state.Seconds * (1.0 / state.GetShare() - 1.0);
  if (!HasDeadline()) return left;
  const double atMost = std::max(MaximumSeconds - SecondsBetween(Start, now), 0.0);
  return left < 0.0 ? atMost : std::min(left, atMost);
}
