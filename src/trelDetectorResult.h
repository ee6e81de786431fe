#ifndef trelDetectorResult_h
#define trelDetectorResult_h

#include <cstdint>
#include <memory>

#include "trelGridSet.h"
#include "trelResultGetters.h"
#include "trelSimulationObject.h"
#include "trelTimeTotals.h"

class trelDetector;
class trelFiberDetector;
class trelPlaneDetector;
class trelScoringRegion;
class trelSimulationParameter;

/**
 * @class   trelDetectorResult
 * @brief   what one detector collected of one spectrum entry
 *
 * A plane detector has an image, which the imaging of the surface fills; a fibre detector has grids
 * over the surface of its solid, which the packets that meet it add to. Each uses its half of the
 * record. The grids of a fibre are those of a medium of its shape, of the continuous-wave domain
 * only, under the exact rules of all domains that are on: binning, sums and measures are the
 * medium's, about the fibre's own centre.
 *
 * @sa trelDetectorArrayResult trelMediumResult
 */
class trelDetectorResult : public trelSimulationObject
{
  trelTypeMacro(trelDetectorResult, trelSimulationObject)

public:
  trelDetectorResult();
  ~trelDetectorResult() override;

  /** Frees the image of a plane detector; of another detector nothing. */
  virtual void ReleasePlaneResult();
  /** Frees the grids of a fibre detector and zeroes its totals; of another detector nothing. */
  virtual void ReleaseFiberResult();

  /**
   * Makes the zeroed image or grids that @p detector asks for, with the separations of @p
   * parameter; a fibre detector is told its window, separations and counts. False after a report if
   * memory is short, a resolution is not positive, or a fibre is no ellipsoid and no cylinder.
   */
  bool Initialize(const trelSimulationParameter* parameter, trelDetector* detector);

  /** The integral of the image over the detector: the mean pixel times width and height. */
  void ComputeTotalDetection();
  /** Sums, then measures: weight into weight per mm^2; amplitude and phase. Exactly once, after the
   *  run. */
  void FinalizeFiber();
  /** Of a fibre whose cells are standard errors of raw sums: makes them those of the densities. */
  void FinalizeErrors() { DivideByTrueMeasures(FiberGrids, Window); }
  /** Of a fibre: puts the raw sums of the grids into totals that are 0. */
  void SumTotals();
  /** Calls @p visit with the first and the number of each array of totals. */
  template <class Visit>
  void VisitTotals(Visit visit)
  {
    visit(FiberTotals, std::size_t{NumberOfTotals});
    FiberTimeTotals.VisitTotals(Window.Time.Count, visit);
  }
  /** The extreme pixel or cell; nothing but a look at them. */
  void ComputePlaneRange();
  void ComputeFiberRange();

  /** A DetectorType of trelModelTypes.h; DetectorPlane before Initialize(). */
  std::int32_t GetDetectorType() const { return DetectorType; }

  /** Of a plane detector: the total, the pixels as (row, column), null before Initialize(), and
   *  their numbers, 1 by default. */
  double GetTotalDetection() const { return TotalDetection; }
  trelGrid* GetDetectionMatrix() const { return DetectionMatrix.get(); }
  std::uint32_t GetColumns() const { return Columns; }
  std::uint32_t GetRows() const { return Rows; }
  /** The extreme values of either kind; -1e15 and 1e15 where there are none. */
  double GetDetectionMaximum() const { return DetectionMaximum; }
  double GetDetectionMinimum() const { return DetectionMinimum; }

  /** Of a fibre detector: a grid by its name, null if it does not exist, and which grid takes what
   *  comes through which face. */
  trelGrid* GetGrid(trelGridId id) const { return FiberGrids[GridCW].Get(id); }
  trelGrid* GetGrid(trelGridDomain domain, trelGridId id) const
  {
    return FiberGrids[domain].Get(id);
  }
  const trelGridSet& GetGrids(trelGridDomain domain = GridCW) const { return FiberGrids[domain]; }
  trelGridUses GetUses() const;
  /** The bins, and centre and half-lengths of the fibre's solid. */
  const trelGridWindow& GetWindow() const { return Window; }
  /** The raw sums: weight in units of the sources' energy. */
  double GetTotal(trelGridTotal total) const { return FiberTotals[total]; }
  double GetFiberTotal2D() const { return FiberTotals[TotalOfTransmittance2D]; }
  double GetFiberTotal3D() const { return FiberTotals[TotalOfTransmittance3D]; }
  /** The raw sums by time gate; without arrays unless there are grids of the time domain. */
  const trelTimeTotals& GetTimeTotals() const { return FiberTimeTotals; }
  std::int32_t GetCountTD() const { return Window.Time.Count; }

private:
  bool InitializePlane(const trelPlaneDetector& detector);
  bool InitializeFiber(const trelSimulationParameter& parameter, trelFiberDetector& detector);
  void ChooseFiberCoordinate();
  bool InitializeFiberRoi(const trelSimulationParameter& parameter, trelFiberDetector& detector);
  void TellRoi(trelFiberDetector& detector) const;
  void ChooseDomains(const trelSimulationParameter& parameter);
  bool InitializeFiberGrids();
  bool AllocateFiberGrids();

  double TotalDetection = 0.0;
  double DetectionMaximum = -1.0e15;
  double DetectionMinimum = 1.0e15;
  std::unique_ptr<trelGrid> DetectionMatrix;
  std::uint32_t Columns = 1;
  std::uint32_t Rows = 1;
  double DetectorWidth = 0.0;   ///< mm
  double DetectorHeight = 0.0;  ///< mm

  ShapeType FiberShape = ShapeEllipsoid;
  trelGridWindow Window;
  double FiberRadius = 0.0;  ///< outer radius of the radial window, mm
  /** By trelSaveFlag, the entry behind the flags included. All are set: the window is the whole
   *  solid. */
  bool Save[NumberOfSaveFlags + 1] = {};
  std::int32_t FiberCoordinate = CoordinatePolar;  ///< a CoordinateType: the cells of the grids
  trelRules Rules = RulesClassic;
  /** By trelGridDomain: which domains the fibre has grids of. */
  bool HasDomain[NumberOfGridDomains] = {true};
  trelGridSet FiberGrids[NumberOfGridDomains] = {GridCW,     GridTD,    GridFDReal,
                                                 GridFDImag, GridFDAmp, GridFDPha};
  trelTimeTotals FiberTimeTotals;
  double FiberTotals[NumberOfTotals] = {};
  std::int32_t DetectorType = DetectorPlane;

public:
  /** Of a fibre detector, by name: GetFiberSideDA, ... for every grid, null if it does not exist,
   * and GetFiberTopTotal, ... for the raw sum of every surface. */
  TREL_DETECTOR_RESULT_GETTERS
};

#endif
