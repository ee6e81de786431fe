#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "trelFiberDetector.h"
#include "trelLightSource.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelParameterText.h"
#include "trelPlaneDetector.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelSimulationParameterReader.h"
#include "trelSpectrum.h"
#include "trelTissue.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

static const char* const Header = "trl\nformat ascii 2.1\nsimulationproperty\n";
static const char* const Counts =
    "simulationtype DOT\ndimension 3d\nspectrumnum 1\nlightsourcenum 1\ntissuenum 2\n"
    "detectornum 2\ntransmittancematrix 1 cartesian\n";
static const char* const Spectra = "endsimulationproperty\nspectrum 1 650\n";
static const char* const SourceLines =
    "lightsource 1\nlightsourceshape cube\nlightsourceproperty internal solid nospecular\n"
    "lightsourcecenter 0 0 1\nlightsourceaxis 1 1 1\nlightsourcespectrumindex 1 1.0 1000\n";
static const char* const TissueLines =
    "tissue 1 skin\ntissueshape cube\ntissueaxis 5 6 7\ntissuespectrumindex 1 0.1 10 0.9 1.37\n"
    "tissue 2 bone\ntissueshape cube\ntissueaxis 1 1 1\ntissuespectrumindex 1 0.2 20 0.8 1.4\n";

/** A file that reads, with @p property at the end of its block and @p model before its "endtrl". */
static std::string File(const std::string& property, const std::string& model = "")
{
  return std::string(Header) + Counts + property + Spectra + SourceLines + TissueLines + model +
         "endtrl\n";
}

/** A line or several for the block and for the model of File(), and what is to be reported. */
struct Case
{
  std::string Property;
  std::string Model;
  std::string Report;
};

/** @p reports without source files, lines and addresses: "ERROR trelMedium: initial model error!".
 */
static std::string WithoutPlaces(std::string reports)
{
  const std::string place = ": In ";
  for (std::size_t at = 0; (at = reports.find(place, at)) != std::string::npos;) {
    reports.replace(at, reports.find('\n', at) + 1 - at, " ");
    const std::size_t address = reports.find(" (0x", at);
    reports.erase(address, reports.find("): ", address) + 1 - address);
  }
  return reports;
}

/** Centre and half-lengths. */
static std::vector<double> Extent(const trelShapeObject* shape)
{
  std::vector<double> v(6);
  shape->GetCenter(&v[0], &v[1], &v[2]);
  shape->GetHalfAxes(&v[3], &v[4], &v[5]);
  return v;
}

class ParameterFile : public testing::Test
{
protected:
  ParameterFile() { std::filesystem::create_directories(Directory); }
  ~ParameterFile() override
  {
    if (Parameter) Parameter->UnRegister();
    std::filesystem::remove_all(Directory);
  }

  /** Reads a file of @p text; Reports is what was shown, with FILE for its name and without places.
   */
  bool Read(const std::string& text)
  {
    std::ofstream(Name, std::ios::binary) << text;
    return ReadName(Name);
  }

  bool ReadName(const std::string& name)
  {
    auto* reader = new trelSimulationParameterReader;
    if (!name.empty()) reader->AddFileName(name.c_str());
    CaptureStderr();
    const bool done = reader->Update();
    Reports = WithoutPlaces(GetCapturedStderr());
    const std::size_t at = Reports.find(name);
    if (!name.empty() && at != std::string::npos) Reports.replace(at, name.size(), "FILE");
    trelSimulationParameter* output = reader->GetOutput();
    output->Register();
    if (Parameter) Parameter->UnRegister();
    Parameter = output;
    reader->Delete();
    return done;
  }

  /** Expects the read of @p text to fail with the report @p report of the reader. */
  void ExpectFailure(const std::string& text, const std::string& report)
  {
    EXPECT_FALSE(Read(text)) << text;
    EXPECT_EQ(Reports, "ERROR trelSimulationParameterReader: " + report + "\n\n") << text;
  }

  const std::string Directory =
      std::filesystem::temp_directory_path() / ("trelParameterFile." + std::to_string(::getpid()));
  const std::string Name = Directory + "/model.trl";
  std::string Reports;
  trelSimulationParameter* Parameter = nullptr;
};

// What is read as a line, a word, a number

TEST_F(ParameterFile, ReadsNumbersFromTheStartOfAToken)
{
  const struct
  {
    const char* Token;
    std::int32_t Integer;
    double Real;
    std::uint32_t Truncated;
  } cases[] = {
      {"12", 12, 12, 12},
      {"+7", 7, 7, 7},
      {"-3", -3, -3, 0},
      {"+-3", 0, 0, 0},
      {"0.5", 0, 0.5, 0},
      {"1e6", 1, 1e6, 1000000},
      {".25x", 0, 0.25, 0},
      {"7,5", 7, 7, 7},
      {"abc", 0, 0, 0},
      {"nan", 0, 0, 0},
      {"-2147483648", INT32_MIN, -2147483648.0, 0},
      {"99999999999", INT32_MAX, 99999999999.0, UINT32_MAX},
      {"-99999999999", INT32_MIN, -99999999999.0, 0},
      {"1e999", 1, HUGE_VAL, UINT32_MAX},
      {"-1e999", -1, -HUGE_VAL, 0},
      {"1e-999", 1, 0, 0},
  };
  for (const auto& c : cases) {
    std::ofstream(Name) << c.Token;
    trelParameterText text;
    ASSERT_TRUE(text.Open(Name.c_str()) && text.TakeLine());
    EXPECT_EQ(text.GetInteger(0), c.Integer) << c.Token;
    EXPECT_EQ(text.GetReal(0), c.Real) << c.Token;
    EXPECT_EQ(text.GetTruncated(0), c.Truncated) << c.Token;
    EXPECT_EQ(text.GetInteger(1), 0) << "a missing token";
  }
}

