#ifndef trelDetector_h
#define trelDetector_h

#include "trelModelTypes.h"
#include "trelSimulationObject.h"

class trelObjectDisplay;

/**
 * @class   trelDetector
 * @brief   what collects light: a plane behind a lens in free space, or a fibre in the medium
 * @sa trelPlaneDetector trelFiberDetector
 */
class trelDetector : public trelSimulationObject
{
  trelTypeMacro(trelDetector, trelSimulationObject)

public:
  trelDetector();
  ~trelDetector() override;

  /** Which of the derived classes it is. */
  virtual DetectorType GetDetectorType() const = 0;

  /** How a viewer draws it; never null. */
  trelObjectDisplay* GetDisplay() const { return Display; }

private:
  trelObjectDisplay* Display;
};

#endif
