#ifndef trelShapeObject_h
#define trelShapeObject_h

#include "trelGeometryTolerance.h"
#include "trelObject.h"
#include "trelShapeTraits.h"
#include "trelVector.h"

class trelUniformNumbers;
struct SurfaceElement;
struct trelGridWindow;

/** Where a point lies in relation to a shape. PointUndetermined: a mesh without a voxel table. */
enum PointRelation : int
{
  PointInside = 0,
  PointOnBoundary = 1,
  PointOutside = 2,
  PointUndetermined = 3
};

/** What the caller of IntersectRay() knows about the ray: it starts inside and leaves the shape, or
 * it starts outside and enters it. The values are those of PointInside and PointOutside. */
enum RaySide : int
{
  RayLeaves = 0,
  RayEnters = 2
};

/** What a ray does at its start, from the point's relation and the caller's knowledge together. */
enum RayCase
{
  RayCaseNone,
  RayCaseLeaving,
  RayCaseTouching,
  RayCaseEntering
};

/**
 * @class   trelShapeObject
 * @brief   everything with a boundary: where a point lies, how far along a ray the boundary is
 *
 * A shape is pure geometry; tissues, sources and detectors own one and have the optics. All
 * coordinates are world coordinates, all lengths in the model's unit of length (mm).
 *
 * Inside means inside by more than GeometryTolerance, on the boundary means within it; a point that
 * is NaN is outside. Shapes do not change once the model has been read: all threads use the same
 * object, and LocatePoint() and IntersectRay() only read its members and allocate nothing.
 *
 * Half-lengths are positive, which is not checked here. Curved shapes divide by them: with one of
 * zero every point is outside, or no ray hits.
 *
 * The shape is parallel to the axes of the model. LocatePoint() honours the three angles, which
 * nothing sets; IntersectRay() does not know them.
 *
 * What holds for all shapes of a kind stands in its row of traits.
 *
 * @sa trelShapeTraits.h trelCube trelCylinder trelEllipsoid
 */
class trelShapeObject : public trelObject
{
  trelTypeMacro(trelShapeObject, trelObject)

public:
  ~trelShapeObject() override;

  /** The kind of shape, a ShapeType, and its row of traits. */
  virtual ShapeType GetShapeType() const = 0;
  const trelShapeTraits& GetTraits() const { return GetShapeTraits(GetShapeType()); }
  /** True for a mesh without triangles, as one that could not be loaded: it bounds nothing. */
  virtual bool IsEmpty() const { return false; }

  /** Where the point (@p x, @p y, @p z) lies; a function of point and shape alone. */
  virtual PointRelation LocatePoint(double x, double y, double z) const = 0;

  /**
   * Finds the boundary along the ray from (@p x, @p y, @p z) in the direction (@p dx, @p dy, @p
   * dz), a unit vector in all calls of the transport. True if there is a hit no further away than
   * @p distance (a hit exactly there counts).
   *
   * @param distance in: the furthest hit of interest; out: the distance of the hit, in lengths of
   * the direction vector, which is not normalised here
   * @param face out: the part of the surface that was hit, numbered by each shape; the ellipsoid
   *        leaves it alone
   * @param nx, ny, nz out: the unit normal at the hit, pointing away from the solid; the caller
   * turns it the way it travels
   * @param raySide a RaySide. If LocatePoint() says inside and this says entering, or outside and
   *        leaving, there is no hit (trelCylinder does not ask).
   *
   * A start point on the boundary that enters is itself the hit, at distance 0. One that leaves
   * finds the far side; the curved shapes then answer no less than GeometryTolerance, so that a
   * packet always moves. On a miss the outputs stay as they are, unless the shape says otherwise.
   */
  virtual bool IntersectRay(double x, double y, double z, double dx, double dy, double dz,
                            double* distance, int* face, double* nx, double* ny, double* nz,
                            int raySide) const = 0;

  /** LocatePoint() and IntersectRay() by vectors. The distance of @p hit is an input, too. */
  PointRelation LocatePoint(const trelVector& point) const
  {
    return LocatePoint(point.X, point.Y, point.Z);
  }
  bool FindHit(const trelRay& ray, RaySide side, trelHit* hit) const
  {
    return IntersectRay(ray.Origin.X, ray.Origin.Y, ray.Origin.Z, ray.Direction.X, ray.Direction.Y,
                        ray.Direction.Z, &hit->Distance, &hit->Face, &hit->Normal.X, &hit->Normal.Y,
                        &hit->Normal.Z, side);
  }

  // What the exact rules ask. No tolerances: points and surfaces are as the numbers say.

