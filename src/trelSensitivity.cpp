#include "trelSensitivity.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "trelExactModel.h"
#include "trelExactScores.h"
#include "trelList.h"
#include "trelRunPlan.h"
#include "trelSimulationResult.h"

/** Rows that are held at a time, and of one launched packet at most. */
static constexpr std::size_t enoughRows = 1 << 16;
static constexpr std::size_t mostRowsOfPacket = 1 << 22;

/** Numbers of the source and of its spectrum, from 1. */
static std::pair<std::int64_t, std::int64_t> NumbersOf(const trelRunEntry& planned)
{
  return {static_cast<std::int64_t>(planned.Entry >> 32) + 1,
          static_cast<std::int64_t>(planned.Entry & 0xffffffff) + 1};
}

/** Scores the packets of one thread. */
class alignas(64) trelSensitivity::Observer final : public trelPacketObserver
{
public:
  explicit Observer(trelSensitivity& owner) : Owner(&owner) {}

  void Begin(const trelObservedPacket& packet) override
  {
    const Group& group = Owner->Groups[static_cast<std::size_t>(packet.Place)];
    Entry = &Owner->Covered[group.Entry];
    Next = &Owner->Rows[group.First];
    Last = Next + (group.Last - group.First);
    TakeRow(0, Rows[LegOfExcitation]);
    Later.assign(static_cast<std::size_t>(Last - Next) + 1, 0.0);
    for (std::size_t i = Later.size() - 1; i-- > 0;)
      Later[i] = Later[i + 1] + Next[i].Weight;
    LaterFirst = Next;
    Conversions = 0;
    Missing = static_cast<std::int64_t>(group.Last - group.First);
  }

  void Start(const trelExactPacket& packet) override
  {
    if (packet.IsEmission) {
      GoTo(packet, false, ExcitationIndex);
      TakeRow(++Conversions, Rows[LegOfEmission]);
    } else {
      ExcitationIndex = packet.WavelengthIndex;
    }
    Place[packet.IsEmission] = packet.Position;
  }

  void Step(const trelStepStart& /*before*/, const trelExactPacket& after) override
  {
    GoTo(after, after.IsEmission, after.WavelengthIndex);
  }

  /** Told of the same exit as the list has, if program and model are the same. */
  void Leave(const trelExactPacket& packet, const trelExitPlace& /*exit*/) override
  {
    const double weight = packet.SourceWeight * packet.Weight * static_cast<double>(Entry->Share);
    const Row& row = Rows[packet.IsEmission];
    if (row.IsListed && weight == row.Weight) --Missing;
  }

  void Finish() override
  {
    if (Missing != 0) Owner->Differs = true;
  }

private:
  /** The exit of the packet that is flown, if the list has it. */
  struct Row
  {
    bool IsListed = false;
    double Weight = 0.0;
  };

  /** Takes the next row, if it is that of @p conversion. */
  void TakeRow(std::int64_t conversion, Row& row)
  {
    row = {};
    if (Next != Last && Next->Conversion == conversion) row = {true, (Next++)->Weight};
  }

  /** Scores the way to where @p packet is. What it counts for is known from the list: a launched
   *  packet for its own exit, and for all emissions to come. */
  void GoTo(const trelExactPacket& packet, bool isEmission, std::int32_t wavelengthIndex)
  {
    const trelVector way = packet.Position - Place[isEmission];
    const double length = Length(way);
    if (!(length > 0.0)) return;
    trelPacket piece{};
    piece.Position = Place[isEmission];
    piece.Direction = 1.0 / length * way;
    piece.SourceWeight = -1.0 / static_cast<double>(Entry->Covered);
    Place[isEmission] = packet.Position;
    const auto score = [&](trelSensitivityKind kind, double weight) {
      if (weight == 0.0) return;
      piece.Weight = weight;
      trelPacketScores scores{};
      scores.Grids = Owner->Tables[kind].GetMedium(static_cast<std::size_t>(wavelengthIndex));
      scores.OneThread = Owner->IsAlone;
      ScorePath(piece, length, 0.0, scores, *Owner->Model);
    };
    if (isEmission) return score(SensitivityOfEmission, Rows[LegOfEmission].Weight);
    score(SensitivityOfLight, Rows[LegOfExcitation].Weight);
    score(SensitivityOfExcitation, Later[static_cast<std::size_t>(Next - LaterFirst)]);
  }

  trelSensitivity* Owner;
  const trelExitEntry* Entry = nullptr;
  const trelListedExit *Next = nullptr, *Last = nullptr;  ///< rows of emissions to come
  Row Rows[NumberOfPathLegs];  ///< of the launched packet, and of the emission
  std::vector<double> Later;   ///< sums of the weights from a row on to the last
  const trelListedExit* LaterFirst = nullptr;
  trelVector Place[2];  ///< up to where the way was scored
  std::int32_t ExcitationIndex = 0;
  std::int64_t Conversions = 0;
  std::int64_t Missing = 0;  ///< exits that were not met again
};

trelSensitivity::trelSensitivity(trelSimulationParameter& parameter,
                                 std::vector<trelExitEntry> covered, std::int64_t detector,
                                 trelReadExits read)
    : Parameter(parameter), Covered(std::move(covered)), Detector(detector), Read(std::move(read))
{
  for (const trelExitEntry& entry : Covered)
    EntryOf.emplace(std::make_pair(entry.Source, entry.Spectrum), EntryOf.size());
  IsDamaged = EntryOf.size() != Covered.size();
}