TEST_F(ParameterFile, TakesLinesAndPaths)
{
  const std::string full(254, 'x');
  std::ofstream(Name, std::ios::binary)
      << " \t\r\n#a comment\n \tOne  # two\r\n"
      << full << "\n"
      << full << "tail\n"
      << std::string("cut\0off\n", 8) << "path \"a b.off\" c\npath d.off \"\npath a\"b c\"\npath";
  trelParameterText text;
  ASSERT_TRUE(text.Open(Name.c_str()));
  std::vector<std::string> lines;
  std::string paths;
  while (text.TakeStatement()) {
    lines.push_back(std::string(text.GetToken(0)) + ' ' + std::to_string(text.GetNumberOfTokens()));
    std::string path = "none";
    if (text.IsOneOf(0, "road PATH")) paths += text.GetPath(path) ? path + '|' : "-|";
  }
  EXPECT_THAT(lines, ElementsAre("One 3", full + " 1", full + " 1", "tail 1", "cut 1", "path 4",
                                 "path 3", "path 3", "path 1"));
  EXPECT_EQ(paths, "a b.off|-|b c|-|");
}

// Files that are refused

TEST_F(ParameterFile, RefusesWhatItCannotOpen)
{
  const std::string opening = "ERROR trelSimulationParameterReader: Can not open file!\n\n\n";
  EXPECT_FALSE(ReadName(""));
  EXPECT_EQ(Reports, "ERROR trelSimulationParameterReader: There's no file to read!\n\n");
  EXPECT_FALSE(ReadName(Directory + "/none.trl"));
  EXPECT_EQ(Reports, opening);
  EXPECT_FALSE(ReadName(Directory));
  EXPECT_EQ(Reports, opening);
}

TEST_F(ParameterFile, ReadsTheHeader)
{
  const std::string rest = std::string(Counts) + Spectra + SourceLines + TissueLines;
  const std::string invalid = "Not a valid TRL file!\n";
  const std::string noEnd = "End of header not found!\n";
  const std::string version =
      "The version of the parameter file is not supported by the current version of TREL!\n";
  const std::string property = "read simulation property error!\n";
  const std::pair<std::string, std::string> cases[] = {
      {"", invalid},
      {"\ntrl\n", invalid},
      {"#\ntrl\n", invalid},
      {"trlx\n", invalid},
      {"trl", noEnd},
      {"trl\nformat ascii 2.2\ncomment\n#\n", noEnd},
      {"trl\nformat ascii 2.3\n", version},
      {"trl\nformat ascii 2.10\n", version},
      {"trl\nsimulationproperty\ncomment a\n", property},
      {"TRL 1\ncomment a b\n\nFormat ASCII\nCOMMENT\nformat ascii 2.0 x\nanything at all\n", ""},
      {"trl\nformat binary 7\n", ""},
      {"trl\nformat\n", ""},
      {"trl\nsimulationproperty\nsimulationproperty\n", ""},
  };
  for (const auto& [text, error] : cases) {
    if (error.empty()) {
      EXPECT_TRUE(Read(text + rest)) << text << Reports;
    } else {
      ExpectFailure(text, "FILE: \n" + error);
    }
  }
}

TEST_F(ParameterFile, RefusesBadProperties)
{
  const std::string type = "Simulation type is error!\n";
  const std::string dimension = "Simulation dimension is error!\n";
  const std::string domain = "domain is error!\n";
  const std::string absorption = "The coordinate type for saving absorption is error!\n";
  const std::string transmittance = "The coordinate type for saving transmittance is error!\n";
  const std::string unknown = "read simulation property error!\n";
  const std::string wavelength = "Error when reading wavelength data!\n";
  const std::string counts = "lightsourcenum, tissuenum, spectrumnum: got ";
  const std::string most =
      " objects), expected at most 1000000 objects (light sources, tissues, and an entry of each "
      "for"
      " each spectrum)\n";
  const std::pair<const char*, std::string> cases[] = {
      {"simulationtype DOTS\ndimension 4d\n", type + dimension},
      {"environment plane\ndomain\n", dimension + domain},
      {"domain td 0 1\n", domain},
      {"domain fd\n", domain},
      {"domain 3 1 1 1\nmediumalgorithm mc\n", domain + "Medium algorithm error!\n"},
      {"phantomalgorithm pinhole\n", "Medium algorithm error!\n"},
      {"freespacealgorithm amc\n", "Freespace algorithm error!\n"},
      {"absorptionmatrix 1\n", absorption},
      {"absorptionmatrix spherical 1\n", absorption},
      {"absorptionmatrix 1 0 polar\n", absorption},
      {"transmittancematrix 0 round\n", transmittance},
      {"spectrumnum\n", unknown},
      {"stepnummax\n", unknown},
      {"endtrl\n", unknown},
      {"spectrumnum -1\n", "spectrum data error!\n"},
      {"spectrumnum 2\n", wavelength},
      {"endsimulationproperty\nspectrum 2 650\n", wavelength},
      {"endsimulationproperty\nspectrum 1\n", wavelength},
      {"endsimulationproperty\ntissue 1 a\n", wavelength},
      {"tissuenum 1000000000\n", counts + "1, 1000000000, 1 (2000000002" + most},
      {"lightsourcenum 99999999999\ntissuenum 99999999999\nspectrumnum 99999999999\n",
       counts + "2147483647, 2147483647, 2147483647 (9223372032559808512" + most},
  };
  for (const auto& [line, error] : cases) {
    ExpectFailure(File(line), "FILE: \n" + error);
  }
}

