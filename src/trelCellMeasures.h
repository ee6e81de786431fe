#ifndef trelCellMeasures_h
#define trelCellMeasures_h

#include <cstddef>
#include <vector>

#include "trelGridTable.h"

/**
 * @class   trelCellMeasures
 * @brief   the true length, area or volume of each cell of a grid, by the exact rules
 *
 * In mm, mm^2 or mm^3; of the whole cell, also where the body fills only a part of it; the last
 * cell along an axis is as wide as what is left of the range. A measure is a product of one factor
 * for each axis: widths, (r2^2 - r1^2) / 2 of a ring, radians of an azimuth, the arc of an elliptic
 * outline. Cells on an ellipsoid have an area each, by quadrature. They are the same in all
 * domains.
 */
class trelCellMeasures
{
public:
  /** Works out those of @p grid, which is none of a mesh. */
  trelCellMeasures(trelGridId grid, const trelGridWindow& window);

  /** The measure of a cell by its indices as stored; what the grid has no axis for is 0. */
  double Get(std::int32_t i, std::int32_t j, std::int32_t k) const
  {
    const std::int32_t indices[3] = {i, j, k};
    if (!Areas.empty()) return Areas[static_cast<std::size_t>(i) * Columns + indices[1]];
    double measure = 1.0;
    for (int axis = 0; axis < NumberOfAxes; ++axis)
      measure *= Factors[axis][static_cast<std::size_t>(indices[axis])];
    return measure;
  }

private:
  int NumberOfAxes;
  std::vector<double> Factors[3];  ///< by axis and index
  std::vector<double> Areas;       ///< row by row, of an ellipsoid; empty otherwise
  std::size_t Columns = 0;
};

/** The arc of the outline x^2 / a^2 + y^2 / b^2 = 1 between two azimuths, degrees, of its points
 *  about the centre (not of the outline's parameter). */
double ComputeArc(double a, double b, double azimuth1, double azimuth2);

/** The area of the ellipsoid of half-axes @p h between two azimuths and two deflections, degrees,
 * of its points about the centre. */
double ComputeEllipsoidArea(const double h[3], double azimuth1, double azimuth2, double deflection1,
                            double deflection2);

#endif
