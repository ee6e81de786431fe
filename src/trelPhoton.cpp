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

void trelPhoton::CopyPacket(const trelPhoton& packet)
{
  PositionX = packet.PositionX;
  PositionY = packet.PositionY;
  PositionZ = packet.PositionZ;
  DirectionX = packet.DirectionX;
  DirectionY = packet.DirectionY;
  DirectionZ = packet.DirectionZ;
  Weight = packet.Weight;
  Dead = packet.Dead;
  TissueIndex = packet.TissueIndex;
  StepSize = packet.StepSize;
  StepLeft = packet.StepLeft;
  Wavelength = packet.Wavelength;
  WavelengthIndex = packet.WavelengthIndex;
  PathLength = packet.PathLength;
  FlyTime = packet.FlyTime;
  StepCount = packet.StepCount;
}
