#include "trelExitRecorder.h"

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

#include "trelExactModel.h"
#include "trelSpectrum.h"
#include "trelTissuePaths.h"

/** Follows the packets of one thread. */
class alignas(64) trelExitRecorder::Observer final : public trelPacketObserver
{
public:
  Observer(trelExitTable& table, int thread, std::int32_t tissues) : Table(&table), Thread(thread)
  {
    for (Leg& leg : Legs)
      leg.Paths.Resize(tissues);
  }

  void Begin(const trelObservedPacket& packet) override
  {
    Launched = packet;
    Conversions = 0;
    // The launched packet's own exit is the first of its rows, though it comes last.
    Count = 1;
    HasLeft = false;
  }

  void Start(const trelExactPacket& packet) override
  {
    if (packet.IsEmission) {
      ++Conversions;
      GoTo(packet.Position, Legs[LegOfExcitation]);
    }
    Leg& leg = Legs[packet.IsEmission];
    leg.Paths.Clear();
    leg.Place = packet.Position;
    leg.Tissue = packet.TissueIndex;
  }

  void Step(const trelStepStart& before, const trelExactPacket& after) override
  {
    Leg& leg = Legs[after.IsEmission];
    GoTo(after.Position, leg);
    leg.Tissue = after.TissueIndex;
    if (after.Interactions == before.Interactions) return;
    trelTissuePath& path = leg.Paths.At(before.Tissue);
    ++path.Scatterings;
    path.MomentumTransfer += 1.0 - Dot(before.Direction, after.Direction);
  }

  void Leave(const trelExactPacket& packet, const trelExitPlace& exit) override
  {
    GoTo(packet.Position, Legs[packet.IsEmission]);
    trelExitRow& row = MakeRow(packet.IsEmission);
    const trelExitEntry& entry = Table->Entries[Launched.Entry];
    row.Exit = {Launched.Place,
                Launched.Number,
                packet.IsEmission ? Conversions : 0,
                static_cast<std::int32_t>(Launched.Entry),
                packet.Wavelength,
                exit.Detector,
                exit.Face,
                packet.SourceWeight * packet.Weight * static_cast<double>(entry.Share),
                packet.FlyTime,
                packet.Position,
                packet.Direction};
    row.Legs[LegOfExcitation] = Legs[LegOfExcitation].Paths.List();
    row.Legs[LegOfEmission].clear();
    if (packet.IsEmission) row.Legs[LegOfEmission] = Legs[LegOfEmission].Paths.List();
  }

  void Finish() override
  {
    const std::size_t first = HasLeft ? 0 : 1;
    if (Count > first) Table->Append(Thread, Rows.data() + first, Count - first);
  }

private:
  struct Leg
  {
    trelTissuePaths Paths;
    trelVector Place;         ///< up to where the way has been entered
    std::int32_t Tissue = 0;  ///< from there on
  };

  static void GoTo(const trelVector& place, Leg& leg)
  {
    const double length = Length(place - leg.Place);
    leg.Place = place;
    if (length > 0.0) leg.Paths.At(leg.Tissue).Length += length;
  }

  trelExitRow& MakeRow(bool isEmission)
  {
    HasLeft |= !isEmission;
    const std::size_t place = isEmission ? Count++ : 0;
    if (Rows.size() < Count) Rows.resize(Count);
    return Rows[place];
  }

  trelExitTable* Table;
  int Thread;
  Leg Legs[NumberOfPathLegs];
  trelObservedPacket Launched{};
  std::int64_t Conversions = 0;
  std::vector<trelExitRow> Rows = std::vector<trelExitRow>(1);  ///< of the launched packet
  std::size_t Count = 0;                                        ///< of them
  bool HasLeft = false;                                         ///< the launched packet itself has
};

trelExitRecorder::trelExitRecorder(std::filesystem::path folder, std::int64_t limit)
    : Folder(std::move(folder)), Limit(limit)
{
}

trelExitRecorder::~trelExitRecorder() = default;

bool trelExitRecorder::Prepare(const trelExactModel& model, const trelRunPlan& plan, int threads)
{
  TooManyTissues = model.NumberOfTissues > trelExitTable::MostTissues;
  if (TooManyTissues) return false;
  Plan = &plan;
  Table.Entries.clear();
  for (const trelRunEntry& entry : plan.GetEntries()) {
    const auto source = static_cast<std::int64_t>(entry.Entry >> 32);
    const auto spectrum = static_cast<std::int64_t>(entry.Entry & 0xffffffff);
    const auto wavelength = static_cast<std::int32_t>(entry.Spectrum->GetWavelength());
    Table.Entries.push_back({source + 1, spectrum + 1, wavelength, entry.Share, 0});
  }
  Observers.clear();
  for (int thread = 0; thread < threads; ++thread)
    Observers.emplace_back(Table, thread, model.NumberOfTissues);
  return Table.Open(Folder, threads, Limit) && (!Fill || Fill(Table));
}

trelPacketObserver* trelExitRecorder::FindObserver(int thread)
{
  return Table.IsFull() ? nullptr : &Observers[static_cast<std::size_t>(thread)];
}

void trelExitRecorder::Conclude(std::int64_t first, std::int64_t end)
{
  const std::vector<trelPacketRange> own = {{first, end - first}};
  const std::vector<trelPacketRange>& ranges = Ranges.empty() ? own : Ranges;
  const std::int64_t covered = Table.Conclude(ranges.back().First + ranges.back().Number);
  for (trelExitEntry& entry : Table.Entries)
    entry.Covered = entry.First = entry.End = 0;
  for (const trelPacketRange& range : ranges)
    Cover(range.First, std::min(range.First + range.Number, covered));
}

/** Adds the packets of these places to those covered. */
void trelExitRecorder::Cover(std::int64_t first, std::int64_t end)
{
  if (first >= end) return;
  const std::vector<std::int64_t> ahead = Plan->CountLaunched(first);
  const std::vector<std::int64_t> launched = Plan->CountLaunched(end);
  for (std::size_t i = 0; i < ahead.size(); ++i) {
    trelExitEntry& entry = Table.Entries[i];
    if (entry.Covered == 0) entry.First = ahead[i];
    entry.Covered += launched[i] - ahead[i];
    entry.End = launched[i];
  }
}

bool ReadExitLimit(const std::string& text, std::int64_t* limit)
{
  *limit = trelExitRecorder::AllExits;
  if (text == "all") return true;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, *limit);
  return error == std::errc() && rest == end && *limit > 0;
}

std::string FormatExitLimit(std::int64_t limit)
{
  return limit == trelExitRecorder::AllExits ? "all" : std::to_string(limit);
}
