#include "trelShapeFactory.h"

#include "trelCube.h"
#include "trelCylinder.h"
#include "trelEllipse.h"
#include "trelEllipsoid.h"
#include "trelMCTetrahedron.h"
#include "trelMCTriangleMesh.h"
#include "trelRectangle.h"

template <class Shape>
static trelShapeObject* Make()
{
  return new Shape;
}

#define TREL_SHAPE_MAKER(name, class, ...) Make<class>,
static trelShapeObject* (*const Makers[NumberOfShapes])() = {TREL_SHAPES(TREL_SHAPE_MAKER)};
#undef TREL_SHAPE_MAKER

trelShapeObject* MakeShape(ShapeType type)
{
  return Makers[type]();
}
