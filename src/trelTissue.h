#ifndef trelTissue_h
#define trelTissue_h

#include <cstdint>
#include <string>

#include "trelSimulationObject.h"

class trelList;
class trelObjectDisplay;
class trelOpticalParameter;
class trelShapeObject;

/**
 * @class   trelTissue
 * @brief   a solid and its optical coefficients at each wavelength
 */
class trelTissue final : public trelSimulationObject
{
  trelTypeMacro(trelTissue, trelSimulationObject)

public:
  trelTissue();
  ~trelTissue() override;

  /** Lets go of shape, optical parameters and display; the lists are null after it. */
  virtual void ClearModel();

  /** The name that the parameter file gives, default "unNamed". */
  void SetName(const char* name) { Name = name ? name : ""; }
  const std::string& GetName() const { return Name; }

  /**
   * The solid, held by reference; null until set, and always null in a tetrahedral medium. Setting
   * null is ignored. A shape that is set after the medium has built its grid needs a new build.
   */
  void SetShape(trelShapeObject* shape);
  trelShapeObject* GetShape() const { return Shape; }

  /**
   * The optical parameters, one for each wavelength in their order. The tissue takes the list over
   * with its items; the items of a former list are released.
   */
  void SetOpticalParameters(trelList* parameters);
  trelList* GetOpticalParameters() const { return OpticalParameters; }
  /** Entry @p i, from 0; null when there is none. */
  trelOpticalParameter* GetOpticalParameter(int i) const;
  /** The first entry with this wavelength, or the last entry when none has it. */
  trelOpticalParameter* GetOpticalParameterByWavelength(std::uint32_t wavelength) const;

  /** How a viewer draws it; never null. */
  trelObjectDisplay* GetDisplay() const { return Display; }

private:
  std::string Name = "unNamed";
  trelShapeObject* Shape = nullptr;
  trelList* OpticalParameters;
  trelObjectDisplay* Display;
};

#endif
