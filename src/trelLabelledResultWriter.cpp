#include "trelLabelledResultWriter.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelExitTable.h"
#include "trelLabelledExits.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelMediumResult.h"
#include "trelOpticalParameter.h"
#include "trelPlaneDetector.h"
#include "trelResultLabels.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"
#include "trelTissue.h"

trelLabelledResultWriter::~trelLabelledResultWriter()
{
  ReleaseReference(Result);
  ReleaseReference(Errors);
  ReleaseReference(Parameter);
}

void trelLabelledResultWriter::SetInput(trelSimulationResult* result,
                                        trelSimulationParameter* parameter)
{
  ReplaceReference(Result, result);
  ReplaceReference(Parameter, parameter);
}

void trelLabelledResultWriter::SetErrors(trelSimulationResult* errors)
{
  ReplaceReference(Errors, errors);
}

/** Whether standard errors, if there are any, have a record for each of the result. */
bool trelLabelledResultWriter::CheckShape() const
{
  if (!Result || !Parameter || !Result->GetMediumResults()) return false;
  const int records = Result->GetMediumResults()->GetNumberOfItems();
  return records > 0 && (!Errors || (Errors->GetMediumResults() &&
                                     Errors->GetMediumResults()->GetNumberOfItems() == records));
}

bool trelLabelledResultWriter::Execute()
{
  if (GetNumberOfFileNames() < 1 || !CheckShape()) {
    ErrorMacro("No data to write!");
    return false;
  }
  trelNetcdfFile own;
  trelNetcdfFile& file = File ? *File : own;
  if (!File) own.Create(GetFileName(0));
  File = &file;
  if (file.GetFault().empty()) WriteFile();
  const bool isWritten = file.Commit();
  File = nullptr;
  if (!isWritten) ErrorMacro(file.GetFault());
  return isWritten;
}

void trelLabelledResultWriter::WriteFile()
{
  Order.resize(static_cast<std::size_t>(Result->GetMediumResults()->GetNumberOfItems()));
  std::iota(Order.begin(), Order.end(), 0);
  std::stable_sort(Order.begin(), Order.end(), [&](int i, int j) {
    return Result->GetMediumResult(i)->GetSpectrumId() <
           Result->GetMediumResult(j)->GetSpectrumId();
  });
  WriteRecord();
  WriteWavelengths();
  WriteCoefficients();
  WriteMedium();
  WritePackets();
  WriteFlyTimes();
  if (Exits) WriteExitTable();
  WriteMesh();
  WriteDetectors();
  trelLabelledBatches(*File, Batches, Order).WriteLedger();
}

void trelLabelledResultWriter::WriteRecord()
{
  File->SetText("", "Conventions", "CF-1.10");
  File->SetText("", "title", "Monte Carlo simulation of light in tissue");
  Record.Write(*File);
}

void trelLabelledResultWriter::WriteWavelengths()
{
  std::vector<std::int32_t> wavelengths;
  for (const int k : Order)
    wavelengths.push_back(Result->GetMediumResult(k)->GetSpectrumId());
  File->AddDimension("wavelength", wavelengths.size());
  File->AddVariable({"wavelength", "wavelength", "nm", {"wavelength"}, NetcdfInteger});
  File->PutAll("wavelength", wavelengths.data());
  if (!Result->GetDomainFD()) return;
  const double frequency = Parameter->GetFrequency();
  File->AddVariable({"modulation_frequency", "frequency of the modulation", "MHz", {}});
  File->PutAll("modulation_frequency", &frequency);
}

/** Writes a variable by wavelength and, if there are any, its standard errors. */
void trelLabelledResultWriter::WriteVariable(const trelNetcdfVariable& variable,
                                             const trelPutRecord& put, bool hasErrors)
{
  const auto write = [&](const trelNetcdfVariable& described, const trelSimulationResult& result) {
    File->AddVariable(described);
    for (std::size_t i = 0; i < Order.size() && File->GetFault().empty(); ++i)
      put(described.Name, {i}, result, Order[i]);
  };
  write(variable, *Result);
  if (!hasErrors || !Errors) return;
  const trelNetcdfVariable error = DescribeError(variable);
  write(error, *Errors);
  File->SetText(variable.Name, "ancillary_variables", error.Name);
}

/** A number for each wavelength, or for each wavelength and time gate; the variable that it makes.
 */
