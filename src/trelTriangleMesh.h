#ifndef trelTriangleMesh_h
#define trelTriangleMesh_h

#include "trelMesh.h"

/**
 * @class   trelTriangleMesh
 * @brief   a surface of triangles as a reader delivers it
 * @sa trelMesh trelMCTriangleMesh
 */
class trelTriangleMesh final : public trelMesh
{
  trelTypeMacro(trelTriangleMesh, trelMesh)

public:
  ~trelTriangleMesh() override;

  int GetDataType() const override { return 9; }
  /** (faces + 2 vertices) * 12 bytes. */
  unsigned long GetActualMemorySize() const override;
  void PrintSelf(std::ostream& stream) const override;

  /** Takes counts and bounds of another triangle mesh, not what its records hold. */
  void ShallowCopy(trelDataObject* source) override;
  /** Takes counts, bounds and records of another triangle mesh. */
  void DeepCopy(trelDataObject* source) override;

protected:
  void ReportError(const std::string& message) const override;
};

#endif
