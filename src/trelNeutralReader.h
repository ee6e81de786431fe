#ifndef trelNeutralReader_h
#define trelNeutralReader_h

#include "trelTetrahedronReader.h"

/**
 * @class   trelNeutralReader
 * @brief   reads tetrahedra in the neutral text format
 *
 * The number of vertices; a line for each (x y z); the number of tetrahedra; a line for each
 * (region and four vertex numbers, all from 1; decimals are cut off). What follows is not read.
 */
class trelNeutralReader final : public trelTetrahedronReader
{
  trelTypeMacro(trelNeutralReader, trelTetrahedronReader)

protected:
  bool ReadMesh() override;
  void ReportError(const std::string& message) const override;

private:
  bool ReadTetrahedra();
};

#endif
