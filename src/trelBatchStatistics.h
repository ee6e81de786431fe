#ifndef trelBatchStatistics_h
#define trelBatchStatistics_h

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "trelGridTable.h"
#include "trelStateArchive.h"

class trelSimulationParameter;
class trelSimulationResult;

/**
 * @class   trelBatchStatistics
 * @brief   what the batches of a run add up to, and how sure that is
 *
 * Each batch is a run of its own with all the energy, scored into results of its own: one for each
 * thread if a quarter of the machine's memory has room for them, else one that all threads share.
 * TakeBatch() adds them to the run's result and their squares to another, and clears them. The
 * run's result is the mean of its batches; with B of them, each with x in a cell, the standard
 * error of the mean is sqrt((<x^2> - <x>^2) / (B - 1)).
 *
 * Main thread only, between the parallel regions.
 */
class trelBatchStatistics
{
public:
  trelBatchStatistics() = default;
  ~trelBatchStatistics();
  trelBatchStatistics(const trelBatchStatistics&) = delete;
  trelBatchStatistics& operator=(const trelBatchStatistics&) = delete;

  /** For a run of two batches or more on @p threads threads into @p sum, which has been initialized
   *  by @p parameter and must outlive this. False if memory is short. */
  bool Prepare(trelSimulationParameter& parameter, trelSimulationResult& sum, int threads);
  /** Without batches: everything is scored into the result itself. */
  void Release();
  bool IsOn() const { return Squares != nullptr; }

  /** Where the packets of a thread are scored, and whether that belongs to it alone. */
  trelSimulationResult* GetScored(int thread) const { return Scored[thread < Own() ? thread : 0]; }
  bool IsOwn() const { return Scored.size() > 1; }

  /** Ends a batch. */
  void TakeBatch();
  /** Before Finish(): passes the sums of @p batches finished batches and, with @p hasOpen, those of
   *  one that is not finished. May throw. */
  void PassState(std::int64_t batches, bool hasOpen, trelStateArchive& archive);
  /** Behind the last batch, before the run's result is finished: makes means and errors. */
  void Finish();

  std::int64_t GetBatches() const { return static_cast<std::int64_t>(Totals.size()); }
  /** A batch's total at a wavelength, by its index, in units of the sources' energy. */
  double GetTotal(std::int64_t batch, std::size_t spectrum, trelGridTotal total) const
  {
    return Totals[static_cast<std::size_t>(batch)][spectrum][total];
  }
  /** The standard error of the run's total; NaN unless two batches have it. */
  double GetError(std::size_t spectrum, trelGridTotal total) const;
  /** After Finish(): the standard errors of all cells, as densities where the run's result has
   *  them; NaN where fewer than two batches scored, and at the vertices of a mesh, whose faces are
   *  correlated. Of the frequency domain real and imaginary part. Null without batches. */
  trelSimulationResult* GetErrors() const { return IsFinished ? Squares : nullptr; }

private:
  using BatchTotals = std::vector<std::array<double, NumberOfTotals>>;

  static std::vector<trelNumbers> ListBlocks(const trelSimulationResult& result);
  trelSimulationResult* Make(trelSimulationParameter& parameter);
  void MakeScored(trelSimulationParameter& parameter, int threads);
  int Own() const { return static_cast<int>(Scored.size()); }
  void Gather();
  void SumTotals();

  int Threads = 1;
  trelSimulationResult* Sum = nullptr;      ///< the run's
  trelSimulationResult* Squares = nullptr;  ///< and, after Finish(), errors
  std::vector<trelSimulationResult*> Scored;
  /** Of the same grids in the same order: of Sum, Squares, and each of Scored. */
  std::vector<trelNumbers> SumBlocks, SquareBlocks;
  std::vector<std::vector<trelNumbers>> ScoredBlocks;
  std::vector<double> TotalSums;    ///< of all totals of all records, over the batches
  std::vector<BatchTotals> Totals;  ///< by batch and wavelength index
  bool IsFinished = false;
};

/** The standard error of the mean of @p batches numbers, from their sum and that of their squares;
 *  NaN unless two of them are not 0. */
double FindErrorOfMean(double sum, double squares, std::int64_t batches);
/** The same from the numbers themselves, which keeps all digits. */
double FindErrorOfMean(const std::vector<double>& numbers);

#endif
