#ifndef trelModelTypes_h
#define trelModelTypes_h

#include <cstdint>

#include "trelCoordinates.h"

/**
 * @file trelModelTypes.h
 * The enumerations of the model. Their values stand in parameter structures and tables all over the
 * system. The kinds of shapes stand in trelShapeTraits.h, the relations of a point to a shape in
 * trelShapeObject.h, axes and kinds of cells in trelCoordinates.h.
 *
 * A field that has the name of its type is declared with the word `enum` in front of the type.
 */

/** The imaging mode: which sources emit, and whether packets convert on the way. */
enum SimulationType : std::int32_t
{
  BLT = 0, /**< bioluminescence tomography */
  FMT = 1, /**< fluorescence molecular tomography */
  DOT = 2  /**< diffuse optical tomography */
};

/** Whether packets travel in a plane or in space. */
enum SimulationDimension : std::int32_t
{
  Dimension2D = 0,
  Dimension3D = 1,
  DimensionUnset = 2 /**< the parameter file has not said; nothing can be simulated */
};

/** How light travels in the medium. */
enum MediumAlgorithm : std::int32_t
{
  MediumVRMC = 0, /**< Monte Carlo with variance reduction: weighted packets */
  MediumAMC = 1   /**< a word of the parameter file without an implementation */
};

/** How light travels from the surface of the medium to the detectors. */
enum FreespaceAlgorithm : std::int32_t
{
  FreespaceVRMC = 0,
  FreespaceLambert = 1,
  FreespacePinhole = 2
};

/** The rules by which light travels and is scored. docs/physics.md compares them. */
enum trelRules : std::int32_t
{
  RulesClassic = 0, /**< those of the program trel, with all that its files depend on */
  RulesExact = 1    /**< the radiative transfer equation in the model as it is written */
};

/** What makes a light source shine. */
enum LuminousType : std::int32_t
{
  LuminousBioluminescence = 0,
  LuminousDiffuse = 1,
  LuminousExcitation = 2,
  LuminousEmission = 3 /**< a fluorophore: emits only what excitation packets bring to it */
};

/** The coordinate plane that a plane detector's orientation is measured from. */
enum VerticalPlane : std::int32_t
{
  PlaneXY = 0,
  PlaneXZ = 1,
  PlaneYZ = 2
};
/** Its words, by the value. */
inline constexpr const char* PlaneNames[] = {"xy", "xz", "yz"};

/** A camera outside of the medium or a fibre in it. */
enum DetectorType : std::int32_t
{
  DetectorPlane = 0,
  DetectorFiber = 1
};

#endif
