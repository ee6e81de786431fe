#include "trelModelFaults.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>

#include "trelGridAxes.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelPlaneDetector.h"
#include "trelReadState.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"
#include "trelTissue.h"

/** Looks at the settings of one owner, "tissue 2". */
struct trelModelFaultsSearch
{
  trelModelFindings& Findings;
  const trelSimulationParameter& Parameter;
  std::string Owner;
  /** Its line, or that of the count. */
  int OwnerLine = 0;

  /** The line of a setting, or of what it belongs to. */
  int GetLine(const std::string& setting) const
  {
    const int line = Findings.GetLineOf(Owner, setting);
    return line > 0 ? line : OwnerLine;
  }
  void Add(trelFindingKind kind, const std::string& setting, int word, const std::string& text,
           const std::string& remedy)
  {
    Findings.Add(kind, GetLine(setting), Findings.GetLineOf(Owner, setting) > 0 ? word : 0, text,
                 remedy);
  }
};

/** A region so many times as long as the medium is in other units, if its cells are, too. */
static constexpr double tooLong = 100.0;

static std::string ShowNumber(double value)
{
  std::ostringstream text;
  text << value;
  return text.str();
}

/** Selects tissue or source @p number; false, with a finding at the count, if no line is about it.
 */
static bool Select(trelModelFaultsSearch& search, const std::string& keyword, int number, int count)
{
  search.Owner = keyword + ' ' + std::to_string(number);
  search.OwnerLine = search.Findings.GetLineOf(search.Owner, keyword);
  if (search.OwnerLine > 0) return true;
  const std::string setting = keyword + "num";
  search.Findings.Add(
      FindingMistake, search.Findings.GetLineOf("", setting), 1,
      setting + " is " + std::to_string(count) + ", but there is no line '" + search.Owner + "'",
      "describe it, or write a smaller " + setting);
  return false;
}

static bool IsWithin(double value, double least, double greatest)
{
  return value >= least && value <= greatest && std::isfinite(value);
}

static void CheckOptics(trelModelFaultsSearch& search, const trelOpticalParameter& optics, int i)
{
  const std::string setting = "tissuespectrumindex " + std::to_string(i + 1);
  if (search.Findings.GetLineOf(search.Owner, setting) == 0) {
    search.Add(
        FindingError, setting, 0,
        search.Owner + " has no coefficients at spectrum " + std::to_string(i + 1),
        "write tissuespectrumindex " + std::to_string(i + 1) + " MUA MUS G N behind its shape");
    return;
  }
  constexpr double infinity = HUGE_VAL;
  const struct
  {
    const char* Name;
    double Value, Least, Greatest;
    const char* Range;
  } rows[] = {
      {"absorption coefficient", optics.GetAbsorption(), 0.0, infinity, "0 or above (1/mm)"},
      {"scattering coefficient", optics.GetScattering(), 0.0, infinity, "0 or above (1/mm)"},
      {"anisotropy", optics.GetAnisotropy(), -1.0, 1.0, "a number from -1 to 1"},
      {"refractive index", optics.GetRefractiveIndex(), 1.0, infinity, "1 or above"}};
  int word = 1;
  for (const auto& row : rows) {
    ++word;
    if (IsWithin(row.Value, row.Least, row.Greatest)) continue;
    search.Add(
        FindingError, setting, word,
        std::string("the ") + row.Name + " of " + search.Owner + " is " + ShowNumber(row.Value),
        std::string("write ") + row.Range);
  }
}

/** A half-length that leaves no inside, or infinity; a mesh has none. */
static void CheckExtent(trelModelFaultsSearch& search, const trelShapeObject& shape)
{
  // Of a line that could not be taken that has been told.
  const int line = search.Findings.GetLineOf(search.Owner, "tissueaxis");
  if (shape.GetTraits().IsMesh() || (line > 0 && search.Findings.HoldsLine(line))) return;
  double h[3];
  shape.GetHalfAxes(&h[0], &h[1], &h[2]);
  for (int axis = 0; axis < shape.GetTraits().Dimension; ++axis) {
    if (h[axis] > 0.0 && std::isfinite(h[axis])) continue;
    search.Add(FindingMistake, "tissueaxis", axis + 1,
               "half-length " + std::to_string(axis + 1) + " of " + search.Owner + " is " +
                   ShowNumber(h[axis]),
               "write tissueaxis behind tissueshape, with finite half-lengths above 0 (mm)");
    return;
  }
}

