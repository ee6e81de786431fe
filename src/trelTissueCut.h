#ifndef trelTissueCut_h
#define trelTissueCut_h

#include <cstdint>
#include <string>
#include <vector>

class trelSimulationParameter;

/** A plane across an axis, and how finely it is looked at. */
struct trelCutPlane
{
  static constexpr int MostPoints = 2000;  ///< that may be asked for

  int Axis = 0;  ///< 0, 1, 2: x, y, z
  double Value = 0.0;
  int Points = 200;  ///< along the longer side
};

/** Reads "AXIS=VALUE" or "AXIS=VALUE:POINTS"; what is wrong with it, or empty. */
std::string ReadCutPlane(const std::string& text, trelCutPlane* plane);

/**
 * The tissues in a plane through the box of the medium, by the exact rules. The box's section is
 * divided into equal cells, and each has the tissue of its centre.
 */
struct trelTissueCut
{
  trelCutPlane Plane;
  int Axes[2] = {};                  ///< the two other ones, in the order x, y, z
  double Low[2] = {}, High[2] = {};  ///< of the medium's box, mm
  int Counts[2] = {};                ///< of points
  /** Numbers of tissues, 0 outside; the second axis fastest. */
  std::vector<std::int32_t> Tissues;
};

/** Looks at the plane; false if the medium has no bounds, or lies in another plane. Needs prepared
 *  geometry; may throw std::bad_alloc. */
bool CutTissues(const trelSimulationParameter& parameter, const trelCutPlane& plane,
                trelTissueCut* cut);

#endif