TEST_F(ParameterFile, RefusesABadModel)
{
  const std::string source = "3d light source property error!\n";
  const std::string property = "3D light source property error!\n";
  const std::string place = "The light source cannot be outside of the medium in BLT!\n";
  const std::string reflection =
      "The light soruce in the medium should not have the specular reflection in ";
  const std::string sourceIndex = "Index of the light source is incorrect!\n";
  const std::string spectrum = "The property of the light source is incorrect!\n";
  const std::string tissue = "Tissue data error!\n";
  const std::string detector = "Index of the detector is incorrect!\n";
  const std::string format = "Format of the simulation data is incorrect!\n";
  const std::string BLT = "simulationtype BLT\n";
  const std::string FMT = "simulationtype FMT\n";
  const Case cases[] = {
      {"", "lightsource 0\n", sourceIndex},
      {"", "lightsource 2\n", sourceIndex},
      {"", "lightsourceshape rectangle\n", source},
      {"", "lightsourcepath a.off\n", source},
      {"", "lightsourceproperty emission\n", property},
      {"", "lightsourceproperty internal specular\n", reflection + "DOT!\n"},
      {"", "lightsourcespectrumindex 2 1 1\n", spectrum},
      {"", "lightsourcespectrumindex -2147483648 1 1\n", spectrum},
      {"", "mediumtetrapath a.am\n", "Medium shape isn't constructed by tetrahedron!\n"},
      {"", "tissue 3 x\n", "Index of the tissue is incorrect!\n"},
      {"", "tissueshape ellipse\n", "tissue data error!\n"},
      {"", "tissuepath a.off\n", "3d tissue shape data error!\n"},
      {"", "tissueshape tetrahedron\ntissuepath a.off\n", tissue},
      {"", "tissuespectrumindex 2 0 0 0 1\n", tissue},
      {"", "tissuespectrumindex 1 0 0 0\n", "\"tissuespectrumindex\"\n" + format},
      {"", "Tissue 1\n", "\"Tissue\"\n" + format},
      {"", "comment x\n", "\"comment\"\n" + format},
      {"", "detectorLens 3\n", detector},
      {"", "fiberdetector 0\n", detector},
      {"", "detectorlens 1\nverticalplane zz\n", "Vertical plane error!\n"},
      {"", "detectorlens 1\ndetectornormal 0 0 0\n", ""},
      {"", "fiberdetector 1\nfiberdetectorshape cube\n", "tissue data error!\n"},
      {BLT, "lightsourceproperty external nospecular\n", place},
      {BLT, "lightsourceproperty internal specular\n", place},
      {BLT, "lightsourceproperty excitation\n", property},
      {FMT, "lightsourceproperty excitation internal specular\n", reflection + "FMT!\n"},
      {FMT, "lightsourceproperty emission\nlightsourcespectrumindex 1 650 0.1\n", source},
  };
  for (const Case& c : cases) {
    ExpectFailure(File(c.Property, c.Model), c.Report + "The simulation parameter read fail!");
  }
  const std::string bare = std::string(Header) + Counts + Spectra;
  ExpectFailure(bare + "tissueshape cube\n", tissue + "The simulation parameter read fail!");
  ExpectFailure(bare + "tissuepath\n", tissue + "The simulation parameter read fail!");
}

TEST_F(ParameterFile, RefusesWhatCannotBeSimulated)
{
  const std::string roi = "The minimum cannot be greater than maximum in the setting of ROI along ";
  const std::string separation = "The separation of ROI along ";
  const Case cases[] = {
      {"simulationtype BLT\ndomain td 0 1 1\n", "",
       "The simulation of BLT cannot be conducted in time-domain or frequency-domain!\n"},
      {"simulationtype FMT\n", "",
       "The luminous type of the light source in FMT must be Excitation or Emission!\n"},
      {"lightsourcenum 2\n", "", "The luminous type of the light source in DOT is wrong!\n"},
      {"", "lightsourcespectrumindex 1 -1 1\n", "Spectrum Energy < 0!\n"},
      {"", "tissuespectrumindex 1 -1 1 1 1\n", "Non-physical absorption coefficient!\n"},
      {"", "tissuespectrumindex 1 1 -1 1 1\n", "Non-physical scattering coefficient!\n"},
      {"", "tissuespectrumindex 1 1 1 1.1 1\n", "Non-physical anisotropy coefficient!\n"},
      {"", "tissuespectrumindex 1 1 1 1 0.9\n", "Index of refraction < 1!\n"},
      {"transmittancematrix 0 cartesian\n", "fiberdetector 1\n",
       "The simulation of light propagation in freespace must be conducted in continue-wave"
       " domain!\n"},
      {"roiseparation 0 0\n", "", separation + "X-Axis cannot be zero!\n"},
      {"roiseparation 1 0\n", "", separation + "Y-Axis cannot be zero!\n"},
      {"roiseparation 1 1 x\n", "", separation + "Z-Axis cannot be zero!\n"},
      {"absorptionmatrix 1 cylindrical\nroiseparation 1 1 1 0\n", "",
       separation + "radial direction cannot be zero!\n"},
      {"absorptionmatrix 1 cylindrical\nroiseparation 1 1 1 1 0\n", "",
       separation + "azimuth angle direction cannot be zero!\n"},
      {"transmittancematrix 1 spherical\nroiseparation 1 1 1 1 1 0\n",
       "tissue 1 a\ntissueshape ellipsoid\ntissueaxis 5 5 5\n",
       separation + "deflection angle direction cannot be zero!\n"},
      {"roi 2 1\n", "", roi + "X-Axis!\n"},
      {"roi 0 0 2 1\n", "", roi + "Y-Axis!\n"},
      {"roi 0 0 0 0 2 1\n", "", roi + "Z-Axis!\n"},
      {"roi 0 0 0 0 0 0 2 1\n", "", roi + "radial direction!\n"},
      {"roi 0 0 0 0 0 0 0 0 361\n", "", roi + "azimuth angle direction!\n"},
  };
  for (const Case& c : cases) {
    EXPECT_FALSE(Read(File(c.Property, c.Model)));
    EXPECT_EQ(Parameter->GetMedium(), nullptr) << "the model is let go";
    EXPECT_EQ(Reports, "ERROR trelSimulationParameter: " + c.Report +
                           "\n\nERROR trelSimulationParameterReader: The simulation parameter read"
                           " fail!\n\n");
  }
}

