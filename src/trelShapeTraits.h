#ifndef trelShapeTraits_h
#define trelShapeTraits_h

#include "trelCoordinates.h"

/**
 * @file trelShapeTraits.h
 * What the rest of the program knows of a shape apart from its class: a row for each.
 *
 * A row is SHAPE(name, class, words, dimension, role, curved axes, convex, coordinate, also
 * admitted, coordinate's word, faces), whose columns trelShapeTraits explains. The place of a row
 * is the value of its ShapeType: a new shape comes last.
 *
 * The rectangle's word is not the coordinate that it gets: logs are searched for the text as it is.
 */
#define TREL_SHAPES(SHAPE)                                                                       \
  SHAPE(Rectangle, trelRectangle, "rectangle", 2, RoleBody, 0, true, CoordinateCartesian,        \
        CoordinateCartesian, "Polar",                                                            \
        {{PlaceYMax, SaveUp},                                                                    \
         {PlaceYMin, SaveDown},                                                                  \
         {PlaceXMin, SaveEdgeLeft},                                                              \
         {PlaceXMax, SaveEdgeRight}})                                                            \
  SHAPE(Ellipse, trelEllipse, "ellipse", 2, RoleBody, 2, true, CoordinatePolar, CoordinatePolar, \
        "Polar", {{PlaceAllRound, SaveAlways}})                                                  \
  SHAPE(Ellipsoid, trelEllipsoid, "ellipsoid", 3, RoleBodyOrFiber, 3, true, CoordinateSpherical, \
        CoordinateSpherical, "Spherical", {{PlaceAllRound, SaveAlways}})                         \
  SHAPE(Cylinder, trelCylinder, "cylinder", 3, RoleBodyOrFiber, 2, true, CoordinateCartesian,    \
        CoordinateCylindrical, "Cartesian",                                                      \
        {{PlaceZMax, SaveCylinderTop},                                                           \
         {PlaceZMin, SaveCylinderBottom},                                                        \
         {PlaceAroundZ, SaveCylinderSide}})                                                      \
  SHAPE(TriangleMesh, trelMCTriangleMesh, "mctrianglemesh trianglemesh", 3, RoleBody, 0, false,  \
        CoordinateCartesian, CoordinateCartesian, "Cartesian", {{PlaceTriangles, SaveAlways}})   \
  SHAPE(Cube, trelCube, "cube", 3, RoleBody, 0, true, CoordinateCartesian, CoordinateCartesian,  \
        "Cartesian",                                                                             \
        {{PlaceXMax, SaveFront},                                                                 \
         {PlaceXMin, SaveBack},                                                                  \
         {PlaceYMin, SaveLeft},                                                                  \
         {PlaceYMax, SaveRight},                                                                 \
         {PlaceZMax, SaveTop},                                                                   \
         {PlaceZMin, SaveBottom}})                                                               \
  SHAPE(Tetrahedron, trelMCTetrahedron, "", 3, RoleMedium, 0, false, CoordinateCartesian,        \
        CoordinateCartesian, "Cartesian", {{PlaceTriangles, SaveAlways}})

#define TREL_SHAPE_ENUMERATOR(name, ...) Shape##name,
/** The kinds of shapes: 0 for a rectangle and on in the order of the rows. Parameter structures,
 *  tests and tables depend on the values. */
enum ShapeType : int
{
  TREL_SHAPES(TREL_SHAPE_ENUMERATOR)
};
#undef TREL_SHAPE_ENUMERATOR

/** What a shape can be in the parameter file. */
enum trelShapeRole
{
  RoleMedium,      ///< the whole medium, and nothing else
  RoleBody,        ///< a tissue or a light source
  RoleBodyOrFiber  ///< that, or the solid of a fibre detector
};

/** Where light is scored on or in a shape. The flat ones have the values of a bounding box's order:
 *  the axis that the face lies across is place / 2, and an odd place is a maximum. */
enum trelFacePlace
{
  PlaceXMin,
  PlaceXMax,
  PlaceYMin,
  PlaceYMax,
  PlaceZMin,
  PlaceZMax,
  PlaceAroundZ,    ///< curved, around an axis along z
  PlaceAllRound,   ///< curved, the whole surface
  PlaceTriangles,  ///< the triangles of a mesh
  PlaceVolume,     ///< what the surface holds
  PlaceNone
};

