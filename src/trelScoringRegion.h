#ifndef trelScoringRegion_h
#define trelScoringRegion_h

#include <cstdint>
#include <vector>

#include "trelGridWindow.h"
#include "trelModelTypes.h"
#include "trelShapeTraits.h"

class trelShapeObject;

/** What the grids of a run need of its region. */
struct trelScoringDemand
{
  std::vector<trelAxis> Axes; /**< along which grids are divided; an axis may stand twice */
  bool Surface;               /**< whether there are grids of the outer shape's faces */
  bool TimeGates;             /**< whether the time domain is on */
  /** Whether a last cell that only rounding makes counts, as the classic rules have it. */
  bool Slivers = true;
};

/**
 * The number of cells of size @p separation that cover @p range, below 0 for a reversed range. It
 * is held to what the integer can hold, for the allocation to refuse; 0 if it is NaN.
 */
std::int32_t CountCells(double range, double separation);

/** CountCells(), but what is narrower than 1e-9 of a cell at the end of the range belongs to the
 *  cell before it: 1.1 / 0.1 is a little more than 11. */
std::int32_t CountCellsWithoutSliver(double range, double separation);

/**
 * @class   trelScoringRegion
 * @brief   the region of interest and its cells: what the user gave, and what follows for a shape
 *
 * Ranges, separations and time gates are set; Compute() cuts the ranges to the outer shape, counts
 * cells and gates, and clears the flags of the faces that lie beyond. After that nothing changes
 * until something is set anew.
 *
 * Lengths in mm, times in ps, angles in degrees; arrays in the order of trelAxis.
 */
class trelScoringRegion
{
public:
  trelScoringRegion();

  /** Minimum and maximum along each axis. @p given is how many of the numbers, in their order, the
   *  user gave. Without a call the region is all of the outer shape. */
  void SetROI(const double roi[2 * NumberOfAxes], std::int32_t given);
  /** Default all 0; cut to the outer shape after Compute(). */
  const double* GetROI() const { return ROI; }
  double GetRange(trelAxis axis) const { return ROI[2 * axis + 1] - ROI[2 * axis]; }
  /** Default all: none is missing. */
  std::int32_t GetROINumbersGiven() const { return ROINumbersGiven; }

  /** Size of a cell along each axis, default 1 each; one below 0 gives no cells. */
  void SetSeparations(const double separations[NumberOfAxes]);
  const double* GetSeparations() const { return Separations; }

  /** Start and end of the time range and width of a gate, default 0, 0, 10. */
  void SetTimeRange(double start, double end, double step);
  double GetTimeStart() const { return TimeStart; }
  double GetTimeEnd() const { return TimeEnd; }
  double GetTimeStep() const { return TimeStep; }

  /** Whether what follows is up to date. */
  bool IsValid() const { return CountsValid; }
  /**
   * Works out what follows for the outer shape @p shape. Counts that @p demand does not ask for
   * keep their value, and flags once cleared stay cleared.
   */
  void Compute(const trelShapeObject& shape, const trelScoringDemand& demand);

  /** Number of cells along each axis, default 0. */
  const std::int32_t* GetCounts() const { return Counts; }
  /** Number of time gates, default 0; below 0 when the range is reversed. */
  std::int32_t GetNumberOfTimeSteps() const { return NumberOfTimeSteps; }

  /** Whether each face lies in the region, by trelSaveFlag; default all. */
  const bool* GetFaceFlags() const { return FaceFlags; }

  /** The window of the region, which belongs to @p shape, without time gates and without faces and
   *  vertices of a mesh; about the origin if there is no shape. */
  trelGridWindow MakeWindow(const trelShapeObject* shape) const;

private:
  void ComputeROI(const trelShapeObject& shape);
  void ComputeFaceFlags(const trelShapeObject& shape);

  double ROI[2 * NumberOfAxes] = {};
  double Separations[NumberOfAxes] = {1.0, 1.0, 1.0, 1.0, 1.0, 1.0};
  bool ROIGiven = false;
  std::int32_t ROINumbersGiven = 2 * NumberOfAxes;
  double TimeStart = 0.0;
  double TimeEnd = 0.0;
  double TimeStep = 10.0;

  std::int32_t Counts[NumberOfAxes] = {};
  std::int32_t NumberOfTimeSteps = 0;
  bool FaceFlags[NumberOfSaveFlags];
  bool CountsValid = false;
};

#endif
