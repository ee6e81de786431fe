#include "trelSimulationResultWriter.h"

#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelMediumResult.h"
#include "trelResultFile.h"
#include "trelResultFileSet.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"

/** What a file shows of a grid, and what its labels call it. */
struct trelShownDomain
{
  trelGridDomain Domain;
  const char* Name;
};

struct trelShownDomains
{
  trelShownDomain Parts[2];
  int Number;

  const trelShownDomain* begin() const { return Parts; }
  const trelShownDomain* end() const { return Parts + Number; }
  const trelShownDomain& operator[](int i) const { return Parts[i]; }
};

static constexpr trelShownDomains ShownCW = {{{GridCW, "CW"}}, 1};
static constexpr trelShownDomains ShownTD = {{{GridTD, "TD"}}, 1};
static constexpr trelShownDomains ShownFD = {{{GridFDAmp, "FDAmp"}, {GridFDPha, "FDPha"}}, 2};

// The odd ends of lines and counts. Programs that read the files depend on them.

/** One total of the continuous-wave absorption has a blank behind it. */
static const char* EndOfTotal(trelGridId grid, const trelShownDomain& shown)
{
  return shown.Domain == GridCW && grid == AbsorptionXYZ ? " \n" : "\n";
}

/** One amplitude label of absorption is followed by a blank, which starts the first row; all labels
 *  of transmittance in the frequency domain have a blank at the end. */
static const char* EndOfLabel(trelGridId grid, const trelShownDomain& shown)
{
  if (shown.Domain == GridFDAmp && grid == AbsorptionXY) return "\n ";
  const bool isFD = shown.Domain == GridFDAmp || shown.Domain == GridFDPha;
  return isFD && GetGridDescription(grid).Kind == GridTransmittance ? " \n" : "\n";
}

/** In the frequency domain the count along y of the left and the right edge goes by the name of the
 *  count along x. */
static std::string CountsLiteralFD(trelGridId grid)
{
  const bool isEdge = grid == TransmittanceLeft || grid == TransmittanceRight;
  return "\n" + (isEdge ? "CountX " : GetGridDescription(grid).GetCountsLiteral());
}

/** Whether an empty line parts the vertices of a mesh from its faces. */
static bool HasLineBeforeFaces(const trelShownDomains& shown, bool isTetraMesh)
{
  if (shown[0].Domain == GridCW) return false;
  return shown[0].Domain != GridTD || !isTetraMesh;
}

/** "3DCWTransmittance". */
static std::string GetStem(const trelGridDescription& row, const trelShownDomain& shown)
{
  const char* kind = row.Kind == GridAbsorption ? "Absorption" : "Transmittance";
  return std::to_string(row.Dimension) + "D" + shown.Name + kind;
}

/** "3DCWTransmittanceSide ". */
static std::string GetTotalLabel(trelGridId grid, const trelShownDomain& shown)
{
  const trelGridDescription& row = GetGridDescription(grid);
  return GetStem(row, shown) + row.Surface + " ";
}

static bool HasGrid(const trelMediumResult& result, trelGridId grid, const trelShownDomains& shown)
{
  for (const trelShownDomain& part : shown) {
    if (!result.GetGrid(part.Domain, grid)) return false;
  }
  return true;
}

/** The grids of @p kind that a file shows of @p result, but for those of a mesh. */
static std::vector<trelGridId> FindShownGrids(const trelMediumResult& result, trelGridKind kind,
                                              const trelShownDomains& shown)
{
  std::vector<trelGridId> grids;
  for (const trelGridId id : GetGridIds(kind)) {
    if (GetGridDescription(id).Locate && HasGrid(result, id, shown)) grids.push_back(id);
  }
  return grids;
}

static void PrintCounts(trelResultFile& file, const trelGridWindow& window, trelGridId grid,
                        const std::string& literal)
{
  const trelGridDescription& row = GetGridDescription(grid);
  file.Print(literal);
  for (int k = 0; k < row.NumberOfAxes; ++k) {
    file.Print(k ? " " : "", window.Bins[row.Axes[k]].Count);
  }
  file.Print("\n");
}

static void PrintCounts(trelResultFile& file, const trelMediumResult& result, trelGridId grid)
{
  PrintCounts(file, result.GetWindow(), grid, GetGridDescription(grid).GetCountsLiteral());
}