TEST_F(ParameterFile, WarnsAndGoesOn)
{
  const std::string modified =
      "Warning trelSimulationParameter: The coordinate type for saving the transmittance is"
      " modified to the ";
  const std::string reader = "Warning trelSimulationParameterReader: ";
  const Case cases[] = {
      {"", "", ""},
      {"", "tissuespectrumindex 1 1 0 1 1\n",
       "Warning trelSimulationParameter: Zero scattering coefficient!\n\n\n"},
      {"transmittancematrix 1 polar\n", "", modified + "Cartesian automatically!\n\n\n"},
      {"", "tissue 1 a\ntissueshape ellipsoid\ntissueaxis 5 5 5\n",
       modified + "Spherical automatically!\n\n\n"},
      {"", "tissue 1 a\ntissueshape cylinder\ntissueaxis 5 5 5\n", ""},
      {"transmittancematrix 1 spherical\n", "tissue 1 a\ntissueshape cylinder\ntissueaxis 5 5 5\n",
       modified + "Cartesian automatically!\n\n\n"},
      {"transmittancematrix 1 polar\noutermosttissueindex 2\n",
       "tissueshape trianglemesh\ntissuepath\n", modified + "Cartesian automatically!\n\n\n"},
      {"threadnum 2000\n", "",
       reader + "threadnum: got 2000, expected 1 to 1024; the largest number is taken\n\n\n"},
      {"", "tissueaxis 1 -1 1e999\ntissue 1 skin\ntissueshape cube\n",
       reader + "tissueaxis: got 0, a negative or an infinite half-length in 2 tissues (skin bone),"
                " expected finite half-lengths above 0 (mm)\n\n\n"},
      {"", "lightsourceshape trianglemesh\nlightsourcepath\n",
       "ERROR trelSimulationParameterReader: Light source shape file is null!\n\n"},
      // A fluorophore that no source excites.
      {"simulationtype FMT\n",
       "lightsourceproperty emission\nlightsourcespectrumindex 1 999 0.5 0.1\n", ""},
  };
  for (const auto& c : cases) {
    EXPECT_TRUE(Read(File(c.Property, c.Model))) << c.Property << c.Model;
    EXPECT_EQ(Reports, c.Report) << c.Property << c.Model;
  }
}

TEST_F(ParameterFile, StopsWithoutAMessageWithoutADimension)
{
  EXPECT_FALSE(Read(std::string(Header) + "simulationtype DOT\n"));
  EXPECT_EQ(Reports, "");
}

// Files that are read

TEST_F(ParameterFile, ReadsEverySetting)
{
  ASSERT_TRUE(
      Read(File("ABSORPTIONMATRIX Polar 0\ntransmittancematrix x cylindrical\n"
                "fluencerate 1\nphotonflytime 1\nphotonflytime yes\n"
                "roi 1 2 3 4 5 6 7 8\nmediumseparation 0.5 0.25 0.125\n"
                "outermosttissueindex 2\nambientmediumr 1.33\nstepnummax 77\n"
                "flytimemax 5e3\ndomain TD 1 2 0.5\ndomain fd 80\n"
                "freespacealgorithm hrrt\nthreadnum 3 11 12\n",
                "tissueshape cylinder\ntissueaxis 5 5 5\n")))
      << Reports;
  EXPECT_EQ(Parameter->GetSimulationType(), DOT);
  EXPECT_EQ(Parameter->GetMediumAlgorithm(), MediumVRMC);
  EXPECT_EQ(Parameter->GetFreespaceAlgorithm(), FreespaceLambert);
  EXPECT_FALSE(Parameter->GetSaveAbsorption());
  EXPECT_EQ(Parameter->GetAbsorptionCoordinate(), CoordinatePolar);
  EXPECT_TRUE(Parameter->GetSaveTransmittance());
  EXPECT_EQ(Parameter->GetTransmittanceCoordinate(), CoordinateCylindrical);
  EXPECT_TRUE(Parameter->GetSaveFluenceRate());
  EXPECT_TRUE(Parameter->GetSavePhotonFlyTime());
  double separations[NumberOfAxes];
  Parameter->GetSeparations(separations);
  EXPECT_THAT(separations, ElementsAre(0.5, 0.25, 0.125, 1, 1, 1));
  EXPECT_EQ(Parameter->GetMedium()->GetOutermostTissueIndex(), 1);
  EXPECT_EQ(Parameter->GetMedium()->GetAmbientRefractiveIndex(), 1.33);
  EXPECT_EQ(Parameter->GetStepNumberMax(), 77);
  EXPECT_EQ(Parameter->GetFlyTimeMax(), 5000.0);
  EXPECT_TRUE(Parameter->GetContinuousWave());
  EXPECT_TRUE(Parameter->GetTimeDomain());
  EXPECT_EQ(Parameter->GetNumberOfTimeSteps(), 2);
  EXPECT_TRUE(Parameter->GetFrequencyDomain());
  EXPECT_EQ(Parameter->GetFrequency(), 80.0);
  EXPECT_EQ(Parameter->GetThreadNumber(), 3);
}

