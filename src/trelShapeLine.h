#ifndef trelShapeLine_h
#define trelShapeLine_h

#include "trelReadState.h"

class trelShapeObject;
class trelTraceableMesh;
struct trelShapeTraits;

/**
 * @file trelShapeLine.h
 * Lines that give sources, tissues and fibres a shape: "tissueshape cylinder", and the paths of
 * mesh files. What is wrong with a word or a path is explained in the state.
 */

/** Which kinds of shapes a line admits. */
using trelShapeFilter = bool (*)(const trelShapeTraits&);
bool IsSolidShape(const trelShapeTraits& shape);
bool IsPlanarShape(const trelShapeTraits& shape);
bool IsFiberShape(const trelShapeTraits& shape);

/** A new shape of the kind that the word behind the keyword names; null if no admitted kind has
 * such a word. */
trelShapeObject* MakeNamedShape(trelReadState& state, trelShapeFilter admits);

/** Loads the mesh from the path behind the keyword; leaves it empty if that cannot be. */
void LoadNamedMesh(trelReadState& state, trelTraceableMesh& mesh);

#endif
