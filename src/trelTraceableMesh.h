#ifndef trelTraceableMesh_h
#define trelTraceableMesh_h

#include <cstdint>
#include <string>
#include <vector>

#include "trelMeshCrossings.h"
#include "trelMeshRecords.h"
#include "trelShapeObject.h"
#include "trelVoxelTable.h"

class trelMesh;
class trelMeshReader;

/**
 * @class   trelTraceableMesh
 * @brief   what the meshes that rays are traced through share: triangles, their file, the look-up
 *
 * Empty after construction and after a file that could not be loaded. The box of the shape is that
 * of the triangles; setting another centre moves box and look-up, not the vertices.
 *
 * Once the table stands the box is fixed: a change of centre or half-lengths needs a new table.
 *
 * The voxel table is built by BuildVoxelTable() before the run, on the main thread. A question that
 * finds none builds it, which is not safe on several threads; one that could not be built is not
 * tried again by a question. After that all questions are read-only and safe from all threads.
 *
 * @sa trelMCTriangleMesh trelMCTetrahedron trelVoxelTable
 */
class trelTraceableMesh : public trelShapeObject
{
  trelTypeMacro(trelTraceableMesh, trelShapeObject)

public:
  ~trelTraceableMesh() override;

  /**
   * Takes the mesh from the file @p path, whose reader is chosen by the end of the path in any
   * letter case. False, with a report and an empty mesh, if no reader knows the ending or the file
   * holds no mesh that can be traced.
   */
  bool LoadFromFile(const char* path);
  /** The path of the file; empty if none was loaded. */
  const std::string& GetFilePath() const { return FilePath; }

  bool IsEmpty() const override { return Triangles.empty(); }
  bool MakeSurfaceElement(const trelGridWindow& window, CoordinateType coordinate,
                          const trelVector& hit, int face, SurfaceElement* element) const override;
  /** Lets go of all arrays and of the table; the box stays. */
  virtual void ClearMesh();

  /**
   * Builds the voxel table anew, on @p threads threads. False without a word if there are no
   * triangles, false with a report if memory runs out.
   */
  bool BuildVoxelTable(int threads = 1) const;
  bool PrepareCrossings(int threads) const override;
  bool Holds(const trelVector& point) const override;
  bool HoldsOn(const trelRay& ray, double at) const override;
  bool FindCrossing(const trelRay& ray, double after, double limit, trelHit* hit) const override;
  double BoundDistance(const trelVector& point) const override;
  bool IsClear(const trelWay& way, double* radius) const override;
  /** What answers these questions; asked for after PrepareCrossings(). */
  const trelMeshCrossings& GetCrossings() const { return Crossings; }

  /** The table, empty until it has been built. */
  const trelVoxelTable& GetVoxelTable() const { return VoxelTable; }

  /** Counts of the loaded file; 0 while the mesh is empty. */
  virtual std::uint32_t GetNumberOfVertices() const { return Count(Vertices); }
  virtual std::uint32_t GetNumberOfTriangles() const { return Count(Triangles); }
  /** The triangles and vertices, in the order of the file. */
  const trelTraceableTriangle* GetTriangleArray() const { return Triangles.data(); }
  const trelTraceableVertex* GetVertexArray() const { return Vertices.data(); }

protected:
  /** A reader by the end of the path. */
  struct ReaderEnding
  {
    const char* Ending;
    trelMeshReader* (*Make)();
  };

  /** The endings in the order in which they are tried, the last without a text. */
  virtual const ReaderEnding* GetReaderEndings() const = 0;
  /** Imports what a reader made; false if it is not the kind of mesh or cannot be traced. */
  virtual bool ImportData(const trelMesh* mesh) = 0;
  /** The regions that triangle @p t bounds, as in trelTracedTriangle. */
  virtual void GetRegionsOfTriangle(std::uint32_t t, std::int32_t regions[2]) const = 0;
  /** What a voxel becomes whose centre lies on a triangle of its row. */
  virtual VoxelCenterRule GetCenterRule() const = 0;
  /** Called when the table stands, before it is asked. */
  virtual void OnTableBuilt(trelVoxelTable& table) const = 0;
  /** Reports an error as the concrete class, which defines it by trelReportErrorMacro. */
  virtual void ReportError(const std::string& message) const = 0;
  /** Which way the triangles look, see trelMeshCrossings::Orientation. May throw. */
  virtual std::vector<std::int8_t> OrientTriangles(const trelMeshCrossings& crossings) const = 0;
  /** Called after the report of a table that found no memory. */
  virtual void OnTableFailed() const {}

  /**
   * Copies vertices and faces of @p mesh and computes normals and areas. False, with a report, if
   * memory runs out; false if a face names a vertex that does not exist or is not finite.
   */
  bool CopySurface(const trelMesh& mesh);
  /** Extends @p box over the corners of triangle @p t. */
  void ExtendBox(std::uint32_t t, trelBox* box) const;
  /** Sets centre and half-lengths of the shape by its triangles. */
  void SetBox();
  /** True if the table stands; builds it if nobody has tried yet. */
  bool EnsureTable() const { return VoxelTable.IsBuilt() || (!TableTried && BuildVoxelTable()); }

  /** True if the crossings can be asked; makes them if nobody has tried yet. */
  bool EnsureCrossings() const
  {
    return Crossings.IsBuilt() || (!CrossingsTried && PrepareCrossings(1));
  }
  /** The volume of @p region, or of all with a negative one, by the divergence theorem. */
  double ComputeVolume(std::int32_t region) const;

  std::vector<trelTraceableVertex> Vertices;
  std::vector<trelTraceableTriangle> Triangles;

private:
  template <class Record>
  static std::uint32_t Count(const std::vector<Record>& records)
  {
    return static_cast<std::uint32_t>(records.size());
  }
  bool ReadFile(const char* path);
  bool AllocateSurface(std::size_t vertices, std::size_t triangles);
  bool CopyTriangle(const std::uint32_t* corners, trelTraceableTriangle* triangle) const;
  bool FillTable(int threads) const;
  trelMeshReader* MakeReader(const char* path) const;

  std::string FilePath;
  /** Built on demand, hence mutable. */
  mutable trelVoxelTable VoxelTable;
  mutable bool TableTried = false;
  mutable trelMeshCrossings Crossings;
  mutable bool CrossingsTried = false;
};

#endif
