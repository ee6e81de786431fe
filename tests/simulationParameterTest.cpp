#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "modelFixtures.h"
#include "trelFiberDetector.h"
#include "trelLightSource.h"
#include "trelPlaneDetector.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

static trelLightSource* AddLightSource(trelList& sources, LuminousType type)
{
  auto* source = new trelLightSource;
  source->Register();
  source->SetLuminousType(type);
  sources.Append(source);
  return source;
}

static trelSpectrum* AddSpectrum(trelLightSource& source, std::uint32_t wavelength,
                                 std::uint32_t packets)
{
  auto* spectrum = new trelSpectrum;
  spectrum->Register();
  spectrum->SetWavelength(wavelength);
  spectrum->SetPhotonNumber(packets);
  source.GetSpectra()->Append(spectrum);
  return spectrum;
}

/** A model that passes, of one source and one tissue with the given shape, for a test to spoil. */
struct Model
{
  explicit Model(trelShapeObject* shape, SimulationDimension dimension = Dimension3D)
  {
    Parameter.SetDimension(dimension);
    Parameter.SetSimulationType(DOT);
    Parameter.SetWavelengths({650});
    auto* sources = new trelList;
    Source = AddLightSource(*sources, LuminousDiffuse);
    Parameter.SetLightSources(sources);
    Spectrum = AddSpectrum(*Source, 650, 1000);
    Optics = AddTissue(*Parameter.GetMedium(), shape)->GetOpticalParameter(0);
    if (shape && shape->GetShapeType() == ShapeCube) {
      Parameter.SetTransmittanceCoordinate(CoordinateCartesian);
    }
  }

  trelSimulationParameter& Run(SimulationType type)
  {
    Parameter.SetSimulationType(type);
    return Parameter;
  }
  trelSimulationParameter& WithCamera()
  {
    Parameter.AddDetector(new trelPlaneDetector);
    return Parameter;
  }

  trelSimulationParameter Parameter;
  trelLightSource* Source;
  trelSpectrum* Spectrum;
  trelOpticalParameter* Optics;
};

static trelCube* NewCube()
{
  return Place(new trelCube, 0, 0, 0, 3, 4, 5);
}

/** How messages call the axes. */
static const char* const axisWords[NumberOfAxes] = {"X-Axis",
                                                    "Y-Axis",
                                                    "Z-Axis",
                                                    "radial direction",
                                                    "azimuth angle direction",
                                                    "deflection angle direction"};

static const char* const domainFault =
    "The simulation of BLT cannot be conducted in time-domain or frequency-domain!\n";
static const char* const freespaceFault =
    "The simulation of light propagation in freespace must be conducted in continue-wave domain!\n";
static const char* const anisotropyFault = "Non-physical anisotropy coefficient!\n";
static const char* const warning = "Zero scattering coefficient!\n";

/** What a spoilt model makes the user read; "" if nothing. In the order of the checks, many with
 * the fault of a later one beside theirs. */
