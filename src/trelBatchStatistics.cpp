#include "trelBatchStatistics.h"

#include <algorithm>

#include "trelMemory.h"

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
  Pairs.clear();
  Projections.Clear();
  Cameras.Clear();
  IsFinished = false;
  Kept.clear();
}

/** Calls @p visit with the grids of a record whose cells are sums of weight, in one order. */
template <class Record, class Visit>
static void VisitGrids(const Record& record, Visit visit)
{
  for (const trelGridDomain domain : SummedDomains) {
    for (int id = 0; id < NumberOfGrids; ++id) {
      if (trelGrid* grid = record.GetGrid(domain, static_cast<trelGridId>(id)))
        visit(domain, static_cast<trelGridId>(id), *grid);
    }
  }
}

template <class Visit>
static void VisitOtherCells(const trelMediumResult& record, Visit visit)
{
  record.GetAbsorbedTotals().VisitCells(visit);
}

template <class Visit>
static void VisitOtherCells(const trelDetectorResult&, Visit)
{
}

std::vector<trelNumbers> trelBatchStatistics::ListBlocks(const trelSimulationResult& result)
{
  std::vector<trelNumbers> blocks;
  const auto add = [&](double* cells, std::size_t number) { blocks.push_back({cells, number}); };
  VisitRecords(result, [&](const auto& record, const trelRecordOwner&) {
    VisitGrids(record, [&](trelGridDomain, trelGridId, trelGrid& grid) {
      add(grid.GetCells(), grid.GetNumberOfCells());
    });
    VisitOtherCells(record, add);
  });
  return blocks;
}

/** Finds the pairs by their cells. */
void trelBatchStatistics::ListPairs()
{
  const auto find = [&](const trelGrid& grid) {
    const auto isOf = [&](const trelNumbers& block) { return block.First == grid.GetCells(); };
    return static_cast<std::size_t>(std::find_if(SquareBlocks.begin(), SquareBlocks.end(), isOf) -
                                    SquareBlocks.begin());
  };
  VisitRecords(*Squares, [&](const auto& record, const trelRecordOwner&) {
    VisitGrids(record, [&](trelGridDomain domain, trelGridId id, const trelGrid& real) {
      if (domain != GridFDReal || real.GetNumberOfCells() == 0) return;
      Pairs.push_back({find(real), find(*record.GetGrid(GridFDImag, id)),
                       record.GetGrid(GridFDAmp, id)->GetCells(),
                       record.GetGrid(GridFDPha, id)->GetCells()});
    });
  });
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
  ListPairs();
  Projections.Prepare(sum);
  for (const trelSimulationResult* scored : Scored)
    ScoredBlocks.push_back(ListBlocks(*scored));
  return true;
}