TEST_F(ParameterFile, ReadsThreadNumbersOfAnySize)
{
  const std::pair<const char*, std::int32_t> cases[] = {
      {"threadnum", 1},       {"threadnum 4\nthreadnum", 4},    {"threadnum 0", 1},
      {"threadnum -5 1", 1},  {"threadnum 1024 5", 1024},       {"threadnum 1025", 1024},
      {"threadnum 2 5 6", 2}, {"threadnum 99999999999 1", 1024}};
  for (const auto& [line, threads] : cases) {
    EXPECT_TRUE(Read(File(std::string(line) + "\n"))) << line;
    EXPECT_EQ(Parameter->GetThreadNumber(), threads) << line;
  }
}

TEST_F(ParameterFile, ReadsTheRegionOfInterestByTheDimension)
{
  // The box of the outer tissue is 5, 6 and 7 in half: wide enough not to cut these.
  const struct
  {
    const char* Property;
    std::vector<double> ROI;
  } cases[] = {
      {"roi -1 1 -2 2 -3 3 1 2 3 4 5 6 99\n", {-1, 1, -2, 2, -3, 3, 1, 2, 3, 4, 5, 6}},
      {"roi -1 1 -2 2 -3 3 1 2\n", {-1, 1, -2, 2, -3, 3, 1, 2, 0, 360, 0, 180}},
      {"dimension 2d\nroi -1 1 -2 2 3 4 5 6 7 8\ndimension 3d\n",
       {-1, 1, -2, 2, 0, 0, 3, 4, 5, 6, 0, 0}},
      {"dimension 2d\nroi -1 1 -2 2 3 4\ndimension 3d\n", {-1, 1, -2, 2, 0, 0, 3, 4, 0, 0, 0, 0}},
  };
  for (const auto& c : cases) {
    ASSERT_TRUE(Read(File(c.Property))) << c.Property << Reports;
    std::vector<double> roi(2 * NumberOfAxes);
    Parameter->GetROI(roi.data());
    EXPECT_EQ(roi, c.ROI) << c.Property;
  }
  ASSERT_FALSE(Read(File("absorptionmatrix 0 polar\ndimension 2d\nroiseparation 4 3 2\n")));
  double separations[NumberOfAxes];
  Parameter->GetSeparations(separations);
  EXPECT_THAT(separations, ElementsAre(4, 3, 0, 2, 1, 0));
}

TEST_F(ParameterFile, ReadsSources)
{
  ASSERT_TRUE(Read(std::string(Header) + Counts +
                   "simulationtype FMT\nlightsourcenum 2\nspectrumnum 2\nendsimulationproperty\n"
                   "spectrum 1 650\nspectrum 2 700\n" +
                   TissueLines +
                   "tissue 1 a\ntissuespectrumindex 2 0 1 0 1\ntissue 2 b\n"
                   "tissuespectrumindex 2 0 1 0 1\n"
                   "lightsource 1\nlightsourcecenter 9 9 9\nlightsourceazimuthangle 1 2\n"
                   "lightsourceshape Cylinder\nlightsourceproperty face external excitation solid\n"
                   "lightsourcecenter 1 2 3\nlightsourceaxis 4 5 6\nlightsourceangle 1 2 3\n"
                   "lightsourceazimuthalangle 90 180\nlightsourcedeflectangle 0 90\n"
                   "lightsourcespectrumindex 2 2.5 1e6\n"
                   "lightsource 2\nlightsourceaxis 7 7 7\n"
                   "lightsourceshape ellipsoid\nlightsourceproperty face emission excitation\n"
                   "lightsourcespectrumindex 2 650.9 0.5 0.25 560 9\n"))
      << Reports;
  const trelLightSource* source = Parameter->GetLightSource(0);
  EXPECT_EQ(source->GetLuminousType(), LuminousExcitation);
  EXPECT_FALSE(source->IsInternal());
  EXPECT_TRUE(source->IsSolid());
  EXPECT_FALSE(source->IsSpecular());
  EXPECT_EQ(source->GetShape()->GetShapeType(), ShapeCylinder);
  EXPECT_THAT(Extent(source->GetShape()), ElementsAre(1, 2, 3, 7, 7, 7))
      << "the shape stays current with its source";
  double range[4];
  source->GetAzimuthRange(&range[0], &range[1]);
  source->GetDeflectionRange(&range[2], &range[3]);
  const double pi = 3.14159265358979323846;
  EXPECT_THAT(range, ElementsAre(pi / 2, pi, 0, pi / 2));
  const trelSpectrum* spectrum = source->GetSpectrum(1);
  EXPECT_EQ(spectrum->GetEnergy(), 2.5);
  EXPECT_EQ(spectrum->GetPhotonNumber(), 1000000u);
  EXPECT_EQ(spectrum->GetWavelength(), 700u);
  EXPECT_EQ(spectrum->GetWavelengthIndex(), 1u);
  EXPECT_EQ(source->GetSpectrum(0)->GetPhotonNumber(), 0u);

  source = Parameter->GetLightSource(1);
  EXPECT_EQ(source->GetLuminousType(), LuminousEmission);
  EXPECT_FALSE(source->IsSolid());
  spectrum = source->GetSpectrum(1);
  EXPECT_EQ(spectrum->GetExcitationWavelength(), 650u);
  EXPECT_EQ(spectrum->GetQuantumYield(), 0.5);
  EXPECT_EQ(spectrum->GetFluorophoreAbsorption(), 0.25);
  EXPECT_EQ(spectrum->GetLifeTime(), 560.0);
  EXPECT_EQ(spectrum->GetPhotonNumber(), 0u);
}

