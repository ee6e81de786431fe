#include "trelStandardErrors.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "trelGridWindow.h"

static constexpr double none = std::numeric_limits<double>::quiet_NaN();

/** Whether these are the sums of numbers of which two are not 0. Of one alone both are the same
 *  product, to the last bit. */
static bool AreOfSeveral(double sum, double squares)
{
  return squares != 0.0 && squares != sum * sum;
}

double FindErrorOfMean(double sum, double squares, std::int64_t batches)
{
  if (batches < 2 || !AreOfSeveral(sum, squares)) return none;
  const auto b = static_cast<double>(batches);
  const double mean = sum / b;
  return std::sqrt(std::max(squares / b - mean * mean, 0.0) / (b - 1.0));
}

static bool HasSeveral(const std::vector<double>& numbers)
{
  const auto isHit = [](double x) { return x != 0.0; };
  return std::count_if(numbers.begin(), numbers.end(), isHit) >= 2;
}

double FindErrorOfMean(const std::vector<double>& numbers)
{
  if (!HasSeveral(numbers)) return none;
  const auto n = static_cast<double>(numbers.size());
  const double mean = std::accumulate(numbers.begin(), numbers.end(), 0.0) / n;
  double squares = 0.0;
  for (const double x : numbers)
    squares += (x - mean) * (x - mean);
  return std::sqrt(squares / n / (n - 1.0));
}

double FindErrorOfRatio(const std::vector<double>& numerators,
                        const std::vector<double>& denominators)
{
  if (!HasSeveral(denominators)) return none;
  const double all = std::accumulate(denominators.begin(), denominators.end(), 0.0);
  const double ratio = std::accumulate(numerators.begin(), numerators.end(), 0.0) / all;
  double squares = 0.0;
  for (std::size_t i = 0; i < numerators.size(); ++i) {
    const double apart = numerators[i] - ratio * denominators[i];
    squares += apart * apart;
  }
  const auto n = static_cast<double>(numerators.size());
  return std::sqrt(squares * n / (n - 1.0)) / std::fabs(all);
}

trelPolarErrors FindPolarErrors(const trelComplexSums& sums, std::int64_t batches)
{
  const bool isHit =
      AreOfSeveral(sums.Real, sums.RealSquares) || AreOfSeveral(sums.Imag, sums.ImagSquares);
  const auto b = static_cast<double>(batches);
  const double real = sums.Real / b, imag = sums.Imag / b;
  const double square = real * real + imag * imag;
  if (batches < 2 || !isHit || square == 0.0) return {none, none};
  const double ofReal = sums.RealSquares / b - real * real;
  const double ofImag = sums.ImagSquares / b - imag * imag;
  const double ofBoth = sums.Products / b - real * imag;
  const double along = real * real * ofReal + 2.0 * real * imag * ofBoth + imag * imag * ofImag;
  const double across = imag * imag * ofReal - 2.0 * real * imag * ofBoth + real * real * ofImag;
  const auto root = [&](double variance) { return std::sqrt(std::max(variance, 0.0) / (b - 1.0)); };
  return {root(along / square), root(across / square) / std::sqrt(square) / RadiansPerDegree};
}