static void CheckTissues(trelModelFaultsSearch& search)
{
  const trelMedium& medium = *search.Parameter.GetMedium();
  const auto tissues = medium.GetTissues()->GetItems<trelTissue>();
  int number = 0;
  for (const trelTissue* tissue : tissues) {
    if (!Select(search, "tissue", ++number, static_cast<int>(tissues.size()))) continue;
    int i = 0;
    for (const trelOpticalParameter* optics :
         tissue->GetOpticalParameters()->GetItems<trelOpticalParameter>()) {
      CheckOptics(search, *optics, i++);
    }
    if (tissue->GetShape()) {
      CheckExtent(search, *tissue->GetShape());
    } else if (!medium.GetShapeIsTetrahedron()) {
      search.Add(FindingMistake, "tissue", 0, search.Owner + " has no shape: it is nowhere",
                 "write tissueshape and its centre and axes");
    }
  }
}

static void CheckEntry(trelModelFaultsSearch& search, const trelSpectrum& entry, int i)
{
  const std::string setting = "lightsourcespectrumindex " + std::to_string(i + 1);
  if (entry.GetEnergy() < 0.0) {
    search.Add(FindingError, setting, 2,
               "the energy of " + search.Owner + " is " + ShowNumber(entry.GetEnergy()),
               "write 0 or above");
  }
  const struct
  {
    const char* Name;
    double Value, Greatest;
    int Word;
    const char* Range;
  } rows[] = {{"quantum yield", entry.GetQuantumYield(), 1.0, 3, "a number from 0 to 1"},
              {"absorption", entry.GetFluorophoreAbsorption(), HUGE_VAL, 4, "0 or above (1/mm)"},
              {"lifetime", entry.GetLifeTime(), HUGE_VAL, 5, "0 or above (ps)"}};
  for (const auto& row : rows) {
    if (IsWithin(row.Value, 0.0, row.Greatest)) continue;
    search.Add(FindingMistake, setting, row.Word,
               std::string("the ") + row.Name + " of the dye of " + search.Owner + " is " +
                   ShowNumber(row.Value),
               std::string("write ") + row.Range);
  }
}

/** A profile that the edge of the disc cuts is no Gaussian: at 1.5 W 1 % of the light is outside.
 */
static void CheckProfile(trelModelFaultsSearch& search, const trelLightSource& source)
{
  const double width = source.GetProfileWidth();
  const trelShapeObject* shape = source.GetShape();
  if (width == 0.0 || !shape) return;
  double h[3];
  shape->GetHalfAxes(&h[0], &h[1], &h[2]);
  if (shape->GetShapeType() != ShapeCylinder || h[2] != 0.0 || !source.IsSolid()) {
    search.Add(FindingError, "lightsourceprofile", 0,
               "the profile of " + search.Owner + " needs a solid disc",
               "write lightsourceshape cylinder, a third half-length of 0, and solid");
  } else if (std::min(h[0], h[1]) < 1.5 * width) {
    search.Add(FindingWarning, "lightsourceprofile", 2,
               "the profile of " + search.Owner + " is cut at " +
                   ShowNumber(std::min(h[0], h[1]) / width) + " of its width: it is no Gaussian",
               "make the disc's radius at least " + ShowNumber(1.5 * width) + " mm");
  }
}

/** Whether a source that shines by itself has packets of the wavelength. */
static bool IsLit(const trelSimulationParameter& parameter, std::uint32_t wavelength)
{
  const auto sources = ItemsOf<trelLightSource>(parameter.GetLightSources());
  return std::any_of(sources.begin(), sources.end(), [&](const trelLightSource* source) {
    return source->GetLuminousType() != LuminousEmission &&
           source->GetNumberOfPhotonsAt(wavelength) > 0;
  });
}

