#ifndef trelSimulationParameter_h
#define trelSimulationParameter_h

#include <cstdint>
#include <string>
#include <vector>

#include "trelDataObject.h"
#include "trelModelTypes.h"
#include "trelScoringRegion.h"

class trelDetector;
class trelLightSource;
class trelList;
class trelMedium;
class trelShapeObject;
class trelTissue;

/**
 * @class   trelSimulationParameter
 * @brief   the whole model and every setting of a run
 *
 * The reader fills it once, Validate checks it, and transport, free space and the writer only read
 * it. What follows for the grids (trelScoringRegion) is computed on first demand; the set-up of a
 * run asks for it before any thread starts.
 *
 * Lengths in mm, times in ps, angles of the region of interest in degrees.
 */
class trelSimulationParameter final : public trelDataObject
{
  trelTypeMacro(trelSimulationParameter, trelDataObject)

public:
  trelSimulationParameter();
  ~trelSimulationParameter() override;

  /** Lets go of medium, light sources and detectors. Not to be used for a run after that. */
  void ClearModel() override;

  /** The medium with its tissues, owned; null only after ClearModel. */
  trelMedium* GetMedium() const { return Medium; }
  std::int32_t GetNumberOfTissues() const;
  /** Tissue @p i, from 0; null when there is none. */
  trelTissue* GetTissue(int i) const;
  /** What bounds the medium: the mesh or the outermost tissue's shape; null if missing. */
  trelShapeObject* GetOuterShape() const;

  /** The light sources in index order. The list is taken over with its items; the items of a former
   *  list are released. */
  void SetLightSources(trelList* sources);
  trelList* GetLightSources() const { return LightSources; }
  std::int32_t GetNumberOfLightSources() const;
  /** Light source @p i, from 0; null when there is none. */
  trelLightSource* GetLightSource(int i) const;

  /** The detectors in the order of their declaration; taken over like the light sources. */
  void SetDetectors(trelList* detectors);
  trelList* GetDetectors() const { return Detectors; }
  std::int32_t GetNumberOfDetectors() const;
  /** Detector @p i, from 0; null when there is none. */
  trelDetector* GetDetector(int i) const;
  /** Appends @p detector, making the list when there is none; the parameter holds the detector. */
  void AddDetector(trelDetector* detector);
  /** The numbers, from 0, of the detectors that have a picture by the exact rules: the cameras of a
   *  model in space whose steady-state surface is recorded. */
  std::vector<int> ListCameras() const;
  /** Counts the fibre detectors anew. */
  std::int32_t CountFiberDetectors();

  /** Copies the wavelengths: one for each spectrum index, integers as the file gives them. */
  void SetWavelengths(const std::vector<std::uint32_t>& wavelengths) { Wavelengths = wavelengths; }
  std::int32_t GetNumberOfWavelengths() const;
  /** Wavelength @p i, from 0; 0 when there is none. */
  std::uint32_t GetWavelength(int i) const;

  /** Packets at this wavelength: the sum over the sources, each with its last entry that has it. */
  std::uint64_t GetNumberOfPhotons(std::uint32_t wavelength) const;
  /** Counts the packets of all entries of all sources anew. */
  std::uint64_t ComputeTotalPhotons();

  /** Dimension of the model, default DimensionUnset. */
  trelSetGetMacro(SimulationDimension, Dimension)
  /** Imaging mode, default BLT. */
  trelSetGetMacro(enum SimulationType, SimulationType)
  /** Default MediumVRMC; there is no filter for MediumAMC. */
  trelSetGetMacro(enum MediumAlgorithm, MediumAlgorithm)
  /** Default FreespacePinhole. */
  trelSetGetMacro(enum FreespaceAlgorithm, FreespaceAlgorithm)

