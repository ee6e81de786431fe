#ifndef trelLedgerBatches_h
#define trelLedgerBatches_h

#include <cstdint>
#include <vector>

#include "trelLedger.h"

/**
 * @class   trelLedgerBatches
 * @brief   the weights of all lines of the ledgers of batches, and the errors of their means
 */
class trelLedgerBatches
{
public:
  /** May throw. */
  void Take(const trelLedger& batch);
  std::int64_t GetBatches() const { return static_cast<std::int64_t>(Weights.size()); }
  double GetWeight(std::int64_t batch, std::size_t spectrum, std::size_t line) const
  {
    return Weights[static_cast<std::size_t>(batch)][spectrum][line];
  }
  /** The standard error of the mean of a line, by its place; NaN unless two batches have it. */
  double FindError(std::size_t spectrum, std::size_t line) const;

private:
  /** By batch, wavelength index and line. */
  std::vector<std::vector<std::vector<double>>> Weights;
};

#endif
