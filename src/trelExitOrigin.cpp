#include "trelExitOrigin.h"

#include <algorithm>
#include <cmath>

#include "trelExitRecorder.h"
#include "trelRunOrigin.h"

static std::int64_t FindLimit(const trelRunOrigin& origin, std::size_t file)
{
  std::int64_t limit = 0;
  return ReadExitLimit(origin.GetText(file, "exits_asked"), &limit) ? limit : 0;
}

std::string trelExitOrigin::Choose(const trelRunOrigin& origin, std::int64_t asked)
{
  Limit = FindLimit(origin, 0);
  if (asked == 0 || asked == Limit) return "";
  if (Limit == 0)
    return "--exits: packets that have flown are in no table of exits: " + origin.GetName() +
           " has none";
  return "--exits is not that of " + origin.GetName() + ", which is " + FormatExitLimit(Limit);
}

std::string trelExitOrigin::ChooseOfParts(const trelRunOrigin& origin)
{
  std::int64_t least = trelExitRecorder::AllExits;
  const std::string* without = nullptr;
  bool isAny = false;
  for (std::size_t i = 0; i < origin.GetNumberOfFiles(); ++i) {
    const std::int64_t limit = FindLimit(origin, i);
    isAny |= limit > 0;
    if (limit == 0) without = &origin.GetName(i);
    least = std::min(least, limit);
  }
  if (isAny && !origin.HasOneSeed())
    return "the tables of exits are left out: packets of different seeds have the same numbers";
  Limit = least;
  return isAny && without ? "the tables of exits are left out: " + *without + " has none" : "";
}

std::string trelExitOrigin::Open(const trelRunOrigin& origin)
{
  Origin = &origin;
  for (std::size_t i = 0; i < origin.GetNumberOfFiles(); ++i) {
    Readers.push_back(std::make_unique<trelLabelledExitReader>());
    if (!Readers.back()->Open(origin.GetName(i), true))
      return origin.GetName(i) + ": " + Readers.back()->GetFault();
  }
  return "";
}

bool trelExitOrigin::Fill(trelExitTable& table, std::size_t tissues, bool hasEmission)
{
  for (std::size_t i = 0; i < Readers.size(); ++i) {
    const int part = table.AddPart();
    if (part < 0) return false;
    if (FillFrom(i, part, table, tissues, hasEmission ? NumberOfPathLegs : 1)) {
      Readers[i].reset();
      continue;
    }
    const std::string& fault = Readers[i]->GetFault();
    Fault = Origin->GetName(i) + ": " + (fault.empty() ? "its table of exits is damaged" : fault);
    return false;
  }
  return true;
}

static bool AreSame(const trelExitEntry& a, const trelExitEntry& b)
{
  return a.Source == b.Source && a.Spectrum == b.Spectrum && a.Share == b.Share;
}

/** Whether the row can be of a batch of so many packets, and not ahead of @p last. */
static bool IsSound(const trelExit& exit, const std::vector<trelExitEntry>& entries,
                    std::int64_t batch, std::int64_t last)
{
  const bool isWhole = exit.Entry >= 0 && exit.Packet >= 0 && exit.Conversion >= 0 &&
                       exit.Detector >= 0 && exit.Face >= 0 && exit.Wavelength >= 0;
  if (!isWhole || exit.Place < last || !std::isfinite(exit.Weight)) return false;
  const trelExitEntry& entry = entries[static_cast<std::size_t>(exit.Entry)];
  return exit.Packet >= entry.First && exit.Packet < entry.End &&
         exit.Place / batch == exit.Packet / entry.Share;
}

/** Whether a file has the exits of all its packets, if they are fewer than were asked for. */
bool trelExitOrigin::CoversAll(std::size_t file, std::int64_t batch) const
{
  double covered = 0.0;
  for (const trelExitEntry& entry : Readers[file]->GetEntries())
    covered += static_cast<double>(entry.Covered);
  const bool isFull = static_cast<double>(Readers[file]->GetNumberOfRows()) >=
                      static_cast<double>(FindLimit(*Origin, file));
  return isFull || covered == Origin->CountPackets(file, static_cast<double>(batch));
}

bool trelExitOrigin::FillFrom(std::size_t file, int part, trelExitTable& table, std::size_t tissues,
                              int legs)
{
  trelLabelledExitReader& reader = *Readers[file];
  const std::vector<trelExitEntry>& entries = reader.GetEntries();
  const bool isOfRun = std::equal(entries.begin(), entries.end(), table.Entries.begin(),
                                  table.Entries.end(), AreSame);
  std::int64_t batch = 0, last = 0;
  for (const trelExitEntry& entry : table.Entries)
    batch += entry.Share;
  if (!isOfRun || !CoversAll(file, batch)) return false;
  std::vector<trelExitRow> rows;
  while (!table.HasFault() && reader.ReadNext(tissues, legs, &rows)) {
    for (const trelExitRow& row : rows) {
      if (!IsSound(row.Exit, entries, batch, last)) return false;
      last = row.Exit.Place;
    }
    table.Append(part, rows.data(), rows.size());
  }
  return reader.GetFault().empty();
}
