#include "trelFluence.h"

#include "trelList.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelTissue.h"

trelFluence::trelFluence(trelMedium& medium, std::int32_t spectrumId, const trelGridWindow& window)
    : Medium(medium), Window(window)
{
  for (const trelTissue* tissue : medium.GetTissues()->GetItems<trelTissue>()) {
    const trelOpticalParameter* optics =
        tissue->GetOpticalParameterByWavelength(static_cast<std::uint32_t>(spectrumId));
    Absorption.push_back(optics ? optics->GetAbsorption() : 0.0);
  }
}

void trelFluence::Convert(const trelGridSet* grids) const
{
  for (const trelGridId id : GetGridIds(GridAbsorption)) {
    ConvertGrid(id, grids);
  }
}

/**
 * How often a grid is divided by the coefficient. In two dimensions the Cartesian grids of the
 * frequency domain are an exception: the real grid is divided twice and the imaginary one not at
 * all. Amplitude and phase in files depend on it.
 */
static int GetNumberOfDivisions(trelGridId grid, trelGridDomain domain)
{
  if (grid != AbsorptionXY) return 1;
  if (domain == GridFDReal) return 2;
  return domain == GridFDImag ? 0 : 1;
}

/** A grid that the coefficients of one walk over the cells go into. */
struct trelFluenceTarget
{
  double* Cells;
  trelGridLayout Layout;
  int Divisions;

  /** Divides a cell in all its time bins. */
  void Divide(std::size_t cell, double absorption) const
  {
    double* value = Cells + cell;
    for (std::int32_t bin = 0; bin < Layout.Bins; ++bin, value += Layout.GetCellsPerBin()) {
      for (int division = 0; division < Divisions; ++division)
        *value /= absorption;
    }
  }
};

static std::vector<trelFluenceTarget> FindTargets(trelGridId grid, const trelGridSet* grids)
{
  std::vector<trelFluenceTarget> targets;
  for (const trelGridDomain domain : {GridCW, GridFDReal, GridFDImag, GridTD}) {
    const trelGrid* found = grids[domain].Get(grid);
    if (!found) continue;
    targets.push_back({grids[domain].GetBin(grid, 0), grids[domain].GetLayout(grid),
                       GetNumberOfDivisions(grid, domain)});
  }
  return targets;
}

void trelFluence::ConvertGrid(trelGridId grid, const trelGridSet* grids) const
{
  // The coefficient of a cell is looked up once for all domains and time bins.
  const std::vector<trelFluenceTarget> targets = FindTargets(grid, grids);
  const trelGridLayout layout = targets.empty() ? trelGridLayout{1, 0, 0, 0} : targets[0].Layout;
  for (std::int32_t i = 0; i < layout.Rows; ++i) {
    for (std::int32_t j = 0; j < layout.Columns; ++j) {
      for (std::int32_t k = 0; k < layout.Depth; ++k) {
        const double absorption = GetAbsorption(grid, i, j, k);
        if (!(absorption > 0.0)) continue;
        const std::size_t cell = layout.GetOffset(i, j) + static_cast<std::size_t>(k);
        for (const trelFluenceTarget& target : targets)
          target.Divide(cell, absorption);
      }
    }
  }
}

double trelFluence::GetAbsorption(trelGridId grid, std::int32_t i, std::int32_t j,
                                  std::int32_t k) const
{
  constexpr double pi = 3.141592653589793;
  const trelGridBins* bins = Window.Bins;
  const bool isPolar = grid == AbsorptionRA || grid == AbsorptionRAZ;
  trelVector point = {bins[GridX].Midpoint(i), bins[GridY].Midpoint(j), 0.0};
  if (isPolar) {
    // About the origin and not about the centre of the shape, unlike the scoring: files of a medium
    // that is centred elsewhere depend on it.
    const double angle = bins[GridA].Midpoint(j) * pi / 180.0;
    point.X = bins[GridR].Midpoint(i) * std::cos(angle);
    point.Y = bins[GridR].Midpoint(i) * std::sin(angle);
  }
  if (GetGridDescription(grid).Dimension != 2) point.Z = bins[GridZ].Midpoint(k);
  const std::int32_t tissue = Medium.GetTissueIndex(point);
  const bool known = tissue >= 0 && static_cast<std::size_t>(tissue) < Absorption.size();
  return known ? Absorption[static_cast<std::size_t>(tissue)] : 0.0;
}
