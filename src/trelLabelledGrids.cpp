#include "trelLabelledGrids.h"

#include <cctype>

/** An axis as the file shows it. */
struct trelLabelledAxis
{
  const char* Name;
  const char* Words;
  const char* Units;  ///< empty: numbers of things, without a coordinate
};

/** By trelGridAxis. */
static constexpr trelLabelledAxis LabelledAxes[NumberOfGridAxes] = {
    {"x", "x", "mm"},
    {"y", "y", "mm"},
    {"z", "z", "mm"},
    {"r", "distance from the vertical line through the centre", "mm"},
    {"azimuth", "azimuth about the vertical line through the centre, from +x towards +y", "degree"},
    {"deflection", "deflection from +z at the centre", "degree"},
    {"face", "", ""},
    {"vertex", "", ""},
    {"element", "", ""}};

static std::string ToLower(std::string text)
{
  for (char& c : text)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string GetSurfaceWord(trelGridId grid)
{
  return ToLower(GetGridDescription(grid).Surface);
}

static bool IsOfMesh(trelGridId grid)
{
  return GetGridDescription(grid).Axes[0] >= GridMeshFace;
}

/** Whether it has what is absorbed, or the fluence rate. */
static bool IsAbsorption(trelGridId grid)
{
  return GetGridDescription(grid).Kind != GridTransmittance;
}

std::string GetGridName(trelGridId grid, const trelLabelledOwner& owner)
{
  const trelGridDescription& row = GetGridDescription(grid);
  const std::string name = !IsAbsorption(grid) ? owner.Prefix + "_" + GetSurfaceWord(grid)
                           : owner.HasFluence  ? "fluence_rate"
                                               : "absorption";
  return IsOfMesh(grid) ? name + "_" + LabelledAxes[row.Axes[0]].Name : name;
}

std::string GetTotalName(trelGridId grid, const trelLabelledOwner& owner)
{
  if (IsAbsorption(grid)) return "absorption_total";
  return owner.Prefix + "_" + GetSurfaceWord(grid) + "_total";
}

/** The unit of energy, which is that of the sources, over mm to this power. */
static std::string PerLength(int power)
{
  return power == 0 ? "1" : "mm-" + std::to_string(power);
}

/** "mm-2", with " ps-1" by time. */
static std::string GetGridUnits(trelGridId grid, const trelLabelledOwner& owner,
                                const trelLabelledDomain& domain)
{
  const trelGridDescription& row = GetGridDescription(grid);
  if (domain.Domain == GridFDPha) return "degree";
  const bool isDensity = IsAbsorption(grid) && !owner.HasFluence;
  return PerLength(isDensity ? row.Dimension : row.Dimension - 1) +
         (domain.IsByTime ? " ps-1" : "");
}

std::string GetTotalWords(trelGridId grid, const trelLabelledOwner& owner)
{
  if (IsAbsorption(grid)) return "energy absorbed in all cells";
  return owner.Words + ", surface " + GetSurfaceWord(grid);
}

/** "transmittance per area, surface top". */
static std::string GetGridWords(trelGridId grid, const trelLabelledOwner& owner)
{
  const trelGridDescription& row = GetGridDescription(grid);
  if (IsAbsorption(grid)) {
    const std::string words = owner.HasFluence     ? "fluence rate"
                              : row.Dimension == 3 ? "energy absorbed per volume"
                                                   : "energy absorbed per area";
    return IsOfMesh(grid) ? words + ", by tetrahedron of the mesh" : words;
  }
  const std::string per = row.Dimension == 3 ? " per area" : " per length";
  if (IsOfMesh(grid))
    return owner.Words + per + ", by " + LabelledAxes[row.Axes[0]].Name + " of the mesh";
  return owner.Words + per + ", surface " + GetSurfaceWord(grid);
}

trelNetcdfVariable DescribeGrid(trelGridId grid, const trelLabelledOwner& owner,
                                const trelLabelledDomain& domain)
{
  const trelGridDescription& row = GetGridDescription(grid);
  trelNetcdfVariable variable{GetGridName(grid, owner) + domain.Suffix,
                              GetGridWords(grid, owner) + domain.Words,
                              GetGridUnits(grid, owner, domain),
                              {"wavelength"}};
  if (domain.IsByTime) variable.Dimensions.push_back("time");
  for (int k = row.NumberOfAxes; k-- > 0;)
    variable.Dimensions.push_back(owner.Axes + LabelledAxes[row.Axes[k]].Name);
  return variable;
}

static bool TakesFluence(trelGridId grid, const trelLabelledOwner& owner)
{
  return IsAbsorption(grid) && owner.HasFluence;
}

bool HasTotal(trelGridId grid, const trelLabelledOwner& owner, const trelLabelledDomain& domain)
{
  return domain.HasTotals && !TakesFluence(grid, owner);
}

trelNetcdfVariable DescribeError(const trelNetcdfVariable& variable)
{
  trelNetcdfVariable error = variable;
  error.Name += "_error";
  error.LongName = "standard error: " + error.LongName;
  return error;
}

/** What the sum of the cells is, measures included: energy, of the fluence rate energy times mm. */
static std::string GetSumWords(trelGridId grid, const trelLabelledOwner& owner)
{
  return TakesFluence(grid, owner) ? "integral of the fluence rate" : GetTotalWords(grid, owner);
}

trelNetcdfVariable DescribeProjection(trelGridId grid, const trelLabelledOwner& owner,
                                      const trelLabelledDomain& domain, int axis)
{
  const trelLabelledAxis& along = LabelledAxes[GetGridDescription(grid).Axes[axis]];
  const std::string unit = along.Units;
  const bool isPhase = domain.Domain == GridFDPha;
  const std::string perWidth =
      TakesFluence(grid, owner) ? (unit == "mm" ? "1" : "mm " + unit + "-1") : unit + "-1";
  return {GetGridName(grid, owner) + domain.Suffix + "_" + along.Name,
          GetSumWords(grid, owner) + (domain.IsByTime ? " within the time gates" : domain.Words) +
              ", of each slice along " + along.Name + (isPhase ? "" : " over its width"),
          isPhase ? "degree" : perWidth,
          {"wavelength", owner.Axes + along.Name}};
}

trelNetcdfVariable DescribeSums(trelGridId grid, const trelLabelledOwner& owner,
                                const trelLabelledDomain& domain)
{
  const std::string energy = TakesFluence(grid, owner) ? "mm" : domain.IsByTime ? "" : "1";
  const std::string perTime = domain.IsByTime ? (energy.empty() ? "ps-1" : " ps-1") : "";
  trelNetcdfVariable variable{GetGridName(grid, owner) + "_total" + domain.Suffix,
                              GetSumWords(grid, owner) + domain.Words,
                              domain.Domain == GridFDPha ? "degree" : energy + perTime,
                              {"wavelength"}};
  if (domain.IsByTime) variable.Dimensions.push_back("time");
  return variable;
}

static std::vector<double> GetBorders(const trelGridBins& bins)
{
  std::vector<double> borders;
  for (std::int32_t k = 0; k <= bins.Count; ++k)
    borders.push_back(bins.GetBorder(k));
  return borders;
}

bool AddGridAxes(trelNetcdfFile& file, trelGridId grid, const trelLabelledOwner& owner,
                 const trelGridWindow& window)
{
  const trelGridDescription& row = GetGridDescription(grid);
  for (int k = 0; k < row.NumberOfAxes; ++k) {
    const trelLabelledAxis& axis = LabelledAxes[row.Axes[k]];
    const trelGridBins& bins = window.Bins[row.Axes[k]];
    const std::string name = owner.Axes + axis.Name;
    const bool isThere = axis.Units[0] == '\0'
                             ? file.AddDimension(name, static_cast<std::size_t>(bins.Count))
                             : file.AddAxis({name, axis.Words, axis.Units, {}}, GetBorders(bins));
    if (!isThere) return false;
  }
  return true;
}

bool AddTimeAxis(trelNetcdfFile& file, const trelGridWindow& window)
{
  return file.AddAxis({"time", "time of flight", "ps", {}}, GetBorders(window.Time));
}

double GetGateFactor(const trelLabelledDomain& domain, const trelGridWindow& window,
                     std::int32_t gate)
{
  return domain.IsByTime ? 1.0 / window.Time.GetWidth(gate) : 1.0;
}

/** Where a plane of cells of one index of the innermost axis lies, and what becomes of it. */
struct trelLabelledPlane
{
  const double* Cells;
  bool IsReversed;  ///< deflections are stored from the largest to the smallest
  double Factor;
};

/** Takes a plane into the order of the file: the outermost axis fastest. */
static void CopyPlane(const trelGridLayout& layout, const trelLabelledPlane& plane, double* out)
{
  for (std::int32_t j = 0; j < layout.Columns; ++j) {
    for (std::int32_t i = 0; i < layout.Rows; ++i) {
      const std::int32_t row = plane.IsReversed ? layout.Rows - 1 - i : i;
      *out++ = plane.Cells[layout.GetOffset(row, j)] * plane.Factor;
    }
  }
}

/** How many numbers of the variable of a grid one plane is: a wavelength, a gate, then the axes
 * from the last to the first. */
static std::vector<std::size_t> CountPlane(const trelGridLayout& layout, int axes, bool isByTime)
{
  std::vector<std::size_t> count(isByTime ? 2 : 1, 1);
  if (axes > 2) count.push_back(1);
  if (axes > 1) count.push_back(static_cast<std::size_t>(layout.Columns));
  count.push_back(static_cast<std::size_t>(layout.Rows));
  return count;
}

void PutGrid(trelNetcdfFile& file, const std::string& variable,
             const std::vector<std::size_t>& first, const trelGridSet& grids, trelGridId grid,
             const trelLabelledDomain& domain, const trelGridWindow& window)
{
  const trelGridDescription& row = GetGridDescription(grid);
  const trelGridLayout layout = grids.GetLayout(grid);
  auto count = CountPlane(layout, row.NumberOfAxes, domain.IsByTime);
  count.insert(count.begin(), first.size() - 1, 1);
  std::vector<double> plane(static_cast<std::size_t>(layout.Rows) *
                            static_cast<std::size_t>(layout.Columns));
  std::vector<std::size_t> start = first;
  start.resize(count.size());
  for (std::int32_t bin = 0; bin < layout.Bins; ++bin) {
    const double factor = GetGateFactor(domain, window, bin);
    if (domain.IsByTime) start[first.size()] = static_cast<std::size_t>(bin);
    for (std::int32_t k = 0; k < layout.Depth; ++k) {
      CopyPlane(layout, {grids.GetBin(grid, bin) + k, row.Axes[0] == GridD, factor}, plane.data());
      if (row.NumberOfAxes > 2)
        start[first.size() + (domain.IsByTime ? 1 : 0)] = static_cast<std::size_t>(k);
      file.Put(variable, start, count, plane.data());
    }
  }
}
