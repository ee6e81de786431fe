#ifndef trelAMReader_h
#define trelAMReader_h

#include "trelTetrahedronReader.h"

/**
 * @class   trelAMReader
 * @brief   reads tetrahedra in the AM text format of sections
 *
 * A header gives the counts by the words nNodes and nTetrahedra in any letter case. Three sections
 * follow, each behind a line that starts with @, in the fixed order vertices (x y z), tetrahedra
 * (four vertex numbers from 1), regions (a number from 0 for each tetrahedron). What follows the @
 * has no meaning. A section that does not agree with its count fails.
 */
class trelAMReader final : public trelTetrahedronReader
{
  trelTypeMacro(trelAMReader, trelTetrahedronReader)

protected:
  bool ReadMesh() override;
  void ReportError(const std::string& message) const override;

private:
  bool ReadHeader();
  template <class StoreRecord>
  bool ReadSection(std::int32_t count, bool last, StoreRecord store);
};

#endif
