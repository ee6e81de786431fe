#ifndef trelModelCheck_h
#define trelModelCheck_h

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trelMeshCheck.h"
#include "trelModelFindings.h"
#include "trelTissueCut.h"
#include "trelTissueRelations.h"

class trelSimulationParameter;

/** A shape as it was read. */
struct trelCheckedShape
{
  std::string Kind;  ///< the word of the parameter file; empty without a shape
  trelBox Box;
  double Measure = 0.0;  ///< mm^3, mm^2 in the plane
};

struct trelCheckedOptics
{
  std::uint32_t Wavelength;
  double Absorption, Scattering, Anisotropy, RefractiveIndex;
  double FreePath;  ///< 1 / (mua + mus), mm; infinite in tissue without interaction
};

struct trelCheckedTissue
{
  int Number;
  std::string Name;
  trelCheckedShape Shape;
  bool IsOutermost;
  std::vector<trelCheckedOptics> Optics;
  std::vector<int> LiesIn, Touches;  ///< see trelTissueRelations
};

struct trelCheckedEntry
{
  std::uint32_t Wavelength;
  std::uint32_t Packets;
  double Energy;
};

/** A line of a dye. */
struct trelCheckedDye
{
  std::uint32_t Wavelength, Excitation;
  double Yield, Absorption, LifeTime;  ///< absorption 1/mm, lifetime ps
};

struct trelCheckedSource
{
  int Number;
  std::string Kind;  ///< "diffuse", "emission", ...
  bool IsInternal, IsSolid, IsSpecular;
  trelCheckedShape Shape;
  std::vector<trelCheckedEntry> Entries;
  std::vector<trelCheckedDye> Dyes = {};       ///< of an emission
  trelVector Direction = {};                   ///< about which the angles count
  double Azimuth[2] = {}, Deflection[2] = {};  ///< ranges, degrees
  double ProfileWidth = 0.0;                   ///< of a Gaussian, mm; 0: even
  /** Of how many pilot packets how many met the medium; of 0 nothing is known. */
  int Tried = 0;
  int Met = 0;
  int Reflected = 0;  ///< of those that met it: beyond the critical angle, nothing of them enters
};

/** A fibre has a shape, a camera the rest. */
struct trelCheckedDetector
{
  int Number;        ///< in the order of the lines
  std::string Kind;  ///< "fiber", "camera"
  trelCheckedShape Shape;
  trelVector Center, Normal;
  double Width = 0.0, Height = 0.0;  ///< mm
  std::int32_t Columns = 0, Rows = 0;
  double FocalLength = 0.0, ImageDistance = 0.0;  ///< mm
  std::string Plane;                              ///< the word of VerticalPlane
};

struct trelCheckedGrid
{
  std::string Name;    ///< "AbsorptionXYZ"
  std::string Domain;  ///< "CW", "TD", "FD"
  std::vector<std::pair<std::string, std::int64_t>> Axes;
  double Cells = 0.0;  ///< a real number: there may be more than any integer holds
  double Bytes = 0.0;  ///< for all wavelengths
};

/** A range and the width of its parts. */
struct trelCheckedRange
{
  std::string Name;  ///< "radius"; empty for what is not on
  double Low, High, Step;
};

/** What is scored, and how long packets fly. */
struct trelCheckedScoring
{
  bool IsCW = false;
  trelCheckedRange Time = {};  ///< "time", ps
  int Gates = 0;               ///< of the time
  double Frequency = -1.0;     ///< MHz; below 0 without that domain
  std::string Absorption;      ///< the word for its cells; empty if it is not saved
  std::string Transmittance;   ///< the same
  bool HasFluence = false, HasFlyTimes = false;
  std::vector<trelCheckedRange> Region;  ///< along each axis: mm, degrees
  double TimeLimit = -1.0;               ///< ps; below 0 without one
  int StepLimit = -1;                    ///< below 0 without one
};

/** Two tissues neither of which holds the other, and which of them has what both hold. */
struct trelCheckedOverlap
{
  int First, Second, Winner;  ///< numbers of tissues
};

/**
 * @class   trelModelCheck
 * @brief   a model as it was read, and what a look at it finds
 *
 * The tissues with what they touch and lie in, by a few hundred points of each, the sources with
 * the share of a pilot's packets that meets the medium, the grids, and the meshes. What is wrong or
 * odd is added to the findings, with the lines that the reader noted.
 */
class trelModelCheck
{
public:
  /** The findings are held as long as the check. */
  explicit trelModelCheck(trelModelFindings& findings) : Findings(findings) {}

  /** Looks at the model, whose geometry it prepares. Surfaces that are not closed are let pass if
   *  @p allowOpen. May throw std::bad_alloc. */
  void Look(trelSimulationParameter& parameter, bool allowOpen);

  // What a look is to do, set ahead of it:
  bool LaunchesPilot = true;              ///< packets of the sources, to see whether they meet it
  std::optional<trelCutPlane> WantedCut;  ///< by the exact rules

  std::string Model;    ///< the file
  std::string Program;  ///< name, version and rules
  std::string Rules;
  std::string Mode;
  int Dimension = 3;
  double AmbientRefractiveIndex = 1.0;
  int Threads = 1;
  std::uint64_t Packets = 0;
  /** How often the run keeps the grids: a result, and for errors squares and the open batch too. */
  int SetsOfGrids = 1;
  std::vector<trelCheckedTissue> Tissues;
  std::vector<trelCheckedOverlap> Overlaps;
  /** Of how many pairs of tissues relations and overlaps are told, if those are too many to look at
   *  all; else below 0. */
  std::int64_t RelationPairs = -1, OverlapPairs = -1;
  std::vector<trelCheckedSource> Sources;
  std::vector<trelCheckedDetector> Detectors;
  trelCheckedScoring Scoring;
  std::vector<trelCheckedGrid> Grids;
  std::vector<trelMeshCheck> Meshes;
  /** None if it was not wanted, or the medium does not reach there or has no bounds. */
  std::optional<trelTissueCut> Cut;
  /** By a pilot run; below 0 if there was none. */
  double ExpectedSeconds = -1.0;

  const trelModelFindings& GetFindings() const { return Findings; }

private:
  void LookAtTraps(const trelSimulationParameter& parameter);
  void LookAtTissues(const trelSimulationParameter& parameter);
  void LookAtOverlaps(const trelSimulationParameter& parameter);
  void LookAtMeshes(const trelSimulationParameter& parameter, bool allowOpen);
  void AddSurface(const std::string& owner, const std::string& setting,
                  const class trelShapeObject* shape, bool allowOpen);
  void LookAtSources(trelSimulationParameter& parameter);
  void LookAtDetectors(const trelSimulationParameter& parameter);
  void TellTooLargeGrids();
  void LookAtScoring(const trelSimulationParameter& parameter);
  void LookAtGrids(const trelSimulationParameter& parameter);

  trelModelFindings& Findings;
};

#endif
