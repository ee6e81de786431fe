#include "trelLedgerBatches.h"

#include "trelStandardErrors.h"
#include "trelStateArchive.h"

void trelLedgerBatches::Prepare(const trelLedger& ledger)
{
  Rows.clear();
  NumberOfSpectra = ledger.Records.size();
  NumberOfLines = NumberOfSpectra == 0 ? 0 : ledger.List(0).size();
}

void trelLedgerBatches::Take(const trelLedger& batch)
{
  std::vector<double>& row = Rows.emplace_back();
  for (std::size_t i = 0; i < batch.Records.size(); ++i)
    for (const trelLedgerLine& line : batch.List(i))
      row.insert(row.end(), {line.Weight, line.Time, line.Path});
}

std::vector<double> trelLedgerBatches::List(std::size_t spectrum, std::size_t line,
                                            Quantities quantity) const
{
  std::vector<double> numbers;
  numbers.reserve(Rows.size());
  for (std::int64_t batch = 0; batch < GetBatches(); ++batch)
    numbers.push_back(Get(batch, spectrum, line, quantity));
  return numbers;
}

double trelLedgerBatches::FindError(std::size_t spectrum, std::size_t line) const
{
  return ::FindErrorOfMean(List(spectrum, line, Weight));
}

double trelLedgerBatches::FindErrorOfMean(std::size_t spectrum, std::size_t line,
                                          Quantities quantity) const
{
  return FindErrorOfRatio(List(spectrum, line, quantity), List(spectrum, line, Weight));
}

void trelLedgerBatches::PassState(std::int64_t batches, trelStateArchive& archive)
{
  archive.PassRows("ledger_by_batch", batches, NumberOfSpectra * NumberOfLines * NumberOfQuantities,
                   Rows);
}
