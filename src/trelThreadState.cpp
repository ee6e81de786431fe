#include "trelThreadState.h"

#include "trelPhoton.h"

static thread_local ThreadState State;

ThreadState& GetThreadState()
{
  return State;
}

trelPacket ThreadState::LoadPacket() const
{
  trelPacket packet;
  packet.Position = Photon->GetPosition();
  packet.Direction = Photon->GetDirection();
  packet.Weight = Photon->Weight;
  packet.SourceWeight = SourceWeight;
  packet.StepSize = Photon->StepSize;
  packet.StepLeft = Photon->StepLeft;
  packet.PathLength = Photon->PathLength;
  packet.FlyTime = Photon->FlyTime;
  packet.TissueIndex = Photon->TissueIndex;
  packet.Wavelength = Photon->Wavelength;
  packet.WavelengthIndex = Photon->WavelengthIndex;
  packet.StepCount = Photon->StepCount;
  packet.Dead = Photon->Dead;
  packet.Here = nullptr;
  packet.CurrentDetector = CurrentDetector;
  packet.Boundary.Hit = {0.0, BoundaryFace, {NormalX, NormalY, NormalZ}};
  packet.Boundary.NextTissue = NextTissue;
  packet.Boundary.IndexHere = IndexHere;
  packet.Boundary.IndexNext = IndexNext;
  packet.Boundary.TransmitAngle = TransmitAngle;
  return packet;
}

void ThreadState::StorePacket(const trelPacket& packet)
{
  Photon->SetPosition(packet.Position);
  Photon->SetDirection(packet.Direction);
  Photon->Weight = packet.Weight;
  SourceWeight = packet.SourceWeight;
  Photon->StepSize = packet.StepSize;
  Photon->StepLeft = packet.StepLeft;
  Photon->PathLength = packet.PathLength;
  Photon->FlyTime = packet.FlyTime;
  Photon->TissueIndex = packet.TissueIndex;
  Photon->Wavelength = packet.Wavelength;
  Photon->WavelengthIndex = packet.WavelengthIndex;
  Photon->StepCount = packet.StepCount;
  Photon->Dead = packet.Dead;
  CurrentDetector = packet.CurrentDetector;
  BoundaryFace = packet.Boundary.Hit.Face;
  NormalX = packet.Boundary.Hit.Normal.X;
  NormalY = packet.Boundary.Hit.Normal.Y;
  NormalZ = packet.Boundary.Hit.Normal.Z;
  NextTissue = packet.Boundary.NextTissue;
  IndexHere = packet.Boundary.IndexHere;
  IndexNext = packet.Boundary.IndexNext;
  TransmitAngle = packet.Boundary.TransmitAngle;
}
