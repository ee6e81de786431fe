#ifndef trelTetrahedronReader_h
#define trelTetrahedronReader_h

#include "trelLineMeshReader.h"

/**
 * @class   trelTetrahedronReader
 * @brief   what the two formats of tetrahedra share
 * @sa trelAMReader trelNeutralReader
 */
class trelTetrahedronReader : public trelLineMeshReader
{
  trelTypeMacro(trelTetrahedronReader, trelLineMeshReader)

public:
  /** A trelTetrahedron. */
  trelMesh* GetOutput() override;

protected:
  /** The output as what it is. */
  trelTetrahedron* GetTetrahedra();
  /** Stores the region of tetrahedron @p i, from 0, and raises the number of regions if needed;
   * false if the number is below 0 or too large for a count. */
  bool StoreRegion(std::int32_t i, std::int64_t region);
  /** The end of the read: faces and bounds. */
  bool FinishVolume();
};

#endif