trelSensitivity::~trelSensitivity()
{
  for (trelSimulationResult*& result : Results)
    if (result) result->Delete();
}

bool trelSensitivity::MakeGrids(const trelExactModel& model)
{
  const int kinds = model.Dyes.empty() ? 1 : NumberOfSensitivities;
  for (int kind = 0; kind < kinds; ++kind) {
    Results[kind] = new trelSimulationResult;
    if (!Results[kind]->Initialize(&Parameter)) return false;
    Tables[kind].Resolve(*Results[kind], Parameter, model.MediumShapeType);
  }
  const trelScoreTable* table = Tables[0].GetMedium(0);
  HasGrid = table && table->TakesFluence() && table->Absorption.Locate && table->Absorption.CW;
  return HasGrid;
}

bool trelSensitivity::Prepare(const trelExactModel& model, const trelRunPlan& plan, int threads)
{
  Model = &model;
  IsAlone = threads == 1;
  const std::size_t entries = plan.GetEntries().size();
  Planned.assign(Covered.size(), entries);
  for (std::size_t i = 0; i < entries; ++i) {
    const auto found = EntryOf.find(NumbersOf(plan.GetEntries()[i]));
    if (found != EntryOf.end()) Planned[found->second] = i;
  }
  IsDamaged |= std::find(Planned.begin(), Planned.end(), entries) != Planned.end();
  Observers.assign(static_cast<std::size_t>(threads), Observer(*this));
  return !IsDamaged && MakeGrids(model);
}

trelPacketObserver* trelSensitivity::FindObserver(int thread)
{
  return &Observers[static_cast<std::size_t>(thread)];
}

void trelSensitivity::AmendPlan(trelRunPlan& plan)
{
  std::vector<std::int64_t> shares;
  for (const trelRunEntry& planned : plan.GetEntries()) {
    const auto found = EntryOf.find(NumbersOf(planned));
    const bool isGiven = found != EntryOf.end() && Covered[found->second].Share > 0;
    shares.push_back(isGiven ? Covered[found->second].Share : planned.Share);
  }
  plan.SetShares(shares);
}

bool trelSensitivity::IsValid(const trelListedExit& exit) const
{
  const auto entry = EntryOf.find({exit.Source, exit.Spectrum});
  return entry != EntryOf.end() &&
         exit.Packet >= std::max<std::int64_t>(Covered[entry->second].First, 0) &&
         exit.Packet < Covered[entry->second].End && exit.Conversion >= 0 &&
         std::isfinite(exit.Weight) && exit.Weight >= 0.0;
}

/** Adds rows to those that are held; false behind the last. */
bool trelSensitivity::ReadMore()
{
  if (!Read(&Block)) return false;
  for (const trelListedExit& exit : Block) {
    IsDamaged |= !IsValid(exit);
    if (IsDamaged) return false;
    if (Detector == 0 || exit.Detector == Detector) Rows.push_back(exit);
  }
  return true;
}

/** Makes groups of the rows that are held, of the last packet only at the end. The end of them. */
std::size_t trelSensitivity::CloseGroups(bool isEnd)
{
  const auto isOther = [](const trelListedExit& a, const trelListedExit& b) {
    return a.Source != b.Source || a.Spectrum != b.Spectrum || a.Packet != b.Packet;
  };
  Groups.clear();
  std::size_t first = 0;
  for (std::size_t i = 1; i <= Rows.size(); ++i) {
    if (i == Rows.size() ? !isEnd : !isOther(Rows[first], Rows[i])) continue;
    const std::size_t entry = EntryOf.at({Rows[first].Source, Rows[first].Spectrum});
    Groups.push_back({entry, first, i});
    std::sort(Rows.begin() + static_cast<std::ptrdiff_t>(first),
              Rows.begin() + static_cast<std::ptrdiff_t>(i),
              [](const auto& a, const auto& b) { return a.Conversion < b.Conversion; });
    first = i;
  }
  return first;
}

bool trelSensitivity::TakeNext(std::vector<trelPlannedPacket>* packets)
{
  Rows.erase(Rows.begin(), Rows.begin() + static_cast<std::ptrdiff_t>(Taken));
  bool isEnd = false;
  Taken = 0;
  while (Taken == 0 && !isEnd && !IsDamaged) {
    while (Rows.size() < enoughRows && !isEnd)
      isEnd = !ReadMore();
    Taken = CloseGroups(isEnd);
    IsDamaged |= Taken == 0 && Rows.size() > mostRowsOfPacket;
    if (Taken == 0 && !isEnd && !ReadMore()) Taken = CloseGroups(isEnd = true);
  }
  if (IsDamaged || Taken == 0) return false;
  Exits += static_cast<std::int64_t>(Taken);
  packets->clear();
  for (const Group& group : Groups)
    packets->push_back({Planned[group.Entry], Rows[group.First].Packet});
  return true;
}

const char* trelSensitivity::FindFault() const
{
  if (IsDamaged) return "its table of exits is damaged";
  if (!HasGrid) return "the model has no grid of absorption";
  if (Differs) return "its packets leave otherwise when they are flown again";
  return "";
}
