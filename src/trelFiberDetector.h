#ifndef trelFiberDetector_h
#define trelFiberDetector_h

#include <cstdint>

#include "trelDetector.h"

class trelShapeObject;

/**
 * @class   trelFiberDetector
 * @brief   a solid in the medium that collects the packets that reach it
 *
 * The window, separations and counts of its grids are written by the detector's result before the
 * run and stay as they are while packets travel. All are in the order of trelAxis.
 */
class trelFiberDetector final : public trelDetector
{
  trelTypeMacro(trelFiberDetector, trelDetector)

public:
  ~trelFiberDetector() override;

  DetectorType GetDetectorType() const override { return DetectorFiber; }

  /** The detecting solid, an ellipsoid or a cylinder, held by reference; null until set. */
  void SetShape(trelShapeObject* shape);
  trelShapeObject* GetShape() const { return Shape; }

  /** The region of interest: minimum and maximum along each axis, mm and degrees; 0 until set. */
  void SetFiberResultGrid(const double roi[2 * NumberOfAxes]);
  void GetFiberResultGrid(double roi[2 * NumberOfAxes]) const;

  /** Number of cells along each axis; 0 until set. */
  void SetFiberCounts(std::int32_t x, std::int32_t y, std::int32_t z, std::int32_t radial,
                      std::int32_t azimuth, std::int32_t deflection);
  void GetFiberCounts(std::int32_t counts[NumberOfAxes]) const;

  /** Size of a cell along each axis, mm and degrees; 0 until set. Setting clears FiberGridValid. */
  void SetFiberSeparations(double x, double y, double z, double radial, double azimuth,
                           double deflection);
  void GetFiberSeparations(double separations[NumberOfAxes]) const;

  /** Whether the grid belongs to the present separations, default false. */
  trelSetGetMacro(bool, FiberGridValid)

private:
  trelShapeObject* Shape = nullptr;
  double FiberROI[2 * NumberOfAxes] = {};
  double FiberSeparations[NumberOfAxes] = {};
  std::int32_t FiberCounts[NumberOfAxes] = {};
  bool FiberGridValid = false;
};

#endif