static const struct
{
  const char* text;
  void (*spoil)(Model& m);
} validationCases[] = {
    {"", [](Model&) {}},
    {domainFault, [](Model& m) { m.Run(BLT).SetTimeDomain(true); }},
    {domainFault, [](Model& m) { m.Run(BLT).SetFrequencyDomain(true); }},
    {"The luminous type of the light source in FMT must be Excitation or Emission!\n",
     [](Model& m) { m.Run(FMT), m.Spectrum->SetEnergy(-1); }},
    {"The luminous type of the light source in BLT is wrong!\n", [](Model& m) { m.Run(BLT); }},
    {"The luminous type of the light source in DOT is wrong!\n",
     [](Model& m) { m.Source->SetLuminousType(LuminousBioluminescence); }},
    {"", [](Model& m) { m.Run(FMT), m.Source->SetLuminousType(LuminousEmission); }},
    {"Spectrum Energy < 0!\n",
     [](Model& m) { m.Spectrum->SetEnergy(-1), m.Optics->SetAbsorption(-1); }},
    {"", [](Model& m) { m.Parameter.SetWavelengths({}), m.Optics->SetAbsorption(-1); }},
    {"", [](Model& m) { m.Parameter.SetWavelengths({}), m.Spectrum->SetEnergy(-1); }},
    {"Non-physical absorption coefficient!\n",
     [](Model& m) { m.Optics->SetOpticalCoefficients(-1, 0, 2, 0); }},
    {warning, [](Model& m) { m.Optics->SetScattering(0); }},
    {"Non-physical scattering coefficient!\n",
     [](Model& m) { m.Optics->SetOpticalCoefficients(0, -1, 2, 0); }},
    {anisotropyFault, [](Model& m) { m.Optics->SetOpticalCoefficients(0, 1, -1.001, 0); }},
    {anisotropyFault, [](Model& m) { m.Optics->SetAnisotropy(1.001); }},
    {"", [](Model& m) { m.Optics->SetAnisotropy(-1); }},
    {"Index of refraction < 1!\n", [](Model& m) { m.Optics->SetRefractiveIndex(0.99); }},
    {freespaceFault, [](Model& m) { m.WithCamera().SetSaveTransmittance(false); }},
    {freespaceFault, [](Model& m) { m.WithCamera().SetContinuousWave(false); }}};

TEST(SimulationParameter, IsValidatedInOrder)
{
  for (const auto& c : validationCases) {
    SCOPED_TRACE(&c - validationCases);
    const bool faulty = *c.text && c.text != warning;
    Model model(NewCube());
    model.Parameter.SetSeparations(1, 1, faulty ? 0 : 1, 1, 1, 1);
    c.spoil(model);
    CaptureStderr();
    EXPECT_EQ(model.Parameter.Validate(), !faulty);
    const std::string report = GetCapturedStderr();
    const std::string prefix = faulty ? "ERROR: In " : *c.text ? "Warning: In " : "";
    EXPECT_THAT(report,
                StartsWith(prefix + (*c.text ? "..\\..\\src\\trelSimulationParameter, " : "")));
    EXPECT_THAT(report, EndsWith(*c.text ? std::string("): ") + c.text + "\n\n" : ""));
    EXPECT_EQ(report.empty(), !*c.text);
  }
}

TEST(SimulationParameter, RefusesAReversedRegionOfInterest)
{
  for (int axis = 0; axis < NumberOfAxes; ++axis) {
    for (const double max : {-1.0, 0.0}) {
      double roi[12] = {};
      roi[2 * axis + 1] = max;
      Model model(NewCube());
      model.Parameter.SetROI(roi);
      CaptureStderr();
      const bool taken = max == 0.0 || axis == AxisDeflection;
      EXPECT_EQ(model.Parameter.Validate(), taken) << axisWords[axis];
      const std::string text =
          "): The minimum cannot be greater than maximum in the setting of ROI along ";
      EXPECT_THAT(GetCapturedStderr(), EndsWith(taken ? "" : text + axisWords[axis] + "!\n\n\n"));
    }
  }
}

TEST(SimulationParameter, FitsTheTransmittanceToTheOuterShape)
{
  const CoordinateType all[] = {CoordinatePolar, CoordinateCartesian, CoordinateCylindrical,
                                CoordinateSpherical};
  const struct
  {
    ShapeType shape;
    CoordinateType accepted, alsoAccepted;
    const char* word;
  } cases[] = {{ShapeEllipse, CoordinatePolar, CoordinatePolar, "Polar"},
               {ShapeRectangle, CoordinateCartesian, CoordinateCartesian, "Polar"},
               {ShapeCube, CoordinateCartesian, CoordinateCartesian, "Cartesian"},
               {ShapeTriangleMesh, CoordinateCartesian, CoordinateCartesian, "Cartesian"},
               {ShapeTetrahedron, CoordinateCartesian, CoordinateCartesian, "Cartesian"},
               {ShapeEllipsoid, CoordinateSpherical, CoordinateSpherical, "Spherical"},
               {ShapeCylinder, CoordinateCartesian, CoordinateCylindrical, "Cartesian"}};
  for (const auto& c : cases) {
    for (const CoordinateType coordinate : all) {
      Model model(Place(new BoxOfKind(c.shape), 0, 0, 0, 1, 1, 1));
      model.Parameter.SetTransmittanceCoordinate(coordinate);
      model.Parameter.SetSaveTransmittance(false);
      CaptureStderr();
      EXPECT_TRUE(model.Parameter.Validate());
      const std::string report = GetCapturedStderr();
      const bool kept = coordinate == c.accepted || coordinate == c.alsoAccepted;
      EXPECT_EQ(model.Parameter.GetTransmittanceCoordinate(), kept ? coordinate : c.accepted);
      const std::string text =
          "): The coordinate type for saving the transmittance is modified to the ";
      EXPECT_THAT(report, EndsWith(kept ? "" : text + c.word + " automatically!\n\n\n"));
      EXPECT_EQ(report.empty(), kept);
    }
  }
}

