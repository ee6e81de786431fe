#ifndef trelPacketPath_h
#define trelPacketPath_h

#include <iosfwd>
#include <string>

#include "trelPacketAudience.h"

/** Which packet of a run: numbers of the source and of the spectrum in it from 1, of the packet
 *  from 0, as the table of exits has them. */
struct trelPacketName
{
  std::uint64_t Source = 0;  ///< 0 names no packet
  std::uint64_t Spectrum = 0;
  std::int64_t Number = 0;
};

/** Reads "SOURCE:SPECTRUM:NUMBER"; false if it is not that. */
bool ReadPacketName(const std::string& text, trelPacketName* name);

/**
 * @class   trelPacketPath
 * @brief   flies one packet again and writes its path as a table
 *
 * A row for each start, each end of a straight piece, and each exit, with the digits that tell
 * numbers apart: the number of the conversion (0: the launched packet), the step, the place, mm,
 * the tissue from 1 (0: outside), the weight as the table of exits has it, and what happened there.
 */
class trelPacketPath final : public trelPacketAudience, private trelPacketObserver
{
public:
  trelPacketPath(const trelPacketName& name, std::ostream& table) : Name(name), Table(table) {}

  /** False if the run has no such spectrum of a source. Packets beyond the last are those of a
   *  longer run. */
  bool Prepare(const trelExactModel& model, const trelRunPlan& plan, int threads) override;
  trelPacketObserver* FindObserver(int /*thread*/) override { return this; }
  bool TakeNext(std::vector<trelPlannedPacket>* packets) override;

  bool IsInRun() const { return InRun; }
  /** Whether it met the medium and entered. */
  bool IsLaunched() const { return Launched; }

private:
  void Begin(const trelObservedPacket& packet) override;
  void Start(const trelExactPacket& packet) override;
  void Step(const trelStepStart& before, const trelExactPacket& after) override;
  void Leave(const trelExactPacket& packet, const trelExitPlace& exit) override;
  void End(const trelExactPacket& packet, trelLedgerPart part) override;
  void WriteRow(const trelExactPacket& packet, const char* event);

  const trelPacketName Name;
  std::ostream& Table;
  std::size_t Entry = 0;
  double Scale = 1.0;
  long long Conversions = 0;
  long long Rows[2] = {};  ///< so far, of the launched packet and of the emission
  bool InRun = false;
  bool IsTaken = false;
  bool Launched = false;
};

#endif
