#include "trelLedgerBatches.h"

#include <algorithm>

#include "trelBatchStatistics.h"
#include "trelStateArchive.h"

void trelLedgerBatches::Prepare(const trelLedger& ledger)
{
  Lines = ledger.Records.empty() ? 0 : ledger.List(0).size();
  Row = std::max<std::size_t>(ledger.Records.size() * Lines, 1);
  Weights.clear();
}

void trelLedgerBatches::Take(const trelLedger& batch)
{
  for (std::size_t i = 0; i < batch.Records.size(); ++i)
    for (const trelLedgerLine& line : batch.List(i))
      Weights.push_back(line.Weight);
}

double trelLedgerBatches::FindError(std::size_t spectrum, std::size_t line) const
{
  std::vector<double> numbers;
  for (std::int64_t batch = 0; batch < GetBatches(); ++batch)
    numbers.push_back(GetWeight(batch, spectrum, line));
  return FindErrorOfMean(numbers);
}

void trelLedgerBatches::PassState(std::int64_t batches, trelStateArchive& archive)
{
  Weights.resize(static_cast<std::size_t>(batches) * Row);
  archive.Pass("ledger_by_batch", Weights);
}
