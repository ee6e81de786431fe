#include "trelResultBlocks.h"

#include <algorithm>

#include "trelDetectorResult.h"
#include "trelMediumResult.h"
#include "trelResultFile.h"

static bool HasGrid(const trelMediumResult& result, trelGridId grid, const trelShownDomains& shown)
{
  for (const trelShownDomain& part : shown) {
    if (!result.GetGrid(part.Domain, grid)) return false;
  }
  return true;
}

std::vector<trelGridId> FindShownGrids(const trelMediumResult& result, trelGridKind kind,
                                       const trelShownDomains& shown)
{
  std::vector<trelGridId> grids;
  for (const trelGridId id : GetGridIds(kind)) {
    if (GetGridDescription(id).Locate && HasGrid(result, id, shown)) grids.push_back(id);
  }
  return grids;
}

void PrintCounts(trelResultFile& file, const trelGridWindow& window, trelGridId grid,
                 const std::string& literal)
{
  const trelGridDescription& row = GetGridDescription(grid);
  file.Print(literal);
  for (int k = 0; k < row.NumberOfAxes; ++k) {
    file.Print(k ? " " : "", window.Bins[row.Axes[k]].Count);
  }
  file.Print("\n");
}

void PrintCounts(trelResultFile& file, const trelMediumResult& result, trelGridId grid)
{
  PrintCounts(file, result.GetWindow(), grid, GetGridDescription(grid).GetCountsLiteral());
}

void PrintCells(trelResultFile& file, const trelGridSet& grids, trelGridId grid, std::int32_t bin,
                std::int32_t first, std::int32_t last)
{
  const trelGridLayout layout = grids.GetLayout(grid);
  const double* cells = grids.GetBin(grid, bin) + layout.GetOffset(first, 0);
  const auto number = static_cast<std::size_t>(last - first);
  const auto columns = static_cast<std::size_t>(layout.Columns);
  const auto depth = static_cast<std::size_t>(layout.Depth);
  switch (GetGridDescription(grid).NumberOfAxes) {
    case 1:
      return file.PrintList(cells, number);
    case 2:
      return file.PrintRows(cells, number, columns);
    default:
      return file.PrintRows(cells, number * columns, depth);
  }
}

void PrintGrid(trelResultFile& file, const trelMediumResult& result, trelGridId grid,
               const trelShownDomains& shown, std::int32_t bin)
{
  for (const trelShownDomain& part : shown) {
    const trelGridSet& grids = result.GetGrids(part.Domain);
    file.Print(GetGridLabel(grid, part));
    PrintCells(file, grids, grid, bin, 0, grids.GetLayout(grid).Rows);
  }
}

static void PrintTetraFaces(trelResultFile& file, const trelMediumResult& result,
                            const double* cells)
{
  for (std::int32_t f = 0; f < result.GetCountMeshFace(); ++f) {
    const trelMeshFace& face = result.GetMeshFaces()[f];
    for (const std::uint32_t vertex : face.Vertices)
      file.Print(vertex, " ");
    file.Print(cells[f], "\n");
  }
}

/** The vertices or the faces of a mesh: count, then label and values of all that is shown. */
static void PrintMeshGrid(trelResultFile& file, const trelMediumResult& result, trelGridId grid,
                          const trelShownDomains& shown, std::int32_t bin)
{
  const bool areFaces = grid == TransmittanceMeshFace;
  const std::string name =
      GetMeshName(result.GetIsTetraMesh()) + std::string(areFaces ? "Face" : "Vertex");
  const std::int32_t count = areFaces ? result.GetCountMeshFace() : result.GetCountMeshVertex();
  file.Print("Count", name, " ", count, "\n");
  for (const trelShownDomain& part : shown) {
    const double* cells = result.GetGrids(part.Domain).GetBin(grid, bin);
    file.Print(GetStem(GetGridDescription(grid), part), name, "\n");
    if (areFaces && result.GetIsTetraMesh()) {
      PrintTetraFaces(file, result, cells);
    } else {
      file.PrintList(cells, static_cast<std::size_t>(count));
    }
  }
}

bool HasMesh(const trelMediumResult& result, const trelShownDomains& shown)
{
  return HasGrid(result, TransmittanceMeshFace, shown) &&
         HasGrid(result, TransmittanceMeshVertex, shown);
}

void PrintMesh(trelResultFile& file, const trelMediumResult& result, const trelShownDomains& shown,
               std::int32_t bin)
{
  file.Print("\n");
  PrintMeshGrid(file, result, TransmittanceMeshVertex, shown, bin);
  if (HasLineBeforeFaces(shown, result.GetIsTetraMesh())) file.Print("\n");
  PrintMeshGrid(file, result, TransmittanceMeshFace, shown, bin);
}