/** The lines of a dye, each of which takes light of one wavelength. */
static void CheckExcitation(trelModelFaultsSearch& search, const trelLightSource& source)
{
  int i = 0, lines = 0;
  for (const trelSpectrum* entry : ItemsOf<trelSpectrum>(source.GetSpectra())) {
    const std::string setting = "lightsourcespectrumindex " + std::to_string(++i);
    if (search.Findings.GetLineOf(search.Owner, setting) == 0) continue;
    ++lines;
    if (entry->GetFluorophoreAbsorption() == 0.0) {
      search.Add(FindingWarning, setting, 4,
                 "the dye of " + search.Owner + " absorbs nothing, and emits nothing",
                 "write its absorption coefficient (1/mm)");
    } else if (!IsLit(search.Parameter, entry->GetExcitationWavelength())) {
      search.Add(FindingWarning, setting, 2,
                 "the dye of " + search.Owner + " takes light of " +
                     std::to_string(entry->GetExcitationWavelength()) +
                     ", which no light source has packets of: it emits nothing",
                 "write the wavelength of a source of excitation");
    }
  }
  if (lines > 0) return;
  search.Add(FindingWarning, "lightsource", 0, "the dye of " + search.Owner + " has no lines",
             "write lightsourcespectrumindex INDEX EXCITATION YIELD ABSORPTION LIFETIME");
}

/** A region that holds nothing of the medium: flat, or beside it. */
static void CheckRegionOfDye(trelModelFaultsSearch& search, const trelShapeObject& region)
{
  const trelBox box = region.GetBox();
  const trelShapeObject* body = search.Parameter.GetOuterShape();
  for (int axis = 0; axis < region.GetTraits().Dimension && !region.IsEmpty(); ++axis) {
    const bool isFlat = !(box.Low[axis] < box.High[axis]);
    if (isFlat && !region.GetTraits().IsMesh()) {
      search.Add(FindingWarning, "lightsourceaxis", axis + 1,
                 "the dye of " + search.Owner + " has no extent: it takes no light",
                 "write half-lengths above 0 (mm)");
      return;
    }
    if (!body || body->IsEmpty()) continue;
    const trelBox around = body->GetBox();
    if (box.Low[axis] < around.High[axis] && box.High[axis] > around.Low[axis]) continue;
    const bool isMesh = region.GetTraits().IsMesh();
    search.Add(FindingWarning, isMesh ? "lightsourcepath" : "lightsourcecenter",
               isMesh ? 1 : axis + 1,
               "the dye of " + search.Owner + " lies beside the medium: it takes no light",
               "write all lengths in mm, and put it into the medium");
    return;
  }
}

static void CheckSources(trelModelFaultsSearch& search)
{
  const auto sources = search.Parameter.GetLightSources()->GetItems<trelLightSource>();
  int number = 0;
  for (const trelLightSource* source : sources) {
    if (!Select(search, "lightsource", ++number, static_cast<int>(sources.size()))) continue;
    if (!source->GetShape()) {
      search.Add(FindingMistake, "lightsource", 0, search.Owner + " has no shape: nothing starts",
                 "write lightsourceshape and its centre and axes");
    }
    if (search.Findings.GetLineOf(search.Owner, "lightsourceproperty") == 0) {
      search.Add(FindingMistake, "lightsource", 0, search.Owner + " has no lightsourceproperty",
                 "write lightsourceproperty with internal or external, solid or face");
    }
    CheckProfile(search, *source);
    if (source->GetLuminousType() == LuminousEmission) {
      CheckExcitation(search, *source);
      if (source->GetShape()) CheckRegionOfDye(search, *source->GetShape());
    }
    int i = 0;
    for (const trelSpectrum* entry : source->GetSpectra()->GetItems<trelSpectrum>())
      CheckEntry(search, *entry, i++);
  }
}

/** The axis of the rows of pixels must lie in the plane of the detector. */
static void CheckOrientation(trelModelFaultsSearch& search, const trelPlaneDetector& camera)
{
  const int plane = camera.GetVerticalPlane();
  const int up = PlaneYZ - plane;
  const double tilt = camera.GetNormal()[up];
  if (tilt == 0.0) return;
  search.Add(
      FindingError, "detectornormal", up + 1,
      "the normal of " + search.Owner + " does not lie in its VerticalPlane, " + PlaneNames[plane],
      std::string("write 0 for its ") + "xyz"[up] +
          ", or another VerticalPlane that holds the normal");
}

static void CheckPixels(trelModelFaultsSearch& search, const trelPlaneDetector& camera)
{
  std::int32_t pixels[2];
  double size[2];
  camera.GetResolution(&pixels[0], &pixels[1]);
  camera.GetSize(&size[0], &size[1]);
  for (int i = 0; i < 2; ++i) {
    if (pixels[i] < 1)
      search.Add(FindingError, "detectorresolution", i + 1,
                 search.Owner + " has " + std::to_string(pixels[i]) + " pixels along a side",
                 "write a number above 0");
    if (!(size[i] > 0.0) || !std::isfinite(size[i]))
      search.Add(FindingMistake, "detectorsize", i + 1,
                 "a side of " + search.Owner + " is " + ShowNumber(size[i]) + " mm long",
                 "write a number above 0");
  }
}

