#include "trelSimulationParameter.h"

#include <algorithm>
#include <cmath>

#include "trelDetector.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelParameterValidation.h"
#include "trelShapeObject.h"
#include "trelSpectrum.h"
#include "trelTissue.h"

trelSimulationParameter::trelSimulationParameter()
    : Medium(new trelMedium), LightSources(new trelList), Detectors(new trelList)
{
  Medium->Register();
}

trelSimulationParameter::~trelSimulationParameter()
{
  trelSimulationParameter::ClearModel();
}

void trelSimulationParameter::ClearModel()
{
  ReleaseReference(Medium);
  ReleaseList<trelLightSource>(LightSources, &trelObject::UnRegister);
  ReleaseList<trelDetector>(Detectors, &trelObject::UnRegister);
}

std::int32_t trelSimulationParameter::GetNumberOfTissues() const
{
  return Medium ? Medium->GetNumberOfTissues() : 0;
}

trelTissue* trelSimulationParameter::GetTissue(int i) const
{
  return Medium ? Medium->GetTissue(i) : nullptr;
}

trelShapeObject* trelSimulationParameter::GetOuterShape() const
{
  return Medium ? Medium->GetOuterShape() : nullptr;
}

void trelSimulationParameter::SetLightSources(trelList* sources)
{
  if (sources == LightSources) return;
  ReleaseList<trelLightSource>(LightSources, &trelObject::UnRegister);
  LightSources = sources;
}

std::int32_t trelSimulationParameter::GetNumberOfLightSources() const
{
  return LightSources ? LightSources->GetNumberOfItems() : 0;
}

trelLightSource* trelSimulationParameter::GetLightSource(int i) const
{
  return LightSources ? LightSources->GetItem<trelLightSource>(i) : nullptr;
}

void trelSimulationParameter::SetDetectors(trelList* detectors)
{
  if (detectors == Detectors) return;
  ReleaseList<trelDetector>(Detectors, &trelObject::UnRegister);
  Detectors = detectors;
}

std::int32_t trelSimulationParameter::GetNumberOfDetectors() const
{
  return Detectors ? Detectors->GetNumberOfItems() : 0;
}

trelDetector* trelSimulationParameter::GetDetector(int i) const
{
  return Detectors ? Detectors->GetItem<trelDetector>(i) : nullptr;
}

void trelSimulationParameter::AddDetector(trelDetector* detector)
{
  if (!detector) return;
  if (!Detectors) Detectors = new trelList;
  detector->Register();
  Detectors->Append(detector);
}

/** Calls @p visit with each item of @p list in turn, as long as it returns true. A walk by index
 * would take the square of the length. @return whether all were visited */
template <class Item, class Visit>
static bool VisitAll(trelList* list, Visit visit)
{
  if (!list) return true;
  list->InitTraversal();
  while (void* item = list->GetNextItem()) {
    if (!visit(*static_cast<Item*>(item))) return false;
  }
  return true;
}

std::int32_t trelSimulationParameter::CountFiberDetectors()
{
  FiberDetectorCount = 0;
  VisitAll<trelDetector>(Detectors, [this](const trelDetector& detector) {
    if (detector.GetDetectorType() == DetectorFiber) ++FiberDetectorCount;
    return true;
  });
  return FiberDetectorCount;
}

std::int32_t trelSimulationParameter::GetNumberOfWavelengths() const
{
  return static_cast<std::int32_t>(Wavelengths.size());
}

std::uint32_t trelSimulationParameter::GetWavelength(int i) const
{
  return i < 0 || i >= GetNumberOfWavelengths() ? 0 : Wavelengths[i];
}

std::uint64_t trelSimulationParameter::GetNumberOfPhotons(std::uint32_t wavelength) const
{
  std::uint64_t number = 0;
  VisitAll<trelLightSource>(LightSources, [&](const trelLightSource& source) {
    number += source.GetNumberOfPhotonsAt(wavelength);
    return true;
  });
  return number;
}

