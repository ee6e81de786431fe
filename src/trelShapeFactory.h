#ifndef trelShapeFactory_h
#define trelShapeFactory_h

#include "trelShapeObject.h"

/**
 * @file trelShapeFactory.h
 * Makes shapes by their kind, for what knows them by their row of traits alone.
 */

/** A new shape of this kind, which belongs to nobody. */
trelShapeObject* MakeShape(ShapeType type);

#endif
