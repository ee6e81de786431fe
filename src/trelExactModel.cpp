#include "trelExactModel.h"

#include <algorithm>

#include "trelLightSource.h"
#include "trelList.h"
#include "trelMedium.h"
#include "trelMemory.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"

bool trelExactModel::Resolve(trelSimulationParameter& parameter, double cells)
{
  trelTransportModel::Resolve(parameter);
  SaveFluence = SaveAbsorption && parameter.GetSaveFluenceRate();
  if (parameter.GetStepNumberMaxGiven()) {
    StepLimit = static_cast<std::uint32_t>(std::max(parameter.GetStepNumberMax(), 0));
  }
  if (parameter.GetFlyTimeMaxGiven()) TimeLimit = std::max(parameter.GetFlyTimeMax(), 0.0);
  return FitsInMemory([&] {
    CollectDyes(parameter);
    CollectMarkers();
    Elements.Clear();
    if (parameter.GetScoresElements()) Elements.Build(*parameter.GetMedium()->GetTetrahedron());
    return Dyes.size() <= MaximumDyes && Map.Build(*parameter.GetMedium(), cells);
  });
}

/** The dye lines of FMT; in the other modes nothing converts. */
void trelExactModel::CollectDyes(trelSimulationParameter& parameter)
{
  Dyes.clear();
  if (parameter.GetSimulationType() != FMT) return;
  for (const trelLightSource* light : parameter.GetLightSources()->GetItems<trelLightSource>()) {
    const trelShapeObject* region = light->GetShape();
    if (light->GetLuminousType() != LuminousEmission || !region || region->IsEmpty()) continue;
    for (const trelSpectrum* line : light->GetSpectra()->GetItems<trelSpectrum>()) {
      // A wavelength without a line, too.
      if (line->GetFluorophoreAbsorption() == 0.0) continue;
      Dyes.push_back({region, static_cast<std::int32_t>(line->GetExcitationWavelength()),
                      static_cast<std::int32_t>(line->GetWavelength()),
                      static_cast<std::int32_t>(line->GetWavelengthIndex()),
                      line->GetFluorophoreAbsorption(), line->GetQuantumYield(),
                      line->GetLifeTime(), 0.0});
    }
  }
}

void trelExactModel::CollectMarkers()
{
  Markers.clear();
  for (const trelShapeObject* fiber : FiberShapes)
    if (fiber) Markers.push_back(fiber);
  for (const trelDye& dye : Dyes) {
    if (std::find(Markers.begin(), Markers.end(), dye.Region) == Markers.end())
      Markers.push_back(dye.Region);
  }
  HasMarkers = !Markers.empty();
}

double trelExactModel::SumDyes(const trelExactPacket& packet) const
{
  double sum = 0.0;
  for (std::size_t i = 0; i < Dyes.size(); ++i)
    if (Takes(i, packet)) sum += Dyes[i].Absorption;
  return sum;
}

std::uint64_t trelExactModel::FindDyes(const trelVector& point) const
{
  std::uint64_t dyes = 0;
  for (std::size_t i = 0; i < Dyes.size(); ++i)
    if (Dyes[i].Region->Holds(point)) dyes |= std::uint64_t{1} << i;
  return dyes;
}

bool trelExactModel::IsClear(const trelExactPacket& packet, double length,
                             trelClearance* clearance) const
{
  if (packet.IsUnsure) return false;
  const trelWay way = {packet.Position, packet.Position + length * packet.Direction, length,
                       Map.GetMargin()};
  if (!Map.IsClear(way, packet.TissueIndex, clearance)) return false;
  return std::all_of(Markers.begin(), Markers.end(), [&](const trelShapeObject* shape) {
    return shape->IsClear(way, &clearance->Radius);
  });
}
