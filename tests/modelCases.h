#ifndef modelCases_h
#define modelCases_h

#include <algorithm>
#include <array>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "testTools.h"
#include "trelFiberDetector.h"
#include "trelLightSource.h"
#include "trelMedium.h"
#include "trelOpticalParameter.h"
#include "trelPlaneDetector.h"
#include "trelShapeObject.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"
#include "trelTissue.h"

/**
 * @file modelCases.h
 * Reads the cases of tests/models, whose README.md has their format, and says in lines what a model
 * holds.
 */

/** A paragraph of a text file of cases. */
struct ModelCase
{
  std::string Base, Stage;
  int Line = 0;
  std::string Block = {}, Model = {}, Head = {}, Report = {}, Values = {}, Points = {};

  /** What the lines that begin with @p mark are added to; throws for any other mark. */
  std::string& PartOf(char mark)
  {
    const std::array<std::string*, 6> parts = {&Head, &Block, &Model, &Report, &Values, &Points};
    return *parts.at(std::string_view("<+>!=@").find(mark));
  }

  /** The file to be read. */
  std::string Text() const
  {
    if (Base == "nothing") return Model;
    std::string text = ReadText(TREL_SOURCE_DIR "/tests/models/" + Base + ".trl");
    text.insert(text.find("endtrl"), Model);
    text.insert(text.find("endsimulationproperty"), Block);
    return Head.empty() ? text : Head + text.substr(text.find("simulationtype"));
  }
};

inline std::vector<ModelCase> ReadModelCases(const std::string& name)
{
  std::istringstream file(ReadText(TREL_SOURCE_DIR "/tests/models/" + name));
  std::vector<ModelCase> cases;
  std::string base, stage, line;
  bool within = false;
  for (int number = 1; std::getline(file, line); ++number) {
    const char mark = line[0];
    if (mark == '[') {
      const std::size_t colon = line.find(": ");
      base = line.substr(1, colon - 1);
      stage = line.substr(colon + 2, line.size() - colon - 3);
    } else if (mark != '#' && mark != '\0') {
      if (!within) cases.push_back({base, stage, number});
      cases.back().PartOf(mark) += line.erase(0, 2) + '\n';
      within = true;
      continue;
    }
    within = false;
  }
  return cases;
}

template <class Value, std::size_t N>
std::ostream& operator<<(std::ostream& out, const std::array<Value, N>& values)
{
  for (std::size_t i = 0; i < N; ++i)
    out << (i > 0 ? " " : "") << values[i];
  return out;
}

/** A line of @p values with blanks between. */
template <class... Values>
std::string Row(const Values&... values)
{
  std::ostringstream out;
  const char* blank = "";
  ((out << blank << values, blank = " "), ...);
  return out.str() + '\n';
}

/** Kind, centre and half-lengths. */
inline std::string Describe(const std::string& owner, const trelShapeObject* shape)
{
  if (!shape) return Row(owner, "nothing");
  std::array<double, 6> v;
  shape->GetCenter(v.data());
  shape->GetHalfAxes(&v[3], &v[4], &v[5]);
  return Row(owner, shape->GetClassName(), v);
}

inline std::string DescribeSettings(const trelSimulationParameter& p)
{
  static const char* const modes[] = {"BLT", "FMT", "DOT"};
  static const char* const dimensions[] = {"2d", "3d", "unset"};
  static const char* const mediumWords[] = {"vrmc", "amc"};
  static const char* const freespaceWords[] = {"vrmc", "lambert", "pinhole"};
  static const char* const coordinates[] = {"polar", "cartesian", "cylindrical", "spherical"};
  const trelMedium& medium = *p.GetMedium();
  return Row("mode", modes[p.GetSimulationType()], dimensions[p.GetDimension()],
             mediumWords[p.GetMediumAlgorithm()], freespaceWords[p.GetFreespaceAlgorithm()]) +
         Row("absorption", p.GetSaveAbsorption(), coordinates[p.GetAbsorptionCoordinate()]) +
         Row("transmittance", p.GetSaveTransmittance(),
             coordinates[p.GetTransmittanceCoordinate()]) +
         Row("fluence", p.GetSaveFluenceRate(), "flytime", p.GetSavePhotonFlyTime()) +
         Row("domains", p.GetContinuousWave(), p.GetTimeDomain(), p.GetFrequencyDomain(),
             p.GetFrequency()) +
         Row("timesteps", p.GetNumberOfTimeSteps()) +
         Row("limits", p.GetStepNumberMax(), p.GetFlyTimeMax()) +
         Row("threads", p.GetThreadNumber()) +
         Row("medium", medium.GetOutermostTissueIndex(), medium.GetAmbientRefractiveIndex(),
             medium.GetShapeIsTetrahedron());
}

