#ifndef trelMeshCheck_h
#define trelMeshCheck_h

#include <cstdint>
#include <string>
#include <vector>

#include "trelVector.h"

class trelMCTetrahedron;
class trelTraceableMesh;

/** What a mesh is made of, and what is wrong with its surface and its elements. */
struct trelMeshCheck
{
  std::string Owner;  ///< "tissue 2", "light source 1", "medium"
  std::string File;
  std::uint32_t Vertices = 0;
  std::uint32_t Triangles = 0;
  std::uint32_t Elements = 0;  ///< tetrahedra, 0 for a surface
  int Regions = 0;             ///< of tetrahedra, 0 for a surface
  int Bodies = 0;              ///< parts that have no vertex in common
  double Volume = 0.0;         ///< mm^3, 0 or above; of an open surface without a meaning
  trelBox Box;
  /** Edges of a surface with one triangle, and with more than two. */
  std::size_t OpenEdges = 0;
  std::size_t NonManifoldEdges = 0;
  /** Edges that both triangles run along in one direction; tetrahedra wound as the fewer are. */
  std::size_t Inverted = 0;
  /** Triangles or tetrahedra of less than NeedleRatio of the height of a regular one. */
  std::size_t Needles = 0;
  static constexpr double NeedleRatio = 1e-3;

  bool IsClosed() const { return OpenEdges == 0 && NonManifoldEdges == 0; }
};

/** Looks at a surface, which files may give with a vertex for each triangle: vertices at one place
 *  are one. May throw std::bad_alloc. */
trelMeshCheck CheckSurface(const trelTraceableMesh& mesh);
/** Looks at tetrahedra. May throw std::bad_alloc. */
trelMeshCheck CheckTetrahedra(const trelMCTetrahedron& mesh);

#endif