trelNetcdfVariable trelLabelledResultWriter::WriteNumbers(const trelNetcdfVariable& variable,
                                                          const trelLabelledDomain& domain,
                                                          const trelGridWindow& window,
                                                          const trelFindNumber& find,
                                                          bool hasErrors)
{
  trelNetcdfVariable described = variable;
  described.Dimensions = {"wavelength"};
  if (domain.IsByTime) described.Dimensions.push_back("time");
  const std::int32_t gates = domain.IsByTime ? window.Time.Count : 1;
  const auto put = [&](const std::string& name, const trelFirst& first,
                       const trelSimulationResult& result, int k) {
    std::vector<double> numbers;
    numbers.reserve(static_cast<std::size_t>(gates));
    for (std::int32_t gate = 0; gate < gates; ++gate)
      numbers.push_back(find(result, k, gate) * GetGateFactor(domain, window, gate));
    std::vector<std::size_t> start = first, count{1};
    start.resize(described.Dimensions.size());
    if (domain.IsByTime) count.push_back(numbers.size());
    File->Put(name, start, count, numbers.data());
  };
  WriteVariable(described, put, hasErrors);
  return described;
}

/** Whether all records have the grid, with the same numbers of cells. */
static bool HaveOneShape(const trelGridSet& first, const trelGridSet& other, trelGridId grid)
{
  const trelGrid* a = first.Get(grid);
  const trelGrid* b = other.Get(grid);
  return a && b && a->GetExtents() == b->GetExtents();
}

void trelLabelledResultWriter::WriteGrid(trelGridId grid, const trelLabelledOwner& owner,
                                         const trelLabelledDomain& domain,
                                         const trelGridWindow& window, const trelFindGrids& find)
{
  if (!find(*Result, 0).Get(grid)) return;
  if (domain.IsByTime && !AddTimeAxis(*File, window)) return;
  if (!AddGridAxes(*File, grid, owner, window)) return;
  const auto put = [&](const std::string& name, const trelFirst& first,
                       const trelSimulationResult& result, int k) {
    const trelGridSet& grids = find(result, k);
    if (HaveOneShape(find(*Result, 0), grids, grid)) {
      PutGrid(*File, name, first, grids, grid, domain, window);
    } else {
      File->Fail("the grids of " + name + " differ in shape");
    }
  };
  WriteVariable(DescribeGrid(grid, owner, domain), put);
  const bool isSummed = domain.Domain != GridFDAmp && domain.Domain != GridFDPha;
  if (isSummed && grid != TransmittanceMeshVertex)
    WriteCells(DescribeBatches(DescribeGrid(grid, owner, domain)), put);
  trelLabelledBatches(*File, Batches, Order).WriteGrid(grid, owner, domain, window);
}

/** The cells of every batch, if they are kept. */
void trelLabelledResultWriter::WriteCells(const trelNetcdfVariable& variable,
                                          const trelPutRecord& put)
{
  if (!Batches.Cells || !Batches.Cells->HasCells()) return;
  const auto batches = static_cast<std::size_t>(Batches.Cells->GetBatches());
  File->AddDimension("batch", batches);
  File->AddVariable(variable);
  for (std::size_t batch = 0; batch < batches && File->GetFault().empty(); ++batch) {
    const trelSimulationResult& result = Batches.Cells->LoadBatch(static_cast<std::int64_t>(batch));
    for (std::size_t i = 0; i < Order.size(); ++i)
      put(variable.Name, {batch, i}, result, Order[i]);
  }
}

/** The coefficients that the run was made with, those that the command line changed among them. */
void trelLabelledResultWriter::WriteCoefficients()
{
  static const struct
  {
    const char *Name, *LongName, *Units;
    double (trelOpticalParameter::*Get)() const;
  } coefficients[] = {
      {"mua", "absorption coefficient", "mm-1", &trelOpticalParameter::GetAbsorption},
      {"mus", "scattering coefficient", "mm-1", &trelOpticalParameter::GetScattering},
      {"g", "mean cosine of the scattering angle", "1", &trelOpticalParameter::GetAnisotropy},
      {"n", "refractive index", "1", &trelOpticalParameter::GetRefractiveIndex}};
  std::vector<std::string> names;
  names.reserve(static_cast<std::size_t>(Parameter->GetNumberOfTissues()));
  for (int i = 0; i < Parameter->GetNumberOfTissues(); ++i)
    names.push_back(Parameter->GetTissue(i)->GetName());
  if (!File->AddDimension("tissue", names.size())) return;
  File->AddVariable({"tissue_name", "names of the tissues", "", {"tissue"}, NetcdfText});
  File->PutAll("tissue_name", names);
  for (const auto& [name, words, units, get] : coefficients) {
    std::vector<double> values;
    for (const int k : Order) {
      for (int i = 0; i < Parameter->GetNumberOfTissues(); ++i) {
        const trelOpticalParameter* optics = Parameter->GetTissue(i)->GetOpticalParameter(k);
        values.push_back(optics ? (optics->*get)() : std::numeric_limits<double>::quiet_NaN());
      }
    }
    File->AddVariable({name, words, units, {"wavelength", "tissue"}});
    File->PutAll(name, values.data());
  }
}