TEST_F(ParameterFile, ReadsTissuesAndDetectors)
{
  ASSERT_TRUE(Read(File("",
                        "tissuecenter 0 1 0\ntissueangle 1 2 3\ndetectorcenter 1 1 1\n"
                        "detectorlens 2\ndetectorcenter 1 2 3\ndetectornormal 0 -3 4\n"
                        "verticalplane ZY\ndetectorsize 4 5\ndetectorresolution 6 7.5\n"
                        "imagedist 8\nlensradius 9\nfocallength 10\n"
                        "fiberdetectorcenter 1 1 1\nfiberdetector 2\n"
                        "fiberdetectorshape ellipsoid\nfiberdetectorcenter 1 2 3\n"
                        "fiberdetectoraxis 4 5 6\nEndTrl\nnothing of this\n")))
      << Reports;
  const trelTissue* tissue = Parameter->GetTissue(1);
  EXPECT_EQ(tissue->GetName(), "bone");
  EXPECT_THAT(Extent(tissue->GetShape()), ElementsAre(0, 1, 0, 1, 1, 1));
  const trelOpticalParameter* optics = tissue->GetOpticalParameter(0);
  EXPECT_EQ(optics->GetWavelength(), 650u);
  EXPECT_EQ(optics->GetAbsorption(), 0.2);
  EXPECT_EQ(optics->GetScattering(), 20.0);
  EXPECT_EQ(optics->GetAnisotropy(), 0.8);
  EXPECT_EQ(optics->GetRefractiveIndex(), 1.4);

  ASSERT_EQ(Parameter->GetNumberOfDetectors(), 2);
  const auto* plane = dynamic_cast<trelPlaneDetector*>(Parameter->GetDetector(0));
  ASSERT_NE(plane, nullptr);
  double values[6];
  plane->GetCenter(&values[0], &values[1], &values[2]);
  plane->GetNormal(&values[3], &values[4], &values[5]);
  EXPECT_THAT(values, ElementsAre(1, 2, 3, 0, -3.0 / 5, 4.0 / 5));
  plane->GetSize(&values[0], &values[1]);
  std::int32_t columns, rows;
  plane->GetResolution(&columns, &rows);
  EXPECT_THAT((std::vector<double>{values[0], values[1], double(columns), double(rows),
                                   plane->GetImageDistance(), plane->GetLensRadius(),
                                   plane->GetFocalLength()}),
              ElementsAre(4, 5, 6, 7, 8, 9, 10));
  EXPECT_EQ(plane->GetVerticalPlane(), PlaneYZ);
  const auto* fiber = dynamic_cast<trelFiberDetector*>(Parameter->GetDetector(1));
  ASSERT_NE(fiber, nullptr);
  EXPECT_THAT(Extent(fiber->GetShape()), ElementsAre(1, 2, 3, 4, 5, 6));
}

TEST_F(ParameterFile, GoesOnAfterAMeshThatCannotBeRead)
{
  std::filesystem::create_directories(Directory + "/a b");
  const std::string tetrahedra = "mediumshapetetratype 1\n";
  for (const char* path : {"none.off", "\"a b/none.off\" more", "\"a b", "\"\"", "/", "a\\b.ply"}) {
    EXPECT_TRUE(
        Read(File("", "tissueshape mctrianglemesh\ntissuepath " + std::string(path) + "\n")))
        << path;
    EXPECT_TRUE(Read(File(tetrahedra, "mediumtetrapath " + std::string(path) + "\n"))) << path;
  }
  EXPECT_TRUE(Read(File("", "tissueshape trianglemesh\ntissuepath \"a b/none.off\" c\n")));
  EXPECT_THAT(Reports, HasSubstr(Directory + "/a b/none.off"));
}