void PrintPlaneDetector(trelResultFile& file, const trelDetectorResult& result, std::int32_t number)
{
  file.Print("TotalDetection ", number, " ", result.GetTotalDetection(), "\n");
  file.Print("HeightResolution WidthResolution ", result.GetRows(), " ", result.GetColumns(), "\n");
  file.Print("DetectionMatrix\n");
  if (const trelGrid* image = result.GetDetectionMatrix()) {
    file.PrintRows(image->GetCells(), result.GetRows(), result.GetColumns());
  }
  file.Print("\n");
}

void PrintFiberDetector(trelResultFile& file, const trelDetectorResult& result, std::int32_t number,
                        std::int32_t dimension)
{
  file.Print("TotalDetection ", number, " \n");
  if (dimension == Dimension2D) {
    file.Print("2Ddetector ", result.GetFiberTotal2D(), "\n");
  } else if (dimension == Dimension3D) {
    file.Print("3DFiberdetector ", result.GetFiberTotal3D(), "\n");
  }
  for (const trelFiberLabel& labels : FiberLabels) {
    if (!result.GetGrid(labels.Grid)) continue;
    const trelGridDescription& row = GetGridDescription(labels.Grid);
    file.Print(labels.BeforeTotal, row.Dimension, "DCWFiberDetector", row.Surface, " ",
               result.GetTotal(row.Total), "\n");
    PrintCounts(file, result.GetWindow(), labels.Grid, row.GetCountsLiteral());
    file.Print(labels.Label, "\n");
    PrintCells(file, result.GetGrids(), labels.Grid, 0, 0,
               result.GetGrids().GetLayout(labels.Grid).Rows);
  }
}

/** The counts, and label and cells of one time bin of all that is shown of a grid of a fibre. */
static void PrintFiberGrid(trelResultFile& file, const trelDetectorResult& result, trelGridId grid,
                           const trelShownDomains& shown, std::int32_t bin)
{
  const trelGridDescription& row = GetGridDescription(grid);
  PrintCounts(file, result.GetWindow(), grid, row.GetCountsLiteral());
  for (const trelShownDomain& part : shown) {
    const trelGridSet& grids = result.GetGrids(part.Domain);
    file.Print(GetFiberStem(row, part), row.GetSuffix(), "\n");
    PrintCells(file, grids, grid, bin, 0, grids.GetLayout(grid).Rows);
  }
}

void PrintFiberDetectorTD(trelResultFile& file, const trelDetectorResult& result,
                          std::int32_t number)
{
  const trelTimeTotals& totals = result.GetTimeTotals();
  file.Print("TotalDetection ", number, " \n");
  file.Print("3DTDFiberDetector ", totals.GetSum(TotalOfTransmittance3D), "\n");
  file.Print("TDFiberDetectorNum ", result.GetCountTD(), "\n");
  for (std::int32_t bin = 0; bin < result.GetCountTD(); ++bin) {
    file.Print("\nTD ", bin, " ", totals.GetTotal(TotalOfTransmittance3D, bin), "\n");
    for (const trelGridId id : GetGridIds(GridTransmittance)) {
      if (!result.GetGrid(GridTD, id)) continue;
      const trelGridDescription& row = GetGridDescription(id);
      file.Print(GetFiberStem(row, ShownTD[0]), row.Surface, " ", totals.GetTotal(row.Total, bin),
                 "\n");
      PrintFiberGrid(file, result, id, ShownTD, bin);
    }
  }
  file.Print("\n");
}

void PrintFiberDetectorFD(trelResultFile& file, const trelDetectorResult& result,
                          std::int32_t number)
{
  file.Print("TotalDetection ", number, " \n");
  for (const trelGridId id : GetGridIds(GridTransmittance)) {
    if (result.GetGrid(GridFDAmp, id)) PrintFiberGrid(file, result, id, ShownFD, 0);
  }
  file.Print("\n");
}

void PrintFlyTimes(trelResultFile& file, const trelMediumResult& result)
{
  if (!result.GetPhotonFlyTimes()) return;
  file.Print("\nPhotonFlyTime\n");
  const std::int64_t rows = std::min(result.GetTransmitPhotonNum(), result.GetNumberOfFlyTimes());
  for (std::int64_t row = 0; row < rows; ++row) {
    const trelFlyTimeRow& values = result.GetPhotonFlyTimes()[row];
    file.Print(values[0], " ", values[1], " ", values[2], " ", values[3], "\n");
  }
}