std::uint64_t trelSimulationParameter::ComputeTotalPhotons()
{
  TotalPhotons = 0;
  VisitAll<trelLightSource>(LightSources, [this](trelLightSource& source) {
    TotalPhotons += source.ComputePhotonTotal();
    return true;
  });
  return TotalPhotons;
}

void trelSimulationParameter::SetSeparations(double x, double y, double z, double radial,
                                             double azimuth, double deflection)
{
  const double separations[NumberOfAxes] = {x, y, z, radial, azimuth, deflection};
  std::copy_n(separations, NumberOfAxes, Separations);
  CountsValid = false;
}

void trelSimulationParameter::GetSeparations(double separations[NumberOfAxes]) const
{
  std::copy_n(Separations, NumberOfAxes, separations);
}

void trelSimulationParameter::SetTimeRange(double start, double end, double step)
{
  TimeStart = start;
  TimeEnd = end;
  TimeStep = step;
  CountsValid = false;
}

double trelSimulationParameter::GetTimeStart() const
{
  if (!CountsValid) ComputeCounts();
  return TimeStart;
}

double trelSimulationParameter::GetTimeEnd() const
{
  if (!CountsValid) ComputeCounts();
  return TimeEnd;
}

std::int32_t trelSimulationParameter::GetNumberOfTimeSteps() const
{
  if (!CountsValid) ComputeCounts();
  return NumberOfTimeSteps;
}

void trelSimulationParameter::SetROI(const double roi[2 * NumberOfAxes], std::int32_t given)
{
  ROINumbersGiven = given;
  std::copy_n(roi, 2 * NumberOfAxes, ROI);
  CountsValid = false;
  ROIGiven = true;
}

void trelSimulationParameter::GetROI(double roi[2 * NumberOfAxes]) const
{
  if (!CountsValid) ComputeCounts();
  std::copy_n(ROI, 2 * NumberOfAxes, roi);
}

std::int32_t trelSimulationParameter::GetCount(trelAxis axis) const
{
  if (!CountsValid) ComputeCounts();
  return Counts[axis];
}

void trelSimulationParameter::GetCounts(std::int32_t counts[NumberOfAxes]) const
{
  if (!CountsValid) ComputeCounts();
  std::copy_n(Counts, NumberOfAxes, counts);
}

void trelSimulationParameter::GetCubeFaceFlags(bool flags[NumberOfCubeFaces]) const
{
  if (!CountsValid) ComputeCounts();
  std::copy_n(CubeFaceFlags, NumberOfCubeFaces, flags);
}

void trelSimulationParameter::GetCylinderFaceFlags(bool flags[NumberOfCylinderFaces]) const
{
  if (!CountsValid) ComputeCounts();
  std::copy_n(CylinderFaceFlags, NumberOfCylinderFaces, flags);
}

void trelSimulationParameter::GetRectangleEdgeFlags(bool flags[NumberOfRectangleEdges]) const
{
  if (!CountsValid) ComputeCounts();
  std::copy_n(RectangleEdgeFlags, NumberOfRectangleEdges, flags);
}

/** Builds the voxel table of @p shape if it is a triangle mesh. */
static void PrepareShape(trelShapeObject* shape, int threads)
{
  if (!shape || shape->GetShapeType() != ShapeTriangleMesh) return;
  static_cast<trelMCTriangleMesh*>(shape)->BuildVoxelTable(threads);
}

void trelSimulationParameter::PrepareGeometry()
{
  if (!Medium) return;
  const bool tetrahedral = Medium->GetShapeIsTetrahedron();
  if (tetrahedral) {
    if (Medium->GetTetrahedron()) Medium->GetTetrahedron()->BuildVoxelTable(ThreadNumber);
  } else {
    VisitAll<trelTissue>(Medium->GetTissues(), [this](const trelTissue& tissue) {
      PrepareShape(tissue.GetShape(), ThreadNumber);
      return true;
    });
  }
  VisitAll<trelLightSource>(LightSources, [this](const trelLightSource& source) {
    PrepareShape(source.GetShape(), ThreadNumber);
    return true;
  });
  if (!tetrahedral) Medium->BuildTissueGrid();
}