TEST_F(ParameterFile, RefusesABadPlanarModel)
{
  const std::string shape = "2D light source shape error!\n";
  const std::string spectrum = "2d light source property error!\n";
  const std::string reflection =
      "The light soruce in the medium should not have the specular reflection in ";
  const std::string format = "\nThe format of the simulation data is error!\n";
  const std::string tissueIndex = "Index of the tissue is incorrect!\n";
  const Case cases[] = {
      {"", "lightsource 2\n", "Index of the light source is incorrect!\n"},
      {"", "lightsourcetype\n", "\"lightsourcetype\"" + format},
      {"", "lightsourceshape ellipsoid\n", shape},
      {"", "lightsourceproperty emission\n", "3D light source property error!\n"},
      {"", "lightsourceproperty internal specular\n", reflection + "DOT!\n"},
      {"simulationtype FMT\n", "lightsourceproperty emission specular\n", reflection + "FMT!\n"},
      {"simulationtype BLT\n", "lightsourceproperty external\n",
       "The light source cannot be outside of the medium in BLT!\n"},
      {"", "lightsourceaxis 1\n", "\"lightsourceaxis\"" + format},
      {"", "lightsourcespectrumindex 2 1 1\n", spectrum},
      {"simulationtype FMT\n", "lightsourceproperty emission\nlightsourcespectrumindex 1 6 1 1\n",
       spectrum},
      {"", "lightsourcedeflectangle 0 0\n", "\"lightsourcedeflectangle\"" + format},
      {"", "tissue 3 x\n", tissueIndex},
      {"", "tissueshape cube\n", "2D tissue shape data error!\n"},
      {"", "tissuespectrumindex 1 1 1 1\n", "\"tissuespectrumindex\"" + format},
      {"", "tissuespectrumindex 2 1 1 1 1\n", "2D tissue data error!\n"},
      {"", "detectorlens 1\n", "\"detectorlens\"" + format},
      {"", "endtrl\ntissue 3 x\n", tissueIndex},
      {"", "endtrl\nlightsourcetype x\n",
       "\"lightsourcetype\"\nFormat of the simulation data is incorrect!\n"},
  };
  for (const Case& c : cases) {
    // The lines up to the source are passed over: nothing is selected yet, or they have no effect.
    ExpectFailure(Header + std::string(Counts) + "dimension 2d\n" + c.Property + Spectra +
                      "lightsourcetype x\nlightsourceangle 1\ntissueangle 1\ntissueshape cube\n"
                      "lightsourceshape cube\nlightsource 1\ntissue 1 x\n" +
                      c.Model,
                  c.Report + "The simulation parameter read fail!");
  }
}

TEST_F(ParameterFile, ReadsAPlanarModelAndThenTheOtherSection)
{
  ASSERT_TRUE(Read(Header + std::string(Counts) +
                   "simulationtype FMT\ndimension 2d\nlightsourcenum 2\n"
                   "transmittancematrix polar 1\n" +
                   Spectra +
                   "lightsource 1\nlightsourceshape Rectangle\n"
                   "lightsourceproperty excitation external\nlightsourcecenter 1 2 3\n"
                   "lightsourceaxis 4 5 6\nlightsourceazimuthangle 90 180\n"
                   "lightsourcespectrumindex 1 2.5 1e6\n"
                   "lightsource 2\nlightsourceshape ellipse\nlightsourceproperty emission\n"
                   "lightsourcespectrumindex 1 560.9 0.5 0.25 9\n"
                   "tissue 1 skin\ntissueshape rectangle\ntissuecenter 1 2 3\ntissueaxis 5 6 7\n"
                   "tissuespectrumindex 1 0.1 10 0.9 1.37\n"
                   "tissue 2 bone\ntissueshape ellipse\ntissueaxis 1 1\n"
                   "tissuespectrumindex 1 0.2 20 0.8 1.4\nendtrl\ndetectorlens 1\n"));
  EXPECT_EQ(Reports,
            "Warning trelSimulationParameter: The coordinate type for saving the transmittance is"
            " modified to the Polar automatically!\n\n\n");
  EXPECT_EQ(Parameter->GetTransmittanceCoordinate(), CoordinateCartesian);
  const trelLightSource* source = Parameter->GetLightSource(0);
  EXPECT_EQ(source->GetShape()->GetShapeType(), ShapeRectangle);
  EXPECT_THAT(Extent(source->GetShape()), ElementsAre(1, 2, 0, 4, 5, 0));
  double azimuth[2];
  source->GetAzimuthRange(&azimuth[0], &azimuth[1]);
  EXPECT_THAT(azimuth, ElementsAre(Pi / 2, Pi));
  EXPECT_EQ(source->GetSpectrum(0)->GetPhotonNumber(), 1000000u);
  source = Parameter->GetLightSource(1);
  EXPECT_EQ(source->GetShape()->GetShapeType(), ShapeEllipse);
  EXPECT_EQ(source->GetSpectrum(0)->GetExcitationWavelength(), 560u);
  EXPECT_EQ(source->GetSpectrum(0)->GetLifeTime(), 9.0);
  EXPECT_THAT(Extent(Parameter->GetTissue(0)->GetShape()), ElementsAre(1, 2, 0, 5, 6, 0));
  EXPECT_EQ(Parameter->GetTissue(1)->GetShape()->GetShapeType(), ShapeEllipse);
  EXPECT_EQ(Parameter->GetNumberOfDetectors(), 1);
}

// Files of any shape

static std::string DocumentedExample()
{
  std::ifstream file(TREL_SOURCE_DIR "/docs/parameter-file.md");
  std::ostringstream all;
  all << file.rdbuf();
  const std::string fence = "```trl\n";
  const std::size_t start = all.str().find(fence);
  if (start == std::string::npos) return "";
  const std::size_t first = start + fence.size();
  return all.str().substr(first, all.str().find("```", first) - first);
}

