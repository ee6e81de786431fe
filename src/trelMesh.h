#ifndef trelMesh_h
#define trelMesh_h

#include "trelDataObject.h"
#include "trelRecordArray.h"

/** How the winding of a face lies to the normals of its vertices. */
enum FaceWinding
{
  FaceReversed = 0,   /**< the vertex normals point away from the side of the face's normal */
  FaceConsistent = 1, /**< they point to it */
  FaceDegenerate = 2  /**< the face has no area */
};

/**
 * @class   trelMesh
 * @brief   a mesh as a reader delivers it: vertices and faces in single precision, no ray tracing
 *
 * A vertex record is six floats, x, y, z (mm) and the unit normal nx, ny, nz; a face record is
 * three vertex indices from 0. A mesh lives from the reading of its file until a traceable mesh has
 * copied it. It owns its arrays. Not thread-safe.
 * @sa trelTriangleMesh trelTetrahedron trelMeshReader
 */
class trelMesh : public trelDataObject
{
  trelTypeMacro(trelMesh, trelDataObject)

public:
  void ClearModel() override;
  int GetDataType() const override { return 8; }
  void PrintSelf(std::ostream& stream) const override;

  /** The number of vertex records. Setting another number makes a new array, with the head of the
   * old one and zeros behind; false, with a report and the old array, if that fails. */
  virtual bool SetNumberOfVertices(std::int32_t n);
  virtual std::int32_t GetNumberOfVertices() const { return Vertices.GetCount(); }
  /** The same for the face records. */
  virtual bool SetNumberOfFaces(std::int32_t n);
  virtual std::int32_t GetNumberOfFaces() const { return Faces.GetCount(); }

  /** The bare records, six floats a vertex; null while there are none. */
  virtual float* GetVertexData() { return Vertices.GetData(); }
  const float* GetVertexData() const { return Vertices.GetData(); }
  /** The bare records, three vertex indices a face. */
  virtual std::uint32_t* GetFaceData() { return Faces.GetData(); }
  const std::uint32_t* GetFaceData() const { return Faces.GetData(); }

  /**
   * Compares the first face that has an area with its vertex normals and stores the result.
   * @return true if the normals oppose the winding; with no such face, the stored flag.
   */
  virtual bool CheckFaceOrientation();
  /** Negates all vertex normals. */
  virtual void FlipVertexNormals();

  /** Appends a record of six floats; reports and leaves the mesh if the memory does not suffice. */
  virtual void AddVertex(const float* vertex);
  /** Appends a record of three vertex indices; reports likewise. */
  virtual void AddFace(const std::uint32_t* face);

  /** The winding of @p face, three vertex indices, against its vertex normals. */
  FaceWinding FaceOrientationOf(const std::uint32_t* face) const;
  /** Gives each vertex the unit normal that is the direction of the sum of its faces' unit normals;
   * the zero vector where the sum is zero. */
  void ComputeVertexNormals();
  /** Stores the smallest box about all vertices; false, without a change, if there is no vertex or
   * one that is not finite. */
  bool ComputeBounds();

  /** xmin, xmax, ymin, ymax, zmin, zmax (mm); -1, 1, -1, 1, -1, 1 while nothing is known. */
  const float* GetBounds() const { return Bounds; }
  /** What CheckFaceOrientation() stored last; false before. */
  bool GetNormalsReversed() const { return NormalsReversed; }

protected:
  trelMesh() = default;
  /** Reports an error as the concrete class, which defines it by trelReportErrorMacro. */
  virtual void ReportError(const std::string& message) const = 0;

  float Bounds[6] = {-1.0f, 1.0f, -1.0f, 1.0f, -1.0f, 1.0f};
  bool NormalsReversed = false;
  trelRecordArray<float, 6> Vertices;
  trelRecordArray<std::uint32_t, 3> Faces;
};

#endif