  /** Cells of the absorption grid, default CoordinateCartesian. */
  trelSetGetMacro(CoordinateType, AbsorptionCoordinate)
  /** Cells of the surface grids, default CoordinatePolar; Validate fits them to the shape. */
  trelSetGetMacro(CoordinateType, TransmittanceCoordinate)
  /** Whether the absorption is scored and saved, default true. */
  trelSetGetMacro(bool, SaveAbsorption)
  /** Whether the transmittance is scored and saved, default true. */
  trelSetGetMacro(bool, SaveTransmittance)
  /** Whether position and fly time of each escaped packet are recorded, default false. */
  trelSetGetMacro(bool, SavePhotonFlyTime)
  /** Whether the fluence rate is derived from the absorption after the run, default false. */
  trelSetGetMacro(bool, SaveFluenceRate)
  /** Whether absorption is wanted by tetrahedron, too, default false. */
  trelSetGetMacro(bool, SaveElements)
  /** Whether it is scored so: under the exact rules, in a tetrahedral medium. */
  bool GetScoresElements() const;

  /** Whether continuous-wave results are wanted, default true. */
  trelSetGetMacro(bool, ContinuousWave)
  /** Whether time-resolved results are wanted, default false. */
  trelSetGetMacro(bool, TimeDomain)
  /** Whether frequency-domain results are wanted, default false. */
  trelSetGetMacro(bool, FrequencyDomain)
  /** Modulation frequency in MHz, default 0; the phase is 2 pi Frequency FlyTime / 1000000. */
  trelSetGetMacro(double, Frequency)

  /** By which rules the run is done, default RulesClassic. Set before the model is read: the exact
   *  rules know more words. */
  trelSetGetMacro(trelRules, Rules)

  /** A packet ends when it has done more steps than this, default 100000. */
  trelSetGetMacro(std::int32_t, StepNumberMax)
  /** A packet ends when it has flown longer than this, ps, default 10000. */
  trelSetGetMacro(double, FlyTimeMax)
  /** Whether the parameter file states these limits, default false. Under the exact rules only
   *  stated limits hold. */
  trelSetGetMacro(bool, StepNumberMaxGiven)
  trelSetGetMacro(bool, FlyTimeMaxGiven)
  /** Number of worker threads, default 1. */
  trelSetGetMacro(std::int32_t, ThreadNumber)
  /** Keeps a seed of the parameter file. Nothing reads the seeds: the clock seeds the streams. */
  void AddThreadSeed(std::int32_t seed) { ThreadSeeds.push_back(seed); }

  /** Region of interest, cells, time gates and face flags, worked out if need be and possible. */
  const trelScoringRegion& GetScoringRegion() const;
  /** Works them out, if there is an outer shape. */
  void ComputeCounts() const;
  /** What the grids to be saved need: their axes, the absorption's first, and the rest. */
  trelScoringDemand GetScoringDemand() const;

  /** Size of a cell along each axis, default 1 each. Validate refuses 0 where a grid is divided
   *  along the axis; a size below 0 gives no cells. */
  void SetSeparations(double x, double y, double z, double radial, double azimuth,
                      double deflection);
  void GetSeparations(double separations[NumberOfAxes]) const;
  double GetSeparationX() const { return Region.GetSeparations()[AxisX]; }
  double GetSeparationY() const { return Region.GetSeparations()[AxisY]; }
  double GetSeparationZ() const { return Region.GetSeparations()[AxisZ]; }
  double GetSeparationRadial() const { return Region.GetSeparations()[AxisRadial]; }
  double GetSeparationAzimuth() const { return Region.GetSeparations()[AxisAzimuth]; }
  double GetSeparationDeflection() const { return Region.GetSeparations()[AxisDeflection]; }

  /** The time gates: start and end of the range and width of a gate, default 0, 0, 10. */
  void SetTimeRange(double start, double end, double step)
  {
    Region.SetTimeRange(start, end, step);
  }
  double GetTimeStep() const { return Region.GetTimeStep(); }
  double GetTimeStart() const { return GetScoringRegion().GetTimeStart(); }
  double GetTimeEnd() const { return GetScoringRegion().GetTimeEnd(); }
  /** Number of time gates, 0 outside of the time domain; below 0 when the range is reversed. */
  std::int32_t GetNumberOfTimeSteps() const { return GetScoringRegion().GetNumberOfTimeSteps(); }

