#include "trelRandomStream.h"

#include <algorithm>
#include <new>

int vslNewStream(trelRandomStream** stream, int generator, std::uint32_t seed)
{
  *stream = nullptr;
  if (generator != GeneratorMCG59) return -1;
  *stream = new (std::nothrow) trelRandomStream{seed ? seed : 1u};
  return *stream ? 0 : -1;
}

int vdRngUniform(int /*method*/, trelRandomStream* stream, int count, double* block, double a,
                 double b)
{
  constexpr std::uint64_t multiplier = 302875106592253u;  // 13^13
  constexpr std::uint64_t mask = (std::uint64_t{1} << 59) - 1;
  constexpr double scale = 1.0 / static_cast<double>(std::uint64_t{1} << 59);
  constexpr double largestBelowOne = 1.0 - 1.0 / 9007199254740992.0;
  std::uint64_t state = stream->State;
#pragma GCC unroll 4
  for (int i = 0; i < count; ++i) {
    // The state has 59 bits and a double 53: the highest 32 states would round to 1. Converted as a
    // signed number, which takes one instruction, it has the same value.
    const double u = static_cast<double>(static_cast<std::int64_t>(state)) * scale;
    block[i] = std::min(u, largestBelowOne);
    state = (state * multiplier) & mask;
  }
  stream->State = state;
  if (a == 0.0 && b == 1.0) return 0;
  for (int i = 0; i < count; ++i)
    block[i] = a + (b - a) * block[i];
  return 0;
}

int vslDeleteStream(trelRandomStream** stream)
{
  delete *stream;
  *stream = nullptr;
  return 0;
}
