#ifndef trelMeshRecords_h
#define trelMeshRecords_h

#include <cstdint>

#include "trelVector.h"

/**
 * @file trelMeshRecords.h
 * What a traceable mesh consists of, in double precision, lengths in mm.
 */

/** A vertex: its position and the mean unit normal of the triangles around it. */
struct trelTraceableVertex
{
  double X, Y, Z;
  double NX, NY, NZ;

  /** The position as a vector, mm. */
  trelVector Position() const { return {X, Y, Z}; }
};

/** A triangle as results and imaging know it. */
struct trelTraceableTriangle
{
  std::uint32_t Vertices[3];  ///< numbers of the corners, from 0
  trelVector Normal;          ///< unit normal by the winding of the corners; zero if degenerate
  double Area;                ///< mm^2
};

/** A triangle as the tests of rays and points read it, in one piece of memory. */
struct trelTracedTriangle
{
  trelVector Corners[3];
  trelVector Normal;        ///< as in trelTraceableTriangle
  std::int32_t Regions[2];  ///< the regions that it bounds; the second is -1 on the outer surface

  /** True if it bounds @p region; the region -1 is what lies around the mesh. */
  bool Bounds(std::int32_t region) const
  {
    if (region < 0) return Regions[1] < 0;
    return Regions[0] == region || Regions[1] == region;
  }
  trelBox GetBox() const
  {
    trelBox box;
    for (const trelVector& corner : Corners)
      box.Extend(corner);
    return box;
  }
};

#endif
