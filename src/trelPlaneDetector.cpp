#include "trelPlaneDetector.h"

void trelPlaneDetector::GetCenter(double* x, double* y, double* z) const
{
  *x = Center.X;
  *y = Center.Y;
  *z = Center.Z;
}

void trelPlaneDetector::GetNormal(double* x, double* y, double* z) const
{
  *x = Normal.X;
  *y = Normal.Y;
  *z = Normal.Z;
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
