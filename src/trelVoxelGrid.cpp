#include "trelVoxelGrid.h"

#include <algorithm>
#include <cmath>

bool trelVoxelGrid::LayOut(const trelBox& box)
{
  trelVector extent = box.GetSize();
  for (int a = 0; a < 3; ++a) {
    if (!std::isfinite(extent[a])) return false;
    extent[a] = std::max(extent[a], 0.0);  // turned inside out by its half-lengths, it is flat
  }
  Origin = box.Low;
  trelVector cells;
  VoxelSize = 0.08;
  do {
    VoxelSize *= 1.05;
    InverseVoxelSize = 1.0 / VoxelSize;
    for (int a = 0; a < 3; ++a)
      cells[a] = std::ceil(extent[a] * InverseVoxelSize);
    // In double precision no product wraps around, and all up to the limit are exact.
  } while (!(cells.X * cells.Y * cells.Z <= static_cast<double>(MaximumVoxels)));
  for (int a = 0; a < 3; ++a) {
    // Above the limit only in a flat grid, which is never indexed.
    Size[a] = static_cast<int>(std::min(cells[a], static_cast<double>(MaximumVoxels)));
    LastIndex[a] = Size[a] - 1.0;
    EndIndex[a] = Size[a];
  }
  return true;
}

std::size_t trelVoxelGrid::GetNumberOfVoxels() const
{
  const bool flat = Size[0] == 0 || Size[1] == 0 || Size[2] == 0;
  return flat ? 0 : CellOf(Size[0] - 1, Size[1] - 1, Size[2] - 1) + 1;
}

trelVoxelRange trelVoxelGrid::GetWholeRange() const
{
  return {{0, 0, 0}, {Size[0] - 1, Size[1] - 1, Size[2] - 1}};
}

trelVector trelVoxelGrid::GetReach() const
{
  constexpr double relative = 1e-9;
  constexpr double rounding = 1e-15;
  trelVector reach;
  for (int a = 0; a < 3; ++a) {
    const double farthest = std::fabs(Origin[a]) + Size[a] * VoxelSize;
    reach[a] = VoxelSize / 2 * (1.0 + relative) + farthest * rounding;
  }
  return reach;
}

trelVector trelVoxelGrid::GetCenter(const int index[3]) const
{
  const double half = VoxelSize / 2;
  return {index[0] * VoxelSize + half + Origin.X, index[1] * VoxelSize + half + Origin.Y,
          index[2] * VoxelSize + half + Origin.Z};
}

trelVoxelRange trelVoxelGrid::FindVoxelsWithin(const trelBox& box) const
{
  constexpr double margin = 1e-6;  // the rounding of an index near the origin
  trelVoxelRange range;
  for (int a = 0; a < 3; ++a) {
    const auto index = [&](double coordinate, double shift) {
      const double cell = (coordinate - Origin[a]) * InverseVoxelSize + shift;
      return std::clamp(cell, 0.0, static_cast<double>(Size[a]));
    };
    range.First[a] = static_cast<int>(std::ceil(index(box.Low[a], margin)));
    range.Last[a] = static_cast<int>(index(box.High[a], -margin)) - 1;
  }
  return range;
}

bool trelVoxelGrid::IsNearOrigin() const
{
  constexpr double limit = 1e8;  // voxels
  for (int a = 0; a < 3; ++a)
    if (!(std::fabs(Origin[a]) * InverseVoxelSize + Size[a] < limit)) return false;
  return true;
}

bool trelVoxelGrid::CanTellVoxels(const trelVector& start) const
{
  constexpr double limit = 1e9;  // voxels
  for (int a = 0; a < 3; ++a)
    if (!((std::fabs(start[a]) + std::fabs(Origin[a])) * InverseVoxelSize < limit)) return false;
  return true;
}
