#ifndef trelFaceUnitNormal_h
#define trelFaceUnitNormal_h

#include <cmath>

/** Divides @p vector by its length, unless that is exactly 0 or 1. */
inline void UnitVector(float vector[3])
{
  const float square = vector[0] * vector[0] + vector[1] * vector[1] + vector[2] * vector[2];
  const float length = std::sqrt(square);
  if (length == 0.0f || length == 1.0f) return;
  for (int i = 0; i < 3; ++i)
    vector[i] /= length;
}

/**
 * The unit normal (v1 - v0) x (v2 - v0) / |...| of a face in single precision, which points to the
 * side from which v0, v1, v2 run anticlockwise. A face without an area gives the zero vector, so
 * that it adds nothing to the normals of its vertices.
 */
inline void FaceUnitNormal(const float* v0, const float* v1, const float* v2, float normal[3])
{
  const float a[3] = {v1[0] - v0[0], v1[1] - v0[1], v1[2] - v0[2]};
  const float b[3] = {v2[0] - v0[0], v2[1] - v0[1], v2[2] - v0[2]};
  normal[0] = a[1] * b[2] - a[2] * b[1];
  normal[1] = a[2] * b[0] - a[0] * b[2];
  normal[2] = a[0] * b[1] - a[1] * b[0];
  UnitVector(normal);
}

#endif
