#ifndef trelGridSet_h
#define trelGridSet_h

#include <memory>

#include "trelGrid.h"
#include "trelGridTable.h"

class trelCellMeasures;
class trelMCTetrahedron;
class trelMeshSurface;

/**
 * The cells of a grid as the finishing walks them: time bins of rows of columns of cells. What a
 * grid does not have counts 1, so that one nest of loops serves all grids.
 */
struct trelGridLayout
{
  std::int32_t Bins = 1;
  std::int32_t Rows = 1;
  std::int32_t Columns = 1;
  std::int32_t Depth = 1;

  /** The cells of one time bin. */
  std::size_t GetCellsPerBin() const
  {
    return static_cast<std::size_t>(Rows) * static_cast<std::size_t>(Columns) *
           static_cast<std::size_t>(Depth);
  }
  /** Offset of the first cell of a column in its time bin. */
  std::size_t GetOffset(std::int32_t row, std::int32_t column) const
  {
    return (static_cast<std::size_t>(row) * static_cast<std::size_t>(Columns) +
            static_cast<std::size_t>(column)) *
           static_cast<std::size_t>(Depth);
  }
};

/**
 * The largest and the smallest of the included cells. Without any it keeps its initial values,
 * 1e-15 and 1e15 rounded to 32-bit floats.
 */
struct trelGridRange
{
  double Maximum = 1.0000000036274937e-15;
  double Minimum = 999999986991104.0;

  /** Widens the range to hold all @p cells. */
  void Include(const double* cells, std::size_t numberOfCells);
};

/**
 * @class   trelGridSet
 * @brief   the grids of one domain of one result record, and what is done to all of them alike
 *
 * A set knows the table of grids and a window, not whose they are: the record of a medium has six
 * sets, that of a fibre one. Grids that were not allocated are passed over by every operation.
 * No operation reports an error; the owner does.
 *
 * Cells are raw sums of weight until Normalize() divides them by their measure, once.
 */
class trelGridSet
{
public:
  /** An empty set of @p domain, which decides about time bins and measures. */
  trelGridSet(trelGridDomain domain) : Domain(domain) {}

  /** The grid, null if it was not allocated. */
  trelGrid* Get(trelGridId grid) const { return Grids[grid].get(); }

  /**
   * Allocates the zeroed grids of @p uses whose flag in @p save is set, with the counts of @p
   * window, in the time domain with the time bins outermost. False at the first allocation that
   * fails; the others stay until they are released.
   */
  bool Allocate(const trelGridUses& uses, const bool save[NumberOfSaveFlags + 1],
                const trelGridWindow& window);
  void Release(trelGridKind kind);

  /** The layout of the cells of @p grid, which must be allocated. */
  trelGridLayout GetLayout(trelGridId grid) const;
  /** The first cell of time bin @p bin (0 out of the time domain) of @p grid. */
  double* GetBin(trelGridId grid, std::int32_t bin) const;

  /** The sum of the cells of one time bin, in index order; 0 without the grid. */
  double SumBin(trelGridId grid, std::int32_t bin) const;
  /** Puts the sum of each grid of @p kind into its total and, for transmittance, the sums of the
   *  surfaces of each dimension into the totals over all. */
  void Sum(trelGridKind kind, double totals[NumberOfTotals]) const;

  /** Divides the cells by their measure: length, area or volume, in mm to the power of 1 to 3. */
  void Normalize(trelGridKind kind, const trelGridWindow& window);

  /** Divides the cells of @p grid, if it exists, by @p measures: what the exact rules do instead.
   */
  void Divide(trelGridId grid, const trelCellMeasures& measures);

  /**
   * Turns the raw sums of the faces of a mesh into flux: a vertex gets the mean over the faces
   * around it, weighted by area, a face its weight over its area. False if there is no memory for
   * the areas around the vertices; nothing is settled then.
   */
  bool SettleMesh(const trelMeshSurface& mesh);

  /** The range of all cells of all grids of @p kind. */
  trelGridRange GetRange(trelGridKind kind) const;

private:
  void NormalizeGrid(trelGridId grid, const trelGridWindow& window);

  trelGridDomain Domain;
  std::unique_ptr<trelGrid> Grids[NumberOfGrids];
};

/** The domains whose cells become densities: those of sums, and of the errors of amplitudes. The
 *  amplitudes themselves are made of densities, and their cells are 0 until then. */
inline constexpr trelGridDomain DensityDomains[] = {GridCW, GridTD, GridFDReal, GridFDImag,
                                                    GridFDAmp};

// What is done to the sets of all domains of a record, @p sets by trelGridDomain.

/** Divides raw sums by the true measures of the cells, but for meshes. */
void DivideByTrueMeasures(trelGridSet* sets, const trelGridWindow& window);
/** The same of the grids of tetrahedra. */
void DivideByVolumes(trelGridSet* sets, const trelMCTetrahedron& mesh);
/** Amplitude and phase, degrees, from real and imaginary parts. The phase is -90 to 90 under the
 *  classic rules, which do not recover the quadrant, and -180 to 180 under the exact. */
void ComputeAmplitudeAndPhase(const trelGridSet* sets, trelRules rules);

#endif
