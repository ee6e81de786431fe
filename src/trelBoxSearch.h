#ifndef trelBoxSearch_h
#define trelBoxSearch_h

#include <algorithm>
#include <cmath>

#include "trelVector.h"

/**
 * @file trelBoxSearch.h
 * Points and rays beside the boxes of bodies, which spare the look at these.
 */

inline bool IsInBox(const trelBox& box, const trelVector& p)
{
  return p.X >= box.Low.X && p.X <= box.High.X && p.Y >= box.Low.Y && p.Y <= box.High.Y &&
         p.Z >= box.Low.Z && p.Z <= box.High.Z;
}

/** A lower bound of the distance of the point from the box. */
inline double DistanceToBox(const trelBox& box, const trelVector& point)
{
  double square = 0.0;
  for (int a = 0; a < 3; ++a) {
    const double beyond = std::max({box.Low[a] - point[a], point[a] - box.High[a], 0.0});
    square += beyond * beyond;
  }
  return std::sqrt(square);
}

/** The same by the coordinate that tells most: shorter, and without a root. */
inline double DistanceToBoxAlongAxis(const trelBox& box, const trelVector& point)
{
  double distance = 0.0;
  for (int a = 0; a < 3; ++a)
    distance = std::max({distance, box.Low[a] - point[a], point[a] - box.High[a]});
  return distance;
}

/** A stretch of a ray, to be tested against boxes. */
struct trelBoxSearch
{
  const trelRay& Ray;
  trelVector Inverse;
  double First;

  trelBoxSearch(const trelRay& ray, double first) : Ray(ray), First(first)
  {
    for (int a = 0; a < 3; ++a)
      Inverse[a] = 1.0 / ray.Direction[a];
  }

  /** True if the stretch up to @p last has no point in the box. */
  bool Misses(const trelBox& box, double last) const
  {
    double first = First;
    for (int a = 0; a < 3; ++a) {
      const double o = Ray.Origin[a];
      if (Ray.Direction[a] == 0.0) {
        if (o < box.Low[a] || o > box.High[a]) return true;
        continue;
      }
      const double low = (box.Low[a] - o) * Inverse[a], high = (box.High[a] - o) * Inverse[a];
      first = std::max(first, std::min(low, high));
      last = std::min(last, std::max(low, high));
    }
    return first > last;
  }
};

#endif
