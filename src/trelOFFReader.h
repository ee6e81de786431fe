#ifndef trelOFFReader_h
#define trelOFFReader_h

#include "trelLineMeshReader.h"

/**
 * @class   trelOFFReader
 * @brief   reads a triangle surface in the OFF text format
 *
 * Line 1 starts with the word OFF in any letter case; blank lines; a line with the numbers of
 * vertices and faces; a line for each vertex (x y z) and each face (3 and three vertex numbers from
 * 0). There are no comments: two words or more before the counts are taken for the counts.
 */
class trelOFFReader final : public trelLineMeshReader
{
  trelTypeMacro(trelOFFReader, trelLineMeshReader)

protected:
  bool ReadMesh() override;
  void ReportError(const std::string& message) const override;

private:
  bool ReadHeader();
  bool ReadFaces();
};

#endif
