#include "trelLedgerBatches.h"

#include "trelStandardErrors.h"

void trelLedgerBatches::Take(const trelLedger& batch)
{
  std::vector<std::vector<double>>& spectra = Weights.emplace_back(batch.Records.size());
  for (std::size_t i = 0; i < spectra.size(); ++i)
    for (const trelLedgerLine& line : batch.List(i))
      spectra[i].push_back(line.Weight);
}

double trelLedgerBatches::FindError(std::size_t spectrum, std::size_t line) const
{
  std::vector<double> numbers;
  for (const std::vector<std::vector<double>>& batch : Weights)
    numbers.push_back(batch[spectrum][line]);
  return FindErrorOfMean(numbers);
}
