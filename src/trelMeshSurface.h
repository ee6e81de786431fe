#ifndef trelMeshSurface_h
#define trelMeshSurface_h

#include <cstdint>
#include <memory>

/** A face of a mesh as the results know it. */
struct trelMeshFace
{
  std::uint32_t Vertices[3] = {0, 0, 0};  ///< numbers of the corners, below the count of vertices
  double Area = 0.0;                      ///< mm^2
};

/**
 * @class   trelMeshSurface
 * @brief   the faces of a mesh medium that its transmittance grids are settled and written with
 *
 * A private copy of what the mesh holds. A triangle mesh has boundary faces only. A tetrahedral
 * mesh has all its faces, and for each a flag that says whether it bounds the medium.
 */
class trelMeshSurface
{
public:
  /** Makes room for so many faces, with vertices 0 and area 0; false if an allocation fails. */
  bool Allocate(std::int32_t faces, std::int32_t vertices, bool isTetraMesh);
  void Release();

  /** What was last allocated: 0, 0 and false at first. */
  std::int32_t GetCountMeshFace() const { return CountMeshFace; }
  std::int32_t GetCountMeshVertex() const { return CountMeshVertex; }
  bool GetIsTetraMesh() const { return IsTetraMesh; }

  /** The faces, to be filled by whoever allocated them; null before. */
  trelMeshFace* GetMeshFaces() const { return MeshFaces.get(); }
  /** For each face of a tetrahedral mesh 1 if it lacks a neighbour, else 0; null otherwise. */
  std::uint8_t* GetMeshFaceOnBoundary() const { return MeshFaceOnBoundary.get(); }

  /** True for the faces whose values enter those of their vertices. */
  bool IsOnBoundary(std::int32_t face) const
  {
    return !IsTetraMesh || MeshFaceOnBoundary[static_cast<std::size_t>(face)] == 1;
  }
  /** Adds to each vertex's cell of @p areaSum the areas of the boundary faces around it. */
  void SumAreas(double* areaSum) const;

private:
  std::int32_t CountMeshFace = 0;
  std::int32_t CountMeshVertex = 0;
  bool IsTetraMesh = false;
  std::unique_ptr<trelMeshFace[]> MeshFaces;
  std::unique_ptr<std::uint8_t[]> MeshFaceOnBoundary;
};

#endif
