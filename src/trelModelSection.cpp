#include "trelModelSection.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <sstream>

#include "trelFiberDetector.h"
#include "trelLightSource.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelPaths.h"
#include "trelPlaneDetector.h"
#include "trelShapeFactory.h"
#include "trelSimulationParameter.h"
#include "trelSimulationParameterReader.h"
#include "trelSpectrum.h"
#include "trelTissue.h"

static bool IsSolid(const trelShapeTraits& shape)
{
  return !shape.IsPlanar() && shape.Role != RoleMedium;
}

static bool IsPlanar(const trelShapeTraits& shape)
{
  return shape.IsPlanar();
}

static bool IsFiber(const trelShapeTraits& shape)
{
  return shape.Role == RoleBodyOrFiber;
}

/** A new shape of the kind that token @p i names; null if no admitted kind has such a word. */
static trelShapeObject* MakeNamedShape(const trelParameterText& text, int i,
                                       bool (*admits)(const trelShapeTraits&))
{
  for (int type = 0; type < NumberOfShapes; ++type) {
    if (admits(ShapeTraits[type]) && text.IsOneOf(i, ShapeTraits[type].Words)) {
      return MakeShape(static_cast<ShapeType>(type));
    }
  }
  return nullptr;
}

static const trelWord<LuminousType> LuminousWords[] = {{"excitation", LuminousExcitation},
                                                       {"emission", LuminousEmission}};

static const trelWord<VerticalPlane> VerticalPlaneWords[] = {
    {"xy yx", PlaneXY}, {"xz zx", PlaneXZ}, {"yz zy", PlaneYZ}};

/** A word of "lightsourceproperty" and the switch that it sets. */
struct trelSourceSwitch
{
  void (trelLightSource::*Set)(bool);
  bool Value;
};

static const trelWord<trelSourceSwitch> SourceSwitchWords[] = {
    {"internal", {&trelLightSource::SetInternal, true}},
    {"external", {&trelLightSource::SetInternal, false}},
    {"solid", {&trelLightSource::SetSolid, true}},
    {"face", {&trelLightSource::SetSolid, false}},
    {"specular", {&trelLightSource::SetSpecular, true}},
    {"nospecular", {&trelLightSource::SetSpecular, false}}};

trelModelSection::trelModelSection(trelSimulationParameterReader& reader,
                                   trelSimulationParameter& parameter)
    : Reader(reader), Parameter(parameter), Text(reader.GetText())
{
}

KeywordOutcome trelModelSection::Handle(const Keyword* row)
{
  if (!row) return Fail("\"" + std::string(Text.GetToken(0)) + "\"\n" + UnknownMessage);
  if (row->Current != Nothing && !Current[row->Current]) {
    return row->MissingMessage ? Fail(row->MissingMessage) : KeywordDone;
  }
  return (this->*row->Handler)(*row);
}

KeywordOutcome trelModelSection::Fail(const std::string& text)
{
  Reader.Record(text);
  return KeywordFails;
}

template <class Object>
Object* trelModelSection::Get(CurrentObject which) const
{
  return static_cast<Object*>(Current[which]);
}

int trelModelSection::GetIndex() const
{
  return std::max(Text.GetInteger(1), 0) - 1;
}

void trelModelSection::TakePoint(const Keyword& row, double point[3]) const
{
  std::fill_n(point, 3, 0.0);
  for (int i = 0; i < row.Needs - 1; ++i)
    point[i] = Text.GetReal(i + 1);
}

KeywordOutcome trelModelSection::Ignore(const Keyword&)
{
  return KeywordDone;
}

KeywordOutcome trelModelSection::End(const Keyword&)
{
  return KeywordEndsSection;
}

// Shapes, of whatever they belong to

