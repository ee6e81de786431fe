#ifndef trelSURFReader_h
#define trelSURFReader_h

#include "trelLineMeshReader.h"

/**
 * @class   trelSURFReader
 * @brief   reads a triangle surface in the SURF text format
 *
 * Line 1 starts with the word surfacemesh in any letter case; the number of vertices; a line for
 * each (x y z); the number of faces; a line for each (three vertex numbers from 1).
 */
class trelSURFReader final : public trelLineMeshReader
{
  trelTypeMacro(trelSURFReader, trelLineMeshReader)

protected:
  bool ReadMesh() override;
  void ReportError(const std::string& message) const override;

private:
  bool ReadFaces();
};

#endif