inline std::string DescribeRegion(const trelSimulationParameter& p)
{
  std::array<double, NumberOfAxes> separations;
  std::array<double, 2 * NumberOfAxes> roi;
  std::array<std::int32_t, NumberOfAxes> cells;
  std::array<bool, NumberOfSaveFlags> faces;
  p.GetSeparations(separations.data());
  p.GetROI(roi.data());
  p.GetCounts(cells.data());
  std::copy_n(p.GetFaceFlags(), faces.size(), faces.begin());
  return Row("separations", separations) + Row("roi", roi) + Row("cells", cells) +
         Row("faces", faces);
}

inline std::string Describe(const trelLightSource& source)
{
  static const char* const types[] = {"bioluminescence", "diffuse", "excitation", "emission"};
  std::array<double, 4> angles;
  source.GetAzimuthRange(&angles[0], &angles[1]);
  source.GetDeflectionRange(&angles[2], &angles[3]);
  std::string rows =
      Row("source", types[source.GetLuminousType()], source.IsInternal() ? "internal" : "external",
          source.IsSolid() ? "solid" : "face", source.IsSpecular() ? "specular" : "nospecular") +
      Describe("source in", source.GetShape()) + Row("source angles", angles);
  for (int i = 0; const trelSpectrum* s = source.GetSpectrum(i); ++i) {
    rows += Row("light", s->GetWavelengthIndex(), s->GetWavelength(), s->GetEnergy(),
                s->GetPhotonNumber(), "from", s->GetExcitationWavelength(), s->GetQuantumYield(),
                s->GetFluorophoreAbsorption(), s->GetLifeTime());
  }
  return rows;
}

inline std::string Describe(const trelTissue& tissue)
{
  std::string rows = Describe("tissue " + tissue.GetName(), tissue.GetShape());
  for (int i = 0; const trelOpticalParameter* optics = tissue.GetOpticalParameter(i); ++i) {
    rows += Row("optics", optics->GetWavelength(), optics->GetAbsorption(), optics->GetScattering(),
                optics->GetAnisotropy(), optics->GetRefractiveIndex());
  }
  return rows;
}

inline std::string Describe(const trelDetector& detector)
{
  static const char* const planes[] = {"xy", "xz", "yz"};
  if (detector.GetDetectorType() == DetectorFiber) {
    return Describe("fiber", static_cast<const trelFiberDetector&>(detector).GetShape());
  }
  const auto& lens = static_cast<const trelPlaneDetector&>(detector);
  std::array<double, 8> v;
  std::array<std::int32_t, 2> resolution;
  lens.GetCenter(v.data());
  lens.GetNormal(&v[3], &v[4], &v[5]);
  lens.GetSize(&v[6], &v[7]);
  lens.GetResolution(&resolution[0], &resolution[1]);
  return Row("lens", v, resolution, planes[lens.GetVerticalPlane()], lens.GetImageDistance(),
             lens.GetLensRadius(), lens.GetFocalLength());
}

/** What a model holds, in lines. */
inline std::string Describe(trelSimulationParameter& p)
{
  std::string rows =
      Row("counts", p.GetNumberOfLightSources(), "sources", p.GetNumberOfTissues(), "tissues",
          p.GetNumberOfWavelengths(), "wavelengths", p.GetNumberOfDetectors(), "detectors") +
      Row("packets", p.GetNumberOfPhotons(p.GetWavelength(0)), "of", p.ComputeTotalPhotons()) +
      DescribeSettings(p) + DescribeRegion(p);
  for (int i = 0; i < p.GetNumberOfLightSources(); ++i)
    rows += Describe(*p.GetLightSource(i));
  for (int i = 0; i < p.GetNumberOfTissues(); ++i)
    rows += Describe(*p.GetTissue(i));
  for (int i = 0; i < p.GetNumberOfDetectors(); ++i)
    rows += Describe(*p.GetDetector(i));
  return rows;
}

#endif