bool trelSimulationParameter::Validate()
{
  if ((TimeDomain || FrequencyDomain) && SimulationType == BLT) {
    ErrorMacro("The simulation of BLT cannot be conducted in time-domain or frequency-domain!\n");
    return false;
  }
  if (!ValidateLuminousTypes() || !ValidateEnergies() || !ValidateTissues()) return false;
  FitTransmittanceCoordinate();
  if (GetNumberOfDetectors() > 0 && !(ContinuousWave && SaveTransmittance)) {
    ErrorMacro(
        "The simulation of light propagation in freespace must be conducted in continue-wave "
        "domain!\n");
    return false;
  }
  return ValidateSeparations() && ValidateROI();
}

bool trelSimulationParameter::ValidateLuminousTypes()
{
  return VisitAll<trelLightSource>(LightSources, [this](const trelLightSource& source) {
    const char* fault = FindLuminousFault(SimulationType, source.GetLuminousType());
    if (fault) ErrorMacro(fault);
    return !fault;
  });
}

bool trelSimulationParameter::ValidateEnergies()
{
  const bool valid = VisitAll<trelLightSource>(LightSources, [&](const trelLightSource& source) {
    std::int32_t left = GetNumberOfWavelengths();
    return VisitAll<trelSpectrum>(source.GetSpectra(), [&](const trelSpectrum& spectrum) {
      return left-- <= 0 || !(spectrum.GetEnergy() < 0.0);
    });
  });
  if (!valid) ErrorMacro("Spectrum Energy < 0!\n");
  return valid;
}

bool trelSimulationParameter::ValidateTissues()
{
  trelList* tissues = Medium ? Medium->GetTissues() : nullptr;
  return VisitAll<trelTissue>(tissues, [&](const trelTissue& tissue) {
    std::int32_t left = GetNumberOfWavelengths();
    return VisitAll<trelOpticalParameter>(
        tissue.GetOpticalParameters(),
        [&](const trelOpticalParameter& optics) { return left-- <= 0 || ValidateOptics(optics); });
  });
}

bool trelSimulationParameter::ValidateOptics(const trelOpticalParameter& optics)
{
  if (optics.GetScattering() == 0.0 && !(optics.GetAbsorption() < 0.0)) {
    WarningMacro("Zero scattering coefficient!\n");
  }
  const char* fault = FindOpticalFault(optics);
  if (fault) ErrorMacro(fault);
  return !fault;
}

void trelSimulationParameter::FitTransmittanceCoordinate()
{
  const trelShapeObject* shape = GetOuterShape();
  const auto* rule = shape ? FindSurfaceCoordinateRule(shape->GetShapeType()) : nullptr;
  if (!rule || TransmittanceCoordinate == rule->Accepted) return;
  if (TransmittanceCoordinate == rule->AlsoAccepted) return;
  WarningMacro("The coordinate type for saving the transmittance is modified to the "
               << rule->Word << " automatically!\n");
  TransmittanceCoordinate = rule->Accepted;
}

std::vector<trelAxis> trelSimulationParameter::AxesInUse() const
{
  std::vector<trelAxis> axes;
  if (SaveAbsorption) axes = GetAbsorptionAxes(AbsorptionCoordinate, Dimension);
  const trelShapeObject* shape = GetOuterShape();
  if (SaveTransmittance && shape) {
    const std::vector<trelAxis> surface =
        GetTransmittanceAxes(TransmittanceCoordinate, Dimension, shape->GetShapeType());
    axes.insert(axes.end(), surface.begin(), surface.end());
  }
  return axes;
}

bool trelSimulationParameter::ValidateSeparations()
{
  for (const trelAxis axis : AxesInUse()) {
    if (Separations[axis] == 0.0) {
      ErrorMacro("The separation of ROI along " << GetAxisWord(axis) << " cannot be zero!\n");
      return false;
    }
  }
  return true;
}