static void PrintLabel(trelResultFile& file, trelGridId grid, const trelShownDomain& shown)
{
  const trelGridDescription& row = GetGridDescription(grid);
  file.Print(GetStem(row, shown), row.GetSuffix(), EndOfLabel(grid, shown));
}

/** The cells of one time bin (0 out of the time domain) of the indices @p first to @p last of the
 *  first axis: a list, or rows along the last axis. */
static void PrintCells(trelResultFile& file, const trelGridSet& grids, trelGridId grid,
                       std::int32_t bin, std::int32_t first, std::int32_t last)
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

/** The label and the cells of one time bin of all that is shown of a grid. */
static void PrintGrid(trelResultFile& file, const trelMediumResult& result, trelGridId grid,
                      const trelShownDomains& shown, std::int32_t bin)
{
  for (const trelShownDomain& part : shown) {
    const trelGridSet& grids = result.GetGrids(part.Domain);
    PrintLabel(file, grid, part);
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

static const char* GetMeshName(const trelMediumResult& result)
{
  return result.GetIsTetraMesh() ? "TetraMesh" : "Mesh";
}

/** The vertices or the faces of a mesh: count, then label and values of all that is shown. */
static void PrintMeshGrid(trelResultFile& file, const trelMediumResult& result, trelGridId grid,
                          const trelShownDomains& shown, std::int32_t bin)
{
  const bool areFaces = grid == TransmittanceMeshFace;
  const std::string name = GetMeshName(result) + std::string(areFaces ? "Face" : "Vertex");
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

static bool HasMesh(const trelMediumResult& result, const trelShownDomains& shown)
{
  return HasGrid(result, TransmittanceMeshFace, shown) &&
         HasGrid(result, TransmittanceMeshVertex, shown);
}

static void PrintMesh(trelResultFile& file, const trelMediumResult& result,
                      const trelShownDomains& shown, std::int32_t bin)
{
  file.Print("\n");
  PrintMeshGrid(file, result, TransmittanceMeshVertex, shown, bin);
  if (HasLineBeforeFaces(shown, result.GetIsTetraMesh())) file.Print("\n");
  PrintMeshGrid(file, result, TransmittanceMeshFace, shown, bin);
}

/** The odd ends of the blocks of a fibre. Programs that read the files depend on them. */
struct trelFiberLabel
{
  trelGridId Grid;
  const char* BeforeTotal;
  const char* Label;
};

/** In the order of the file. */
static constexpr trelFiberLabel FiberLabels[] = {
    {TransmittanceSide, "", "2DCWTransmittanceSideA"},
    {TransmittanceSideAZ, "", "3DCWFiberDetectorSideAZ"},
    {TransmittanceSideDA, "", "3DCWFiberDetectorsideda"},
    {TransmittanceTopRA, "", "3DCWTransmittanceTopRA"},
    {TransmittanceBottomRA, "", "3DCWTransmittanceBottomRA"},
    {TransmittanceTopXY, "\n", "3DCWFiberDetectorTopXY"},
    {TransmittanceBottomXY, "\n", "3DCWFiberDetectorBottomXY"},
    {TransmittanceFrontYZ, "\n", "3DCWFiberDetectorFrontYZ"},
    {TransmittanceBackYZ, "\n", "3DCWFiberDetectorBackYZ"},
    {TransmittanceLeftXZ, "\n", "3DCWFiberDetectorLeftXZ"},
    {TransmittanceRightXZ, "\n", "3DCWFiberDetectorRightXZ"},
};

static void PrintPlaneDetector(trelResultFile& file, const trelDetectorResult& result,
                               std::int32_t number)
{
  file.Print("TotalDetection ", number, " ", result.GetTotalDetection(), "\n");
  file.Print("HeightResolution WidthResolution ", result.GetRows(), " ", result.GetColumns(), "\n");
  file.Print("DetectionMatrix\n");
  if (const trelGrid* image = result.GetDetectionMatrix()) {
    file.PrintRows(image->GetCells(), result.GetRows(), result.GetColumns());
  }
  file.Print("\n");
}

static void PrintFiberDetector(trelResultFile& file, const trelDetectorResult& result,
                               std::int32_t number, std::int32_t dimension)
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

trelSimulationResultWriter::~trelSimulationResultWriter()
{
  ReleaseReference(Result);
  ReleaseReference(Parameter);
}

void trelSimulationResultWriter::SetInput(trelSimulationResult* result,
                                          trelSimulationParameter* parameter)
{
  ReplaceReference(Result, result);
  ReplaceReference(Parameter, parameter);
}

bool trelSimulationResultWriter::Execute()
{
  if (!Result) return CheckInput(nullptr);
  trelResultFileSet files;
  Files = &files;
  const bool written = WriteFiles();
  Files = nullptr;
  if (!written || !CommitFiles(files)) return false;
  ReportProgress(ProgressMaximum);
  return true;
}

bool trelSimulationResultWriter::WriteFiles()
{
  const bool absorption = Result->GetAbsorptionOutput();
  const bool transmittance = Result->GetTransmittanceOutput();
  const bool cw = Result->GetDomainCW();
  const bool td = Result->GetDomainTD();
  const bool fd = Result->GetDomainFD();
  if (cw && absorption && !WriteCWAbsorption()) return false;
  if (cw && transmittance && !WriteCWTransmittance()) return false;
  if (td && absorption && !WriteTDAbsorption()) return false;
  if (td && transmittance && !WriteTDTransmittance()) return false;
  if (fd && absorption && !WriteFDAbsorption()) return false;
  if (fd && transmittance && !WriteFDTransmittance()) return false;
  return Result->GetDimension() != Dimension3D || WriteDetectors();
}

bool trelSimulationResultWriter::WriteCWAbsorption()
{
  return WriteMediumFile(".A.CW", &trelSimulationResultWriter::WriteCWAbsorptionBlocks,
                         "No Medium result data to write!");
}

bool trelSimulationResultWriter::WriteCWTransmittance()
{
  return WriteMediumFile(".T.CW", &trelSimulationResultWriter::WriteCWTransmittanceBlocks,
                         "No Medium result to write!");
}

bool trelSimulationResultWriter::WriteTDAbsorption()
{
  return WriteMediumFile(".A.TD", &trelSimulationResultWriter::WriteTDAbsorptionBlocks,
                         "No Medium result data to write!");
}

bool trelSimulationResultWriter::WriteTDTransmittance()
{
  return WriteMediumFile(".T.TD", &trelSimulationResultWriter::WriteTDTransmittanceBlocks,
                         "No Medium result data to write!");
}

bool trelSimulationResultWriter::WriteFDAbsorption()
{
  return WriteMediumFile(".A.FD", &trelSimulationResultWriter::WriteFDAbsorptionBlocks,
                         "No Medium result data to write!");
}

bool trelSimulationResultWriter::WriteFDTransmittance()
{
  return WriteMediumFile(".T.FD", &trelSimulationResultWriter::WriteFDTransmittanceBlocks,
                         "No Medium result data to write!");
}

template <class Blocks>
bool trelSimulationResultWriter::WriteFile(const char* ending, const Blocks& writeBlocks)
{
  const std::string name = std::string(GetFileName(0)) + ending;
  trelResultFileSet alone;
  trelResultFile file;
  if (!file.Open((Files ? *Files : alone).Open(name))) {
    ErrorMacro("Cannot open file : " << name);
    return false;
  }
  if (!writeBlocks(file)) return false;
  if (!file.Close()) {
    ErrorMacro("Could not write all of file : " << name);
    return false;
  }
  return CommitFiles(alone);
}

bool trelSimulationResultWriter::CommitFiles(trelResultFileSet& files)
{
  std::string failed;
  if (files.Commit(failed)) return true;
  ErrorMacro("Could not write all of file : " << failed);
  return false;
}

bool trelSimulationResultWriter::WriteDetectors()
{
  const trelList* results = Result ? Result->GetDetectorResults() : nullptr;
  if (!CheckInput(results)) return false;
  if (results->GetNumberOfItems() == 0) return true;
  return WriteFile(".D.CW", [&](trelResultFile& file) {
    for (int i = 0; i < results->GetNumberOfItems(); ++i) {
      WriteDetectorBlocks(file, *results->GetItem<trelDetectorArrayResult>(i));
    }
    return true;
  });
}

bool trelSimulationResultWriter::WriteMediumFile(const char* ending, trelBlockWriter writeBlocks,
                                                 const char* missingItem)
{
  const trelList* results = Result ? Result->GetMediumResults() : nullptr;
  if (!CheckInput(results)) return false;
  return WriteFile(ending, [&](trelResultFile& file) {
    for (int i = 0; i < results->GetNumberOfItems(); ++i) {
      const trelMediumResult* result = results->GetItem<trelMediumResult>(i);
      if (!result) {
        ErrorMacro(missingItem);
        return false;
      }
      (this->*writeBlocks)(file, *result);
    }
    return true;
  });
}

bool trelSimulationResultWriter::CheckInput(const trelList* results)
{
  if (GetNumberOfFileNames() < 1) {
    ErrorMacro("No file name specified!");
    return false;
  }
  if (!results) {
    ErrorMacro("No data to write!");
    return false;
  }
  return true;
}

void trelSimulationResultWriter::ReportStoring(std::int32_t done, std::int32_t steps)
{
  const double value = static_cast<double>(done) / steps * ProgressMaximum;
  const auto progress = static_cast<std::int32_t>(value);
  ProgressText = "Storing absorption data...  " + std::to_string(progress / 10) + "%";
  ReportProgress(progress);
}

void trelSimulationResultWriter::WriteCWAbsorptionBlocks(trelResultFile& file,
                                                         const trelMediumResult& result)
{
  const trelShownDomain& shown = ShownCW[0];
  file.Print("Spectrum ", result.GetSpectrumId(), "\nDomain CW\n");
  for (const trelGridId id : FindShownGrids(result, GridAbsorption, ShownCW)) {
    const trelGridSet& grids = result.GetGrids(GridCW);
    file.Print(GetTotalLabel(id, shown), result.GetTotal(GetGridDescription(id).Total),
               EndOfTotal(id, shown));
    PrintCounts(file, result, id);
    PrintLabel(file, id, shown);
    const std::int32_t rows = grids.GetLayout(id).Rows;
    for (std::int32_t row = 0; row < rows; ++row) {
      PrintCells(file, grids, id, 0, row, row + 1);
      ReportStoring(row + 1, rows);
    }
  }
}

void trelSimulationResultWriter::WriteTDAbsorptionBlocks(trelResultFile& file,
                                                         const trelMediumResult& result)
{
  file.Print("Spectrum ", result.GetSpectrumId(), "\nDomain TD\n");
  const trelTimeTotals& totals = result.GetTimeTotals();
  for (const trelGridId id : FindShownGrids(result, GridAbsorption, ShownTD)) {
    const trelGridTotal total = GetGridDescription(id).Total;
    file.Print(GetTotalLabel(id, ShownTD[0]), totals.GetSum(total), "\n");
    PrintCounts(file, result, id);
    file.Print("TDAbsorptionNum ", result.GetCountTD(), " \n");
    for (std::int32_t bin = 0; bin < result.GetCountTD(); ++bin) {
      file.Print("TD ", bin, " ", totals.GetTotal(total, bin), "\n");
      PrintGrid(file, result, id, ShownTD, bin);
      ReportStoring(bin + 1, result.GetCountTD());
    }
  }
}

void trelSimulationResultWriter::WriteFDAbsorptionBlocks(trelResultFile& file,
                                                         const trelMediumResult& result)
{
  file.Print("Spectrum ", result.GetSpectrumId(), "\nDomain FD\n");
  for (const trelGridId id : FindShownGrids(result, GridAbsorption, ShownFD)) {
    PrintCounts(file, result, id);
    PrintGrid(file, result, id, ShownFD, 0);
  }
}

void trelSimulationResultWriter::WriteDetectorBlocks(trelResultFile& file,
                                                     const trelDetectorArrayResult& results) const
{
  file.Print("Spectrum ", results.GetSpectrumId(), "\n");
  for (int j = 0; const trelDetectorResult* result = results.GetDetectorResult(j); ++j) {
    if (result->GetDetectorType() == DetectorPlane) {
      PrintPlaneDetector(file, *result, j + 1);
    } else {
      PrintFiberDetector(file, *result, j + 1, Result->GetDimension());
    }
  }
}

void trelSimulationResultWriter::WriteHeader(trelResultFile& file, const trelMediumResult& result,
                                             const char* domain) const
{
  const std::int64_t absorbed = result.GetAbsorpPhotonNum();
  const std::int64_t transmitted = result.GetTransmitPhotonNum();
  file.Print("Spectrum ", result.GetSpectrumId(), "\n");
  file.Print("TotalPhotonNum    ", absorbed + transmitted, "\n");
  file.Print("AbsorpPhotonNum   ", absorbed, "\n");
  file.Print("TransmitPhotonNum ", transmitted, "\n");
  file.Print("Runtime ", Result->GetRuntime(), " (second)\n");
  file.Print("Domain ", domain, "\n");
  file.Print("SpecularReflectance ", result.GetSpecularReflectance(), "\n");
}

static void PrintFlyTimes(trelResultFile& file, const trelMediumResult& result)
{
  if (!result.GetPhotonFlyTimes()) return;
  file.Print("\nPhotonFlyTime\n");
  const std::int64_t rows = std::min(result.GetTransmitPhotonNum(), result.GetNumberOfFlyTimes());
  for (std::int64_t row = 0; row < rows; ++row) {
    const trelFlyTimeRow& values = result.GetPhotonFlyTimes()[row];
    file.Print(values[0], " ", values[1], " ", values[2], " ", values[3], "\n");
  }
}

void trelSimulationResultWriter::WriteCWTransmittanceBlocks(trelResultFile& file,
                                                            const trelMediumResult& result)
{
  WriteHeader(file, result, "CW");
  if (Result->GetDimension() == Dimension2D) {
    file.Print("2DCWTransmittance ", result.GetTotalTransmittance2D(), "\n");
  } else if (Result->GetDimension() == Dimension3D) {
    file.Print("3DCWTransmittance ", result.GetTotalTransmittance3D(), "\n");
  }
  for (const trelGridId id : FindShownGrids(result, GridTransmittance, ShownCW)) {
    file.Print("\n", GetTotalLabel(id, ShownCW[0]), result.GetTotal(GetGridDescription(id).Total),
               "\n");
    PrintCounts(file, result, id);
    PrintGrid(file, result, id, ShownCW, 0);
  }
  if (HasMesh(result, ShownCW)) {
    file.Print("\n3DCWTransmittance", GetMeshName(result), " ", result.GetTransmittanceMeshTotal(),
               "\n");
    PrintMesh(file, result, ShownCW, 0);
  }
  PrintFlyTimes(file, result);
}

void trelSimulationResultWriter::WriteTDTransmittanceBlocks(trelResultFile& file,
                                                            const trelMediumResult& result)
{
  WriteHeader(file, result, "TD");
  const bool is2D = Result->GetDimension() == Dimension2D;
  if (!is2D && Result->GetDimension() != Dimension3D) return;
  const trelGridTotal overall = is2D ? TotalOfTransmittance2D : TotalOfTransmittance3D;
  const trelTimeTotals& totals = result.GetTimeTotals();
  file.Print(is2D ? "2D" : "3D", "TDTransmittance ", totals.GetSum(overall), "\n");
  file.Print("TDTransmittanceNum ", result.GetCountTD(), "\n");
  for (std::int32_t bin = 0; bin < result.GetCountTD(); ++bin) {
    // An empty line stands before the bins of three dimensions only.
    file.Print(is2D ? "" : "\n", "TD ", bin, " ", totals.GetTotal(overall, bin), "\n");
    WriteTimeBin(file, result, bin);
  }
}

void trelSimulationResultWriter::WriteTimeBin(trelResultFile& file, const trelMediumResult& result,
                                              std::int32_t bin) const
{
  const int dimension = Result->GetDimension() == Dimension2D ? 2 : 3;
  const trelTimeTotals& totals = result.GetTimeTotals();
  for (const trelGridId id : FindShownGrids(result, GridTransmittance, ShownTD)) {
    const trelGridDescription& row = GetGridDescription(id);
    if (row.Dimension != dimension) continue;
    file.Print(GetTotalLabel(id, ShownTD[0]), totals.GetTotal(row.Total, bin), "\n");
    PrintCounts(file, result, id);
    PrintGrid(file, result, id, ShownTD, bin);
  }
  if (dimension == 3 && HasMesh(result, ShownTD)) {
    file.Print("3DTDTransmittance", GetMeshName(result), " ", totals.GetTotal(TotalOfMesh, bin),
               "\n");
    PrintMesh(file, result, ShownTD, bin);
  }
}

void trelSimulationResultWriter::WriteFDTransmittanceBlocks(trelResultFile& file,
                                                            const trelMediumResult& result)
{
  WriteHeader(file, result, "FD");
  for (const trelGridId id : FindShownGrids(result, GridTransmittance, ShownFD)) {
    PrintCounts(file, result.GetWindow(), id, CountsLiteralFD(id));
    PrintGrid(file, result, id, ShownFD, 0);
  }
  if (HasMesh(result, ShownFD)) PrintMesh(file, result, ShownFD, 0);
}