  /**
   * The region of interest: minimum and maximum along each axis in the order of trelAxis. What is
   * not set becomes the bounding box, all radii and all angles; what is set is cut to these.
   * @p given is how many of the numbers, in their order, the user gave; the others are defaults.
   */
  void SetROI(const double roi[2 * NumberOfAxes], std::int32_t given = 2 * NumberOfAxes)
  {
    Region.SetROI(roi, given);
  }
  /** The region as it was given, or as it was cut to the medium if that has happened. */
  const trelScoringRegion& GetRegionAsItStands() const { return Region; }
  /** How many numbers of the region were given, default all: none is missing. */
  std::int32_t GetROINumbersGiven() const { return Region.GetROINumbersGiven(); }
  void GetROI(double roi[2 * NumberOfAxes]) const;

  /** Number of cells along an axis; 0 where no grid needs the axis. */
  std::int32_t GetNumberX() const { return GetScoringRegion().GetCounts()[AxisX]; }
  std::int32_t GetNumberY() const { return GetScoringRegion().GetCounts()[AxisY]; }
  std::int32_t GetNumberZ() const { return GetScoringRegion().GetCounts()[AxisZ]; }
  std::int32_t GetNumberRadial() const { return GetScoringRegion().GetCounts()[AxisRadial]; }
  std::int32_t GetNumberAzimuth() const { return GetScoringRegion().GetCounts()[AxisAzimuth]; }
  std::int32_t GetNumberDeflection() const
  {
    return GetScoringRegion().GetCounts()[AxisDeflection];
  }
  void GetCounts(std::int32_t counts[NumberOfAxes]) const;

  /** Whether each face of the outer shape lies in the region of interest, by trelSaveFlag. */
  const bool* GetFaceFlags() const;

  /** Builds what ray queries and look-ups need: voxel tables of meshes and the medium's grid.
   *  Called on the main thread before the first packet. */
  void PrepareGeometry();

  /**
   * Rejects what cannot be simulated: reports the first fault and returns false. Warns of what is
   * odd, and changes the coordinate of the transmittance to one that fits the outer shape.
   */
  bool Validate();

private:
  void ShowError(const std::string& text);
  void ShowWarning(const std::string& text);

  trelMedium* Medium;
  trelList* LightSources;
  trelList* Detectors;
  std::vector<std::uint32_t> Wavelengths;
  SimulationDimension Dimension = DimensionUnset;
  enum SimulationType SimulationType = BLT;
  std::uint64_t TotalPhotons = 0;
  enum MediumAlgorithm MediumAlgorithm = MediumVRMC;
  enum FreespaceAlgorithm FreespaceAlgorithm = FreespacePinhole;
  CoordinateType AbsorptionCoordinate = CoordinateCartesian;
  CoordinateType TransmittanceCoordinate = CoordinatePolar;
  bool SaveAbsorption = true;
  bool SaveTransmittance = true;
  bool SavePhotonFlyTime = false;
  bool ContinuousWave = true;
  bool TimeDomain = false;
  bool FrequencyDomain = false;
  std::int32_t FiberDetectorCount = 0;
  bool SaveFluenceRate = false;
  bool SaveElements = false;
  double Frequency = 0.0;
  std::int32_t StepNumberMax = 100000;
  double FlyTimeMax = 10000.0;
  trelRules Rules = RulesClassic;
  bool StepNumberMaxGiven = false;
  bool FlyTimeMaxGiven = false;
  std::int32_t ThreadNumber = 1;
  std::vector<std::int32_t> ThreadSeeds;

  mutable trelScoringRegion Region;  // worked out on demand, by getters too
};

#endif
