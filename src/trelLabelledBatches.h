#ifndef trelLabelledBatches_h
#define trelLabelledBatches_h

#include "trelBatchStatistics.h"
#include "trelLabelledGrids.h"
#include "trelLedgerBatches.h"

/**
 * @class   trelLabelledBatches
 * @brief   writes what the batches of a run have of totals, projections and the ledger
 *
 * Behind each variable of a mean and its standard error stands one of the numbers batch by batch,
 * NAME_batches with the dimension batch ahead of all others: errors of whatever is computed from
 * several of them follow from these.
 */
class trelLabelledBatches
{
public:
  /** What to write; none of it is owned. */
  struct Input
  {
    const trelBatchProjections* Projections = nullptr;
    const trelLedgerBatches* Ledger = nullptr;
    const trelBatchStatistics* Cells = nullptr;  ///< which may be kept
    /** By wavelength index, with errors. */
    std::vector<std::vector<trelLedgerLine>> Lines;
  };

  /** @p order are the indices of the wavelengths in that of the file. */
  trelLabelledBatches(trelNetcdfFile& file, const Input& input, const std::vector<int>& order);

  /** The batches of a total, whose variable @p total is there. */
  void WriteTotal(const trelNetcdfVariable& variable, trelGridTotal total,
                  const trelLabelledOwner& owner, const trelLabelledDomain& domain,
                  const trelGridWindow& window);
  /** The projections of a grid, whose axes are there, and its sums if no total has them. */
  void WriteGrid(trelGridId grid, const trelLabelledOwner& owner, const trelLabelledDomain& domain,
                 const trelGridWindow& window);
  /** The error and the batches of the total of a camera, whose variable @p total is there. */
  void WriteCamera(const trelNetcdfVariable& total, int detector);
  void WriteLedger();
  /** What each of the regions of a tetrahedral medium absorbs, which are its tissues: these lines
   * of the ledger. */
  void WriteRegions(std::int32_t regions);

private:
  /** A variable of batches: for each wavelength as many numbers, each times its factor. */
  struct Numbers
  {
    trelNetcdfVariable Variable;
    std::vector<double> Factors = {};
    bool IsReversed = false;  ///< deflections are stored from the largest to the smallest
    std::vector<trelBatchSlice> Slices = {};
    /** Of amplitudes and phases, which follow from their parts; empty otherwise. */
    std::vector<trelBatchSlice> ImagSlices = {};
    bool IsPhase = false;
  };
  /** A column of the ledger. */
  using FindNumber = double (*)(const trelLedgerLine& line);
  /** Lines of the ledger that follow each other. */
  struct LineRange
  {
    std::size_t First = 0;
    std::size_t Number = 0;
  };

  template <class FindSlice>
  bool ListSlices(const Numbers& numbers, const trelLabelledOwner& owner, const FindSlice& find,
                  std::vector<trelBatchSlice>& slices);
  template <class FindSlice>
  void WriteSums(Numbers numbers, const trelLabelledOwner& owner, trelGridDomain domain,
                 const FindSlice& find);
  trelEstimate Find(const Numbers& numbers, std::size_t wavelength, std::size_t k) const;
  void WriteMeans(const Numbers& numbers);
  void WriteBatches(const Numbers& numbers);
  bool HasBatches() const;
  void PutLedger(const trelNetcdfVariable& variable, const LineRange& lines, FindNumber find);
  void WriteLedgerEstimate(const trelNetcdfVariable& variable, const LineRange& lines,
                           FindNumber mean, FindNumber error);
  void WriteLedgerBatches(const trelNetcdfVariable& variable, const LineRange& lines,
                          trelLedgerBatches::Quantities quantity);

  trelNetcdfFile& File;
  const Input& Source;
  const std::vector<int>& Order;
};

/** The variable of the batches of another one. */
trelNetcdfVariable DescribeBatches(const trelNetcdfVariable& variable);

#endif