/** Which axes a grid is divided along: an axis is counted exactly if a separation of 0 along it is
 *  refused, and of several zeros the first in the order of the row is. */
TEST(SimulationParameter, TestsAndCountsTheSameAxes)
{
  using Axes = std::vector<trelAxis>;
  const struct
  {
    SimulationDimension dimension;
    ShapeType shape;
    CoordinateType coordinate;
    bool surface;
    Axes axes;
  } cases[] = {
      {Dimension3D, ShapeCube, CoordinateCartesian, false, {AxisX, AxisY, AxisZ}},
      {Dimension2D, ShapeRectangle, CoordinateCartesian, false, {AxisX, AxisY}},
      {Dimension3D, ShapeCube, CoordinatePolar, false, {AxisZ, AxisRadial, AxisAzimuth}},
      {Dimension3D, ShapeCube, CoordinateCylindrical, false, {AxisZ, AxisRadial, AxisAzimuth}},
      {Dimension2D, ShapeEllipse, CoordinatePolar, false, {AxisRadial, AxisAzimuth}},
      {Dimension3D, ShapeCube, CoordinateSpherical, false, {}},
      {Dimension2D, ShapeEllipse, CoordinatePolar, true, {AxisRadial, AxisAzimuth}},
      {Dimension2D, ShapeRectangle, CoordinateCartesian, true, {AxisX, AxisY}},
      {Dimension3D, ShapeCube, CoordinateCartesian, true, {AxisX, AxisY, AxisZ}},
      {Dimension3D, ShapeCylinder, CoordinateCartesian, true, {AxisX, AxisY, AxisZ, AxisAzimuth}},
      {Dimension3D, ShapeCylinder, CoordinateCylindrical, true, {AxisZ, AxisRadial, AxisAzimuth}},
      {Dimension3D, ShapeEllipsoid, CoordinateSpherical, true, {AxisAzimuth, AxisDeflection}},
      {Dimension2D, ShapeCube, CoordinateCartesian, true, {}},
      {Dimension3D, ShapeTriangleMesh, CoordinateCartesian, true, {}}};
  int row = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(row++);
    Model model(Place(new BoxOfKind(c.shape), 0, 0, 0, 10, 10, 10), c.dimension);
    trelSimulationParameter& parameter = model.Parameter;
    parameter.SetSaveAbsorption(!c.surface);
    parameter.SetSaveTransmittance(c.surface);
    parameter.SetAbsorptionCoordinate(c.coordinate);
    parameter.SetTransmittanceCoordinate(c.coordinate);

    // The radial range of a box reaches to its corners, sqrt(200) from the centre.
    const bool cornered = c.shape == ShapeCube || c.shape == ShapeRectangle;
    const std::int32_t whole[6] = {20, 20, 20, cornered ? 15 : 10, 360, 180};
    std::int32_t expected[6] = {};
    std::int32_t counts[6];
    for (const trelAxis axis : c.axes)
      expected[axis] = whole[axis];
    parameter.GetCounts(counts);
    EXPECT_THAT(counts, ElementsAreArray(expected));

    const auto validate = [&](const double* s) {
      parameter.SetSeparations(s[0], s[1], s[2], s[3], s[4], s[5]);
      CaptureStderr();
      parameter.Validate();
      return GetCapturedStderr();
    };
    double separations[6] = {1, 1, 1, 1, 1, 1};
    for (int axis = 0; axis < NumberOfAxes; ++axis) {
      separations[axis] = 0;
      EXPECT_EQ(validate(separations).find("separation") != std::string::npos, expected[axis] > 0);
      separations[axis] = 1;
    }
    for (auto axis = c.axes.rbegin(); axis != c.axes.rend(); ++axis) {
      separations[*axis] = 0;
      const std::string text = std::string("): The separation of ROI along ") + axisWords[*axis];
      EXPECT_THAT(validate(separations), HasSubstr(text + " cannot be zero!\n\n\n"));
    }
  }
}

