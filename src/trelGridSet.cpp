#include "trelGridSet.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "trelCellMeasures.h"
#include "trelMCTetrahedron.h"
#include "trelMeshSurface.h"

void trelGridRange::Include(const double* cells, std::size_t numberOfCells)
{
  for (std::size_t k = 0; k < numberOfCells; ++k) {
    if (cells[k] > Maximum) Maximum = cells[k];
    if (cells[k] < Minimum) Minimum = cells[k];
  }
}

/** The extents of a grid of one domain, the time bins outermost. */
static std::vector<std::int32_t> MakeExtents(const trelGridDescription& description,
                                             trelGridDomain domain, const trelGridWindow& window)
{
  std::vector<std::int32_t> extents;
  if (domain == GridTD) extents.push_back(window.Time.Count);
  for (int k = 0; k < description.NumberOfAxes; ++k) {
    extents.push_back(window.Bins[description.Axes[k]].Count);
  }
  return extents;
}

bool trelGridSet::Allocate(const trelGridUses& uses, const bool save[NumberOfSaveFlags + 1],
                           const trelGridWindow& window)
{
  for (const trelGridUse& use : uses) {
    if (!save[use.Save]) continue;
    const trelGridDescription& description = GetGridDescription(use.Grid);
    Grids[use.Grid].reset(trelGrid::Allocate(MakeExtents(description, Domain, window)));
    if (!Grids[use.Grid]) return false;
  }
  return true;
}

void trelGridSet::Release(trelGridKind kind)
{
  for (const trelGridId id : GetGridIds(kind)) {
    Grids[id].reset();
  }
}

trelGridLayout trelGridSet::GetLayout(trelGridId grid) const
{
  const std::vector<std::int32_t>& extents = Grids[grid]->GetExtents();
  std::size_t next = 0;
  const auto take = [&] { return next < extents.size() ? extents[next++] : 1; };
  trelGridLayout layout;
  if (Domain == GridTD) layout.Bins = take();
  layout.Rows = take();
  layout.Columns = take();
  layout.Depth = take();
  return layout;
}

double* trelGridSet::GetBin(trelGridId grid, std::int32_t bin) const
{
  return Grids[grid]->GetCells() + GetLayout(grid).GetCellsPerBin() * static_cast<std::size_t>(bin);
}

double trelGridSet::SumBin(trelGridId grid, std::int32_t bin) const
{
  if (!Grids[grid]) return 0.0;
  const double* cells = GetBin(grid, bin);
  return std::accumulate(cells, cells + GetLayout(grid).GetCellsPerBin(), 0.0);
}

void trelGridSet::Sum(trelGridKind kind, double totals[NumberOfTotals]) const
{
  for (const trelGridId id : GetGridIds(kind)) {
    const trelGridTotal total = GetGridDescription(id).Total;
    if (Grids[id] && total != TotalOfNothing) totals[total] = SumBin(id, 0);
  }
  if (kind == GridAbsorption) return;
  totals[TotalOfTransmittance2D] = std::accumulate(totals, totals + TotalOfSide3D, 0.0);
  totals[TotalOfTransmittance3D] =
      std::accumulate(totals + TotalOfSide3D, totals + NumberOfSurfaceTotals, 0.0);
}

void trelGridSet::Normalize(trelGridKind kind, const trelGridWindow& window)
{
  for (const trelGridId id : GetGridIds(kind)) {
    if (Grids[id] && GetCellMeasure(id, Domain)) NormalizeGrid(id, window);
  }
}

/** Applies the measure of one column: the frequency domain divides by it, the others multiply by
 *  its reciprocal. Last digits depend on it. */
static void ScaleColumn(double* cells, std::int32_t depth, double measure, bool divides,
                        double multiplier)
{
  const double factor = multiplier * (1.0 / measure);
  for (std::int32_t k = 0; k < depth; ++k) {
    cells[k] = divides ? cells[k] / measure : cells[k] * factor;
  }
}

void trelGridSet::NormalizeGrid(trelGridId grid, const trelGridWindow& window)
{
  const trelCellMeasure measureOf = GetCellMeasure(grid, Domain);
  const bool divides = Domain != GridCW && Domain != GridTD;
  const double multiplier =
      MultipliesBySeparationZ(grid, Domain) ? window.Bins[GridZ].Separation : 1.0;
  const trelGridLayout layout = GetLayout(grid);
  for (std::int32_t i = 0; i < layout.Rows; ++i) {
    for (std::int32_t j = 0; j < layout.Columns; ++j) {
      const double measure = measureOf(window, i, j);
      double* column = Grids[grid]->GetCells() + layout.GetOffset(i, j);
      for (std::int32_t bin = 0; bin < layout.Bins; ++bin, column += layout.GetCellsPerBin()) {
        ScaleColumn(column, layout.Depth, measure, divides, multiplier);
      }
    }
  }
}

/** Divides the cells of a row of the innermost axis, whose other indices are @p i and @p j. */
static void DivideRow(double* cells, std::int32_t i, std::int32_t j, std::int32_t depth,
                      const trelCellMeasures& measures)
{
  for (std::int32_t k = 0; k < depth; ++k)
    if (cells[k] != 0.0) cells[k] /= measures.Get(i, j, k);
}

