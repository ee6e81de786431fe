#ifndef trelVector_h
#define trelVector_h

#include <algorithm>
#include <cmath>

/**
 * @file trelVector.h
 * The basic types of geometry: a vector, a ray, a box, and where a ray hits a surface.
 *
 * Plain aggregates in double precision, lengths in mm. Sums run x, y, z: results depend on the
 * order of the terms, since nothing is fused or rearranged.
 */

/** A point, a direction or a displacement. */
struct trelVector
{
  double X = 0.0;
  double Y = 0.0;
  double Z = 0.0;

  /** The component along @p axis: 0, 1 or 2 for x, y or z. */
  double operator[](int axis) const { return axis == 0 ? X : axis == 1 ? Y : Z; }
  double& operator[](int axis) { return axis == 0 ? X : axis == 1 ? Y : Z; }
};

/** Component by component, as are the operators that follow. */
inline trelVector operator+(const trelVector& a, const trelVector& b)
{
  return {a.X + b.X, a.Y + b.Y, a.Z + b.Z};
}

/** The displacement from @p b to @p a. */
inline trelVector operator-(const trelVector& a, const trelVector& b)
{
  return {a.X - b.X, a.Y - b.Y, a.Z - b.Z};
}

/** As a + b. */
inline trelVector& operator+=(trelVector& a, const trelVector& b)
{
  return a = a + b;
}

/** The opposite vector. */
inline trelVector operator-(const trelVector& a)
{
  return {-a.X, -a.Y, -a.Z};
}

/** Times a number, which comes first. */
inline trelVector operator*(double factor, const trelVector& a)
{
  return {factor * a.X, factor * a.Y, factor * a.Z};
}

/** Three divisions: not the same as the product with the reciprocal. */
inline trelVector operator/(const trelVector& a, double divisor)
{
  return {a.X / divisor, a.Y / divisor, a.Z / divisor};
}

/** The scalar product a b. */
inline double Dot(const trelVector& a, const trelVector& b)
{
  return a.X * b.X + a.Y * b.Y + a.Z * b.Z;
}

/** The vector product a x b. */
inline trelVector Cross(const trelVector& a, const trelVector& b)
{
  return {a.Y * b.Z - a.Z * b.Y, a.Z * b.X - a.X * b.Z, a.X * b.Y - a.Y * b.X};
}

/** sqrt(a a): overflows from 1e154 on, unlike hypot. */
inline double Length(const trelVector& a)
{
  return std::sqrt(Dot(a, a));
}

/** @p a divided by its length; a zero vector stays. */
inline trelVector Normalized(const trelVector& a)
{
  const double length = Length(a);
  return length == 0.0 ? a : a / length;
}

/** A half-line. The direction is a unit vector unless a function says otherwise; distances along
 * the ray are counted in its length. */
struct trelRay
{
  trelVector Origin;
  trelVector Direction;

  /** The point at @p distance from the origin; behind it if negative. */
  trelVector At(double distance) const { return Origin + distance * Direction; }
};

/** A straight way between two points, for the question whether it meets a surface. */
struct trelWay
{
  trelVector From, To;
  double Length;  ///< mm
  double Margin;  ///< what rounding may make of a distance, mm
};

/** An axis-parallel box by its lowest and highest corner. As made it is empty, and the first point
 * that extends it is both corners. */
struct trelBox
{
  trelVector Low = {HUGE_VAL, HUGE_VAL, HUGE_VAL};
  trelVector High = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};

  /** Widens the box to hold @p point. A coordinate that is NaN leaves its axis as it is. */
  void Extend(const trelVector& point)
  {
    Low = {std::min(Low.X, point.X), std::min(Low.Y, point.Y), std::min(Low.Z, point.Z)};
    High = {std::max(High.X, point.X), std::max(High.Y, point.Y), std::max(High.Z, point.Z)};
  }
  /** True until the box is first extended. */
  bool IsEmpty() const { return !(Low.X <= High.X); }
  /** Its edges. */
  trelVector GetSize() const { return High - Low; }
  /** Whether it sticks out of @p outer along one of the first @p axes axes. */
  bool ReachesBeyond(const trelBox& outer, int axes) const
  {
    for (int axis = 0; axis < axes; ++axis) {
      if (Low[axis] < outer.Low[axis] || High[axis] > outer.High[axis]) return true;
    }
    return false;
  }
};

/** Where a ray meets a surface. */
struct trelHit
{
  double Distance = 0.0;
  int Face = 0;       ///< the part of the surface, numbered by each shape; of a mesh its triangle
  trelVector Normal;  ///< unit normal of the surface there, away from the solid
};

#endif