void trelBatchStatistics::SetCameras(std::vector<trelCameraCells> cameras)
{
  Cameras.Prepare(std::move(cameras),
                  static_cast<std::size_t>(Sum->GetMediumResults()->GetNumberOfItems()));
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

void trelBatchStatistics::AddProducts()
{
  for (const Pair& pair : Pairs) {
    const double* real = ScoredBlocks[0][pair.Real].First;
    const double* imag = ScoredBlocks[0][pair.Imag].First;
#pragma omp parallel for num_threads(Threads)
    for (std::size_t k = 0; k < SumBlocks[pair.Real].Number; ++k)
      if (real[k] != 0.0) pair.Products[k] += real[k] * imag[k];
  }
}

void trelBatchStatistics::KeepCells()
{
  std::vector<double>& cells = Kept.emplace_back();
  cells.reserve(CountNumbers(SumBlocks));
  for (const trelNumbers& block : ScoredBlocks[0])
    cells.insert(cells.end(), block.First, block.First + block.Number);
}

std::int64_t trelBatchStatistics::GetMostBatches() const
{
  const std::int64_t most = Projections.GetMostBatches();
  if (!KeepsBatches) return most;
  const std::size_t bytes = CountNumbers(SumBlocks) * sizeof(double) + 1;
  const auto kept = std::min(GetMemoryOfMachine(), SIZE_MAX / 2) / 4 / bytes;
  return std::min(most, static_cast<std::int64_t>(kept));
}

const trelSimulationResult& trelBatchStatistics::LoadBatch(std::int64_t batch) const
{
  const double* cells = Kept[static_cast<std::size_t>(batch)].data();
  for (const trelNumbers& block : ScoredBlocks[0]) {
    std::copy_n(cells, block.Number, block.First);
    cells += block.Number;
  }
  VisitRecords(*Scored[0], [](auto& record, const trelRecordOwner&) { record.FinalizeErrors(); });
  return *Scored[0];
}

/** The totals of the batch stand in its records, from which the next batch takes them away. */
static void SumTotals(const trelSimulationResult& batch)
{
  VisitRecords(batch, [](auto& record, const trelRecordOwner&) {
    record.VisitTotals([](double* first, std::size_t number) { std::fill_n(first, number, 0.0); });
    record.SumTotals();
  });
}

void trelBatchStatistics::TakeBatch()
{
  Gather();
  SumTotals(*Scored[0]);
  Projections.Take(*Scored[0]);
  Cameras.Take(*Scored[0]);
  if (KeepsBatches) KeepCells();
  AddProducts();
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
  std::vector<trelNumbers> pieces;
  pieces.reserve(Pairs.size());
  for (const Pair& pair : Pairs)
    pieces.push_back({pair.Products, SumBlocks[pair.Real].Number});
  archive.Pass("products", pieces);
  Projections.PassState(batches, archive);
  Cameras.PassState(batches, archive);
  if (KeepsBatches) archive.PassRows("cells_by_batch", batches, CountNumbers(SumBlocks), Kept);
}

/** Amplitude and phase, of whose parts the sums are there still. */
void trelBatchStatistics::FinishPair(const Pair& pair)
{
  const double* real = SumBlocks[pair.Real].First;
  const double* imag = SumBlocks[pair.Imag].First;
  const double* realSquares = SquareBlocks[pair.Real].First;
  const double* imagSquares = SquareBlocks[pair.Imag].First;
  for (std::size_t k = 0; k < SumBlocks[pair.Real].Number; ++k) {
    const trelComplexSums sums = {real[k], imag[k], realSquares[k], imagSquares[k],
                                  pair.Products[k]};
    const trelPolarErrors errors = FindPolarErrors(sums, GetBatches());
    pair.Products[k] = errors.Amplitude;
    pair.Phase[k] = errors.Phase;
  }
}

/** The errors of all totals of all records, in the order of the numbers of a batch. */
void trelBatchStatistics::FinishTotals()
{
  std::size_t next = 0;
  VisitRecords(*Squares, [&](auto& record, const trelRecordOwner&) {
    record.VisitTotals([&](double* totals, std::size_t number) {
      for (std::size_t i = 0; i < number; ++i)
        totals[i] = Projections.FindError(next++);
    });
  });
}

void trelBatchStatistics::Finish()
{
  const std::int64_t batches = GetBatches();
  if (batches == 0) return;
  for (const Pair& pair : Pairs)
    FinishPair(pair);
  for (std::size_t n = 0; n < SumBlocks.size(); ++n) {
    double* sums = SumBlocks[n].First;
    double* squares = SquareBlocks[n].First;
    for (std::size_t k = 0; k < SumBlocks[n].Number; ++k) {
      squares[k] = FindErrorOfMean(sums[k], squares[k], batches);
      if (sums[k] != 0.0) sums[k] /= static_cast<double>(batches);
    }
  }
  FinishTotals();
  VisitRecords(*Squares, [](auto& record, const trelRecordOwner&) { record.FinalizeErrors(); });
  IsFinished = true;
}