TEST(SimulationParameter, CountsCells)
{
  const double huge = std::numeric_limits<std::int32_t>::max();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct
  {
    double separation, count;
  } cases[] = {{6, 1},  {2.4, 3}, {6.1, 1}, {0.006, 1000}, {1e-9, huge},
               {-1, 0}, {0, 0},   {nan, 0}, {1e-320, huge}};
  for (const auto& c : cases) {
    Model model(NewCube());
    model.Parameter.SetSeparations(c.separation, 1, 1, 1, 1, 1);
    EXPECT_EQ(model.Parameter.GetNumberX(), c.count) << c.separation;
    EXPECT_EQ(model.Parameter.GetNumberY(), 8);
  }
}

TEST(SimulationParameter, CountsTimeSteps)
{
  const struct
  {
    bool timeDomain;
    double start, end, step;
    int count;
  } cases[] = {{true, 0, 100, 10, 10}, {true, 0, 101, 10, 11}, {false, 0, 100, 10, 0},
               {true, 0, 100, -1, 0},  {true, 0, 100, 0, 0},   {true, 0, 1e300, 1e-9, 2147483647},
               {true, 50, 0, 10, -5}};
  for (const auto& c : cases) {
    Model model(NewCube());
    model.Parameter.SetTimeDomain(c.timeDomain);
    model.Parameter.SetTimeRange(c.start, c.end, c.step);
    EXPECT_EQ(model.Parameter.GetNumberOfTimeSteps(), c.count) << c.end << " " << c.step;
  }
}

TEST(SimulationParameter, CutsTheRegionOfInterest)
{
  double roi[12];
  Model whole(NewCube());
  whole.Parameter.GetROI(roi);
  EXPECT_THAT(roi, ElementsAre(-3, 3, -4, 4, -5, 5, 0, 5, 0, 360, 0, 180));

  // Within, beyond below, beyond above, wholly below, wholly above, and both ends beyond.
  const double set[12] = {-1, 2, -9, 0, 1, 9, -3, -2, 400, 500, -1, 181};
  Model cut(NewCube());
  cut.Parameter.SetROI(set);
  cut.Parameter.GetROI(roi);
  EXPECT_THAT(roi, ElementsAre(-1, 2, -4, 0, 1, 5, 0, 5, 0, 360, 0, 180));
  EXPECT_EQ(cut.Parameter.GetNumberX(), 3);

  Model ellipsoid(Place(new trelEllipsoid, 0, 0, 0, 3, 4, 5));
  ellipsoid.Parameter.GetROI(roi);
  EXPECT_EQ(roi[7], 4.0);

  Model unknown(Place(new BoxOfKind(static_cast<ShapeType>(7)), 0, 0, 0, 3, 4, 5));
  CaptureStderr();
  unknown.Parameter.GetROI(roi);
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("): error happens while compute count!\n\n"));
  EXPECT_EQ(roi[7], 3.0);

  Model shapeless(nullptr);
  shapeless.Parameter.SetROI(set);
  shapeless.Parameter.GetROI(roi);
  EXPECT_THAT(roi, ElementsAreArray(set)) << "as read";
}

/** The flags of the cube's, the cylinder's and the rectangle's sides in turn, as digits. */
static std::string GetFlags(const trelSimulationParameter& parameter)
{
  bool flags[6 + 3 + 4];
  parameter.GetCubeFaceFlags(flags);
  parameter.GetCylinderFaceFlags(flags + 6);
  parameter.GetRectangleEdgeFlags(flags + 9);
  std::string digits;
  for (const bool flag : flags)
    digits += flag ? '1' : '0';
  return digits;
}

