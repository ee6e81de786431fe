#include "trelModelSection.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "trelFiberDetector.h"
#include "trelLightSource.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelPlaneDetector.h"
#include "trelShapeLine.h"
#include "trelSimulationParameter.h"
#include "trelSourceProperty.h"
#include "trelSpectrum.h"
#include "trelSpectrumLine.h"
#include "trelTissue.h"

static const trelWord<VerticalPlane> VerticalPlaneWords[] = {
    {"xy yx", PlaneXY}, {"xz zx", PlaneXZ}, {"yz zy", PlaneYZ}};

trelModelSection::trelModelSection(trelReadState& state, trelSimulationParameter& parameter,
                                   SimulationDimension dimension)
    : trelKeywordSection(state, parameter), Dimension(dimension == Dimension2D ? In2D : In3D)
{
}

bool trelModelSection::Fits(const Keyword& row) const
{
  const int needs = row.Needs == PointLine ? 1 + GetNumberOfCoordinates() : row.Needs;
  if (row.Rules == RulesExact && Parameter.GetRules() != RulesExact) return false;
  return (row.Dimension & Dimension) != 0 && Text.GetNumberOfTokens() >= needs;
}

KeywordOutcome trelModelSection::Handle(const Keyword* row)
{
  if (!row) {
    return Fail("\"" + std::string(Text.GetToken(0)) +
                (Dimension == In2D ? "\"\nThe format of the simulation data is error!\n"
                                   : "\"\nFormat of the simulation data is incorrect!\n"));
  }
  if (row->Current != Nothing && !Current[row->Current]) {
    const trelFindingKind kind = row->MissingMessage ? FindingError : FindingMistake;
    if (!IsRegion || kind == FindingError) State.ExplainOrder(kind, GetSelector(row->Current));
    return row->MissingMessage ? Fail(row->MissingMessage) : KeywordDone;
  }
  ExplainStaleShape(*row);
  return (this->*row->Handler)(*row);
}

const char* trelModelSection::GetSelector(CurrentObject which)
{
  static const char* const selectors[NumberOfCurrentObjects] = {"",
                                                                "lightsource",
                                                                "lightsourceshape",
                                                                "tissue",
                                                                "tissueshape",
                                                                "detectorlens",
                                                                "fiberdetector",
                                                                "fiberdetectorshape"};
  return selectors[which];
}

void trelModelSection::ExplainStaleShape(const Keyword& row)
{
  const bool isOfShape = row.Needs == PointLine || row.Current != SourceShape;
  if (isOfShape && IsStale[row.Current])
    State.ExplainOrder(FindingMistake, GetSelector(row.Current));
}

