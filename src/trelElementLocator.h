#ifndef trelElementLocator_h
#define trelElementLocator_h

#include <cstddef>
#include <cstdint>
#include <vector>

#include "trelVector.h"

class trelMCTetrahedron;

/** The tetrahedron that a point was found in, -1 for none, and the ball about the point that lies
 * in it: most steps of a packet end in the ball. */
struct trelElementPlace
{
  trelVector Center;
  double SquaredRadius = -1.0;  ///< mm^2; negative: there is no ball
  std::int32_t Element = -1;

  /** Whether the point is known to lie in the element. */
  bool Holds(const trelVector& point) const
  {
    const trelVector way = point - Center;
    return Dot(way, way) < SquaredRadius;
  }
};

/**
 * @class   trelElementLocator
 * @brief   in which tetrahedron of a mesh a point lies
 *
 * A point is sought from the element that it was in last, each time across the face that it is
 * farthest beyond (O. Devillers, S. Pion, M. Teillaud, Int. J. Found. Comput. Sci. 13 (2002) 181).
 * Where that does not arrive soon, at holes and flat elements, those are looked at whose boxes meet
 * the point's cell of a grid. A point that rounding has put beside all gets the nearest of these.
 *
 * Which of two elements has a point on their common face depends on the way there, and on nothing
 * else.
 */
class trelElementLocator
{
public:
  /** Takes the elements of a mesh; an empty one has none. May throw. */
  void Build(const trelMCTetrahedron& mesh);
  void Clear();
  bool IsEmpty() const { return Elements.empty(); }

  /** Finds the element at @p point, the sooner the closer that is to what @p place tells. */
  void Find(const trelVector& point, trelElementPlace* place) const;
  /** Where the line of a ray leaves an element ahead, mm from the origin; infinite if it never
   *  does. */
  double FindExit(const trelRay& ray, std::int32_t element) const;
  /** A length, mm, that is short beside all elements that matter. */
  double GetShortStep() const { return ShortStep; }

private:
  /** By face, which lies opposite of the vertex of the same number: the distance of a point from
   *  it is X x + Y y + Z z + Offset, mm, positive inside; and the element behind it, -1 outside. */
  struct Element
  {
    double X[4], Y[4], Z[4], Offset[4];
    std::int32_t Behind[4];

    double FindClearance(const trelVector& point, int* face) const;
  };

  void TakeElement(const trelMCTetrahedron& mesh, std::uint32_t t);
  void JoinNeighbours(const trelMCTetrahedron& mesh);
  void LayOutGrid(const trelMCTetrahedron& mesh);
  void FillGrid(const std::vector<trelBox>& boxes);
  double CountEntries(const std::vector<trelBox>& boxes) const;
  std::size_t FindCell(double place, int axis) const;
  template <class Visit>
  void VisitCells(const trelBox& box, Visit visit) const;
  void FindInGrid(const trelVector& point, trelElementPlace* place) const;

  std::vector<Element> Elements;
  double Slack = 0.0;  ///< what rounding may make of a distance, mm
  double ShortStep = 0.0;
  trelBox Box;
  /** Cells along each axis, and the list of each cell, z fastest, in Entries. */
  std::size_t Cells[3] = {1, 1, 1};
  std::vector<std::uint32_t> Starts;
  std::vector<std::uint32_t> Entries;
};

#endif
