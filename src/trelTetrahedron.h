#ifndef trelTetrahedron_h
#define trelTetrahedron_h

#include "trelMesh.h"

/**
 * @class   trelTetrahedron
 * @brief   a volume of tetrahedra, each with the number of its region, as a reader delivers it
 *
 * The reader fills vertices, tetrahedra and region numbers and then calls BuildFaces(), which makes
 * the triangles of the outer surface and of the interfaces between regions.
 * @sa trelMesh trelMCTetrahedron
 */
class trelTetrahedron final : public trelMesh
{
  trelTypeMacro(trelTetrahedron, trelMesh)

public:
  ~trelTetrahedron() override;

  void ClearModel() override;
  int GetDataType() const override { return 12; }
  /** Also sizes the owner array. */
  bool SetNumberOfFaces(std::int32_t n) override;

  /** The number of tetrahedra, each with four vertex indices and a region; as
   * SetNumberOfVertices().
   */
  virtual bool SetNumberOfTetrahedra(std::int32_t n);
  virtual std::int32_t GetNumberOfTetrahedra() const { return Tetrahedra.GetCount(); }
  /** The bare records, four vertex indices a tetrahedron. */
  virtual std::uint32_t* GetTetrahedronData() { return Tetrahedra.GetData(); }
  const std::uint32_t* GetTetrahedronData() const { return Tetrahedra.GetData(); }

  /** The number of regions, which is the largest region number plus 1, whether or not a tetrahedron
   * has each number in between. Default 0. */
  virtual void SetNumberOfRegions(std::int32_t n) { NumberOfRegions = n; }
  std::int32_t GetNumberOfRegions() const { return NumberOfRegions; }

  /** A region number from 0 for each tetrahedron. */
  std::int32_t* GetRegionData() { return Regions.GetData(); }
  const std::int32_t* GetRegionData() const { return Regions.GetData(); }
  /** Two tetrahedra for each face, the second -1 on the outer surface. AddFace() does not grow it.
   */
  std::int32_t* GetFaceOwnerData() { return FaceOwners.GetData(); }
  const std::int32_t* GetFaceOwnerData() const { return FaceOwners.GetData(); }

  /**
   * Makes the faces that bound a region: those of one tetrahedron (the outer surface) and those
   * between two of different regions (interfaces, vertex indices ascending). All faces are sorted
   * and neighbours in the order compared, n log n for n tetrahedra; the parts that are independent
   * run on the worker threads. Then the outer faces are wound so that their normals point outward,
   * and the vertex normals computed.
   *
   * All vertex indices must be valid. An outer surface that is not closed gives a warning.
   * @return false, with a report, if the memory does not suffice.
   */
  bool BuildFaces();

protected:
  void ReportError(const std::string& message) const override;

private:
  bool KeepBoundaryFaces();
  void OrientOuterSurface();

  trelRecordArray<std::uint32_t, 4> Tetrahedra;
  trelRecordArray<std::int32_t, 2> FaceOwners;
  trelRecordArray<std::int32_t, 1> Regions;
  std::int32_t NumberOfRegions = 0;
};

#endif
