#ifndef trelMeshReader_h
#define trelMeshReader_h

#include "trelReader.h"

class trelMesh;

/**
 * @class   trelMeshReader
 * @brief   the frame of the mesh readers: opens file 0, lets the format read it, reports a failure
 *
 * A reader is made for one file, run once and thrown away. Coordinates are in mm. A file that is
 * cut, wrong or hostile gives a report and a false result; the mesh then stays as far as it was
 * filled. A file that cannot be opened gives no report: the caller has one.
 * @sa trelLineMeshReader trelPLYReader trelSTLReader
 */
class trelMeshReader : public trelReader
{
  trelTypeMacro(trelMeshReader, trelReader)

public:
  ~trelMeshReader() override;

  /** Reads file 0. A failure reports the file name, ": \n" and the details that the format has. */
  bool Execute() override;

  /** The mesh, which the reader holds and makes when it is first asked for: a trelTriangleMesh, of
   * a tetrahedron format a trelTetrahedron. */
  virtual trelMesh* GetOutput();

protected:
  virtual bool OpenFile(const char* name) = 0;
  virtual void CloseFile() = 0;
  /** Reads the opened file into the mesh; false with the details in lastError. */
  virtual bool ReadMesh() = 0;

  /** Reports an error as the concrete class, which defines it by trelReportErrorMacro. */
  virtual void ReportError(const std::string& message) const = 0;

  /** Appends @p details, which may be "", to lastError. @return false. */
  bool Fail(const char* details);
  /** Stores the bounds of the mesh; fails if a coordinate is not finite. */
  bool ComputeBounds();
  /** The end of each surface format: bounds, vertex normals if @p normals, orientation. */
  bool FinishSurface(bool normals);

  trelMesh* Output = nullptr;
  /** The details of a failure. */
  std::string lastError;
  /** Whether vertex normals come from the faces instead of the file. Nothing clears it. */
  bool ComputeNormals = true;
};

#endif