// Grids and totals, of the medium and of fibres

/** A total in both domains that have it, in units of the energy. */
template <class FindRecord>
void trelLabelledResultWriter::WriteTotal(trelGridTotal total, const std::string& name,
                                          const std::string& words, const trelLabelledOwner& owner,
                                          const FindRecord& find)
{
  const trelGridWindow& window = find(*Result, 0)->GetWindow();
  for (const trelLabelledDomain& domain : LabelledDomains) {
    const bool isOn = domain.IsByTime ? Result->GetDomainTD() : Result->GetDomainCW();
    if (!isOn || !domain.HasTotals || (domain.IsByTime && !AddTimeAxis(*File, window))) continue;
    const trelNetcdfVariable variable = WriteNumbers(
        {name + domain.Suffix, words + domain.Words, domain.IsByTime ? "ps-1" : "1", {}}, domain,
        window, [&](const trelSimulationResult& result, int k, std::int32_t gate) {
          const auto* record = find(result, k);
          return domain.IsByTime ? record->GetTimeTotals().GetTotal(total, gate)
                                 : record->GetTotal(total);
        });
    trelLabelledBatches(*File, Batches, Order).WriteTotal(variable, total, owner, domain, window);
  }
}

template <class FindRecord>
void trelLabelledResultWriter::WriteGrids(const trelLabelledOwner& owner, const FindRecord& find)
{
  for (int id = 0; id < NumberOfGrids; ++id) {
    const auto grid = static_cast<trelGridId>(id);
    const trelGridTotal total = GetGridDescription(grid).Total;
    bool isThere = false;
    for (const trelLabelledDomain& domain : LabelledDomains) {
      isThere |= find(*Result, 0)->GetGrids(domain.Domain).Get(grid) != nullptr;
      WriteGrid(grid, owner, domain, find(*Result, 0)->GetWindow(),
                [&](const trelSimulationResult& result, int k) -> const trelGridSet& {
                  return find(result, k)->GetGrids(domain.Domain);
                });
    }
    if (isThere && total != TotalOfNothing)
      WriteTotal(total, GetTotalName(grid, owner), GetTotalWords(grid, owner), owner, find);
  }
}

void trelLabelledResultWriter::WriteMedium()
{
  const trelLabelledOwner owner{"transmittance", "transmittance", "",
                                Parameter->GetSaveFluenceRate()};
  const auto find = [](const trelSimulationResult& result, int k) {
    return result.GetMediumResult(k);
  };
  WriteGrids(owner, find);
  const bool isPlanar = Result->GetDimension() == Dimension2D;
  if (Result->GetTransmittanceOutput())
    WriteTotal(isPlanar ? TotalOfTransmittance2D : TotalOfTransmittance3D, "transmittance_total",
               "transmittance, all surfaces", owner, find);
}

void trelLabelledResultWriter::WritePackets()
{
  std::vector<std::int64_t> left, lost;
  std::vector<double> specular;
  for (const int k : Order) {
    const trelMediumResult& record = *Result->GetMediumResult(k);
    left.push_back(record.GetTransmitPhotonNum());
    lost.push_back(record.GetAbsorpPhotonNum());
    specular.push_back(record.GetSpecularReflectance());
  }
  File->AddVariable(
      {"packets_left", "packets that left the medium", "1", {"wavelength"}, NetcdfCount});
  File->PutAll("packets_left", left.data());
  File->AddVariable(
      {"packets_absorbed", "packets that lost the roulette", "1", {"wavelength"}, NetcdfCount});
  File->PutAll("packets_absorbed", lost.data());
  File->AddVariable({"specular_reflectance",
                     "specular reflectance, summed over the sources that have one",
                     "1",
                     {"wavelength"}});
  File->PutAll("specular_reflectance", specular.data());
}