bool trelSimulationParameter::ValidateROI()
{
  // The deflection range is not tested: a reversed one has a negative number of cells, or none, and
  // the grids that need it then find no memory.
  for (const trelAxis axis : {AxisX, AxisY, AxisZ, AxisRadial, AxisAzimuth}) {
    if (ROI[2 * axis + 1] < ROI[2 * axis]) {
      ErrorMacro("The minimum cannot be greater than maximum in the setting of ROI along "
                 << GetAxisWord(axis) << "!\n");
      return false;
    }
  }
  return true;
}

void trelSimulationParameter::ComputeCounts() const
{
  const trelShapeObject* shape = GetOuterShape();
  if (!shape) return;
  ComputeROI(*shape);
  for (const trelAxis axis : AxesInUse()) {
    if (Separations[axis] > 0.0) {
      Counts[axis] = CountCells(ROI[2 * axis + 1] - ROI[2 * axis], Separations[axis]);
    }
  }
  if (SaveTransmittance) ComputeFaceFlags(*shape);
  if (TimeDomain && TimeStep > 0.0) NumberOfTimeSteps = CountCells(TimeEnd - TimeStart, TimeStep);
  CountsValid = true;
}

/** The largest distance from the axis through the centre that the radial range can have. */
double trelSimulationParameter::RadialLimit(const trelShapeObject& shape) const
{
  double a;
  double b;
  double c;
  shape.GetHalfAxes(&a, &b, &c);
  switch (shape.GetShapeType()) {
    case ShapeRectangle:
    case ShapeTriangleMesh:
    case ShapeCube:
    case ShapeTetrahedron:
      return std::sqrt(a * a + b * b);
    case ShapeEllipse:
    case ShapeEllipsoid:
    case ShapeCylinder:
      return std::max(a, b);
  }
  ErrorMacro("error happens while compute count!");
  return a;
}

void trelSimulationParameter::ComputeROI(const trelShapeObject& shape) const
{
  double limits[2 * NumberOfAxes] = {0.0, 0.0, 0.0, 0.0,   0.0, 0.0,
                                     0.0, 0.0, 0.0, 360.0, 0.0, 180.0};
  shape.GetBoundingBox(limits);
  limits[2 * AxisRadial + 1] = RadialLimit(shape);
  if (!ROIGiven) {
    std::copy_n(limits, 2 * NumberOfAxes, ROI);
    return;
  }
  for (int axis = 0; axis < NumberOfAxes; ++axis) {
    CutRange(limits[2 * axis], limits[2 * axis + 1], &ROI[2 * axis], &ROI[2 * axis + 1]);
  }
}

void trelSimulationParameter::ComputeFaceFlags(const trelShapeObject& shape) const
{
  // Places in a bounding box and in the region of interest: an odd one is a maximum.
  constexpr int xMin = 2 * AxisX, xMax = xMin + 1;
  constexpr int yMin = 2 * AxisY, yMax = yMin + 1;
  constexpr int zMin = 2 * AxisZ, zMax = zMin + 1;
  static constexpr int cubeFaces[NumberOfCubeFaces] = {zMax, zMin, xMax, xMin, yMin, yMax};
  static constexpr int rectangleEdges[NumberOfRectangleEdges] = {yMax, yMin, xMin, xMax};
  constexpr int numberOfCaps = 2;
  double box[6];
  shape.GetBoundingBox(box);
  const auto liesBeyond = [&](int side) {
    return side % 2 == 1 ? box[side] > ROI[side] : box[side] < ROI[side];
  };
  switch (shape.GetShapeType()) {
    case ShapeCube:
      for (int i = 0; i < NumberOfCubeFaces; ++i) {
        if (liesBeyond(cubeFaces[i])) CubeFaceFlags[i] = false;
      }
      break;
    case ShapeCylinder:
      for (int i = 0; i < numberOfCaps; ++i) {
        if (liesBeyond(cubeFaces[i])) CylinderFaceFlags[i] = false;
      }
      break;
    case ShapeRectangle:
      // Any difference clears an edge, also one within the region.
      for (int i = 0; i < NumberOfRectangleEdges; ++i) {
        if (box[rectangleEdges[i]] != ROI[rectangleEdges[i]]) RectangleEdgeFlags[i] = false;
      }
      break;
    default:
      break;
  }
}