/** Settings with which no pixel sees anything. */
static void CheckLens(trelModelFaultsSearch& search, const trelPlaneDetector& camera)
{
  const double focus = camera.GetFocalLength();
  if (!(focus > 0.0) || !std::isfinite(focus)) {
    search.Add(FindingMistake, "focallength", 1,
               "the focal length of " + search.Owner + " is " + ShowNumber(focus),
               "write a number above 0 (mm)");
  } else if (!IsWithin(camera.GetImageDistance(), focus, HUGE_VAL) ||
             camera.GetImageDistance() == focus) {
    search.Add(FindingMistake, "imagedist", 1,
               "the image distance of " + search.Owner + ", " +
                   ShowNumber(camera.GetImageDistance()) + " mm, is not above its focal length, " +
                   ShowNumber(focus) + " mm: it sees nothing",
               "write a larger imagedist");
  }
  const trelShapeObject* body = search.Parameter.GetOuterShape();
  if (!body || body->GetTraits().IsMesh() || !body->Holds(camera.GetCenter())) return;
  search.Add(FindingMistake, "detectorcenter", 1,
             search.Owner + " stands in the medium: it sees nothing",
             "write a detectorcenter outside of it");
}

static void CheckCameras(trelModelFaultsSearch& search)
{
  int number = 0;
  for (const trelDetector* detector : ItemsOf<trelDetector>(search.Parameter.GetDetectors())) {
    search.Owner = "detector " + std::to_string(++number);
    if (detector->GetDetectorType() != DetectorPlane) continue;
    search.OwnerLine = search.Findings.GetLineOf(search.Owner, "detectorlens");
    CheckOrientation(search, static_cast<const trelPlaneDetector&>(*detector));
    CheckPixels(search, static_cast<const trelPlaneDetector&>(*detector));
    CheckLens(search, static_cast<const trelPlaneDetector&>(*detector));
  }
}

/** How many numbers stand ahead of an axis on its lines; a plane has no z. */
static int GetPlace(trelAxis axis, SimulationDimension dimension)
{
  return dimension == Dimension2D && axis > AxisZ ? axis - 1 : axis;
}

/** A range that was given; one that misses the medium would be taken for none. That of the radius
 *  counts with cells in rings only. */
static void CheckRange(trelModelFaultsSearch& search, trelAxis axis, bool hasRings)
{
  const int word = 2 * GetPlace(axis, search.Parameter.GetDimension()) + 1;
  const double* roi = search.Parameter.GetRegionAsItStands().GetROI();
  const double low = roi[2 * axis];
  const double high = roi[2 * axis + 1];
  const std::string range = std::string("the region along ") + GetAxisWord(axis) + ", " +
                            ShowNumber(low) + " to " + ShowNumber(high) + ",";
  if (high < low) {
    search.Add(FindingError, "roi", word, range + " is reversed", "write the smaller number first");
    return;
  }
  const trelShapeObject* body = search.Parameter.GetOuterShape();
  if (!body || axis > (hasRings ? AxisRadial : AxisZ)) return;
  double box[2 * (AxisRadial + 1)] = {};
  body->GetBoundingBox(box);
  box[2 * AxisRadial + 1] = body->GetRadialLimit();
  const bool isFlat = !(box[2 * axis] < box[2 * axis + 1]);
  const double length = box[2 * axis + 1] - box[2 * axis];
  if (!isFlat && high - low >= tooLong * length &&
      search.Parameter.GetRegionAsItStands().GetSeparations()[axis] > length) {
    search.Add(FindingWarning, "roi", word,
               range + " and the cells of roiseparation are longer than the medium, which is " +
                   ShowNumber(length) + " mm long: there is one cell",
               "write all lengths in mm");
  }
  if (isFlat || (low < box[2 * axis + 1] && high > box[2 * axis])) return;
  search.Add(FindingMistake, "roi", word,
             range + " misses the medium, which lies from " + ShowNumber(box[2 * axis]) + " to " +
                 ShowNumber(box[2 * axis + 1]) + " mm: all of it would be saved",
             "write a region within the medium, or no roi");
}

