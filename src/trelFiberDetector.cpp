#include "trelFiberDetector.h"

#include <algorithm>

#include "trelShapeObject.h"

trelFiberDetector::~trelFiberDetector()
{
  ReleaseReference(Shape);
}

void trelFiberDetector::SetShape(trelShapeObject* shape)
{
  ReplaceReference(Shape, shape);
}

void trelFiberDetector::SetFiberResultGrid(const double roi[2 * NumberOfAxes])
{
  std::copy_n(roi, 2 * NumberOfAxes, FiberROI);
}

void trelFiberDetector::GetFiberResultGrid(double roi[2 * NumberOfAxes]) const
{
  std::copy_n(FiberROI, 2 * NumberOfAxes, roi);
}

void trelFiberDetector::SetFiberCounts(std::int32_t x, std::int32_t y, std::int32_t z,
                                       std::int32_t radial, std::int32_t azimuth,
                                       std::int32_t deflection)
{
  const std::int32_t counts[NumberOfAxes] = {x, y, z, radial, azimuth, deflection};
  std::copy_n(counts, NumberOfAxes, FiberCounts);
}

void trelFiberDetector::GetFiberCounts(std::int32_t counts[NumberOfAxes]) const
{
  std::copy_n(FiberCounts, NumberOfAxes, counts);
}

void trelFiberDetector::SetFiberSeparations(double x, double y, double z, double radial,
                                            double azimuth, double deflection)
{
  const double separations[NumberOfAxes] = {x, y, z, radial, azimuth, deflection};
  std::copy_n(separations, NumberOfAxes, FiberSeparations);
  FiberGridValid = false;
}

void trelFiberDetector::GetFiberSeparations(double separations[NumberOfAxes]) const
{
  std::copy_n(FiberSeparations, NumberOfAxes, separations);
}