template <class Owner>
KeywordOutcome trelModelSection::GiveShape(const Keyword& row, ShapeFilter admits,
                                           CurrentObject shape)
{
  trelShapeObject* made = MakeNamedShape(Text, 1, admits);
  if (!made) return Fail(row.Message);
  Get<Owner>(row.Current)->SetShape(made);
  Current[shape] = made;
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetCenter(const Keyword& row)
{
  double center[3];
  TakePoint(row, center);
  Get<trelShapeObject>(row.Current)->SetCenter(center);
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetHalfAxes(const Keyword& row)
{
  double halfAxes[3];
  TakePoint(row, halfAxes);
  Get<trelShapeObject>(row.Current)->SetHalfAxes(halfAxes);
  return KeywordDone;
}

template <class Mesh>
void trelModelSection::LoadMesh(Mesh& mesh)
{
  std::string path;
  if (Text.GetPath(path)) {
    ResolvePath(path);
    if (mesh.LoadFromFile(path.c_str())) return;
  }
  mesh.ClearMesh();
}

// Light sources

KeywordOutcome trelModelSection::SelectSource(const Keyword& row)
{
  trelLightSource* source = Reader.GetModelIndex().GetLightSource(GetIndex());
  if (!source) return Fail(row.Message);
  Current[Source] = source;
  SourceIndex = GetIndex();
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetPlanarSourceShape(const Keyword& row)
{
  return GiveShape<trelLightSource>(row, IsPlanar, SourceShape);
}

KeywordOutcome trelModelSection::SetSourceShape(const Keyword& row)
{
  return GiveShape<trelLightSource>(row, IsSolid, SourceShape);
}

KeywordOutcome trelModelSection::LoadSourceShape(const Keyword& row)
{
  auto* shape = Get<trelShapeObject>(SourceShape);
  if (!shape || shape->GetShapeType() != ShapeTriangleMesh) return Fail(row.Message);
  LoadMesh(static_cast<trelMCTriangleMesh&>(*shape));
  if (Text.GetNumberOfTokens() < 2) Reader.ShowError("Light source shape file is null!");
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetSourceProperty(const Keyword& row)
{
  if (!SetLuminousType()) return Fail(row.Message);
  auto* source = Get<trelLightSource>(Source);
  for (int i = 1; i < Text.GetNumberOfTokens(); ++i) {
    const trelSourceSwitch* found = FindWord(Text, i, SourceSwitchWords);
    if (found) (source->*found->Set)(found->Value);
  }
  return CheckSourcePlace();
}

/** By the imaging mode, and in FMT by the first word that says it; false for such a word elsewhere.
 */
bool trelModelSection::SetLuminousType()
{
  auto* source = Get<trelLightSource>(Source);
  const SimulationType mode = Parameter.GetSimulationType();
  for (int i = 1; i < Text.GetNumberOfTokens(); ++i) {
    const LuminousType* type = FindWord(Text, i, LuminousWords);
    if (!type) continue;
    if (mode != FMT) return false;
    source->SetLuminousType(*type);
    break;
  }
  if (mode == BLT) source->SetLuminousType(LuminousBioluminescence);
  if (mode == DOT) source->SetLuminousType(LuminousDiffuse);
  return true;
}

KeywordOutcome trelModelSection::CheckSourcePlace()
{
  const auto* source = Get<trelLightSource>(Source);
  const SimulationType mode = Parameter.GetSimulationType();
  if (mode == BLT) {
    if (source->IsInternal() && !source->IsSpecular()) return KeywordDone;
    return Fail("The light source cannot be outside of the medium in BLT!\n");
  }
  if (!source->IsInternal() || !source->IsSpecular()) return KeywordDone;
  return Fail(std::string("The light soruce in the medium should not have the specular reflection"
                          " in ") +
              (mode == DOT ? "DOT!\n" : "FMT!\n"));
}

KeywordOutcome trelModelSection::SetAzimuthRange(const Keyword&)
{
  Get<trelLightSource>(Source)->SetAzimuthRange(Text.GetReal(1), Text.GetReal(2));
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetDeflectionRange(const Keyword&)
{
  Get<trelLightSource>(Source)->SetDeflectionRange(Text.GetReal(1), Text.GetReal(2));
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetSourceSpectrum2D(const Keyword& row)
{
  return SetSourceSpectrum(row, 6, row.Message);
}

KeywordOutcome trelModelSection::SetSourceSpectrum3D(const Keyword& row)
{
  return SetSourceSpectrum(row, 5, "3d light source property error!\n");
}

KeywordOutcome trelModelSection::SetSourceSpectrum(const Keyword& row, int emissionNeeds,
                                                   const char* emissionMessage)
{
  const std::vector<std::uint32_t>& wavelengths = Reader.GetWavelengthList();
  const int i = GetIndex();
  trelSpectrum* spectrum = Reader.GetModelIndex().GetSpectrum(SourceIndex, i);
  if (!spectrum || i >= static_cast<int>(wavelengths.size())) return Fail(row.Message);
  spectrum->SetWavelength(wavelengths[i]);
  spectrum->SetWavelengthIndex(i);
  const bool emits = Parameter.GetSimulationType() == FMT &&
                     Get<trelLightSource>(Source)->GetLuminousType() == LuminousEmission;
  if (!emits) {
    spectrum->SetEnergy(Text.GetReal(2));
    SetPacketNumber(*spectrum);
    return KeywordDone;
  }
  if (Text.GetNumberOfTokens() < emissionNeeds) return Fail(emissionMessage);
  spectrum->SetExcitationWavelength(Text.GetTruncated(2));
  spectrum->SetQuantumYield(Text.GetReal(3));
  spectrum->SetFluorophoreAbsorption(Text.GetReal(4));
  if (Text.GetNumberOfTokens() > 5) spectrum->SetLifeTime(Text.GetReal(5));
  return KeywordDone;
}

/** A number that is out of range, or none, is taken as the nearest that there is, with a warning.
 */
void trelModelSection::SetPacketNumber(trelSpectrum& spectrum)
{
  spectrum.SetPhotonNumber(Text.GetTruncated(3));
  const double given = Text.GetReal(3);
  if (Text.HasNumber(3) && given >= 0.0 && given < Text.LargestTruncated + 1.0) return;
  std::ostringstream text;
  text << "lightsource " << SourceIndex + 1 << ", lightsourcespectrumindex " << GetIndex() + 1
       << ": got \"" << Text.GetToken(3) << "\", expected a number of packets from 0 to "
       << std::numeric_limits<std::uint32_t>::max() << "; taken as " << spectrum.GetPhotonNumber()
       << "\n";
  Reader.ShowWarning(text.str());
}

// Medium and tissues

KeywordOutcome trelModelSection::LoadTetrahedra(const Keyword& row)
{
  trelMedium* medium = Parameter.GetMedium();
  if (!medium->GetShapeIsTetrahedron()) return Fail(row.Message);
  auto* mesh = new trelMCTetrahedron;
  medium->SetTetrahedron(mesh);
  LoadMesh(*mesh);
  return KeywordDone;
}

KeywordOutcome trelModelSection::SelectTissue(const Keyword& row)
{
  trelTissue* tissue = Reader.GetModelIndex().GetTissue(GetIndex());
  if (!tissue) return Fail(row.Message);
  Current[Tissue] = tissue;
  TissueIndex = GetIndex();
  tissue->SetName(std::string(Text.GetToken(2)).c_str());
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetPlanarTissueShape(const Keyword& row)
{
  return GiveShape<trelTissue>(row, IsPlanar, TissueShape);
}

KeywordOutcome trelModelSection::SetTissueShape(const Keyword& row)
{
  if (!Text.IsOneOf(1, "mctetrahedron tetrahedron")) {
    return GiveShape<trelTissue>(row, IsSolid, TissueShape);
  }
  // A region of the medium's mesh: no shape of its own, and one that it had stays.
  Current[TissueShape] = nullptr;
  return KeywordDone;
}

KeywordOutcome trelModelSection::LoadTissueShape(const Keyword& row)
{
  auto* shape = Get<trelShapeObject>(TissueShape);
  if (shape->GetShapeType() != ShapeTriangleMesh) return Fail(row.Message);
  LoadMesh(static_cast<trelMCTriangleMesh&>(*shape));
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetTissueSpectrum(const Keyword& row)
{
  const std::vector<std::uint32_t>& wavelengths = Reader.GetWavelengthList();
  const int i = GetIndex();
  trelOpticalParameter* entry = Reader.GetModelIndex().GetOpticalParameter(TissueIndex, i);
  if (!entry || i >= static_cast<int>(wavelengths.size())) return Fail(row.Message);
  entry->SetOpticalCoefficients(Text.GetReal(2), Text.GetReal(3), Text.GetReal(4), Text.GetReal(5));
  entry->SetWavelength(wavelengths[i]);
  return KeywordDone;
}

// Detectors

/** Detectors stand in the order of their lines; the index is only held against their number. */
template <class Detector>
KeywordOutcome trelModelSection::AddDetector(const Keyword& row)
{
  const int i = GetIndex();
  if (i < 0 || i >= Reader.GetDetectorNum()) return Fail(row.Message);
  auto* detector = new Detector;
  Parameter.AddDetector(detector);
  Current[detector->GetDetectorType() == DetectorPlane ? PlaneDetector : FiberDetector] = detector;
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetVerticalPlane(const Keyword& row)
{
  const VerticalPlane* plane = FindWord(Text, 1, VerticalPlaneWords);
  if (!plane) return Fail(row.Message);
  Get<trelPlaneDetector>(PlaneDetector)->SetVerticalPlane(*plane);
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetDetectorCenter(const Keyword& row)
{
  double center[3];
  TakePoint(row, center);
  Get<trelPlaneDetector>(PlaneDetector)->SetCenter(center[0], center[1], center[2]);
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetDetectorNormal(const Keyword& row)
{
  double normal[3];
  TakePoint(row, normal);
  const double length = std::hypot(normal[0], normal[1], normal[2]);
  if (!(length > 0.0 && std::isfinite(length))) return KeywordFails;
  for (double& component : normal)
    component /= length;
  Get<trelPlaneDetector>(PlaneDetector)->SetNormal(normal[0], normal[1], normal[2]);
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetDetectorSize(const Keyword&)
{
  Get<trelPlaneDetector>(PlaneDetector)->SetSize(Text.GetReal(1), Text.GetReal(2));
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetDetectorResolution(const Keyword&)
{
  Get<trelPlaneDetector>(PlaneDetector)->SetResolution(Text.GetInteger(1), Text.GetInteger(2));
  return KeywordDone;
}

template <void (trelPlaneDetector::*Set)(double)>
KeywordOutcome trelModelSection::SetLength(const Keyword&)
{
  (Get<trelPlaneDetector>(PlaneDetector)->*Set)(Text.GetReal(1));
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetFiberShape(const Keyword& row)
{
  return GiveShape<trelFiberDetector>(row, IsFiber, FiberShape);
}

// The tables

bool trelModelSection::Read2D()
{
  using Section = trelModelSection;
  static const Keyword table[] = {
      {"endtrl", 1, Nothing, &Section::End},
      {"lightsource", 2, Nothing, &Section::SelectSource,
       "Index of the light source is incorrect!\n"},
      {"lightsourcetype", 2, Nothing, &Section::Ignore},
      {"lightsourceshape", 2, Source, &Section::SetPlanarSourceShape,
       "2D light source shape error!\n"},
      {"lightsourceproperty", 1, Source, &Section::SetSourceProperty,
       "3D light source property error!\n"},
      {"lightsourcecenter", 3, SourceShape, &Section::SetCenter},
      {"lightsourceaxis", 3, SourceShape, &Section::SetHalfAxes},
      {"lightsourceangle", 2, Nothing, &Section::Ignore},
      {"lightsourcespectrumindex", 4, Source, &Section::SetSourceSpectrum2D,
       "2d light source property error!\n"},
      {"lightsourceazimuthalangle lightsourceazimuthangle", 3, SourceShape,
       &Section::SetAzimuthRange},
      {"tissue", 3, Nothing, &Section::SelectTissue, "Index of the tissue is incorrect!\n"},
      {"tissueshape", 2, Tissue, &Section::SetPlanarTissueShape, "2D tissue shape data error!\n"},
      {"tissuecenter", 3, TissueShape, &Section::SetCenter},
      {"tissueaxis", 3, TissueShape, &Section::SetHalfAxes},
      {"tissueangle", 2, Nothing, &Section::Ignore},
      {"tissuespectrumindex", 6, Tissue, &Section::SetTissueSpectrum, "2D tissue data error!\n"}};
  UnknownMessage = "The format of the simulation data is error!\n";
  return ReadSection(Text, *this, table);
}

bool trelModelSection::Read3D()
{
  using Section = trelModelSection;
  static const char* const sourceMessage = "3d light source property error!\n";
  static const char* const tissueMessage = "Tissue data error!\n";
  static const char* const detectorMessage = "Index of the detector is incorrect!\n";
  static const Keyword table[] = {
      {"endtrl", 1, Nothing, &Section::End},
      {"lightsource", 2, Nothing, &Section::SelectSource,
       "Index of the light source is incorrect!\n"},
      {"lightsourceshape", 2, Source, &Section::SetSourceShape, sourceMessage},
      {"lightsourcepath", 1, Nothing, &Section::LoadSourceShape, sourceMessage},
      {"lightsourceproperty", 1, Source, &Section::SetSourceProperty,
       "3D light source property error!\n"},
      {"lightsourcecenter", 4, SourceShape, &Section::SetCenter},
      {"lightsourceaxis", 4, SourceShape, &Section::SetHalfAxes},
      {"lightsourceangle", 4, Nothing, &Section::Ignore},
      {"lightsourceazimuthalangle lightsourceazimuthangle", 3, SourceShape,
       &Section::SetAzimuthRange},
      {"lightsourcedeflectangle lightsourcedeflectionangle", 3, SourceShape,
       &Section::SetDeflectionRange},
      {"lightsourcespectrumindex", 4, Source, &Section::SetSourceSpectrum3D,
       "The property of the light source is incorrect!\n"},
      {"mediumtetrapath", 1, Nothing, &Section::LoadTetrahedra,
       "Medium shape isn't constructed by tetrahedron!\n"},
      {"tissue", 3, Nothing, &Section::SelectTissue, "Index of the tissue is incorrect!\n"},
      {"tissueshape", 2, Tissue, &Section::SetTissueShape, "tissue data error!\n", tissueMessage},
      {"tissuecenter", 4, TissueShape, &Section::SetCenter},
      {"tissueaxis", 4, TissueShape, &Section::SetHalfAxes},
      {"tissueangle", 4, Nothing, &Section::Ignore},
      {"tissuepath", 1, TissueShape, &Section::LoadTissueShape, "3d tissue shape data error!\n",
       tissueMessage},
      {"tissuespectrumindex", 6, Tissue, &Section::SetTissueSpectrum, tissueMessage},
      {"detectorLens", 2, Nothing, &Section::AddDetector<trelPlaneDetector>, detectorMessage},
      {"VerticalPlane", 2, PlaneDetector, &Section::SetVerticalPlane, "Vertical plane error!\n"},
      {"detectorcenter", 4, PlaneDetector, &Section::SetDetectorCenter},
      {"detectornormal", 4, PlaneDetector, &Section::SetDetectorNormal},
      {"detectorsize", 3, PlaneDetector, &Section::SetDetectorSize},
      {"detectorresolution", 3, PlaneDetector, &Section::SetDetectorResolution},
      {"imagedist", 2, PlaneDetector, &Section::SetLength<&trelPlaneDetector::SetImageDistance>},
      {"lensradius", 2, PlaneDetector, &Section::SetLength<&trelPlaneDetector::SetLensRadius>},
      {"focallength", 2, PlaneDetector, &Section::SetLength<&trelPlaneDetector::SetFocalLength>},
      {"fiberdetector", 2, Nothing, &Section::AddDetector<trelFiberDetector>, detectorMessage},
      {"fiberdetectorshape", 2, FiberDetector, &Section::SetFiberShape, "tissue data error!\n"},
      {"fiberdetectorcenter", 4, FiberShape, &Section::SetCenter},
      {"fiberdetectoraxis", 4, FiberShape, &Section::SetHalfAxes}};
  UnknownMessage = "Format of the simulation data is incorrect!\n";
  return ReadSection(Text, *this, table);
}
