#ifndef trelStandardErrors_h
#define trelStandardErrors_h

#include <cstdint>
#include <vector>

/**
 * @file trelStandardErrors.h
 * The standard errors of means over batches, each a run of its own with all the energy. NaN unless
 * two batches or more have something that is not 0: one hit does not tell how rare hits are.
 */

/** Of the mean of @p batches numbers, from their sum and that of their squares. */
double FindErrorOfMean(double sum, double squares, std::int64_t batches);
/** The same from the numbers themselves, which keeps all digits. */
double FindErrorOfMean(const std::vector<double>& numbers);

/** Of the ratio of two sums over the batches, for which <x - R y> = 0: with the covariance of both
 *  (W. G. Cochran, Sampling Techniques, 1977, ch. 6). */
double FindErrorOfRatio(const std::vector<double>& numerators,
                        const std::vector<double>& denominators);

/** What is known of a complex number in the batches: the sums of its parts, of their squares and of
 *  their product. */
struct trelComplexSums
{
  double Real, Imag;
  double RealSquares, ImagSquares;
  double Products;
};
/** The errors of amplitude and phase, degrees, of a complex mean, to first order in those of its
 *  parts, with their covariance. */
struct trelPolarErrors
{
  double Amplitude, Phase;
};
trelPolarErrors FindPolarErrors(const trelComplexSums& sums, std::int64_t batches);

#endif
