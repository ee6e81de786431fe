#ifndef trelOuterSurface_h
#define trelOuterSurface_h

#include <cstdint>
#include <functional>
#include <queue>
#include <vector>

/** The records of a tetrahedral mesh, side by side. */
struct trelTetrahedronRecords
{
  const float* Vertices;            ///< x, y, z, mm, and a normal, of each vertex
  const std::uint32_t* Tetrahedra;  ///< four vertices each
  std::uint32_t* Faces;             ///< three vertices each, written
  const std::int32_t* FaceOwners;   ///< two tetrahedra each, the second -1 on the outer surface
  std::int32_t NumberOfFaces;
};

/**
 * @class   trelOuterSurface
 * @brief   winds the outer faces of a tetrahedral mesh so that their normals point outward
 *
 * On a closed surface each edge joins two faces, and the winding goes from face to face: the lowest
 * edge with one wound face leads to the next, and the face begins with that edge. The first face of
 * each body is wound by its tetrahedron, which lies inside. A queue by edge number makes this
 * n log n. Result files depend on the vertex with which a face begins.
 *
 * A surface with other edges is wound face by face, each by its tetrahedron.
 */
class trelOuterSurface
{
public:
  /** Finds the edges of the faces that have one owner, vertex indices ascending. */
  explicit trelOuterSurface(const trelTetrahedronRecords& mesh);

  /** Winds these faces. */
  void Orient();

  /** How many edges do not join exactly two faces; 0 for a closed surface. */
  std::int32_t GetNumberOfOpenEdges() const { return OpenEdges; }
  /** The two vertices of such an edge. */
  const std::int32_t* GetOpenEdge() const { return OpenEdge; }

private:
  struct EdgeRecord
  {
    std::int32_t First, Second, Face;
  };
  struct Edge
  {
    std::int32_t First, Second;
    std::int32_t Faces[2];
    /** 0 if the next face runs from First to Second; it flips at each use. */
    int Direction;
    /** How many faces at the edge are wound. */
    int Visits;
  };

  std::vector<EdgeRecord> FindEdgeRecords();
  void JoinEdges(const std::vector<EdgeRecord>& records);
  std::int32_t NextEdge();
  void WindFaceAt(std::int32_t edge);
  void VisitEdge(std::int32_t face, std::int32_t from, std::int32_t to);
  void WindByOwners();
  int OutwardDirection(std::int32_t face, std::int32_t first, std::int32_t second) const;
  std::int32_t ThirdVertex(std::int32_t face, std::int32_t first, std::int32_t second) const;

  std::uint32_t* FaceAt(std::int32_t face) const;

  const trelTetrahedronRecords Mesh;
  std::vector<std::int32_t> OuterFaces;
  std::vector<Edge> Edges;
  /** Three edges for each face of the mesh. */
  std::vector<std::int32_t> FaceEdges;
  std::vector<char> Wound;
  /** The edges with one wound face, and some that have two by now. */
  std::priority_queue<std::int32_t, std::vector<std::int32_t>, std::greater<>> OpenFront;
  /** No edge below this one is unvisited. */
  std::int32_t FirstUnvisited = 0;
  std::int32_t OpenEdges = 0;
  std::int32_t OpenEdge[2] = {0, 0};
};

#endif