  /** Makes what these questions need, on @p threads threads; a mesh that is asked without it makes
   *  it then, which is not safe on several threads. False if memory runs out. */
  virtual bool PrepareCrossings(int threads) const;
  /** The volume, mm^3, or the area, mm^2, of a planar shape: in closed form, or of a mesh by the
   *  divergence theorem. 0 for an empty mesh. */
  virtual double ComputeMeasure() const;
  /** Whether the point lies in the closed solid. */
  virtual bool Holds(const trelVector& point) const;
  /** Whether the point at the distance @p at on the ray lies in the solid; of a mesh as
   * FindCrossing has it on this ray, which tells apart what lies within rounding of a surface. */
  virtual bool HoldsOn(const trelRay& ray, double at) const { return Holds(ray.At(at)); }
  /**
   * The first crossing of the surface at a distance above @p after and up to @p limit (which may be
   * infinite) along the ray, whose direction is a unit vector. A line that has only a point in
   * common with the solid crosses nothing; one that runs within a face of a convex solid crosses
   * its outline. @p hit gets distance, face and outward unit normal: the ray enters where the
   * normal looks against it. Unchanged without a crossing.
   */
  virtual bool FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const;
  /** A lower bound of the distance, mm, from the point, inside or outside, to the surface; near to
   *  the distance where it is small. Never negative. */
  virtual double BoundDistance(const trelVector& point) const;
  /** Whether the way is known to meet no surface; false proves nothing. Lowers @p radius to
   *  BoundDistance() of its start. The default holds for convex shapes. */
  virtual bool IsClear(const trelWay& way, double* radius) const;

  /** A point of the shape, uniform by rejection in its box, from a number for each coordinate and
   *  attempt; false after 10,000 rejected points, and without an attempt if all would be rejected.
   */
  bool SampleVolume(trelUniformNumbers& numbers, trelVector* point) const;

  /** A point on the surface. Each shape has its own choice of parts and order of numbers, which is
   *  not uniform over the surface; results depend on it. False, the default, without one. */
  virtual bool SampleSurface(trelUniformNumbers& numbers, trelVector* point) const;

  // Points as the exact rules start packets from.

  /** Makes what the next two operations need; before the packets, on one thread. False if the shape
   *  has no points, or memory runs out: then neither may be asked. */
  virtual bool PrepareSampling() const { return HasPoints(); }
  /** A point of the shape, uniform over its volume, or its area in the plane; also of a disc, a
   *  plate, a line or a point, which a half-length of 0 makes of it. False after 10,000 attempts.
   */
  virtual bool SampleVolumeUniformly(trelUniformNumbers& numbers, trelVector* point) const;
  /** A point of the surface, uniform over its area, or its length in the plane; of a line or a
   *  point as above. False after 10,000 attempts. */
  virtual bool SampleSurfaceUniformly(trelUniformNumbers& numbers, trelVector* point) const;

  /**
   * The piece of the surface that the transmittance at @p hit on @p face belongs to, in cells of
   * @p coordinate: where it lies, where it faces, how large it is. It has the indices of the point
   * and is taken at the middle of its cell. False if there is no cell there. A shape without
   * elements, or a face that does not exist, leaves @p element alone; the flat faces of a solid
   * have theirs here.
   */
  virtual bool MakeSurfaceElement(const trelGridWindow& window, CoordinateType coordinate,
                                  const trelVector& hit, int face, SurfaceElement* element) const;

  /** Centre of the shape, mm, default the origin. Setting it moves the bounding box. */
  void SetCenter(double x, double y, double z);
  void SetCenter(const double center[3]) { SetCenter(center[0], center[1], center[2]); }
  void SetCenter(const trelVector& center) { SetCenter(center.X, center.Y, center.Z); }
  void GetCenter(double* x, double* y, double* z) const;
  void GetCenter(double center[3]) const { GetCenter(&center[0], &center[1], &center[2]); }
  trelVector GetCenter() const { return {Center[0], Center[1], Center[2]}; }

  /** Half-lengths along x, y and z, mm, positive, default 0: half edges of a cube, semi-axes of an
   *  ellipsoid, semi-axes of the section and half height of a cylinder. Setting them resizes the
   *  bounding box. */
  void SetHalfAxes(double hx, double hy, double hz);
  void SetHalfAxes(const double halfAxes[3]) { SetHalfAxes(halfAxes[0], halfAxes[1], halfAxes[2]); }
  void SetHalfAxes(const trelVector& halfAxes) { SetHalfAxes(halfAxes.X, halfAxes.Y, halfAxes.Z); }
  void GetHalfAxes(double* hx, double* hy, double* hz) const;
  trelVector GetHalfAxes() const { return {HalfAxes[0], HalfAxes[1], HalfAxes[2]}; }