inline constexpr bool IsFlatPlace(trelFacePlace place)
{
  return place < PlaceAroundZ;
}

/** What says whether a face of the outer shape lies in the region of interest and has a grid: the
 *  faces of a box, the parts of a cylinder, the edges of a rectangle. */
#define TREL_SAVE_FLAGS(FLAG) \
  TREL_CUBE_FLAGS(FLAG) TREL_CYLINDER_FLAGS(FLAG) TREL_RECTANGLE_FLAGS(FLAG)
#define TREL_CUBE_FLAGS(FLAG) FLAG(Top) FLAG(Bottom) FLAG(Front) FLAG(Back) FLAG(Left) FLAG(Right)
#define TREL_CYLINDER_FLAGS(FLAG) FLAG(CylinderTop) FLAG(CylinderBottom) FLAG(CylinderSide)
#define TREL_RECTANGLE_FLAGS(FLAG) FLAG(Up) FLAG(Down) FLAG(EdgeLeft) FLAG(EdgeRight)

#define TREL_SAVE_ENUMERATOR(name) Save##name,
/** SaveTop, SaveBottom, ...; SaveAlways stands behind them, for grids that no flag decides about.
 */
enum trelSaveFlag
{
  TREL_SAVE_FLAGS(TREL_SAVE_ENUMERATOR) NumberOfSaveFlags,
  SaveAlways = NumberOfSaveFlags
};
#undef TREL_SAVE_ENUMERATOR

/** A part of a shape's surface. */
struct trelShapeFace
{
  trelFacePlace Place = PlaceNone;
  trelSaveFlag Flag = SaveAlways;  ///< cleared if the region of interest does not reach the face
};

/** No shape has more faces of their own. */
constexpr int MaximumNumberOfFaces = 6;

/** One row. */
struct trelShapeTraits
{
  const char* Words;  ///< of the parameter file, parted by blanks
  int Dimension;      ///< 2 or 3; a shape of 2 lies at z = 0 and looks at no z
  trelShapeRole Role;
  /** The first axes whose half-lengths the equation of a curved surface divides by: 0 without such
   *  a surface, 2 for a tube along z, 3 for one that closes itself along z. */
  int CurvedAxes;
  /** Convex and symmetric to its centre planes: of a box, the corner that is farthest from the
   *  centre along each axis tells whether all of it lies inside. */
  bool Convex;
  CoordinateType Coordinate;  ///< cells of the surface; replaces one that is not admitted
  CoordinateType AlsoAdmitted;
  const char* CoordinateWord;  ///< how the warning about the replacement calls Coordinate
  /** In the order in which IntersectRay() numbers them; a shape with one does not number it. */
  trelShapeFace Faces[MaximumNumberOfFaces];

  /** A shape of two dimensions; a mesh, of triangles or tetrahedra; a surface in one curved piece.
   */
  constexpr bool IsPlanar() const { return Dimension == 2; }
  constexpr bool IsMesh() const { return Faces[0].Place == PlaceTriangles; }
  constexpr bool IsAllRound() const { return Faces[0].Place == PlaceAllRound; }
  /** Whether the surface can be divided into cells of this type. */
  constexpr bool Admits(CoordinateType type) const
  {
    return type == Coordinate || type == AlsoAdmitted;
  }
  /** At least 1. */
  constexpr int GetNumberOfFaces() const
  {
    int number = 0;
    while (number < MaximumNumberOfFaces && Faces[number].Place != PlaceNone)
      ++number;
    return number;
  }
  /** For loops over the faces. */
  const trelShapeFace* begin() const { return Faces; }
  const trelShapeFace* end() const { return Faces + GetNumberOfFaces(); }
};

#define TREL_SHAPE_ROW(name, class, ...) {__VA_ARGS__},
/** The rows by ShapeType, and how many there are. */
inline constexpr trelShapeTraits ShapeTraits[] = {TREL_SHAPES(TREL_SHAPE_ROW)};
#undef TREL_SHAPE_ROW
constexpr int NumberOfShapes = sizeof ShapeTraits / sizeof ShapeTraits[0];

/** The row of @p type. */
inline constexpr const trelShapeTraits& GetShapeTraits(ShapeType type)
{
  return ShapeTraits[type];
}

#endif