/** A list of its own for each wavelength, which are of different lengths. */
void trelLabelledResultWriter::WriteFlyTimes()
{
  constexpr std::int64_t block = 1 << 16;
  for (std::size_t i = 0; i < Order.size(); ++i) {
    const trelMediumResult& record = *Result->GetMediumResult(Order[i]);
    const std::int64_t rows = std::min(record.GetTransmitPhotonNum(), record.GetNumberOfFlyTimes());
    const std::string name = "exits" + std::to_string(i + 1);
    const std::string at = " at wavelength number " + std::to_string(i + 1);
    if (!record.GetPhotonFlyTimes() || !File->AddDimension(name, static_cast<std::size_t>(rows)))
      continue;
    File->AddDimension("xyz", 3);
    File->AddVariable({name + "_position", "where packets left" + at, "mm", {name, "xyz"}});
    File->AddVariable({name + "_time", "time of flight of packets that left" + at, "ps", {name}});
    std::vector<double> positions, times;
    for (std::int64_t first = 0; first < rows; first += block) {
      positions.clear();
      times.clear();
      for (std::int64_t row = first; row < std::min(first + block, rows); ++row) {
        const trelFlyTimeRow& values = record.GetPhotonFlyTimes()[row];
        positions.insert(positions.end(), values, values + 3);
        times.push_back(values[3]);
      }
      const auto start = static_cast<std::size_t>(first);
      File->Put(name + "_position", {start, 0}, {times.size(), 3}, positions.data());
      File->Put(name + "_time", {start}, {times.size()}, times.data());
    }
  }
}

/** The faces of a shape by number, "1 front, 2 back"; a surface in one piece is face 1. */
static std::string ListFaceWords(ShapeType shape)
{
  std::string words;
  for (const trelGridUse& use : GetTransmittanceUses(shape, GetShapeTraits(shape).Coordinate)) {
    if (use.Face == AnyFace) return "1 the whole surface";
    if (!words.empty()) words.append(", ");
    words.append(std::to_string(use.Face + 1)).append(" ").append(GetSurfaceWord(use.Grid));
  }
  return words;
}

void trelLabelledResultWriter::WriteExitTable()
{
  const auto tissues = static_cast<std::size_t>(Parameter->GetNumberOfTissues());
  WriteExits(*File, *Exits, tissues, Parameter->GetSimulationType() == FMT);
  if (Exits->GetNumberOfRows() > 0 && Parameter->GetOuterShape())
    File->SetText("exit_face", "comment",
                  ListFaceWords(Parameter->GetOuterShape()->GetShapeType()));
}

/** Nodes, and the faces that the grids of the surface belong to. */
void trelLabelledResultWriter::WriteMesh()
{
  const trelMediumResult& record = *Result->GetMediumResult(0);
  const auto* mesh = dynamic_cast<const trelTraceableMesh*>(Parameter->GetOuterShape());
  if (!mesh) return;
  const std::uint32_t vertices = mesh->GetNumberOfVertices();
  if (!File->AddDimension("vertex", vertices)) return;
  std::vector<double> positions;
  for (std::uint32_t v = 0; v < vertices; ++v) {
    const trelTraceableVertex& vertex = mesh->GetVertexArray()[v];
    positions.insert(positions.end(), {vertex.X, vertex.Y, vertex.Z});
  }
  File->AddDimension("xyz", 3);
  File->AddVariable({"vertex_position", "vertices of the mesh", "mm", {"vertex", "xyz"}});
  File->PutAll("vertex_position", positions.data());
  const auto faces = static_cast<std::size_t>(record.GetCountMeshFace());
  if (record.GetMeshFaces() && File->AddDimension("face", faces)) {
    std::vector<std::int32_t> corners;
    std::vector<double> areas;
    for (std::size_t f = 0; f < faces; ++f) {
      const trelMeshFace& face = record.GetMeshFaces()[f];
      corners.insert(corners.end(), std::begin(face.Vertices), std::end(face.Vertices));
      areas.push_back(face.Area);
    }
    File->AddDimension("corner", 3);
    File->AddVariable(
        {"face_vertices", "vertices of each face, from 0", "1", {"face", "corner"}, NetcdfInteger});
    File->PutAll("face_vertices", corners.data());
    File->AddVariable({"face_area", "area of each face", "mm2", {"face"}});
    File->PutAll("face_area", areas.data());
  }
  WriteElements();
}