  /** Centre minus and plus half-lengths, mm; the array form in the order xmin, xmax, ymin, ... */
  void GetBoundingBox(double* xmin, double* xmax, double* ymin, double* ymax, double* zmin,
                      double* zmax) const;
  void GetBoundingBox(double bounds[6]) const;
  trelBox GetBox() const
  {
    return {{Bounds[0], Bounds[2], Bounds[4]}, {Bounds[1], Bounds[3], Bounds[5]}};
  }

  /** The largest distance, mm, from the line along z through the centre: the longer half-axis of a
   *  curved shape, half the diagonal of the box of another. */
  double GetRadialLimit() const;

protected:
  /** The case of a ray; none where relation and knowledge disagree flatly. */
  static RayCase ClassifyRay(PointRelation relation, int raySide)
  {
    if (relation == PointInside) return raySide == RayEnters ? RayCaseNone : RayCaseLeaving;
    if (relation == PointOutside) return raySide == RayLeaves ? RayCaseNone : RayCaseEntering;
    if (raySide == RayLeaves) return RayCaseLeaving;
    return raySide == RayEnters ? RayCaseTouching : RayCaseNone;
  }

  /** True if the first @p N coordinates of @p point lie outside the bounding box by more than the
   *  tolerance. Not turned by the angles. */
  template <int N>
  bool IsOutsideBox(const double point[N]) const
  {
    for (int i = 0; i < N; ++i) {
      if (ToleranceLess(point[i], Bounds[2 * i])) return true;
      if (ToleranceGreater(point[i], Bounds[2 * i + 1])) return true;
    }
    return false;
  }

  /** @p p = the point relative to the centre, the frame in which rays are intersected. */
  void ToCenter(double x, double y, double z, double p[3]) const
  {
    p[0] = x - Center[0];
    p[1] = y - Center[1];
    p[2] = z - Center[2];
  }

  /** The same, turned by the angles if there are any: the frame in which points are located. */
  void ToLocal(double x, double y, double z, double local[3]) const
  {
    ToCenter(x, y, z, local);
    if (Rotated) {
      // By value, so that the compiler keeps the point in registers otherwise.
      double turned[3];
      Rotate(local[0], local[1], local[2], turned);
      for (int i = 0; i < 3; ++i)
        local[i] = turned[i];
    }
  }

  /** The same in the plane, where only the first angle counts. */
  void ToLocalInPlane(double x, double y, double local[2]) const
  {
    local[0] = x - Center[0];
    local[1] = y - Center[1];
    if (Rotated) RotateInPlane(local);
  }

  /** How often a point is drawn before a sampling fails. A ball takes two draws on average; without
   *  a limit the thread would never return from a shape that no draw hits. */
  static constexpr int MaximumAttempts = 10000;

  /** False for what no packet can start from: an empty mesh, a medium, a curved shape with a
   *  half-axis of 0 that its equation divides by. A cylinder of no height is a disc. */
  bool HasPoints() const;

  /** The point at @p offset from the centre; planar shapes lie at z = 0. */
  trelVector FromCenter(const double offset[3]) const;

  /** How wide an ellipse still is, relative to its width, at the coordinate @p d of the half-axis
   *  @p halfAxis: sqrt(1 - d^2 / a^2). 0 where rounding takes the difference below 0. */
  static double RelativeChord(double d, double halfAxis);
  /** A point on the elliptic outline of the half-axes along x and y: one coordinate uniform, the
   *  other on the curve on either side. */
  void SampleOutline(trelUniformNumbers& numbers, double offset[3]) const;

  double Center[3] = {0.0, 0.0, 0.0};
  double HalfAxes[3] = {0.0, 0.0, 0.0};
  /** Angles about the axes, radians. Nothing sets them. */
  double Rotation[3] = {0.0, 0.0, 0.0};
  double Bounds[6] = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0};

private:
  /** Parts of a surface: the flat faces across axis 0, 1 and 2, and what is curved. */
  static constexpr int CurvedPart = 3;
  /** Area of a part, mm^2, or length in the plane, mm. Of the curved part that of the round one
   *  around it, of which TryCurvedPoint() takes what there is: no elliptic integral is needed. */
  double MeasurePart(int part) const;
  /** A point of the part, from the centre in half-lengths; false if the attempt fails. */
  bool TrySurfacePoint(trelUniformNumbers& numbers, int part, double offset[3]) const;
  void Rotate(double x, double y, double z, double turned[3]) const;
  void RotateInPlane(double local[2]) const;
  /** Brings the box and the flag up to date with the other fields. */
  void RefreshDerived();

  /** Whether any angle is not 0, so that locating a point costs one test and not three. */
  bool Rotated = false;
};

#endif
