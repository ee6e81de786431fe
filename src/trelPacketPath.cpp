#include "trelPacketPath.h"

#include <charconv>
#include <cstdio>
#include <ostream>

#include "trelExactModel.h"
#include "trelRunPlan.h"

/** Reads a number and the @p mark behind it, '\0' for the end. */
template <class Number>
static bool ReadNumber(const char*& text, const char* end, char mark, Number* number)
{
  const auto [rest, error] = std::from_chars(text, end, *number);
  const bool isMarked = mark == '\0' ? rest == end : rest != end && *rest == mark;
  text = rest + 1;
  return error == std::errc() && isMarked;
}

bool ReadPacketName(const std::string& text, trelPacketName* name)
{
  const char* at = text.data();
  const char* const end = at + text.size();
  return ReadNumber(at, end, ':', &name->Source) && ReadNumber(at, end, ':', &name->Spectrum) &&
         ReadNumber(at, end, '\0', &name->Number) && name->Source > 0 && name->Spectrum > 0 &&
         name->Number >= 0;
}

bool trelPacketPath::Prepare(const trelExactModel& /*model*/, const trelRunPlan& plan,
                             int /*threads*/)
{
  const std::size_t entries = plan.GetEntries().size();
  for (Entry = 0; Entry < entries; ++Entry) {
    const trelRunEntry& entry = plan.GetEntries()[Entry];
    if (entry.Entry != ((Name.Source - 1) << 32 | (Name.Spectrum - 1))) continue;
    InRun = true;
    Scale = static_cast<double>(entry.Share);
    break;
  }
  return InRun;
}

bool trelPacketPath::TakeNext(std::vector<trelPlannedPacket>* packets)
{
  if (IsTaken) return false;
  packets->assign(1, {Entry, Name.Number});
  return IsTaken = true;
}

void trelPacketPath::Begin(const trelObservedPacket& /*packet*/)
{
  Table << "conversion step x y z tissue weight event\n";
}

void trelPacketPath::WriteRow(const trelExactPacket& packet, const char* event)
{
  char text[256];
  std::snprintf(text, sizeof text, "%lld %lld %.17g %.17g %.17g %d %.17g %s\n",
                packet.IsEmission ? Conversions : 0LL, Rows[packet.IsEmission]++, packet.Position.X,
                packet.Position.Y, packet.Position.Z, packet.TissueIndex + 1,
                packet.SourceWeight * packet.Weight * Scale, event);
  Table << text;
}

void trelPacketPath::Start(const trelExactPacket& packet)
{
  Launched = true;
  Rows[packet.IsEmission] = 0;
  if (packet.IsEmission) ++Conversions;
  WriteRow(packet, packet.IsEmission ? "conversion" : "launch");
}

void trelPacketPath::Leave(const trelExactPacket& packet, const trelExitPlace& exit)
{
  WriteRow(packet, exit.Detector > 0 ? "collected" : "exit");
}

void trelPacketPath::End(const trelExactPacket& packet, trelLedgerPart part)
{
  switch (part) {
    case LedgerAbsorbedWhole:
      return WriteRow(packet, "absorbed");
    case LedgerRoulette:
      return WriteRow(packet, "roulette-lost");
    case LedgerEndedBySteps:
      return WriteRow(packet, "step-limit");
    case LedgerEndedByTime:
      return WriteRow(packet, "time-limit");
    default:
      return WriteRow(packet, part == LedgerTrapped ? "trapped" : "lost");
  }
}

/** What happened at the end of a step. */
static const char* FindEvent(const trelStepStart& before, const trelExactPacket& after)
{
  // Within tissue what is settled changes by the roulette alone.
  if (after.Interactions != before.Interactions)
    return after.Settled == before.Settled ? "scatter" : "roulette-won";
  if (after.TissueIndex != before.Tissue) return "refracted";
  return Dot(before.Direction, after.Direction) < 1.0 - 1e-12 ? "reflected" : "dye-border";
}

void trelPacketPath::Step(const trelStepStart& before, const trelExactPacket& after)
{
  if (!after.Dead) WriteRow(after, FindEvent(before, after));
}
