#include "trelPlaneDetector.h"

#include <algorithm>

void trelPlaneDetector::SetCenter(double x, double y, double z)
{
  Center[0] = x;
  Center[1] = y;
  Center[2] = z;
}

void trelPlaneDetector::GetCenter(double* x, double* y, double* z) const
{
  *x = Center[0];
  *y = Center[1];
  *z = Center[2];
}

void trelPlaneDetector::GetCenter(double center[3]) const
{
  std::copy_n(Center, 3, center);
}

void trelPlaneDetector::SetNormal(double x, double y, double z)
{
  Normal[0] = x;
  Normal[1] = y;
  Normal[2] = z;
}

void trelPlaneDetector::GetNormal(double* x, double* y, double* z) const
{
  *x = Normal[0];
  *y = Normal[1];
  *z = Normal[2];
}

void trelPlaneDetector::SetSize(double width, double height)
{
  Size[0] = width;
  Size[1] = height;
}

void trelPlaneDetector::GetSize(double* width, double* height) const
{
  *width = Size[0];
  *height = Size[1];
}

void trelPlaneDetector::SetResolution(std::int32_t columns, std::int32_t rows)
{
  Resolution[0] = columns;
  Resolution[1] = rows;
}

void trelPlaneDetector::GetResolution(std::int32_t* columns, std::int32_t* rows) const
{
  *columns = Resolution[0];
  *rows = Resolution[1];
}
