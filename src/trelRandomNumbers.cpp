#include "trelRandomNumbers.h"

#include <new>

bool trelRandomNumbers::OpenStream(std::uint32_t seed)
{
  RandomBlock = new (std::nothrow) double[RandomBlockLength];
  if (!RandomBlock || vslNewStream(&Stream, GeneratorMCG59, seed) != 0) {
    CloseStream();
    return false;
  }
  vdRngUniform(0, Stream, RandomBlockLength, RandomBlock, 0.0, 1.0);
  return true;
}

void trelRandomNumbers::CloseStream()
{
  delete[] RandomBlock;
  RandomBlock = nullptr;
  vslDeleteStream(&Stream);
}

void trelRandomNumbers::RefillRandomBlock()
{
  RandomIndex = 0;
  vdRngUniform(0, Stream, RandomBlockLength, RandomBlock, 0.0, 1.0);
}
