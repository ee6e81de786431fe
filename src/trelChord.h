#ifndef trelChord_h
#define trelChord_h

#include <algorithm>
#include <cmath>

#include "trelVector.h"

/**
 * The unit normal @p n at a place where the ray of direction @p d leaves a body (@p leaves) or
 * enters it, turned by as little as it takes to say so: what rounding says else where a ray grazes
 * the surface. Without a normal, of a triangle without area, the direction itself.
 */
inline trelVector NormalOnSide(const trelVector& n, const trelVector& d, bool leaves)
{
  constexpr double grazing = 1e-15;
  const double side = leaves ? 1.0 : -1.0, cosine = Dot(n, d);
  if (n.X == 0.0 && n.Y == 0.0 && n.Z == 0.0) return side * d;
  if (side * cosine >= grazing) return n;
  return n + (side * std::max(std::fabs(cosine), 2.0 * grazing) - cosine) * d;
}

/**
 * @class   trelChord
 * @brief   the stretch of a line that lies in a convex body, cut down part by part of its surface
 *
 * Points are relative to the body's centre. A line that runs within a face lies in the closed body;
 * one that has only a point in common with it has no chord. Of two parts that cut at the same place
 * the one that cut first has the end. A line that is not a number has no chord.
 */
struct trelChord
{
  /** The ends; of their normals those of curved parts are left to the shape. */
  trelHit Enter{-HUGE_VAL, 0, {}}, Leave{HUGE_VAL, 0, {}};

  /** What lies between @p enter and @p leave on the faces given. */
  void Cut(double enter, int enterFace, double leave, int leaveFace)
  {
    if (!(enter <= Enter.Distance)) Enter = {enter, enterFace, {}};
    if (!(leave >= Leave.Distance)) Leave = {leave, leaveFace, {}};
  }

  /** What lies between the planes at -h and h across @p axis. */
  void CutSlab(int axis, double p, double d, double h, int lowFace, int highFace)
  {
    if (d == 0.0) {
      if (!(std::fabs(p) <= h)) Leave.Distance = -HUGE_VAL;
      return;
    }
    const bool up = d > 0.0;
    const double enter = ((up ? -h : h) - p) / d, leave = ((up ? h : -h) - p) / d;
    if (!(enter <= Enter.Distance)) {
      Enter = {enter, up ? lowFace : highFace, {}};
      Enter.Normal[axis] = up ? -1.0 : 1.0;
    }
    if (!(leave >= Leave.Distance)) {
      Leave = {leave, up ? highFace : lowFace, {}};
      Leave.Normal[axis] = up ? 1.0 : -1.0;
    }
  }

  /** What lies in the quadric sum (q_i / h_i)^2 <= 1 of the first N axes. */
  template <int N>
  void CutQuadric(const double* p, const double* d, const double* h, int face);

  /** The outward unit normal at an end that lies on that quadric. */
  template <int N>
  trelVector QuadricNormal(const double* p, const trelVector& d, const double* h,
                           const trelHit& end) const;

  /** The first end beyond @p after and up to @p limit; false if there is none. */
  bool FindEnd(double after, double limit, trelHit* hit) const
  {
    if (!(Enter.Distance < Leave.Distance)) return false;
    const trelHit& end = Enter.Distance > after ? Enter : Leave;
    if (!(end.Distance > after && end.Distance <= limit && end.Distance < HUGE_VAL)) return false;
    *hit = end;
    return true;
  }
};

/**
 * With q = p / h and w = d / h the line meets the unit sphere where A t^2 + 2 B t + C = 0, A = w w,
 * B = q w, C = q q - 1. The discriminant B^2 - A C is A - |q x w|^2 by Lagrange's identity, which
 * keeps its digits far from the body and on its surface; the roots are those without a difference
 * of like numbers (W. Kahan).
 */
template <int N>
void trelChord::CutQuadric(const double* p, const double* d, const double* h, int face)
{
  double q[3] = {}, w[3] = {};
  double A = 0.0, B = 0.0, C = 0.0;
  for (int i = 0; i < N; ++i) {
    q[i] = p[i] / h[i];
    w[i] = d[i] / h[i];
    A += w[i] * w[i];
    B += q[i] * w[i];
    C += q[i] * q[i];
  }
  C -= 1.0;
  if (A == 0.0) {  // along a tube
    if (!(C <= 0.0)) Leave.Distance = -HUGE_VAL;
    return;
  }
  const double x = q[1] * w[2] - q[2] * w[1], y = q[2] * w[0] - q[0] * w[2],
               z = q[0] * w[1] - q[1] * w[0];
  const double D = A - (x * x + y * y + z * z);
  if (!(D > 0.0)) {
    Leave.Distance = -HUGE_VAL;
    return;
  }
  const double s = std::sqrt(D);
  const double sum = B > 0.0 ? -(B + s) : s - B;
  const double one = sum / A, other = C / sum;
  Cut(std::min(one, other), face, std::max(one, other), face);
}

template <int N>
trelVector trelChord::QuadricNormal(const double* p, const trelVector& d, const double* h,
                                    const trelHit& end) const
{
  trelVector gradient;
  for (int i = 0; i < N; ++i)
    gradient[i] = (p[i] + end.Distance * d[i]) / h[i] / h[i];
  return NormalOnSide(Normalized(gradient), d, end.Distance == Leave.Distance);
}

/**
 * A lower bound of the distance of the point @p p from the quadric F = sum (p_i / h_i)^2 = 1 of the
 * first N axes, negative inside. F changes over a way s by at most 2 s g + s^2 / min(h)^2 upwards
 * and 2 s g - s^2 / max(h)^2 downwards, g half the length of its gradient; where that makes up for
 * F - 1, s is the bound. Exact for a sphere, and of first order near any surface.
 */
template <int N>
double BoundQuadricDistance(const double* p, const double* h)
{
  double F = 0.0, g2 = 0.0;
  for (int i = 0; i < N; ++i) {
    const double q = p[i] / h[i];
    F += q * q;
    g2 += (q / h[i]) * (q / h[i]);
  }
  const double g = std::sqrt(g2);
  if (F <= 1.0) {
    const double low = *std::min_element(h, h + N);
    return (F - 1.0) / (g + std::sqrt(g2 + (1.0 - F) / (low * low)));
  }
  const double high = *std::max_element(h, h + N);
  return (F - 1.0) / (g + std::sqrt(std::max(0.0, g2 - (F - 1.0) / (high * high))));
}

/** How far a point is from a box of the half-lengths @p h about the origin, negative inside. */
template <int N>
double BoxDistance(const double* p, const double* h)
{
  double inside = -HUGE_VAL, outside2 = 0.0;
  for (int i = 0; i < N; ++i) {
    const double beyond = std::fabs(p[i]) - h[i];
    inside = std::max(inside, beyond);
    if (beyond > 0.0) outside2 += beyond * beyond;
  }
  return outside2 > 0.0 ? std::sqrt(outside2) : inside;
}

#endif
