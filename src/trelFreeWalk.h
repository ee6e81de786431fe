#ifndef trelFreeWalk_h
#define trelFreeWalk_h

#include <algorithm>
#include <cmath>

#include "trelVector.h"
#include "trelVoxelGrid.h"

/** A walk of a ray through voxels, which passes those that are known to be free in one go: where it
 *  is, and how it goes on. */
struct trelFreeWalk
{
  const trelVoxelGrid& Grid;
  const trelRay& Ray;
  trelVector Inverse;
  int Index[3];

  trelFreeWalk(const trelVoxelGrid& grid, const trelRay& ray, double start) : Grid(grid), Ray(ray)
  {
    const trelVector point = ray.At(start);
    for (int a = 0; a < 3; ++a) {
      Inverse[a] = 1.0 / ray.Direction[a];
      Index[a] = grid.IndexOf(a, point[a]);
    }
  }

  /** Whether the ray gets anywhere along the axis. */
  bool IsMoving(int axis) const { return std::fabs(Inverse[axis]) < HUGE_VAL; }

  /** How far it is to where the ray leaves the voxel and @p free ones around it, and through which
   *  axis. */
  double FindExit(int free, int* axis) const
  {
    double exit = HUGE_VAL;
    for (int a = 0; a < 3; ++a) {
      if (!IsMoving(a)) continue;
      const int border = Ray.Direction[a] > 0.0 ? Index[a] + free + 1 : Index[a] - free;
      const double t = (Grid.BorderOf(a, border) - Ray.Origin[a]) * Inverse[a];
      if (!(t >= exit)) {
        exit = t;
        *axis = a;
      }
    }
    return exit;
  }

  /** Goes to the voxel behind; indices never go back, whatever rounding does. False at the end of
   *  the grid. */
  bool Pass(int free, int axis, double exit)
  {
    const trelVector point = Ray.At(exit);
    for (int a = 0; a < 3; ++a) {
      if (!IsMoving(a)) continue;
      const bool up = Ray.Direction[a] > 0.0;
      const int farthest = up ? Index[a] + free : Index[a] - free;
      if (a == axis)
        Index[a] = up ? farthest + 1 : farthest - 1;
      else
        Index[a] = up ? std::clamp(Grid.IndexOf(a, point[a]), Index[a], farthest)
                      : std::clamp(Grid.IndexOf(a, point[a]), farthest, Index[a]);
    }
    return Index[axis] >= 0 && Index[axis] < Grid.GetSize(axis);
  }
};

#endif
