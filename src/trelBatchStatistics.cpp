#include "trelBatchStatistics.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelMediumResult.h"
#include "trelMemory.h"
#include "trelSimulationResult.h"

/** The domains whose cells are sums of weight. */
static constexpr trelGridDomain summedDomains[] = {GridCW, GridTD, GridFDReal, GridFDImag};

double FindErrorOfMean(double sum, double squares, std::int64_t batches)
{
  // Of one batch alone both are the same product, to the last bit.
  if (batches < 2 || squares == 0.0 || squares == sum * sum)
    return std::numeric_limits<double>::quiet_NaN();
  const auto b = static_cast<double>(batches);
  const double mean = sum / b;
  return std::sqrt(std::max(squares / b - mean * mean, 0.0) / (b - 1.0));
}

double FindErrorOfMean(const std::vector<double>& numbers)
{
  const auto isHit = [](double x) { return x != 0.0; };
  if (std::count_if(numbers.begin(), numbers.end(), isHit) < 2)
    return std::numeric_limits<double>::quiet_NaN();
  const auto n = static_cast<double>(numbers.size());
  double sum = 0.0, squares = 0.0;
  for (const double x : numbers)
    sum += x;
  for (const double x : numbers)
    squares += (x - sum / n) * (x - sum / n);
  return std::sqrt(squares / n / (n - 1.0));
}

trelBatchStatistics::~trelBatchStatistics()
{
  Release();
}

void trelBatchStatistics::Release()
{
  for (trelSimulationResult* result : Scored)
    result->UnRegister();
  if (Squares) Squares->UnRegister();
  Scored.clear();
  Squares = Sum = nullptr;
  SumBlocks.clear();
  SquareBlocks.clear();
  ScoredBlocks.clear();
  Totals.clear();
  TotalSums.clear();
  IsFinished = false;
}

template <class Record, class Visit>
static void VisitGrids(const Record& record, Visit visit)
{
  for (const trelGridDomain domain : summedDomains) {
    for (int id = 0; id < NumberOfGrids; ++id) {
      trelGrid* grid = record.GetGrid(domain, static_cast<trelGridId>(id));
      if (grid) visit(grid->GetCells(), grid->GetNumberOfCells());
    }
  }
}

std::vector<trelNumbers> trelBatchStatistics::ListBlocks(const trelSimulationResult& result)
{
  std::vector<trelNumbers> blocks;
  const auto add = [&](double* cells, std::size_t number) { blocks.push_back({cells, number}); };
  for (int i = 0; const trelMediumResult* record = result.GetMediumResult(i); ++i) {
    VisitGrids(*record, add);
    record->GetAbsorbedTotals().VisitCells(add);
  }
  for (int i = 0; const trelDetectorArrayResult* array = result.GetDetectorArrayResult(i); ++i)
    for (int k = 0; const trelDetectorResult* record = array->GetDetectorResult(k); ++k)
      VisitGrids(*record, add);
  return blocks;
}

/** A result of the same grids, which is held; null if memory is short. */
trelSimulationResult* trelBatchStatistics::Make(trelSimulationParameter& parameter)
{
  auto* result = new trelSimulationResult;
  result->Register();
  if (result->InitializeGrids(&parameter)) return result;
  result->UnRegister();
  return nullptr;
}

/** Results for so many threads, or one for all if memory is short; none if it is too short for
 *  that. */
void trelBatchStatistics::MakeScored(trelSimulationParameter& parameter, int threads)
{
  for (int i = 0; i < threads; ++i) {
    trelSimulationResult* scored = Make(parameter);
    if (!scored) break;
    Scored.push_back(scored);
  }
  if (Scored.size() == static_cast<std::size_t>(threads)) return;
  while (Scored.size() > 1) {
    Scored.back()->UnRegister();
    Scored.pop_back();
  }
}

bool trelBatchStatistics::Prepare(trelSimulationParameter& parameter, trelSimulationResult& sum,
                                  int threads)
{
  Release();
  Threads = threads;
  Sum = &sum;
  SumBlocks = ListBlocks(sum);
  std::size_t bytes = 0;
  for (const trelNumbers& block : SumBlocks)
    bytes += block.Number * sizeof(double);
  const bool hasRoom = bytes <= GetMemoryOfMachine() / 4 / static_cast<std::size_t>(threads);
  Squares = Make(parameter);
  MakeScored(parameter, hasRoom ? threads : 1);
  if (!Squares || Scored.empty()) {
    Release();
    return false;
  }
  SquareBlocks = ListBlocks(*Squares);
  for (const trelSimulationResult* scored : Scored)
    ScoredBlocks.push_back(ListBlocks(*scored));
  return true;
}

