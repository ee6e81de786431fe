#ifndef trelScoreTable_h
#define trelScoreTable_h

#include <vector>

#include "trelGridTable.h"

class trelDetectorResult;
class trelMediumResult;
class trelSimulationParameter;
class trelSimulationResult;

/** Where one kind of event is scored: how its cell is found, and the cells of each domain. */
struct trelScoreTarget
{
  /** The cell of a point; null if the face that was hit is the cell (meshes). */
  bool (*Locate)(const trelGridWindow& window, const double position[3],
                 std::size_t* cell) = nullptr;
  double* CW = nullptr;
  double* TD = nullptr;  ///< the first time bin; the others follow, NumberOfCells apart
  double* FDReal = nullptr;
  double* FDImag = nullptr;
  std::size_t NumberOfCells = 0;
};

/**
 * The grids of one medium record as the packet loop wants them: resolved once, before the parallel
 * region, from the table of places. A grid that does not exist stays null, and its events are
 * dropped.
 */
struct trelScoreTable
{
  trelGridWindow Window;
  trelScoreTarget Absorption;
  trelScoreTarget Transmittance[MaximumNumberOfFaces];
  bool FaceSelects = false;  ///< the face that was hit selects the target, else there is but one

  /** Of the exact rules: the tetrahedra, which nothing locates by window; without cells for other
   *  media. */
  trelScoreTarget Elements;

  // Of the exact rules. Where the absorption grids take fluence: where the totals of what is
  // absorbed go (trelAbsorbedTotals); null otherwise.
  double* AbsorbedStripes = nullptr;
  double* AbsorbedGates = nullptr;
  trelGridId AbsorptionGrid = NumberOfGrids;

  /** Whether the absorption grids take fluence in place of what is absorbed. */
  bool TakesFluence() const { return AbsorbedStripes != nullptr; }
};

/**
 * The table of the grids of @p result that take the light of a medium of this shape, with the
 * coordinate types of @p parameter. A grid of another dimension than the model's takes nothing. A
 * mesh has one target, whose cells are the faces. The rules of @p parameter choose how cells are
 * found.
 */
trelScoreTable MakeScoreTable(trelMediumResult& result, const trelSimulationParameter& parameter,
                              ShapeType shape);

/** The same for the grids of one fibre detector, by the faces of its own shape; by the classic
 * rules it takes the continuous-wave domain only. */
trelScoreTable MakeFiberScoreTable(const trelDetectorResult& result, trelRules rules);

/** The tables of all records of a run; made before the parallel regions, and constant in them. */
struct trelScoreTables
{
  /** Makes them for a medium of shape @p shape. */
  void Resolve(const trelSimulationResult& result, const trelSimulationParameter& parameter,
               ShapeType shape);

  /** Tables without grids for @p spectra spectra: what is scored there is dropped. */
  void ResolveNothing(std::size_t spectra)
  {
    Media.assign(spectra, {});
    Fibers.clear();
  }

  /** The table of the medium, and the first of the fibre detectors' tables, at a spectrum; null if
   *  the spectrum has no record, or no fibre detector. */
  const trelScoreTable* GetMedium(std::size_t spectrum) const
  {
    return spectrum < Media.size() ? &Media[spectrum] : nullptr;
  }
  const trelScoreTable* GetFibers(std::size_t spectrum) const
  {
    return spectrum < Fibers.size() ? Fibers[spectrum].data() : nullptr;
  }

private:
  std::vector<trelScoreTable> Media;                ///< by spectrum
  std::vector<std::vector<trelScoreTable>> Fibers;  ///< by spectrum and detector
};

#endif