void trelLabelledResultWriter::WriteElements()
{
  const trelMedium& medium = *Parameter->GetMedium();
  const trelMCTetrahedron* mesh =
      medium.GetShapeIsTetrahedron() ? medium.GetTetrahedron() : nullptr;
  if (!mesh || !File->AddDimension("element", mesh->GetNumberOfTetrahedra())) return;
  std::vector<std::int32_t> nodes, regions;
  std::vector<double> volumes;
  for (std::uint32_t t = 0; t < mesh->GetNumberOfTetrahedra(); ++t) {
    nodes.insert(nodes.end(), mesh->GetTetrahedron(t).begin(), mesh->GetTetrahedron(t).end());
    regions.push_back(mesh->GetRegion(t));
    volumes.push_back(mesh->ComputeVolumeOfTetrahedron(t));
  }
  File->AddDimension("node", 4);
  File->AddVariable({"element_vertices",
                     "vertices of each tetrahedron, from 0",
                     "1",
                     {"element", "node"},
                     NetcdfInteger});
  File->PutAll("element_vertices", nodes.data());
  File->AddVariable({"element_region",
                     "region of each tetrahedron, from 0: its tissue",
                     "1",
                     {"element"},
                     NetcdfInteger});
  File->PutAll("element_region", regions.data());
  File->AddVariable({"element_volume", "volume of each tetrahedron", "mm3", {"element"}});
  File->PutAll("element_volume", volumes.data());
  if (Parameter->GetSaveAbsorption())
    trelLabelledBatches(*File, Batches, Order).WriteRegions(mesh->GetNumberOfRegions());
}

// Detectors

void trelLabelledResultWriter::WriteDetectors()
{
  const trelDetectorArrayResult* records = Result->GetDetectorArrayResult(0);
  if (!records || Result->GetDimension() != Dimension3D) return;
  for (int j = 0; const trelDetectorResult* record = records->GetDetectorResult(j); ++j) {
    if (record->GetDetectorType() == DetectorFiber) {
      WriteFiber(j);
    } else if (Result->GetDomainCW() && record->GetDetectionMatrix()) {
      WriteCamera(j);
    }
  }
}

/** Borders of @p pixels pixels of a detector of length @p length about its middle, as they are on
 *  the object plane, which is @p scale times as large. */
static std::vector<double> GetPixelBorders(std::uint32_t pixels, double length, double scale)
{
  std::vector<double> borders;
  for (std::uint32_t k = 0; k <= pixels; ++k)
    borders.push_back((k - 0.5 * pixels) * (length / pixels) * scale);
  return borders;
}

void trelLabelledResultWriter::WriteCamera(int detector)
{
  const auto* camera = static_cast<const trelPlaneDetector*>(Parameter->GetDetector(detector));
  const auto find = [detector](const trelSimulationResult& result, int k) {
    return result.GetDetectorArrayResult(k)->GetDetectorResult(detector);
  };
  const trelDetectorResult& first = *find(*Result, 0);
  const std::size_t rows = first.GetRows();
  const std::size_t columns = first.GetColumns();
  const std::string name = "camera" + std::to_string(detector + 1);
  const double scale = camera->GetObjectDistance() / camera->GetImageDistance();
  double width = 0.0, height = 0.0;
  camera->GetSize(&width, &height);
  File->AddAxis(
      {name + "_y", "place on the object plane along the rows, from its middle", "mm", {}},
      GetPixelBorders(first.GetRows(), height, scale));
  File->AddAxis(
      {name + "_x", "place on the object plane along the columns, from its middle", "mm", {}},
      GetPixelBorders(first.GetColumns(), width, scale));
  WriteVariable({name, "radiance", "mm-2 sr-1", {"wavelength", name + "_y", name + "_x"}},
                [&](const std::string& variable, const trelFirst& at,
                    const trelSimulationResult& result, int k) {
                  const double* pixels = find(result, k)->GetDetectionMatrix()->GetCells();
                  File->Put(variable, {at[0], 0, 0}, {1, rows, columns}, pixels);
                });
  // Pixels are correlated: the error is that of the batches.
  const trelNetcdfVariable total = WriteNumbers(
      {name + "_total", "mean radiance times width and height of the detector", "sr-1", {}},
      LabelledDomains[0], {},
      [&](const trelSimulationResult& result, int k, std::int32_t) {
        return find(result, k)->GetTotalDetection();
      },
      false);
  trelLabelledBatches(*File, Batches, Order).WriteCamera(total, detector);
}

void trelLabelledResultWriter::WriteFiber(int detector)
{
  const auto find = [detector](const trelSimulationResult& result, int k) {
    return result.GetDetectorArrayResult(k)->GetDetectorResult(detector);
  };
  const std::string name = "fibre" + std::to_string(detector + 1);
  const trelLabelledOwner owner{name, "collected by the fibre", name + "_", false, detector};
  WriteGrids(owner, find);
  WriteTotal(TotalOfTransmittance3D, name + "_total", "collected by the fibre, all surfaces", owner,
             find);
}