TEST(SimulationParameter, FlagsTheFacesInTheRegion)
{
  // The box reaches beyond all bounds but Y minimum and Z maximum.
  const double roi[12] = {-2, 2, -9, 3, -4, 9, 0, 100, 0, 360, 0, 180};
  const double all[12] = {-3, 3, -4, 4, -5, 5, 0, 100, 0, 360, 0, 180};
  const struct
  {
    ShapeType shape;
    bool save;
    const char* flags;
  } cases[] = {{ShapeCube, true, "1000101111111"},
               {ShapeCube, false, "1111111111111"},
               {ShapeCylinder, true, "1111111011111"},
               {ShapeRectangle, true, "1111111110100"},
               {ShapeEllipsoid, true, "1111111111111"}};
  for (const auto& c : cases) {
    Model model(Place(new BoxOfKind(c.shape), 0, 0, 0, 3, 4, 5));
    model.Parameter.SetSaveTransmittance(c.save);
    model.Parameter.SetROI(roi);
    EXPECT_EQ(GetFlags(model.Parameter), c.flags) << c.shape;
    model.Parameter.SetROI(all);
    EXPECT_EQ(GetFlags(model.Parameter), c.flags) << "what is cleared stays cleared";
  }
}

TEST(SimulationParameter, OwnsWhatItIsGiven)
{
  trelSimulationParameter parameter;
  EXPECT_EQ(parameter.GetNumberOfLightSources(), 0);
  EXPECT_EQ(parameter.GetLightSource(0), nullptr);
  auto* fiber = new trelFiberDetector;
  fiber->Register();
  parameter.AddDetector(fiber);
  parameter.AddDetector(new trelPlaneDetector);
  for (int run = 0; run < 2; ++run)
    EXPECT_EQ(parameter.CountFiberDetectors(), 1);
  parameter.SetDetectors(new trelList);
  EXPECT_EQ(fiber->GetReferenceCount(), 1);
  EXPECT_EQ(parameter.GetNumberOfDetectors(), 0);
  fiber->UnRegister();

  parameter.ClearModel();
  EXPECT_EQ(parameter.GetMedium(), nullptr);
  EXPECT_EQ(parameter.GetTissue(0), nullptr);
  EXPECT_EQ(parameter.GetOuterShape(), nullptr);
  parameter.AddDetector(new trelPlaneDetector);
  EXPECT_EQ(parameter.GetNumberOfDetectors(), 1);
}

TEST(SimulationParameter, AddsUpPackets)
{
  Model model(NewCube());
  AddSpectrum(*model.Source, 700, 10);
  AddSpectrum(*model.Source, 650, 20);
  auto* sources = new trelList;
  for (int i = 0; i < 2; ++i) {
    AddSpectrum(*AddLightSource(*sources, LuminousDiffuse), 650, 3000000000u);
  }
  EXPECT_EQ(model.Parameter.GetNumberOfPhotons(650), 20u) << "the last entry, not the sum";
  EXPECT_EQ(model.Parameter.GetNumberOfPhotons(600), 0u);
  EXPECT_EQ(model.Parameter.ComputeTotalPhotons(), 1030u);
  EXPECT_EQ(model.Source->GetPhotonTotal(), 1030u);
  model.Parameter.SetLightSources(sources);
  EXPECT_EQ(model.Parameter.ComputeTotalPhotons(), 6000000000u % (1ull << 32)) << "32 bits";
}

TEST(SimulationParameter, PreparesTheGridAheadOfTheRun)
{
  Model model(NewCube());
  AddTissue(*model.Parameter.GetMedium(), Place(new trelCube, 3, 0, 0, 1, 1, 1));
  CaptureStderr();
  model.Parameter.PrepareGeometry();
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("outside the outermost tissue shape"));
  EXPECT_EQ(model.Parameter.GetMedium()->GetTissueShape(0), model.Parameter.GetOuterShape());
}