TEST_F(ParameterFile, ReadsTheExampleOfItsDocument)
{
  EXPECT_TRUE(Read(DocumentedExample()));
  EXPECT_EQ(Reports, "");
  EXPECT_EQ(Parameter->GetNumberOfTissues(), 2);
}

TEST_F(ParameterFile, SurvivesACutAtEveryByte)
{
  const std::string whole = DocumentedExample();
  const std::size_t dimension = whole.find("dimension 3d");
  ASSERT_NE(dimension, std::string::npos);
  for (std::size_t length = 0; length < whole.size(); ++length) {
    const bool done = Read(whole.substr(0, length));
    EXPECT_TRUE(done || !Reports.empty() || length < dimension + 12) << length;
  }
}

TEST_F(ParameterFile, SurvivesBytesThatAreNoText)
{
  const std::string whole = File("threadnum 2 3 4\n", "detectorlens 1\nfiberdetector 2\n");
  std::mt19937 random(20210718);
  for (int i = 0; i < 1000; ++i) {
    std::string text = whole;
    for (int changes = i % 20; changes >= 0; --changes) {
      text[random() % text.size()] = static_cast<char>(random() % 256);
    }
    EXPECT_TRUE(Read(text) || !Reports.empty() || text.find("dimension 3d") == std::string::npos);
  }
  std::string noise = "trl\n";
  for (int i = 0; i < 100000; ++i)
    noise += static_cast<char>(random() % 256);
  EXPECT_FALSE(Read(noise));
}

TEST_F(ParameterFile, TakesALongLineAsSeveral)
{
  const std::string tail(10000, 'x');
  ExpectFailure("trl\n#" + tail, "FILE: \nread simulation property error!\n");
  ExpectFailure(File("", "tissueangle " + tail + "\n"),
                "\"tissueangle\"\nFormat of the simulation data is incorrect!\nThe simulation"
                " parameter read fail!");
  EXPECT_TRUE(Read(File("", '#' + tail.substr(0, 253) + "endtrl\nnothing of this\n")));
}

TEST_F(ParameterFile, ReadsCountsThatDoNotFitTheModel)
{
  EXPECT_TRUE(Read(std::string(Header) + "dimension 3d\n" + Spectra + "endtrl\n")) << Reports;
  EXPECT_EQ(Parameter->GetNumberOfLightSources(), 0);
  EXPECT_EQ(Parameter->GetNumberOfTissues(), 0);
  EXPECT_EQ(Parameter->GetNumberOfWavelengths(), 1) << "one wavelength is read in any case";
  const std::string none = std::string(Header) + "dimension 3d\ntissuenum 1\nlightsourcenum -4\n";
  ExpectFailure(none + Spectra + "tissue 1 a\ntissuespectrumindex 1 0 1 0 1\n",
                "Tissue data error!\nThe simulation parameter read fail!");
  ExpectFailure(none + Spectra + "lightsource 1\n",
                "Index of the light source is incorrect!\nThe simulation parameter read fail!");
}

TEST_F(ParameterFile, ReadsAHundredThousandTissues)
{
  std::ostringstream model;
  for (int i = 1; i <= 100000; ++i)
    model << "tissue " << i << " t\ntissuespectrumindex 1 0 1 0 1\n";
  EXPECT_TRUE(Read(File("tissuenum 100000\n", model.str()))) << Reports;
  EXPECT_EQ(Parameter->GetTissue(99999)->GetOpticalParameter(0)->GetScattering(), 1.0);
}

TEST_F(ParameterFile, ReadsAgainIntoANewModel)
{
  std::ofstream(Name) << File("", "detectorlens 1\n");
  trelSimulationParameterReader reader;
  reader.AddFileName(Name.c_str());
  EXPECT_TRUE(reader.Update());
  std::ofstream(Name) << "none";
  CaptureStderr();
  EXPECT_FALSE(reader.Update());
  EXPECT_EQ(reader.GetReaderErrorText(), "Not a valid TRL file!\n");
  EXPECT_FALSE(reader.ReadSpectrumData(reader.GetOutput())) << "something is recorded already";
  GetCapturedStderr();
  std::ofstream(Name) << File("", "detectorlens 1\n");
  EXPECT_TRUE(reader.Update());
  EXPECT_EQ(reader.GetOutput()->GetNumberOfDetectors(), 1);
}

TEST_F(ParameterFile, StagesNeedAFileAndAModel)
{
  using Reader = trelSimulationParameterReader;
  bool (Reader::*const stages[])(trelSimulationParameter*) = {
      &Reader::ReadSimulationProperty, &Reader::ReadSpectrumData, &Reader::ReadModel2D,
      &Reader::ReadModel3D};
  for (const auto stage : stages) {
    Reader reader;
    EXPECT_FALSE((reader.*stage)(reader.GetOutput()));
    EXPECT_EQ(reader.GetReaderErrorText(), "No file has been opened!\n");
    EXPECT_FALSE((reader.*stage)(reader.GetOutput()));
    EXPECT_EQ(reader.GetReaderErrorText(), "No file has been opened!\n");
  }
  Reader reader;
  CaptureStderr();
  EXPECT_FALSE(reader.AllocateModel(nullptr));
  EXPECT_THAT(GetCapturedStderr(), HasSubstr("): 2D simulation parameter read error!\n\n"));
}
