#ifndef trelObjectDisplay_h
#define trelObjectDisplay_h

#include "trelSimulationObject.h"

/** How a viewer draws one aspect of an object: colour and opacity in [0, 1] and two switches. */
struct trelDisplayGroup
{
  float Red;
  float Green;
  float Blue;
  float Opacity;
  bool FlagA;
  bool FlagB;
};

/**
 * @class   trelObjectDisplay
 * @brief   display attributes of a model object, for a viewer
 *
 * This program has no viewer: the attributes are carried with the model and read by nothing here.
 */
class trelObjectDisplay final : public trelSimulationObject
{
  trelTypeMacro(trelObjectDisplay, trelSimulationObject)

public:
  /** For a viewer's ways to draw an object; their meaning is the viewer's. */
  static constexpr int NumberOfGroups = 4;

  trelObjectDisplay();
  /** Starts with the given groups in the place of the plain white ones. */
  explicit trelObjectDisplay(const trelDisplayGroup (&groups)[NumberOfGroups]);

  /** Sets group 0 to 3; ignores any other number. */
  void SetDisplay(int group, float red, float green, float blue, float opacity, bool flagA,
                  bool flagB);
  /** Group 0 to 3; null for any other number. */
  const trelDisplayGroup* GetDisplay(int group) const;

  /** Whether the object is shown at all, default true. */
  trelSetGetMacro(bool, Visible)

private:
  trelDisplayGroup Groups[NumberOfGroups];
  bool Visible = true;
};

#endif
