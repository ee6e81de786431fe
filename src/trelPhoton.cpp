#include "trelPhoton.h"

void trelPhoton::ResetPhoton()
{
  PositionX = PositionY = PositionZ = 0.0;
  DirectionX = DirectionY = 0.0;
  DirectionZ = 1.0;
  Weight = 0.0;
  Dead = false;
  TissueIndex = -1;
  StepSize = StepLeft = 0.0;
  Wavelength = WavelengthIndex = 0;
  PathLength = FlyTime = 0.0;
  StepCount = 0;
}
