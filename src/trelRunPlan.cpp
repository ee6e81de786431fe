#include "trelRunPlan.h"

#include <algorithm>
#include <cmath>
#include <numeric>

/** The integer part of a b / c, for a product of any size; none is negative, and c is positive. */
static std::int64_t FloorOfRatio(std::int64_t a, std::int64_t b, std::int64_t c)
{
  __extension__ typedef unsigned __int128 Wide;
  return static_cast<std::int64_t>(static_cast<Wide>(a) * static_cast<Wide>(b) /
                                   static_cast<Wide>(c));
}

void trelRunPlan::Build(const std::vector<trelRunEntry>& entries, std::int64_t packets,
                        std::int64_t batches)
{
  Entries.clear();
  Batches = std::max<std::int64_t>(batches, 1);
  std::int64_t all = 0;
  for (const trelRunEntry& entry : entries)
    all += entry.Packets;
  for (trelRunEntry entry : entries) {
    if (entry.Packets == 0) continue;
    if (packets > 0)
      entry.Packets = std::max<std::int64_t>(FloorOfRatio(packets, entry.Packets, all), 1);
    entry.Share = (entry.Packets - 1) / Batches + 1;
    entry.Packets = entry.Share * Batches;
    Entries.push_back(entry);
  }
  SumShares();
}

void trelRunPlan::SetBatches(std::int64_t batches)
{
  Batches = batches;
  for (trelRunEntry& entry : Entries)
    entry.Packets = entry.Share * Batches;
}

bool trelRunPlan::SetShares(const std::vector<double>& shares)
{
  const auto isShare = [](double share) { return share >= 1.0; };
  const bool isSound = shares.size() == Entries.size() &&
                       std::all_of(shares.begin(), shares.end(), isShare) &&
                       std::accumulate(shares.begin(), shares.end(), 0.0) <= 0x1.0p53;
  if (!isSound) return false;
  for (std::size_t i = 0; i < shares.size(); ++i)
    Entries[i].Share = static_cast<std::int64_t>(shares[i]);
  SumShares();
  return true;
}

std::vector<double> trelRunPlan::GetShares() const
{
  std::vector<double> shares;
  for (const trelRunEntry& entry : Entries)
    shares.push_back(static_cast<double>(entry.Share));
  return shares;
}

void trelRunPlan::ShareAlike(std::int64_t packets)
{
  for (trelRunEntry& entry : Entries)
    entry.Share = packets;
  SumShares();
}

void trelRunPlan::SetShares(const std::vector<std::int64_t>& shares)
{
  for (std::size_t i = 0; i < Entries.size(); ++i)
    Entries[i].Share = shares[i];
  SumShares();
}

void trelRunPlan::SumShares()
{
  Sums.assign(1, 0);
  for (const trelRunEntry& entry : Entries)
    Sums.push_back(Sums.back() + entry.Share);
}

/** By halves: of the first n packets of two sets with a and b packets, n a / (a + b), rounded down,
 *  are of the first set (J. E. Bresenham, IBM Syst. J. 4 (1965) 25, draws lines so). */
std::int64_t trelRunPlan::CountLower(std::int64_t place, std::size_t first, std::size_t last) const
{
  const std::size_t middle = first + (last - first) / 2;
  return FloorOfRatio(place, Sums[middle] - Sums[first], Sums[last] - Sums[first]);
}

trelPlannedPacket trelRunPlan::Find(std::int64_t place) const
{
  std::size_t first = 0, last = Entries.size();
  while (last - first > 1) {
    const std::size_t middle = first + (last - first) / 2;
    const std::int64_t before = CountLower(place, first, last);
    if (CountLower(place + 1, first, last) > before) {
      place = before;
      last = middle;
    } else {
      place -= before;
      first = middle;
    }
  }
  return {first, place};
}

void trelRunPlan::CountAhead(std::int64_t places, std::size_t first, std::size_t last,
                             std::vector<std::int64_t>& counts) const
{
  if (last - first == 1) {
    counts[first] = places;
    return;
  }
  const std::size_t middle = first + (last - first) / 2;
  const std::int64_t lower = CountLower(places, first, last);
  CountAhead(lower, first, middle, counts);
  CountAhead(places - lower, middle, last, counts);
}

std::vector<std::int64_t> trelRunPlan::CountAhead(std::int64_t places) const
{
  std::vector<std::int64_t> counts(Entries.size());
  if (!Entries.empty()) CountAhead(places, 0, Entries.size(), counts);
  return counts;
}

std::vector<std::int64_t> trelRunPlan::CountLaunched(std::int64_t places) const
{
  const std::int64_t size = std::max<std::int64_t>(GetPacketsOfBatch(), 1);
  std::vector<std::int64_t> counts = CountAhead(places % size);
  for (std::size_t i = 0; i < counts.size(); ++i)
    counts[i] += places / size * Entries[i].Share;
  return counts;
}
