#include "trelThreadState.h"

#include <new>

static thread_local ThreadState State;

ThreadState& GetThreadState()
{
  return State;
}

bool ThreadState::OpenStream(std::uint32_t seed)
{
  RandomBlock = new (std::nothrow) double[RandomBlockLength];
  if (!RandomBlock || vslNewStream(&Stream, GeneratorMCG59, seed) != 0) {
    CloseStream();
    return false;
  }
  vdRngUniform(0, Stream, RandomBlockLength, RandomBlock, 0.0, 1.0);
  return true;
}

void ThreadState::CloseStream()
{
  delete[] RandomBlock;
  RandomBlock = nullptr;
  vslDeleteStream(&Stream);
}

void ThreadState::RefillRandomBlock()
{
  RandomIndex = 0;
  vdRngUniform(0, Stream, RandomBlockLength, RandomBlock, 0.0, 1.0);
}
