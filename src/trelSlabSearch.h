#ifndef trelSlabSearch_h
#define trelSlabSearch_h

#include "trelShapeObject.h"

/**
 * @class   trelSlabSearch
 * @brief   where a ray enters or leaves an axis-parallel box of N axes about the origin
 *
 * For each axis the search takes the one plane that the ray can cross first and the distance to it;
 * the furthest of these is the entry, the nearest the exit, and the box is hit if the point there
 * lies within the other slabs, without a tolerance (A. Woo, Fast ray-box intersection, Graphics
 * Gems 1990). The coordinate on the plane found is the plane's own value, exactly, so that the face
 * can be told by equality. Origin @p p, direction @p d and half-lengths @p h are arrays of N.
 */
template <int N>
struct trelSlabSearch
{
  /** Distance to the plane found, in lengths of the direction vector. */
  double Distance = 0.0;
  /** The point there. */
  double Hit[N] = {};

  /** Searches as the case of the ray asks; false if it hits nothing. For a ray that starts on the
   *  surface the distance stays 0 and the hit at the centre, which is on no face. */
  bool Find(RayCase rayCase, const double* p, const double* d, const double* h)
  {
    if (rayCase == RayCaseTouching) return true;
    if (rayCase == RayCaseEntering) return FindEntry(p, d, h);
    return rayCase == RayCaseLeaving && FindExit(p, d, h);
  }

  /** Searches from outside; false if the ray passes beside the box or leads away from it. */
  bool FindEntry(const double* p, const double* d, const double* h)
  {
    double plane[N], t[N];
    int which = 0;
    for (int i = 0; i < N; ++i) {
      const bool below = p[i] < -h[i];
      const bool beside = below || p[i] > h[i];
      plane[i] = below ? -h[i] : h[i];
      t[i] = beside && d[i] != 0.0 ? (plane[i] - p[i]) / d[i] : -1.0;
      if (t[which] < t[i]) which = i;
    }
    return HitPlane(p, d, h, which, plane[which], t[which]);
  }

  /** Searches from inside or from the surface. */
  bool FindExit(const double* p, const double* d, const double* h)
  {
    double plane[N], t[N];
    int which = 0;
    for (int i = 0; i < N; ++i) {
      plane[i] = d[i] < 0.0 ? -h[i] : h[i];
      // A ray across an axis crosses no plane of it. The distance taken instead of infinity is
      // finite: in a box of more than 1000 mm it can be the smallest, and the axis's upper plane is
      // then taken for the exit. Results depend on it.
      t[i] = d[i] != 0.0 ? (plane[i] - p[i]) / d[i] : 1000.0;
      if (t[i] < t[which]) which = i;
    }
    return HitPlane(p, d, h, which, plane[which], t[which]);
  }

private:
  bool HitPlane(const double* p, const double* d, const double* h, int which, double plane,
                double t)
  {
    if (t < 0.0) return false;
    for (int i = 0; i < N; ++i) {
      Hit[i] = i == which ? plane : d[i] * t + p[i];
      // In this form a coordinate that is NaN is a miss, too.
      if (!(Hit[i] >= -h[i] && Hit[i] <= h[i])) return false;
    }
    Distance = t;
    return true;
  }
};

#endif
