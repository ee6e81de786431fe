#ifndef trelBatchStatistics_h
#define trelBatchStatistics_h

#include "trelBatchProjections.h"
#include "trelCameraBatches.h"
#include "trelStateArchive.h"

class trelSimulationParameter;

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

  /** Behind Prepare(): takes the totals of cameras that see this, batch by batch. May throw. */
  void SetCameras(std::vector<trelCameraCells> cameras);
  /** Keeps the cells of every batch as well. */
  void SetKeepsBatches(bool keeps) { KeepsBatches = keeps; }
  /** How many batches a quarter of the machine's memory has room for. */
  std::int64_t GetMostBatches() const;
  /** Ends a batch. */
  void TakeBatch();
  /** Before Finish(): passes the sums of @p batches finished batches and, with @p hasOpen, those of
   *  one that is not finished. May throw. */
  void PassState(std::int64_t batches, bool hasOpen, trelStateArchive& archive);
  /** Behind the last batch, before the run's result is finished: makes means and errors. */
  void Finish();
  /** After Finish(), if batches are kept: the cells of a batch as densities, until the next call.
   */
  const trelSimulationResult& LoadBatch(std::int64_t batch) const;
  bool HasCells() const { return !Kept.empty(); }

  std::int64_t GetBatches() const { return Projections.GetBatches(); }
  /** Totals and projections, batch by batch. */
  const trelBatchProjections& GetProjections() const { return Projections; }
  /** Totals of cameras, batch by batch. */
  const trelCameraBatches& GetCameras() const { return Cameras; }
  /** A batch's total at a wavelength, by its index, in units of the sources' energy. */
  double GetTotal(std::int64_t batch, std::size_t spectrum, trelGridTotal total) const
  {
    return Projections.GetRows()[static_cast<std::size_t>(batch)][PlaceOf(spectrum, total)];
  }
  /** The standard error of the run's total; NaN unless two batches have it. */
  double GetError(std::size_t spectrum, trelGridTotal total) const
  {
    return Projections.FindError(PlaceOf(spectrum, total));
  }
  /** After Finish(): the standard errors of all cells, as densities where the run's result has
   *  them; NaN where fewer than two batches scored, and at the vertices of a mesh, whose faces are
   *  correlated. Of the frequency domain those of both parts, amplitude and phase. Null without
   *  batches. */
  trelSimulationResult* GetErrors() const { return IsFinished ? Squares : nullptr; }

private:
  /** Real and imaginary part of a grid, and where the products of the parts of a batch are summed:
   *  in the errors of the amplitude, which Finish() makes of them. */
  struct Pair
  {
    std::size_t Real, Imag;  ///< blocks
    double* Products;
    double* Phase;
  };

  static std::vector<trelNumbers> ListBlocks(const trelSimulationResult& result);
  trelSimulationResult* Make(trelSimulationParameter& parameter);
  void MakeScored(trelSimulationParameter& parameter, int threads);
  int Own() const { return static_cast<int>(Scored.size()); }
  void Gather();
  void KeepCells();
  void ListPairs();
  void AddProducts();
  void FinishPair(const Pair& pair);
  void FinishTotals();
  std::size_t PlaceOf(std::size_t spectrum, trelGridTotal total) const
  {
    return Projections.FindTotal({static_cast<int>(spectrum)}, false, total).First;
  }

  int Threads = 1;
  trelSimulationResult* Sum = nullptr;      ///< the run's
  trelSimulationResult* Squares = nullptr;  ///< and, after Finish(), errors
  std::vector<trelSimulationResult*> Scored;
  /** Of the same grids in the same order: of Sum, Squares, and each of Scored. */
  std::vector<trelNumbers> SumBlocks, SquareBlocks;
  std::vector<std::vector<trelNumbers>> ScoredBlocks;
  std::vector<Pair> Pairs;
  trelBatchProjections Projections;
  trelCameraBatches Cameras;
  bool KeepsBatches = false;
  std::vector<std::vector<double>> Kept;  ///< the cells of each batch
  bool IsFinished = false;
};

#endif
