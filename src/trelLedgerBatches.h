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
  /** No batches, of ledgers like @p ledger. */
  void Prepare(const trelLedger& ledger);
  /** May throw. */
  void Take(const trelLedger& batch);
  std::int64_t GetBatches() const { return static_cast<std::int64_t>(Weights.size() / Row); }
  double GetWeight(std::int64_t batch, std::size_t spectrum, std::size_t line) const
  {
    return Weights[static_cast<std::size_t>(batch) * Row + spectrum * Lines + line];
  }
  /** The standard error of the mean of a line, by its place; NaN unless two batches have it. */
  double FindError(std::size_t spectrum, std::size_t line) const;

  /** Passes the weights of @p batches batches. May throw. */
  void PassState(std::int64_t batches, trelStateArchive& archive);

private:
  std::size_t Lines = 0;  ///< of a wavelength
  std::size_t Row = 1;    ///< of all wavelengths
  /** By batch, wavelength index and line. */
  std::vector<double> Weights;
};

#endif