int trelModelSection::GetNumberOfCoordinates() const
{
  return Dimension == In2D ? 2 : 3;
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

trelVector trelModelSection::TakePoint() const
{
  double point[3] = {0.0, 0.0, 0.0};
  TakeNumbers(point, GetNumberOfCoordinates());
  // In the plane a third number may stand there.
  Text.GetToken(3);
  return {point[0], point[1], point[2]};
}

// Shapes of sources, tissues and detectors

template <class Owner>
KeywordOutcome trelModelSection::GiveShape(const Keyword& row, trelShapeFilter admits,
                                           CurrentObject shape)
{
  trelShapeObject* made = MakeNamedShape(State, admits);
  if (!made) return Fail(row.Message);
  Get<Owner>(row.Current)->SetShape(made);
  Current[shape] = made;
  IsStale[shape] = false;
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetCenter(const Keyword& row)
{
  Get<trelShapeObject>(row.Current)->SetCenter(TakePoint());
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetHalfAxes(const Keyword& row)
{
  Get<trelShapeObject>(row.Current)->SetHalfAxes(TakePoint());
  return KeywordDone;
}

// Light sources

KeywordOutcome trelModelSection::SelectSource(const Keyword& row)
{
  trelLightSource* source = State.GetModelIndex().GetLightSource(GetIndex());
  if (!source) {
    State.ExplainIndex("lightsourcenum", State.GetLightSourceNum());
    return Fail(row.Message);
  }
  Current[Source] = source;
  IsStale[SourceShape] = true;
  SourceIndex = GetIndex();
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetPlanarSourceShape(const Keyword& row)
{
  return GiveShape<trelLightSource>(row, IsPlanarShape, SourceShape);
}

KeywordOutcome trelModelSection::SetSourceShape(const Keyword& row)
{
  return GiveShape<trelLightSource>(row, IsSolidShape, SourceShape);
}

KeywordOutcome trelModelSection::LoadSourceShape(const Keyword& row)
{
  auto* shape = Get<trelShapeObject>(SourceShape);
  if (!shape || shape->GetShapeType() != ShapeTriangleMesh) return Fail(row.Message);
  LoadNamedMesh(State, static_cast<trelMCTriangleMesh&>(*shape));
  if (Text.GetNumberOfTokens() < 2) State.ShowError("Light source shape file is null!");
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetSourceProperty(const Keyword&)
{
  ExplainSourceWords(State);
  const std::string fault =
      ReadSourceProperty(Text, Parameter.GetSimulationType(), *Get<trelLightSource>(Source));
  return fault.empty() ? KeywordDone : Fail(fault);
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

KeywordOutcome trelModelSection::SetSourceDirection(const Keyword& row)
{
  const trelVector d = TakePoint();
  // The scale keeps squares of huge and of tiny numbers within range.
  const double scale = std::max({std::fabs(d.X), std::fabs(d.Y), std::fabs(d.Z)});
  if (!(scale > 0.0 && std::isfinite(scale))) return Fail(row.Message);
  Get<trelLightSource>(Source)->SetDirection(d / scale);
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetSourceProfile(const Keyword& row)
{
  const double width = Text.GetReal(2);
  if (!Text.IsOneOf(1, "gaussian") || !(width > 0.0 && std::isfinite(width))) {
    return Fail(row.Message);
  }
  Get<trelLightSource>(Source)->SetProfileWidth(width);
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
  const std::vector<std::uint32_t>& wavelengths = State.GetWavelengthList();
  const int i = GetIndex();
  trelSpectrum* spectrum = State.GetModelIndex().GetSpectrum(SourceIndex, i);
  if (!spectrum || i >= static_cast<int>(wavelengths.size())) {
    State.ExplainIndex("spectrumnum", State.GetSpectrumNum());
    return Fail(row.Message);
  }
  spectrum->SetWavelength(wavelengths[i]);
  spectrum->SetWavelengthIndex(i);
  const bool emits = Parameter.GetSimulationType() == FMT &&
                     Get<trelLightSource>(Source)->GetLuminousType() == LuminousEmission;
  if (!emits) {
    ReadLaunchedSpectrum(State, SourceIndex, *spectrum);
    return KeywordDone;
  }
  return ReadEmittedSpectrum(State, emissionNeeds, *spectrum) ? KeywordDone : Fail(emissionMessage);
}

// Medium and tissues

KeywordOutcome trelModelSection::LoadTetrahedra(const Keyword& row)
{
  trelMedium* medium = Parameter.GetMedium();
  if (!medium->GetShapeIsTetrahedron()) {
    State.Explain(FindingError, 0, "the medium is not said to be a tetrahedral mesh",
                  "write mediumshapetetratype 1 among the simulation properties");
    return Fail(row.Message);
  }
  auto* mesh = new trelMCTetrahedron;
  medium->SetTetrahedron(mesh);
  LoadNamedMesh(State, *mesh);
  return KeywordDone;
}

KeywordOutcome trelModelSection::SelectTissue(const Keyword& row)
{
  trelTissue* tissue = State.GetModelIndex().GetTissue(GetIndex());
  if (!tissue) {
    State.ExplainIndex("tissuenum", State.GetTissueNum());
    return Fail(row.Message);
  }
  Current[Tissue] = tissue;
  IsStale[TissueShape] = true;
  IsRegion = false;
  TissueIndex = GetIndex();
  tissue->SetName(std::string(Text.GetToken(2)).c_str());
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetPlanarTissueShape(const Keyword& row)
{
  return GiveShape<trelTissue>(row, IsPlanarShape, TissueShape);
}

KeywordOutcome trelModelSection::SetTissueShape(const Keyword& row)
{
  if (!Text.IsOneOf(1, "mctetrahedron tetrahedron")) {
    return GiveShape<trelTissue>(row, IsSolidShape, TissueShape);
  }
  // A region of the medium's mesh: no shape of its own, and one that it had stays.
  Current[TissueShape] = nullptr;
  IsRegion = true;
  return KeywordDone;
}

KeywordOutcome trelModelSection::LoadTissueShape(const Keyword& row)
{
  auto* shape = Get<trelShapeObject>(TissueShape);
  if (shape->GetShapeType() != ShapeTriangleMesh) return Fail(row.Message);
  LoadNamedMesh(State, static_cast<trelMCTriangleMesh&>(*shape));
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetTissueSpectrum(const Keyword& row)
{
  const std::vector<std::uint32_t>& wavelengths = State.GetWavelengthList();
  const int i = GetIndex();
  trelOpticalParameter* entry = State.GetModelIndex().GetOpticalParameter(TissueIndex, i);
  if (!entry || i >= static_cast<int>(wavelengths.size())) {
    State.ExplainIndex("spectrumnum", State.GetSpectrumNum());
    return Fail(row.Message);
  }
  entry->SetOpticalCoefficients(Text.GetReal(2), Text.GetReal(3), Text.GetReal(4), Text.GetReal(5));
  entry->SetWavelength(wavelengths[i]);
  return KeywordDone;
}

// Detectors

/** Detectors stand in the order of their lines; the index is only compared with their number. */
template <class Detector>
KeywordOutcome trelModelSection::AddDetector(const Keyword& row)
{
  const int i = GetIndex();
  if (i < 0 || i >= State.GetDetectorNum()) {
    State.ExplainIndex("detectornum", State.GetDetectorNum());
    return Fail(row.Message);
  }
  auto* detector = new Detector;
  Parameter.AddDetector(detector);
  Current[detector->GetDetectorType() == DetectorPlane ? PlaneDetector : FiberDetector] = detector;
  if (detector->GetDetectorType() == DetectorFiber) IsStale[FiberShape] = true;
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetVerticalPlane(const Keyword& row)
{
  const VerticalPlane* plane = FindWord(Text, 1, VerticalPlaneWords);
  if (!plane) {
    ExplainWord(1, VerticalPlaneWords);
    return Fail(row.Message);
  }
  Get<trelPlaneDetector>(PlaneDetector)->SetVerticalPlane(*plane);
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetDetectorCenter(const Keyword&)
{
  Get<trelPlaneDetector>(PlaneDetector)->SetCenter(TakePoint());
  return KeywordDone;
}

KeywordOutcome trelModelSection::SetDetectorNormal(const Keyword&)
{
  const trelVector normal = TakePoint();
  const double length = std::hypot(normal.X, normal.Y, normal.Z);
  if (!(length > 0.0 && std::isfinite(length))) {
    State.Explain(FindingError, 1, "detectornormal has no direction",
                  "write a vector whose length is not 0");
    return KeywordFails;
  }
  Get<trelPlaneDetector>(PlaneDetector)->SetNormal(normal / length);
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
  return GiveShape<trelFiberDetector>(row, IsFiberShape, FiberShape);
}

// The table

static const char* const SourceMessage = "3d light source property error!\n";
static const char* const TissueMessage = "Tissue data error!\n";
static const char* const DetectorMessage = "Index of the detector is incorrect!\n";

const trelModelSection::Keyword trelModelSection::Keywords[] = {
    {"endtrl", InBoth, 1, Nothing, &Section::End<Keyword>},
    {"lightsource", InBoth, 2, Nothing, &Section::SelectSource,
     "Index of the light source is incorrect!\n"},
    {"lightsourcetype", In2D, 2, Nothing, &Section::Ignore<Keyword>},
    {"lightsourceshape", In2D, 2, Source, &Section::SetPlanarSourceShape,
     "2D light source shape error!\n"},
    {"lightsourceshape", In3D, 2, Source, &Section::SetSourceShape, SourceMessage},
    {"lightsourcepath", In3D, 1, Nothing, &Section::LoadSourceShape, SourceMessage},
    {"lightsourceproperty", InBoth, 1, Source, &Section::SetSourceProperty},
    {"lightsourcecenter", InBoth, PointLine, SourceShape, &Section::SetCenter},
    {"lightsourceaxis", InBoth, PointLine, SourceShape, &Section::SetHalfAxes},
    {"lightsourceangle", In2D, 2, Nothing, &Section::Ignore<Keyword>},
    {"lightsourceangle", In3D, 4, Nothing, &Section::Ignore<Keyword>},
    {"lightsourceazimuthalangle lightsourceazimuthangle", InBoth, 3, SourceShape,
     &Section::SetAzimuthRange},
    {"lightsourcedeflectangle lightsourcedeflectionangle", In3D, 3, SourceShape,
     &Section::SetDeflectionRange},
    {"lightsourcedirection", In3D, PointLine, Source, &Section::SetSourceDirection,
     "lightsourcedirection: expected three numbers, finite and not all 0\n", nullptr, RulesExact},
    {"lightsourceprofile", In3D, 3, Source, &Section::SetSourceProfile,
     "lightsourceprofile: expected gaussian and a width above 0 (mm)\n", nullptr, RulesExact},
    {"lightsourcespectrumindex", In2D, 4, Source, &Section::SetSourceSpectrum2D,
     "2d light source property error!\n"},
    {"lightsourcespectrumindex", In3D, 4, Source, &Section::SetSourceSpectrum3D,
     "The property of the light source is incorrect!\n"},
    {"mediumtetrapath", In3D, 1, Nothing, &Section::LoadTetrahedra,
     "Medium shape isn't constructed by tetrahedron!\n"},
    {"tissue", InBoth, 3, Nothing, &Section::SelectTissue, "Index of the tissue is incorrect!\n"},
    {"tissueshape", In2D, 2, Tissue, &Section::SetPlanarTissueShape,
     "2D tissue shape data error!\n"},
    {"tissueshape", In3D, 2, Tissue, &Section::SetTissueShape, "tissue data error!\n",
     TissueMessage},
    {"tissuecenter", InBoth, PointLine, TissueShape, &Section::SetCenter},
    {"tissueaxis", InBoth, PointLine, TissueShape, &Section::SetHalfAxes},
    {"tissueangle", In2D, 2, Nothing, &Section::Ignore<Keyword>},
    {"tissueangle", In3D, 4, Nothing, &Section::Ignore<Keyword>},
    {"tissuepath", In3D, 1, TissueShape, &Section::LoadTissueShape, "3d tissue shape data error!\n",
     TissueMessage},
    {"tissuespectrumindex", In2D, 6, Tissue, &Section::SetTissueSpectrum,
     "2D tissue data error!\n"},
    {"tissuespectrumindex", In3D, 6, Tissue, &Section::SetTissueSpectrum, TissueMessage},
    {"detectorLens", In3D, 2, Nothing, &Section::AddDetector<trelPlaneDetector>, DetectorMessage},
    {"VerticalPlane", In3D, 2, PlaneDetector, &Section::SetVerticalPlane,
     "Vertical plane error!\n"},
    {"detectorcenter", In3D, PointLine, PlaneDetector, &Section::SetDetectorCenter},
    {"detectornormal", In3D, PointLine, PlaneDetector, &Section::SetDetectorNormal},
    {"detectorsize", In3D, 3, PlaneDetector, &Section::SetDetectorSize},
    {"detectorresolution", In3D, 3, PlaneDetector, &Section::SetDetectorResolution},
    {"imagedist", In3D, 2, PlaneDetector,
     &Section::SetLength<&trelPlaneDetector::SetImageDistance>},
    {"lensradius", In3D, 2, PlaneDetector, &Section::SetLength<&trelPlaneDetector::SetLensRadius>},
    {"focallength", In3D, 2, PlaneDetector,
     &Section::SetLength<&trelPlaneDetector::SetFocalLength>},
    {"fiberdetector", In3D, 2, Nothing, &Section::AddDetector<trelFiberDetector>, DetectorMessage},
    {"fiberdetectorshape", In3D, 2, FiberDetector, &Section::SetFiberShape, "tissue data error!\n"},
    {"fiberdetectorcenter", In3D, PointLine, FiberShape, &Section::SetCenter},
    {"fiberdetectoraxis", In3D, PointLine, FiberShape, &Section::SetHalfAxes}};

void trelModelSection::ListKeywords(trelRules rules, std::vector<trelKnownKeyword>& keywords)
{
  for (const Keyword& row : Keywords) {
    if (row.Rules == RulesExact && rules != RulesExact) continue;
    const bool isPoint = row.Needs == PointLine;
    if (row.Dimension & In3D)
      AppendKeywords(row.Words, PartModel3D, isPoint ? 4 : row.Needs, keywords);
    if (row.Dimension & In2D)
      AppendKeywords(row.Words, PartModel2D, isPoint ? 3 : row.Needs, keywords);
  }
}

bool trelModelSection::Read()
{
  return ReadLines(*this, Keywords);
}
