#ifndef trelRandomStream_h
#define trelRandomStream_h

#include <cstdint>

/**
 * @file trelRandomStream.h
 * The 59-bit multiplicative congruential generator MCG59: x(n+1) = 13^13 x(n) mod 2^59 and
 * u(n) = x(n) / 2^59, of period 2^57 for an odd seed. Analysis of such generators: Knuth, The Art
 * of Computer Programming, volume 2, section 3.2.1.
 */

/** One stream of the generator. */
struct trelRandomStream
{
  std::uint64_t State;  ///< x(n), below 2^59
};

/** The code of MCG59 for vslNewStream(). */
constexpr int GeneratorMCG59 = 0x400000;

/** Makes a stream that starts at @p seed, or at 1 if the seed is 0. 0 for success, -1 if @p
 * generator is another one or there is no memory; the stream is null then. */
int vslNewStream(trelRandomStream** stream, int generator, std::uint32_t seed);

/**
 * Fills @p block with @p count numbers, uniform on [a, b); the first is the state as it stands.
 * @p method is 0, the only one there is. A quotient that rounds up to 1 becomes the largest double
 * below 1. Returns 0.
 */
int vdRngUniform(int method, trelRandomStream* stream, int count, double* block, double a,
                 double b);

/** Destroys the stream and sets the pointer to null. Returns 0. */
int vslDeleteStream(trelRandomStream** stream);

#endif
