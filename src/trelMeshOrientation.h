#ifndef trelMeshOrientation_h
#define trelMeshOrientation_h

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

class trelMeshCrossings;

/**
 * @class   trelMeshOrientation
 * @brief   which way the triangles of a surface look, whatever way the file has wound them
 *
 * From triangle to triangle over the edges that just two share the winding is made one. Which way
 * such a body of triangles then looks is told by rays: what a ray from afar crosses first, third
 * and so on it enters. A few triangles of each body vote, so that bodies which pierce each other
 * mostly count as joined, and a body within a body is a hollow.
 *
 * May throw std::bad_alloc.
 */
class trelMeshOrientation
{
public:
  using Corners = std::array<std::uint32_t, 3>;

  /** Of triangles by the numbers of their corners, alike for corners at one place. */
  explicit trelMeshOrientation(const std::vector<Corners>& triangles);

  /** For each triangle 1 if the normal of its winding looks outward, -1 if inward. */
  std::vector<std::int8_t> OrientOutward(const trelMeshCrossings& crossings);

private:
  void Join(const std::vector<Corners>& triangles);
  void Spread(std::uint32_t start);
  int VoteOfBody(std::size_t body, std::size_t votes, const trelMeshCrossings& crossings) const;

  /** For each triangle the one across each edge, or itself; negative if that is wound against it
   *  (by the bitwise complement). */
  std::vector<std::array<std::int32_t, 3>> Neighbours;
  /** 1 or -1 within the body, 0 until reached. */
  std::vector<std::int8_t> Turns;
  /** The triangles body by body, and where each body starts. */
  std::vector<std::uint32_t> Order;
  std::vector<std::size_t> Starts;
};

#endif