void trelGridSet::Divide(trelGridId grid, const trelCellMeasures& measures)
{
  if (!Grids[grid]) return;
  const trelGridLayout layout = GetLayout(grid);
  double* cells = Grids[grid]->GetCells();
  for (std::int32_t bin = 0; bin < layout.Bins; ++bin) {
    for (std::int32_t i = 0; i < layout.Rows; ++i) {
      for (std::int32_t j = 0; j < layout.Columns; ++j, cells += layout.Depth)
        DivideRow(cells, i, j, layout.Depth, measures);
    }
  }
}

/** Gives each vertex the mean of the faces around it; the cells of the faces are raw sums. */
static void AverageAroundVertices(const trelMeshSurface& mesh, const double* faces,
                                  const double* areaSum, double* vertices)
{
  for (std::int32_t f = 0; f < mesh.GetCountMeshFace(); ++f) {
    if (!mesh.IsOnBoundary(f)) continue;
    for (const std::uint32_t v : mesh.GetMeshFaces()[f].Vertices)
      vertices[v] += faces[f];
  }
  for (std::int32_t v = 0; v < mesh.GetCountMeshVertex(); ++v) {
    vertices[v] = areaSum[v] == 0.0 ? 0.0 : vertices[v] / areaSum[v];
  }
}

static void DivideByAreas(const trelMeshSurface& mesh, double* faces)
{
  for (std::int32_t f = 0; f < mesh.GetCountMeshFace(); ++f) {
    const double area = mesh.GetMeshFaces()[f].Area;
    faces[f] = area == 0.0 ? 0.0 : faces[f] / area;
  }
}

bool trelGridSet::SettleMesh(const trelMeshSurface& mesh)
{
  if (!Grids[TransmittanceMeshFace]) return true;
  std::unique_ptr<trelGrid> areaSum;
  if (Grids[TransmittanceMeshVertex]) {
    areaSum.reset(trelGrid::Allocate({mesh.GetCountMeshVertex()}));
    if (!areaSum) return false;
    mesh.SumAreas(areaSum->GetCells());
  }
  for (std::int32_t bin = 0; bin < GetLayout(TransmittanceMeshFace).Bins; ++bin) {
    double* faces = GetBin(TransmittanceMeshFace, bin);
    if (areaSum) {
      AverageAroundVertices(mesh, faces, areaSum->GetCells(), GetBin(TransmittanceMeshVertex, bin));
    }
    DivideByAreas(mesh, faces);
  }
  return true;
}

trelGridRange trelGridSet::GetRange(trelGridKind kind) const
{
  trelGridRange range;
  for (const trelGridId id : GetGridIds(kind)) {
    if (Grids[id]) range.Include(Grids[id]->GetCells(), Grids[id]->GetNumberOfCells());
  }
  return range;
}

void DivideByTrueMeasures(trelGridSet* sets, const trelGridWindow& window)
{
  for (int k = 0; k < TransmittanceMeshFace; ++k) {
    const auto id = static_cast<trelGridId>(k);
    if (!sets[GridCW].Get(id) && !sets[GridTD].Get(id) && !sets[GridFDReal].Get(id)) continue;
    const trelCellMeasures measures(id, window);
    for (const trelGridDomain domain : DensityDomains)
      sets[domain].Divide(id, measures);
  }
}

void DivideByVolumes(trelGridSet* sets, const trelMCTetrahedron& mesh)
{
  for (const trelGridDomain domain : DensityDomains) {
    if (!sets[domain].Get(AbsorptionElement)) continue;
    const trelGridLayout layout = sets[domain].GetLayout(AbsorptionElement);
    for (std::int32_t bin = 0; bin < layout.Bins; ++bin) {
      double* cells = sets[domain].GetBin(AbsorptionElement, bin);
      for (std::int32_t t = 0; t < layout.Rows; ++t)
        if (cells[t] != 0.0)
          cells[t] /= mesh.ComputeVolumeOfTetrahedron(static_cast<std::uint32_t>(t));
    }
  }
}

/** The phase of real + i imag in degrees by the one-argument arc tangent. */
static double PhaseDegrees(double real, double imag)
{
  if (real != 0.0) return std::atan(imag / real) * 57.29577951308232;
  if (imag > 0.0) return 90.0;
  return imag < 0.0 ? -90.0 : 0.0;
}

/** The same with the quadrant, by the exact rules. */
static double PhaseDegreesExactly(double real, double imag)
{
  return std::atan2(imag, real) / RadiansPerDegree;
}

void ComputeAmplitudeAndPhase(const trelGridSet* sets, trelRules rules)
{
  const auto phaseOf = rules == RulesExact ? &PhaseDegreesExactly : &PhaseDegrees;
  for (int k = 0; k < NumberOfGrids; ++k) {
    const auto id = static_cast<trelGridId>(k);
    const trelGrid* real = sets[GridFDReal].Get(id);
    const trelGrid* imag = sets[GridFDImag].Get(id);
    trelGrid* amplitude = sets[GridFDAmp].Get(id);
    trelGrid* phase = sets[GridFDPha].Get(id);
    if (!real || !imag || !amplitude || !phase) continue;
    for (std::size_t cell = 0; cell < real->GetNumberOfCells(); ++cell) {
      const double re = real->GetCells()[cell];
      const double im = imag->GetCells()[cell];
      amplitude->GetCells()[cell] = std::sqrt(re * re + im * im);
      phase->GetCells()[cell] = phaseOf(re, im);
    }
  }
}