/** Adds the cells of all threads into those of the first. */
void trelBatchStatistics::Gather()
{
  for (std::size_t t = 1; t < ScoredBlocks.size(); ++t) {
    for (std::size_t n = 0; n < SumBlocks.size(); ++n) {
      double* first = ScoredBlocks[0][n].First;
      double* cells = ScoredBlocks[t][n].First;
#pragma omp parallel for num_threads(Threads)
      for (std::size_t k = 0; k < SumBlocks[n].Number; ++k) {
        // A cell that is 0 is not written, so that untouched pages stay so.
        if (cells[k] == 0.0) continue;
        first[k] += cells[k];
        cells[k] = 0.0;
      }
    }
  }
}

/** Calls @p visit with each record of the medium and of the detectors. */
template <class Visit>
static void VisitRecords(const trelSimulationResult& result, Visit visit)
{
  for (int i = 0; trelMediumResult* record = result.GetMediumResult(i); ++i)
    visit(*record);
  for (int i = 0; const trelDetectorArrayResult* array = result.GetDetectorArrayResult(i); ++i)
    for (int k = 0; trelDetectorResult* record = array->GetDetectorResult(k); ++k)
      visit(*record);
}

static std::vector<double*> ListTotals(const trelSimulationResult& result)
{
  std::vector<double*> totals;
  VisitRecords(result, [&](auto& record) {
    record.VisitTotals([&](double* first, std::size_t number) {
      for (std::size_t i = 0; i < number; ++i)
        totals.push_back(first + i);
    });
  });
  return totals;
}

void trelBatchStatistics::SumTotals()
{
  const std::vector<double*> scored = ListTotals(*Scored[0]), squares = ListTotals(*Squares);
  for (double* total : scored)
    *total = 0.0;
  VisitRecords(*Scored[0], [](auto& record) { record.SumTotals(); });
  TotalSums.resize(scored.size(), 0.0);
  for (std::size_t i = 0; i < scored.size(); ++i) {
    TotalSums[i] += *scored[i];
    *squares[i] += *scored[i] * *scored[i];
  }
  BatchTotals& totals = Totals.emplace_back();
  for (int i = 0; const trelMediumResult* record = Scored[0]->GetMediumResult(i); ++i) {
    totals.emplace_back();
    for (int total = 0; total < NumberOfTotals; ++total)
      totals.back()[static_cast<std::size_t>(total)] =
          record->GetTotal(static_cast<trelGridTotal>(total));
  }
}

void trelBatchStatistics::TakeBatch()
{
  Gather();
  SumTotals();
  for (std::size_t n = 0; n < SumBlocks.size(); ++n) {
    double* scored = ScoredBlocks[0][n].First;
    double* sums = SumBlocks[n].First;
    double* squares = SquareBlocks[n].First;
#pragma omp parallel for num_threads(Threads)
    for (std::size_t k = 0; k < SumBlocks[n].Number; ++k) {
      const double x = scored[k];
      if (x == 0.0) continue;
      sums[k] += x;
      squares[k] += x * x;
      scored[k] = 0.0;
    }
  }
}

void trelBatchStatistics::PassState(std::int64_t batches, bool hasOpen, trelStateArchive& archive)
{
  Gather();
  archive.Pass("sums", SumBlocks);
  archive.Pass("squares", SquareBlocks);
  if (hasOpen) archive.Pass("open_sums", ScoredBlocks[0]);
  const std::vector<double*> squares = ListTotals(*Squares);
  std::vector<trelNumbers> pieces;
  pieces.reserve(squares.size());
  for (double* total : squares)
    pieces.push_back({total, 1});
  archive.Pass("total_squares", pieces);
  TotalSums.resize(squares.size());
  archive.Pass("total_sums", TotalSums);
  const auto records = static_cast<std::size_t>(Sum->GetMediumResults()->GetNumberOfItems());
  Totals.resize(static_cast<std::size_t>(batches), BatchTotals(records));
  pieces.clear();
  for (BatchTotals& totals : Totals)
    for (auto& numbers : totals)
      pieces.push_back({numbers.data(), numbers.size()});
  archive.Pass("totals_by_batch", pieces);
}

void trelBatchStatistics::Finish()
{
  const std::int64_t batches = GetBatches();
  if (batches == 0) return;
  for (std::size_t n = 0; n < SumBlocks.size(); ++n) {
    double* sums = SumBlocks[n].First;
    double* squares = SquareBlocks[n].First;
    for (std::size_t k = 0; k < SumBlocks[n].Number; ++k) {
      squares[k] = FindErrorOfMean(sums[k], squares[k], batches);
      if (sums[k] != 0.0) sums[k] /= static_cast<double>(batches);
    }
  }
  const std::vector<double*> totals = ListTotals(*Squares);
  for (std::size_t i = 0; i < totals.size(); ++i)
    *totals[i] = FindErrorOfMean(TotalSums[i], *totals[i], batches);
  VisitRecords(*Squares, [](auto& record) { record.FinalizeErrors(); });
  IsFinished = true;
}

double trelBatchStatistics::GetError(std::size_t spectrum, trelGridTotal total) const
{
  std::vector<double> numbers;
  for (const BatchTotals& batch : Totals)
    numbers.push_back(batch[spectrum][total]);
  return FindErrorOfMean(numbers);
}
