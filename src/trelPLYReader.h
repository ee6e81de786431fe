#ifndef trelPLYReader_h
#define trelPLYReader_h

#include "PlyFileReader.h"
#include "trelMeshReader.h"

/**
 * @class   trelPLYReader
 * @brief   reads a triangle surface in the PLY format, as text or in either binary byte order
 *
 * PlyFileReader knows the format; this class sizes the mesh and finishes it. Vertex normals are
 * taken from the file if it has them.
 */
class trelPLYReader final : public trelMeshReader
{
  trelTypeMacro(trelPLYReader, trelMeshReader)

protected:
  bool OpenFile(const char* name) override;
  void CloseFile() override;
  bool ReadMesh() override;
  void ReportError(const std::string& message) const override;

private:
  PlyFileReader Ply;
};

#endif
