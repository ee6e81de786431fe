#include "trelScoreTable.h"

#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelMediumResult.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"

/** The cells of the grid @p id in @p domain of a record; null if it was not allocated. */
template <class Record>
static double* CellsOf(const Record& result, trelGridDomain domain, trelGridId id)
{
  trelGrid* grid = result.GetGrid(domain, id);
  return grid ? grid->GetCells() : nullptr;
}

/** The number of cells of a grid with the axes of @p row, in one time bin. */
static std::size_t CountCells(const trelGridDescription& row, const trelGridWindow& window)
{
  std::size_t cells = 1;
  for (int k = 0; k < row.NumberOfAxes; ++k) {
    cells *= static_cast<std::size_t>(window.Bins[row.Axes[k]].Count);
  }
  return cells;
}

/** How the rules find a cell: here alone they are chosen. */
static auto ChooseLocate(const trelGridDescription& row, trelRules rules)
{
  return rules == RulesExact ? row.LocateExactly : row.Locate;
}

template <class Record>
static trelScoreTarget MakeTarget(const Record& result, trelGridId id, trelRules rules)
{
  const trelGridDescription& row = GetGridDescription(id);
  trelScoreTarget target;
  target.Locate = ChooseLocate(row, rules);
  target.CW = CellsOf(result, GridCW, id);
  target.TD = CellsOf(result, GridTD, id);
  target.FDReal = CellsOf(result, GridFDReal, id);
  target.FDImag = CellsOf(result, GridFDImag, id);
  target.NumberOfCells = CountCells(row, result.GetWindow());
  return target;
}

/** Whether the grid belongs to a model of this dimension. */
static bool HasDimension(trelGridId id, SimulationDimension dimension)
{
  const int axes = GetGridDescription(id).Dimension;
  return axes == 2 ? dimension == Dimension2D : dimension == Dimension3D;
}

trelScoreTable MakeScoreTable(trelMediumResult& result, const trelSimulationParameter& parameter,
                              ShapeType shape)
{
  const SimulationDimension dimension = parameter.GetDimension();
  trelScoreTable table;
  table.Window = result.GetWindow();
  for (const trelGridUse& use : GetAbsorptionUses(shape, parameter.GetAbsorptionCoordinate())) {
    if (!HasDimension(use.Grid, dimension)) continue;
    table.Absorption = MakeTarget(result, use.Grid, parameter.GetRules());
    table.AbsorptionGrid = use.Grid;
  }
  table.Elements = MakeTarget(result, AbsorptionElement, parameter.GetRules());
  table.AbsorbedStripes = result.GetAbsorbedTotals().GetStripes();
  table.AbsorbedGates = result.GetAbsorbedTotals().GetGates();
  for (const trelGridUse& use :
       GetTransmittanceUses(shape, parameter.GetTransmittanceCoordinate())) {
    if (use.Grid == TransmittanceMeshVertex) continue;  // filled from the faces after the run
    if (!HasDimension(use.Grid, dimension)) continue;
    table.FaceSelects = use.Face != AnyFace;
    table.Transmittance[table.FaceSelects ? use.Face : 0] =
        MakeTarget(result, use.Grid, parameter.GetRules());
  }
  return table;
}

trelScoreTable MakeFiberScoreTable(const trelDetectorResult& result, trelRules rules)
{
  trelScoreTable table;
  table.Window = result.GetWindow();
  for (const trelGridUse& use : result.GetUses()) {
    table.FaceSelects = use.Face != AnyFace;
    table.Transmittance[table.FaceSelects ? use.Face : 0] = MakeTarget(result, use.Grid, rules);
  }
  return table;
}

/** One table for each detector; that of a plane detector takes nothing. */
static std::vector<trelScoreTable> MakeFiberScoreTables(const trelDetectorArrayResult* records,
                                                        trelRules rules)
{
  std::vector<trelScoreTable> tables;
  if (!records) return tables;
  for (int i = 0; const trelDetectorResult* record = records->GetDetectorResult(i); ++i)
    tables.push_back(MakeFiberScoreTable(*record, rules));
  return tables;
}

void trelScoreTables::Resolve(const trelSimulationResult& result,
                              const trelSimulationParameter& parameter, ShapeType shape)
{
  Media.clear();
  Fibers.clear();
  for (int spectrum = 0; spectrum < parameter.GetNumberOfWavelengths(); ++spectrum) {
    Media.push_back(MakeScoreTable(*result.GetMediumResult(spectrum), parameter, shape));
    Fibers.push_back(
        MakeFiberScoreTables(result.GetDetectorArrayResult(spectrum), parameter.GetRules()));
  }
}
