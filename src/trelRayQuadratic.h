#ifndef trelRayQuadratic_h
#define trelRayQuadratic_h

#include <cmath>

/**
 * @class   trelRayQuadratic
 * @brief   the equation A t^2 + B t + C = 0 of a ray p + t d and a quadric sum w_i q_i^2 = k
 *
 * N is the number of axes in the sum: three for an ellipsoid, two for an elliptic tube or an
 * ellipse. The weights are positive, so A is not negative and UpperRoot() is never the smaller one.
 * With a discriminant D below 0 the roots are not numbers; which D is still taken for a grazing ray
 * is the shape's decision.
 */
template <int N>
struct trelRayQuadratic
{
  /** From the weights w, the start p, the direction d and the constant k. */
  trelRayQuadratic(const double* w, const double* p, const double* d, double k)
  {
    A = w[0] * (d[0] * d[0]);
    B = w[0] * d[0] * p[0];
    C = w[0] * (p[0] * p[0]);
    for (int i = 1; i < N; ++i) {
      A += w[i] * (d[i] * d[i]);
      B += w[i] * d[i] * p[i];
      C += w[i] * (p[i] * p[i]);
    }
    B *= 2.0;
    C -= k;
    D = B * B - 4.0 * A * C;
  }

  /** Distances along the ray, in lengths of d; NaN or infinite if A is 0. */
  double UpperRoot() const { return (std::sqrt(D) - B) / (2.0 * A); }
  double LowerRoot() const { return (-B - std::sqrt(D)) / (2.0 * A); }

  /** The coefficients, and the discriminant D = B^2 - 4 A C. */
  double A, B, C, D;
};

#endif
