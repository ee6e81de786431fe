#ifndef trelSurfaceElement_h
#define trelSurfaceElement_h

#include <cstdint>

#include "trelGridWindow.h"
#include "trelModelTypes.h"

class trelTraceableMesh;

/**
 * @file trelSurfaceElement.h
 * The piece of the medium's surface that a cell of transmittance belongs to, for each shape: where
 * it lies, where it faces, how large it is. The cell has the indices of the point that was hit; the
 * element is taken at the middle of the cell.
 *
 * The window carries the bins, the centre and the half-lengths of the shape. Angles of midpoints
 * use PiSingle.
 */

/** A small patch of the surface; all zero until made. */
struct SurfaceElement
{
  std::int32_t Index[2] = {0, 0};  ///< of its cell; of a mesh, which goes by faces, unused
  double Center[3] = {0.0, 0.0, 0.0};
  double Normal[3] = {0.0, 0.0, 0.0};  ///< unit length, out of the medium
  double Area = 0.0;                   ///< mm^2
};

/** By deflection and azimuth. False if @p hit lies outside of the window in either. */
bool MakeEllipsoidElement(const trelGridWindow& window, const double hit[3],
                          SurfaceElement* element);

/** Of the top (@p face 0) and the bottom (1) in the cells of @p coordinate, else of the side. The
 *  indices are not held against the window. */
void MakeCylinderElement(const trelGridWindow& window, CoordinateType coordinate,
                         const double hit[3], int face, SurfaceElement* element);

/** Of one of the six faces of a box; another face leaves @p element alone. The indices are not held
 *  against the window. */
void MakeCubeElement(const trelGridWindow& window, const double hit[3], int face,
                     SurfaceElement* element);

/** The triangle @p face itself; one that does not exist leaves @p element alone. */
void MakeMeshElement(const trelTraceableMesh& mesh, int face, SurfaceElement* element);

#endif
