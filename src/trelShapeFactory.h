#ifndef trelShapeFactory_h
#define trelShapeFactory_h

#include "trelShapeObject.h"

/**
 * @file trelShapeFactory.h
 * Makes shapes by their kind, for code that knows them only by their row of traits.
 */

/** A new shape of this kind, which belongs to nobody. */
trelShapeObject* MakeShape(ShapeType type);

#endif
