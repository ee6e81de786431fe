#ifndef trelDetectorResult_h
#define trelDetectorResult_h

#include <cstdint>
#include <memory>

#include "trelGridSet.h"
#include "trelSimulationObject.h"

class trelDetector;
class trelFiberDetector;
class trelPlaneDetector;
class trelShapeObject;
class trelSimulationParameter;

#define TREL_FIBER_GRIDS_2D(GRID) GRID(Side) GRID(Up) GRID(Down) GRID(Left) GRID(Right)
#define TREL_FIBER_CURVED_GRIDS(GRID) GRID(SideAZ) GRID(SideDA) GRID(TopRA) GRID(BottomRA)
#define TREL_FIBER_END_GRIDS(GRID) GRID(TopXY) GRID(BottomXY)
#define TREL_FIBER_BOX_GRIDS(GRID) GRID(FrontYZ) GRID(BackYZ) GRID(LeftXZ) GRID(RightXZ)
#define TREL_FIBER_GRID_GETTER(ending)     \
  trelGrid* GetFiber##ending() const       \
  {                                        \
    return GetGrid(Transmittance##ending); \
  }
#define TREL_FIBER_TOTAL_GETTER(name)  \
  double GetFiber##name##Total() const \
  {                                    \
    return FiberTotals[TotalOf##name]; \
  }

/**
 * @class   trelDetectorResult
 * @brief   what one detector collected of one spectrum entry
 *
 * A plane detector has an image, which the imaging of the surface fills; a fibre detector has grids
 * over the surface of its solid, which the packets that meet it add to. Each uses its half of the
 * record. The grids of a fibre are those of a medium of its shape, of the continuous-wave domain
 * only: binning, sums and measures are the medium's, about the fibre's own centre.
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
  /** Sums, then measures: weight into weight per mm^2. Exactly once, after the run. */
  void FinalizeFiber();
  /** The extreme pixel or cell; nothing but a look at them. */
  void ComputePlaneRange();
  void ComputeFiberRange();

  /** A DetectorType of trelModelTypes.h; DetectorPlane before Initialize(). */
  std::int32_t GetDetectorType() const { return DetectorType; }

  /** Of a plane detector: the total, the pixels as (row, column), null before Initialize(), their
   *  numbers, 1 by default, and the size in mm. */
  double GetTotalDetection() const { return TotalDetection; }
  trelGrid* GetDetectionMatrix() const { return DetectionMatrix.get(); }
  std::uint32_t GetColumns() const { return Columns; }
  std::uint32_t GetRows() const { return Rows; }
  double GetDetectorWidth() const { return DetectorWidth; }
  double GetDetectorHeight() const { return DetectorHeight; }
  /** The extreme values of either kind; -1e15 and 1e15 where there are none. */
  double GetDetectionMaximum() const { return DetectionMaximum; }
  double GetDetectionMinimum() const { return DetectionMinimum; }

  /** Of a fibre detector: a grid by its name, null if it does not exist, and which grid takes what
   *  comes through which face. */
  trelGrid* GetGrid(trelGridId id) const { return FiberGrids.Get(id); }
  const trelGridSet& GetGrids() const { return FiberGrids; }
  trelGridUses GetUses() const;
  /** The bins, centre and half-lengths (HalfAxisX, HalfAxisY, HalfAxisZ) of the fibre's solid. */
  const trelGridWindow& GetWindow() const { return Window; }
  /** Outer radius of the radial window, mm. */
  double GetFiberRadius() const { return FiberRadius; }
  /** The cells of the grids, a CoordinateType; CoordinatePolar before Initialize(). */
  std::int32_t GetFiberCoordinate() const { return FiberCoordinate; }
  bool GetSaveCylinderTop() const { return Save[SaveCylinderTop]; }
  bool GetSaveCylinderBottom() const { return Save[SaveCylinderBottom]; }
  bool GetSaveCylinderSide() const { return Save[SaveCylinderSide]; }
  /** The raw sums: weight in units of the sources' energy. */
  double GetTotal(trelGridTotal total) const { return FiberTotals[total]; }
  double GetFiberTotal2D() const { return FiberTotals[TotalOfTransmittance2D]; }
  double GetFiberTotal3D() const { return FiberTotals[TotalOfTransmittance3D]; }

private:
  bool InitializePlane(const trelPlaneDetector& detector);
  bool InitializeFiber(const trelSimulationParameter& parameter, trelFiberDetector& detector);
  void ChooseFiberCoordinate(const trelShapeObject& shape);
  void InitializeFiberRoi(const trelSimulationParameter& parameter, trelFiberDetector& detector);
  bool InitializeFiberGrids();

  double TotalDetection = 0.0;
  double DetectionMaximum = -1.0e15;
  double DetectionMinimum = 1.0e15;
  std::unique_ptr<trelGrid> DetectionMatrix;
  std::uint32_t Columns = 1;
  std::uint32_t Rows = 1;
  double DetectorWidth = 0.0;
  double DetectorHeight = 0.0;

  ShapeType FiberShape = ShapeEllipsoid;
  trelGridWindow Window;
  double FiberRadius = 0.0;
  /** By trelSaveFlag: the parts of a cylinder, and the entry behind the flags. */
  bool Save[NumberOfSaveFlags + 1] = {};
  std::int32_t FiberCoordinate = CoordinatePolar;
  trelGridSet FiberGrids{GridCW};
  double FiberTotals[NumberOfTotals] = {};
  std::int32_t DetectorType = DetectorPlane;

public:
  // By name: GetFiberSideDA, ... for every grid, GetFiberTopTotal, ... for every surface.
  TREL_FIBER_GRIDS_2D(TREL_FIBER_GRID_GETTER)
  TREL_FIBER_CURVED_GRIDS(TREL_FIBER_GRID_GETTER)
  TREL_FIBER_END_GRIDS(TREL_FIBER_GRID_GETTER)
  TREL_FIBER_BOX_GRIDS(TREL_FIBER_GRID_GETTER)
  TREL_SURFACE_TOTALS_2D(TREL_FIBER_TOTAL_GETTER)
  TREL_OUTLINE_TOTALS(TREL_FIBER_TOTAL_GETTER)
  TREL_BOX_TOTALS(TREL_FIBER_TOTAL_GETTER)
};

#undef TREL_FIBER_GRIDS_2D
#undef TREL_FIBER_CURVED_GRIDS
#undef TREL_FIBER_END_GRIDS
#undef TREL_FIBER_BOX_GRIDS
#undef TREL_FIBER_GRID_GETTER
#undef TREL_FIBER_TOTAL_GETTER

#endif
