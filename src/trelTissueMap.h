#ifndef trelTissueMap_h
#define trelTissueMap_h

#include <cstdint>
#include <vector>

#include "trelVector.h"

class trelMCTetrahedron;
class trelMedium;
class trelShapeObject;

/** Where the tissue changes along a ray. */
struct trelTissueChange
{
  /** Distance along the ray, face, and unit normal of the surface that is met first, turned along
   * the ray. The face is one of the outermost shape where the change leads out of it. */
  trelHit Hit;
  /** The tissue behind all surfaces that lie at one place; -1 outside of the medium. */
  std::int32_t Tissue = -1;
  /** Surfaces at one place: up to this distance, mm, along the normal. A packet that goes on from
   *  the hit in the direction u stands on what is ahead by less than Reach / |u n|. */
  double Reach = 0.0;
};

/**
 * @class   trelTissueMap
 * @brief   which tissue a point lies in, and where that changes along a ray, by the exact rules
 *
 * The outermost tissue has what no other tissue holds, and clips the others. Of those that hold a
 * point the one with the smallest measure has it (volume, in the plane area, of the whole shape),
 * of equal ones (within 1e-6 of it) the earlier. So bodies may nest to any depth, overlap, touch
 * and be flush with the outermost shape.
 *
 * Built before the run; the questions of the packet loop read only, and allocate nothing.
 */
class trelTissueMap
{
public:
  /** Surfaces count as lying at one place within this part of the diagonal of the outermost body's
   *  box; the second if one of them is a mesh, which files hold in single precision. */
  static constexpr double ReachOfShapes = 1e-9;
  static constexpr double ReachOfMeshes = 1e-7;

  /** Takes the shapes of the medium, or its tetrahedral mesh, whose tables must have been built
   *  (trelSimulationParameter::PrepareGeometry). False if memory runs out. */
  bool Build(const trelMedium& medium);

  /** The tissue at the point, -1 outside. */
  std::int32_t FindTissue(const trelVector& point) const;

  /**
   * The nearest change of the tissue along the ray from within @p tissue, at a distance above
   * @p after and up to @p limit. What lies ahead by @p after or less has been passed. If the ray is
   * not in @p tissue just behind @p after, the change is there, at @p after. The direction is a
   * unit vector; in the plane its z is 0. False if there is none.
   */
  bool FindChange(const trelRay& ray, std::int32_t tissue, double after, double limit,
                  trelTissueChange* change) const;

  /** Where the line through the ray enters the medium: the nearest entry of the outermost body
   * ahead of the origin if that is outside, else the nearest entry at or behind the origin (a
   * negative distance). False if there is none. */
  bool FindEntry(const trelRay& ray, trelTissueChange* change) const;

  /** A lower bound of the distance from any point of the cell that @p point lies in to the nearest
   *  change of tissue; 0 outside of the grid. One read. */
  double GetSafeDistance(const trelVector& point) const;
  /** The same for the point itself, from the shapes. */
  double BoundDistance(const trelVector& point) const;

  /** Two tissues neither of which holds the other, but that have points in common, and which of
   *  them has these. */
  struct Overlap
  {
    std::int32_t First, Second, Winner;
  };
  std::vector<Overlap> FindOverlaps() const;
  /** How far surfaces of shapes at one place lie apart at most, mm. */
  double GetReach() const;
  /** The measure of a tissue's whole shape, or of a region of the mesh, mm^3 or mm^2. */
  double GetMeasure(std::int32_t tissue) const;
};

#endif
