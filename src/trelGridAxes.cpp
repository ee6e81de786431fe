#include "trelGridAxes.h"

#include <set>

const char* GetAxisWord(trelAxis axis)
{
  static const char* const words[NumberOfAxes] = {"X-Axis",
                                                  "Y-Axis",
                                                  "Z-Axis",
                                                  "radial direction",
                                                  "azimuth angle direction",
                                                  "deflection angle direction"};
  return words[axis];
}

std::vector<trelAxis> GetAbsorptionAxes(CoordinateType coordinate, SimulationDimension dimension)
{
  const bool solid = dimension == Dimension3D;
  switch (coordinate) {
    case CoordinateCartesian:
      return solid ? std::vector<trelAxis>{AxisX, AxisY, AxisZ}
                   : std::vector<trelAxis>{AxisX, AxisY};
    case CoordinatePolar:
    case CoordinateCylindrical:
      return solid ? std::vector<trelAxis>{AxisZ, AxisRadial, AxisAzimuth}
                   : std::vector<trelAxis>{AxisRadial, AxisAzimuth};
    default:
      return {};
  }
}

/** Adds the axes along which light through @p place is divided in a shape of @p dimension. */
static void AddAxes(trelFacePlace place, CoordinateType coordinate, int dimension,
                    std::set<trelAxis>& axes)
{
  const bool isCartesian = coordinate == CoordinateCartesian;
  if (IsFlatPlace(place) && isCartesian) {
    for (int axis = 0; axis < dimension; ++axis)
      if (axis != place / 2) axes.insert(static_cast<trelAxis>(axis));
  } else if (IsFlatPlace(place)) {
    axes.insert({AxisRadial, AxisAzimuth});
  } else if (place == PlaceAroundZ) {
    axes.insert({AxisZ, AxisAzimuth});
  } else if (place == PlaceAllRound) {
    // The outline of an ellipse has azimuths alone, but models without a radial separation fail.
    axes.insert({coordinate == CoordinatePolar ? AxisRadial : AxisDeflection, AxisAzimuth});
  }
}

std::vector<trelAxis> GetTransmittanceAxes(CoordinateType coordinate, SimulationDimension dimension,
                                           const trelShapeTraits& shape)
{
  const SimulationDimension fitting = shape.IsPlanar() ? Dimension2D : Dimension3D;
  if (dimension != fitting || !shape.Admits(coordinate)) return {};
  std::set<trelAxis> axes;
  for (const trelShapeFace& face : shape)
    AddAxes(face.Place, coordinate, shape.Dimension, axes);
  return {axes.begin(), axes.end()};
}
