#ifndef trelLedgerBatches_h
#define trelLedgerBatches_h

#include <cstdint>
#include <vector>

#include "trelLedger.h"

/**
 * @class   trelLedgerBatches
 * @brief   all lines of the ledgers of batches, and the errors of their means
 *
 * A batch is a row of numbers: by wavelength index, line and quantity.
 */
class trelLedgerBatches
{
public:
  /** What a line has in a batch. */
  enum Quantities
  {
    Weight,
    Time,  ///< times weight, ps
    Path,  ///< times weight, mm
    NumberOfQuantities
  };

  /** No batches, of ledgers like this one. May throw. */
  void Prepare(const trelLedger& ledger);
  /** May throw. */
  void Take(const trelLedger& batch);
  std::int64_t GetBatches() const { return static_cast<std::int64_t>(Rows.size()); }
  /** How many lines each wavelength has. */
  std::size_t GetNumberOfLines() const { return NumberOfLines; }
  std::size_t GetNumberOfSpectra() const { return NumberOfSpectra; }

  double Get(std::int64_t batch, std::size_t spectrum, std::size_t line,
             Quantities quantity = Weight) const
  {
    return Rows[static_cast<std::size_t>(batch)]
               [(spectrum * NumberOfLines + line) * NumberOfQuantities + quantity];
  }
  /** All batches of a line, by its place. May throw. */
  std::vector<double> List(std::size_t spectrum, std::size_t line,
                           Quantities quantity = Weight) const;
  /** The standard errors of the mean weight of a line, by its place, NaN unless two batches have
   *  it, and of the mean of a quantity over the weight. */
  double FindError(std::size_t spectrum, std::size_t line) const;
  double FindErrorOfMean(std::size_t spectrum, std::size_t line, Quantities quantity) const;

  /** Passes the weights of @p batches batches. May throw. */
  void PassState(std::int64_t batches, trelStateArchive& archive);

private:
  std::size_t NumberOfLines = 0;
  std::size_t NumberOfSpectra = 0;
  std::vector<std::vector<double>> Rows;
};

#endif
