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

void trelRunControl::SetPauseSeconds(double seconds)
{
  LastPause = Clock::now();
  PauseSeconds = seconds;
}

void trelRunControl::HeedTimes()
{
  const Clock::time_point now = Clock::now();
  if (HasDeadline() && SecondsBetween(Start, now) >= MaximumSeconds) RequestStop(StoppedByTime);
  if (PauseSeconds > 0.0 && SecondsBetween(LastPause, now) >= PauseSeconds) PauseRequested = true;
}

void trelRunControl::Begin(std::uint64_t asked, std::uint64_t before, int threads)
{
  Counters = std::vector<trelRunCounter>(static_cast<std::size_t>(threads));
  Before = before;
  Expect(asked, -1.0);
  FirstPacket = Clock::now();
  SetPauseSeconds(PauseSeconds);
  HeedTimes();
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
    state.PacketsHere += counter.Packets.load(std::memory_order_relaxed);
    state.Interactions += counter.Interactions.load(std::memory_order_relaxed);
  }
  state.Packets = Before + state.PacketsHere;
  const Clock::time_point now = Clock::now();
  state.Seconds = SecondsBetween(FirstPacket, now);
  state.SecondsLeft = FindSecondsLeft(state, now);
  state.IsDone = !IsRunning() && state.Packets == state.PacketsAsked;
  return state;
}

double trelRunControl::FindSecondsLeft(const trelRunState& state, Clock::time_point now) const
{
  double left = -1.0;
  if (state.PacketsHere > 0) {
    const double missing = static_cast<double>(Asked) - static_cast<double>(state.Packets);
    left = state.Seconds * std::max(missing, 0.0) / static_cast<double>(state.PacketsHere);
  }
  if (!HasDeadline()) return left;
  const double atMost = std::max(MaximumSeconds - SecondsBetween(Start, now), 0.0);
  return left < 0.0 ? atMost : std::min(left, atMost);
}