static void CheckRegion(trelModelFaultsSearch& search)
{
  const trelScoringRegion& region = search.Parameter.GetRegionAsItStands();
  search.Owner.clear();
  search.OwnerLine = 0;
  for (const trelAxis axis : search.Parameter.GetScoringDemand().Axes) {
    const double width = region.GetSeparations()[axis];
    if (width > 0.0) continue;
    search.Add(
        width == 0.0 ? FindingError : FindingMistake, "roiseparation",
        GetPlace(axis, search.Parameter.GetDimension()) + 1,
        std::string("the cells along ") + GetAxisWord(axis) + " are " + ShowNumber(width) + " wide",
        "write a number above 0");
  }
  if (search.Findings.GetLineOf("", "roi") == 0) return;
  const std::vector<trelAxis> axes = search.Parameter.GetScoringDemand().Axes;
  const bool hasRings = std::count(axes.begin(), axes.end(), AxisRadial) > 0;
  for (const trelAxis axis : {AxisX, AxisY, AxisZ, AxisRadial, AxisAzimuth}) {
    if (2 * axis + 1 <= region.GetROINumbersGiven()) CheckRange(search, axis, hasRings);
  }
}

static void CheckSettings(trelModelFaultsSearch& search)
{
  const trelSimulationParameter& parameter = search.Parameter;
  search.Owner.clear();
  search.OwnerLine = search.Findings.GetLineOf("", "endsimulationproperty");
  const int outermost = parameter.GetMedium()->GetOutermostTissueIndex() + 1;
  if (!parameter.GetMedium()->GetShapeIsTetrahedron() && !parameter.GetOuterShape()) {
    search.Add(FindingMistake, "outermosttissueindex", 1,
               "the medium has no bounds: tissue " + std::to_string(outermost) +
                   ", the outermost, has no shape",
               "write outermosttissueindex with the tissue that holds all others");
  }
  if (parameter.GetMediumAlgorithm() != MediumVRMC) {
    search.Add(FindingError, "mediumalgorithm", 1, "mediumalgorithm amc has no implementation",
               "write mediumalgorithm vrmc, or leave the line out");
  }
  if (parameter.GetFreespaceAlgorithm() != FreespacePinhole) {
    search.Add(FindingMistake, "freespacealgorithm", 1,
               "nothing is simulated with this freespacealgorithm",
               "write freespacealgorithm pinhole, or leave the line out");
  }
  if (parameter.GetNumberOfDetectors() > 0 && !parameter.GetSaveTransmittance()) {
    search.Add(FindingError, "transmittancematrix", 1, "detectors need the transmittance",
               "write transmittancematrix 1 and its coordinates");
  }
  const bool isTimed = parameter.GetTimeDomain() || parameter.GetFrequencyDomain();
  if (isTimed && parameter.GetSimulationType() == BLT) {
    search.Add(FindingError, "domain", 1, "BLT has no time and no frequency domain",
               "write simulationtype DOT, or domain cw alone");
  }
  if (!(parameter.GetMedium()->GetAmbientRefractiveIndex() >= 1.0)) {
    search.Add(FindingMistake, "ambientmediumr", 1,
               "the refractive index around the medium is " +
                   ShowNumber(parameter.GetMedium()->GetAmbientRefractiveIndex()),
               "write 1 or above");
  }
}

/** Detectors are made by their lines, which may be fewer than the count. */
static void CheckNumberOfDetectors(trelModelFaultsSearch& search, int count)
{
  const int found = search.Parameter.GetNumberOfDetectors();
  if (count <= found) return;
  const int line = std::max(search.Findings.GetLineOf("", "detectornum"),
                            search.Findings.GetLineOf("", "detectorlensnum"));
  search.Findings.Add(FindingMistake, line, 1,
                      "detectornum is " + std::to_string(count) + ", found " +
                          std::to_string(found) + " lines detectorlens or fiberdetector",
                      "describe all detectors, or write detectornum " + std::to_string(found));
}

void FindModelFaults(const trelSimulationParameter& parameter, trelReadState& state)
{
  if (!state.GetFindings() || !parameter.GetMedium() || !parameter.GetLightSources()) return;
  trelModelFaultsSearch search{*state.GetFindings(), parameter, "", 0};
  CheckSettings(search);
  CheckTissues(search);
  CheckSources(search);
  CheckCameras(search);
  CheckRegion(search);
  CheckNumberOfDetectors(search, state.GetDetectorNum());
}
