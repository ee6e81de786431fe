#include "trelLabelledSensitivity.h"

#include <algorithm>
#include <numeric>

#include "trelLabelledGrids.h"
#include "trelMediumResult.h"
#include "trelNetcdfFile.h"
#include "trelResultLabels.h"
#include "trelRunRecord.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"

/** What of the light that leaves a grid is of. */
struct trelLabelledSensitivity
{
  const char *Name, *Words;
  const trelSimulationResult* trelLabelledSensitivities::*Result;
};

static constexpr trelLabelledSensitivity kinds[] = {
    {"sensitivity", "light of the sources", &trelLabelledSensitivities::Light},
    {"sensitivity_excitation", "emission, by the absorption of its excitation",
     &trelLabelledSensitivities::Excitation},
    {"sensitivity_emission", "emission, by the absorption at its own wavelength",
     &trelLabelledSensitivities::Emission}};

/** The grid of absorption that there is; NumberOfGrids for none. */
static trelGridId FindGrid(const trelSimulationResult& result)
{
  for (const trelGridId id : GetGridIds(GridAbsorption))
    if (result.GetMediumResult(0)->GetGrid(GridCW, id)) return id;
  return NumberOfGrids;
}

static void WriteKind(trelNetcdfFile& file, const trelLabelledSensitivity& kind,
                      const trelSimulationResult& result, const std::vector<int>& order)
{
  const trelGridId grid = FindGrid(result);
  if (grid == NumberOfGrids) return file.Fail("there is no grid of absorption");
  const trelLabelledDomain& domain = LabelledDomains[0];
  const trelGridWindow& window = result.GetMediumResult(0)->GetWindow();
  if (!AddGridAxes(file, grid, {}, window)) return;
  trelNetcdfVariable variable = DescribeGrid(grid, {}, domain);
  variable.Name = kind.Name;
  variable.LongName =
      std::string(
          "derivative of the weight that leaves with respect to the absorption coefficient"
          " of the cell, ") +
      kind.Words + ": minus path length in the cell times weight, divided by the packets launched";
  variable.Units = "mm";
  file.AddVariable(variable);
  for (std::size_t i = 0; i < order.size(); ++i)
    PutGrid(file, kind.Name, {i}, result.GetMediumResult(order[i])->GetGrids(GridCW), grid, domain,
            window);
}

std::string WriteSensitivities(const std::string& name, const trelRunRecord& record,
                               const trelSimulationParameter& parameter,
                               const trelLabelledSensitivities& sensitivities)
{
  trelNetcdfFile file;
  if (file.Create(name)) {
    file.SetText("", "Conventions", "CF-1.10");
    file.SetText("", "title", "Sensitivity of detected light to the absorption of tissue");
    file.SetText("", "rules", GetRulesName(parameter.GetRules()));
    record.Write(file);
    std::vector<int> order(static_cast<std::size_t>(parameter.GetNumberOfWavelengths()));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int i, int j) {
      return parameter.GetWavelength(i) < parameter.GetWavelength(j);
    });
    std::vector<std::int32_t> wavelengths;
    wavelengths.reserve(order.size());
    for (const int k : order)
      wavelengths.push_back(static_cast<std::int32_t>(parameter.GetWavelength(k)));
    file.AddDimension("wavelength", wavelengths.size());
    file.AddVariable({"wavelength", "wavelength", "nm", {"wavelength"}, NetcdfInteger});
    file.PutAll("wavelength", wavelengths.data());
    for (const trelLabelledSensitivity& kind : kinds) {
      const trelSimulationResult* result = sensitivities.*kind.Result;
      if (result) WriteKind(file, kind, *result, order);
    }
  }
  return file.Commit() ? "" : file.GetFault();
}
