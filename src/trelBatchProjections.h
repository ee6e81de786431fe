#ifndef trelBatchProjections_h
#define trelBatchProjections_h

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelMediumResult.h"
#include "trelSimulationResult.h"
#include "trelStandardErrors.h"
#include "trelStateArchive.h"

/** Whose record it is: the medium's or a detector's at a wavelength, by its index. */
struct trelRecordOwner
{
  static constexpr int Medium = -1;

  int Spectrum;
  int Detector = Medium;

  bool operator==(const trelRecordOwner& other) const
  {
    return Spectrum == other.Spectrum && Detector == other.Detector;
  }
};

/** Calls @p visit with each record of the medium and of the detectors, and whose it is. */
template <class Visit>
void VisitRecords(const trelSimulationResult& result, Visit visit)
{
  for (int i = 0; trelMediumResult* record = result.GetMediumResult(i); ++i)
    visit(*record, trelRecordOwner{i});
  for (int i = 0; const trelDetectorArrayResult* array = result.GetDetectorArrayResult(i); ++i)
    for (int k = 0; trelDetectorResult* record = array->GetDetectorResult(k); ++k)
      visit(*record, trelRecordOwner{i, k});
}

/** Numbers that stand together among those of a batch; none if what they would be is not there. */
struct trelBatchSlice
{
  std::size_t First = 0;
  std::size_t Number = 0;
};

/**
 * @class   trelBatchProjections
 * @brief   what is correlated within a batch: totals, and grids summed onto each of their axes
 *
 * The same packets hit neighbouring cells, so that the error of a sum of cells does not follow from
 * theirs. Each batch keeps its own sums therefore, raw weights as the cells have them: all totals
 * of all records and, of each grid in each domain whose cells are sums, those over all but one of
 * its axes or time. The cells of a mesh lie along no axis: they are summed up alone.
 *
 * A batch is a row of numbers of one length, its totals in the order of the records first.
 */
class trelBatchProjections
{
public:
  /** Makes room for the batches of results with the records and grids of @p result. May throw. */
  void Prepare(const trelSimulationResult& result);
  void Clear() { *this = {}; }

  /** Takes a batch, whose totals are there: before its cells are cleared. May throw. */
  void Take(const trelSimulationResult& batch);
  const std::vector<std::vector<double>>& GetRows() const { return Rows; }
  /** Passes the rows of @p batches batches. May throw. */
  void PassState(std::int64_t batches, trelStateArchive& archive)
  {
    archive.PassRows("projections_by_batch", batches, Length, Rows);
  }
  std::int64_t GetBatches() const { return static_cast<std::int64_t>(Rows.size()); }
  /** How many batches a quarter of the machine's memory has room for. */
  std::int64_t GetMostBatches() const;

  /** A total of the steady state, or with the number of the gates that of each. */
  trelBatchSlice FindTotal(const trelRecordOwner& owner, bool isByTime, trelGridTotal total) const;
  /** The sums of a grid onto one of its axes, by its place in the table of grids; cells as stored.
   */
  trelBatchSlice FindProjection(const trelRecordOwner& owner, trelGridDomain domain,
                                trelGridId grid, int axis) const;
  /** The sum of all its cells, in the time domain of each gate. */
  trelBatchSlice FindSums(const trelRecordOwner& owner, trelGridDomain domain,
                          trelGridId grid) const;

  /** The mean over the batches of a number of the rows, its standard error, and all of them. */
  double FindMean(std::size_t number) const;
  double FindError(std::size_t number) const { return FindErrorOfMean(ListNumbers(number)); }
  std::vector<double> ListNumbers(std::size_t number) const;
  /** Over the batches, of the number whose parts stand at these places. */
  trelComplexSums SumComplex(std::size_t real, std::size_t imag) const;

private:
  /** The totals of a record: of the steady state, then those of the time domain by gate. */
  struct Totals
  {
    trelRecordOwner Owner;
    std::size_t First;
    std::vector<trelGridTotal> ByTime;
    std::size_t Gates;
  };
  /** The sums of a grid: by time, then along each of its axes. */
  struct Grid
  {
    trelRecordOwner Owner;
    trelGridDomain Domain;
    trelGridId Id;
    trelGridLayout Layout;  ///< as the cells of a mesh have it, of which nothing is along an axis
    std::size_t First;
  };

  static std::size_t CountAlong(const Grid& grid, int axis);
  const Grid* FindGrid(const trelRecordOwner& owner, trelGridDomain domain, trelGridId grid) const;
  template <class Record>
  void ListTotals(Record& record, const trelRecordOwner& owner);
  template <class Record>
  void ListGrids(const Record& record, const trelRecordOwner& owner);
  static void SumGrid(const Grid& grid, const double* cells, double* sums);

  std::size_t Length = 0;  ///< of a row
  std::vector<Totals> TotalTable;
  std::vector<Grid> GridTable;
  std::vector<std::vector<double>> Rows;
};

#endif
