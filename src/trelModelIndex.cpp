#include "trelModelIndex.h"

#include <algorithm>

#include "trelLightSource.h"
#include "trelList.h"
#include "trelMedium.h"
#include "trelMemory.h"
#include "trelOpticalParameter.h"
#include "trelSimulationParameter.h"
#include "trelSpectrum.h"
#include "trelTissue.h"

/** Appends @p count new items to @p list, which then holds them, and to @p index. */
template <class Item>
static void AppendNew(trelList& list, std::vector<Item*>& index, std::int32_t count)
{
  for (std::int32_t i = 0; i < count; ++i) {
    auto* item = new Item;
    item->Register();
    list.Append(item);
    index.push_back(item);
  }
}

/** Entry @p i of @p items; null when out of range. */
template <class Item>
static Item* GetEntry(const std::vector<Item*>& items, std::int64_t i)
{
  return i < 0 || i >= static_cast<std::int64_t>(items.size()) ? nullptr : items[i];
}

/** Entry @p j of row @p i; null when either is out of range. */
template <class Item>
static Item* GetEntry(const std::vector<Item*>& items, int rowLength, int i, int j)
{
  if (i < 0 || j < 0 || j >= rowLength) return nullptr;
  return GetEntry(items, std::int64_t{i} * rowLength + j);
}

std::int64_t trelModelIndex::CountObjects(std::int32_t sources, std::int32_t tissues,
                                          std::int32_t spectra)
{
  const std::int64_t owners = std::max<std::int64_t>(sources, 0) + std::max(tissues, 0);
  const std::int64_t each = std::int64_t{1} + std::max(spectra, 0);
  return owners * each;  // below 2^32 times 2^31
}

bool trelModelIndex::Allocate(trelSimulationParameter& parameter, std::int32_t sources,
                              std::int32_t tissues, std::int32_t spectra)
{
  *this = trelModelIndex();
  if (CountObjects(sources, tissues, spectra) > MaximumOfObjects) return false;
  NumberOfSpectra = std::max(spectra, 0);
  return FitsInMemory([&] { AllocateAll(parameter, sources, tissues); });
}

void trelModelIndex::AllocateAll(trelSimulationParameter& parameter, std::int32_t sources,
                                 std::int32_t tissues)
{
  // The model owns each list before it is filled, so that nothing is lost when memory runs out.
  auto* sourceList = new trelList;
  parameter.SetLightSources(sourceList);
  AppendNew(*sourceList, LightSources, sources);
  auto* tissueList = new trelList;
  parameter.GetMedium()->SetTissues(tissueList);
  AppendNew(*tissueList, Tissues, tissues);
  for (trelLightSource* source : LightSources) {
    AppendNew(*source->GetSpectra(), Spectra, NumberOfSpectra);
  }
  for (trelTissue* tissue : Tissues) {
    AppendNew(*tissue->GetOpticalParameters(), OpticalParameters, NumberOfSpectra);
  }
}

trelLightSource* trelModelIndex::GetLightSource(int i) const
{
  return GetEntry(LightSources, i);
}

trelTissue* trelModelIndex::GetTissue(int i) const
{
  return GetEntry(Tissues, i);
}

trelSpectrum* trelModelIndex::GetSpectrum(int i, int j) const
{
  return GetEntry(Spectra, NumberOfSpectra, i, j);
}

trelOpticalParameter* trelModelIndex::GetOpticalParameter(int i, int j) const
{
  return GetEntry(OpticalParameters, NumberOfSpectra, i, j);
}
