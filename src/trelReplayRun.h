#ifndef trelReplayRun_h
#define trelReplayRun_h

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>

#include "trelLabelledExitReader.h"
#include "trelPacketPath.h"

class trelExactMonteCarlo;
class trelRunControl;
class trelRunRecord;
class trelSensitivity;
class trelSimulationParameter;

/** What of a run is flown again. */
struct trelReplayOptions
{
  trelPacketName Packet;      ///< whose path is told, if it names one
  std::string File;           ///< a result file whose exits are flown, if it is not empty
  std::int64_t Detector = 0;  ///< those that this fibre collected; 0: all

  bool IsOn() const { return Packet.Source > 0 || !File.empty(); }
};

/**
 * @class   trelReplayRun
 * @brief   flies some packets of a run again: one for its path, or those of a table of exits for
 *          their sensitivity to absorption
 */
class trelReplayRun
{
public:
  /** Takes what is wrong, or may be. */
  using Tell = std::function<void(bool isError, const std::string& text)>;

  /** All but the first outlive this. */
  trelReplayRun(const trelReplayOptions& options, trelSimulationParameter& parameter,
                trelRunControl& control, Tell tell);
  ~trelReplayRun();

  /** Flies the packet of the run of @p seed with so many packets and batches, and writes its path.
   */
  bool FlyPacket(std::uint64_t seed, std::int64_t packets, std::int64_t batches,
                 std::ostream& path);

  /** Opens the file; false if it has no exits, or is of another run than one of this record and,
   *  if it is given, this seed. */
  bool Open(const trelRunRecord& record, const std::optional<std::uint64_t>& seed);
  /** Whether the file could be read. */
  bool IsReadable() const { return Reader.GetFault().empty(); }
  /** Flies them. The grids of the parameter are made to take fluence. */
  bool FlyExits();
  /** Writes the sensitivities with @p record, to which the exits are added. */
  bool Write(const std::string& name, trelRunRecord& record);
  std::int64_t GetNumberOfExits() const;

private:
  bool Fail(const std::string& what);
  bool Fly(trelExactMonteCarlo& run, class trelPacketAudience& audience);

  const trelReplayOptions Options;
  trelSimulationParameter& Parameter;
  trelRunControl& Control;
  const Tell Report;
  trelLabelledExitReader Reader;
  std::unique_ptr<trelSensitivity> Sensitivity;
};

#endif
