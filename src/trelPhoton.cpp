#include "trelPhoton.h"

void trelPhoton::SetPosition(const trelVector& position)
{
  PositionX = position.X;
  PositionY = position.Y;
  PositionZ = position.Z;
}

void trelPhoton::SetDirection(const trelVector& direction)
{
  DirectionX = direction.X;
  DirectionY = direction.Y;
  DirectionZ = direction.Z;
}

void trelPhoton::ResetPhoton()
{
  SetPosition({0.0, 0.0, 0.0});
  SetDirection({0.0, 0.0, 1.0});
  Weight = 0.0;
  Dead = false;
  TissueIndex = -1;
  StepSize = StepLeft = 0.0;
  Wavelength = WavelengthIndex = 0;
  PathLength = FlyTime = 0.0;
  StepCount = 0;
}
