#include "trelSimulationResultWriter.h"

#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelMediumResult.h"
#include "trelResultBlocks.h"
#include "trelResultFile.h"
#include "trelResultFileSet.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"

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
  if (Result->GetDimension() != Dimension3D) return true;
  return WriteAllDetectors(Parameter && Parameter->GetRules() == RulesExact);
}

/** The classic rules write the file of the continuous wave, whatever domains are on. */
bool trelSimulationResultWriter::WriteAllDetectors(bool isExact)
{
  if (!isExact) return WriteDetectors();
  if (Result->GetDomainCW() && !WriteDetectors()) return false;
  if (!Parameter->CountFiberDetectors()) return true;
  if (Result->GetDomainTD() && !WriteTDDetectors()) return false;
  return !Result->GetDomainFD() || WriteFDDetectors();
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

bool trelSimulationResultWriter::WriteTDDetectors()
{
  return WriteFiberFile(".D.TD", &PrintFiberDetectorTD);
}

bool trelSimulationResultWriter::WriteFDDetectors()
{
  return WriteFiberFile(".D.FD", &PrintFiberDetectorFD);
}

bool trelSimulationResultWriter::WriteFiberFile(const char* ending, trelFiberPrinter print)
{
  const trelList* results = Result ? Result->GetDetectorResults() : nullptr;
  if (!CheckInput(results)) return false;
  return WriteFile(ending, [&](trelResultFile& file) {
    for (const auto* record : results->GetItems<trelDetectorArrayResult>()) {
      file.Print("Spectrum ", record->GetSpectrumId(), "\n");
      for (int j = 0; const trelDetectorResult* result = record->GetDetectorResult(j); ++j) {
        if (result->GetDetectorType() == DetectorFiber) print(file, *result, j + 1);
      }
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
    file.Print(GetGridLabel(id, shown));
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
    file.Print("\n3DCWTransmittance", GetMeshName(result.GetIsTetraMesh()), " ",
               result.GetTransmittanceMeshTotal(), "\n");
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
    file.Print("3DTDTransmittance", GetMeshName(result.GetIsTetraMesh()), " ",
               totals.GetTotal(TotalOfMesh, bin), "\n");
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
