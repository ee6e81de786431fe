#include "trelReplayRun.h"

#include <utility>

#include "trelExactMonteCarlo.h"
#include "trelLabelledSensitivity.h"
#include "trelRunRecord.h"
#include "trelSensitivity.h"
#include "trelSimulationParameter.h"

trelReplayRun::trelReplayRun(const trelReplayOptions& options, trelSimulationParameter& parameter,
                             trelRunControl& control, Tell tell)
    : Options(options), Parameter(parameter), Control(control), Report(std::move(tell))
{
}

trelReplayRun::~trelReplayRun() = default;

bool trelReplayRun::Fail(const std::string& what)
{
  Report(true, Options.File + ": " + what);
  return false;
}

bool trelReplayRun::Fly(trelExactMonteCarlo& run, trelPacketAudience& audience)
{
  run.SetInput(&Parameter);
  run.SetControl(&Control);
  run.SetAudience(&audience);
  return run.Replay();
}

bool trelReplayRun::FlyPacket(std::uint64_t seed, std::int64_t packets, std::int64_t batches,
                              std::ostream& path)
{
  trelPacketPath observer(Options.Packet, path);
  trelExactMonteCarlo run;
  run.SetSeed(seed);
  run.SetPackets(packets);
  run.SetBatches(batches);
  const bool isDone = Fly(run, observer);
  if (!observer.IsInRun())
    Report(true, "--only-packet: the run has no such spectrum of a source");
  else if (isDone && !observer.IsLaunched())
    Report(false, "--only-packet: the packet does not meet the medium, or is reflected at entry");
  return isDone;
}

bool trelReplayRun::Open(const trelRunRecord& record, const std::optional<std::uint64_t>& seed)
{
  if (!Reader.Open(Options.File)) return Fail(Reader.GetFault());
  std::string difference = Reader.FindDifference(record, Parameter);
  if (seed && *seed != Reader.GetSeed()) difference = "seed";
  if (!Reader.GetFault().empty()) return Fail(Reader.GetFault());
  return difference.empty() || Fail("it is of another run: they differ in " + difference);
}

bool trelReplayRun::FlyExits()
{
  Parameter.SetContinuousWave(true);
  Parameter.SetTimeDomain(false);
  Parameter.SetFrequencyDomain(false);
  Parameter.SetSaveAbsorption(true);
  Parameter.SetSavePhotonFlyTime(false);
  Parameter.SetSaveFluenceRate(true);
  Sensitivity = std::make_unique<trelSensitivity>(
      Parameter, Reader.GetEntries(), Options.Detector,
      [this](std::vector<trelListedExit>* exits) { return Reader.ReadNext(exits); });
  trelExactMonteCarlo run;
  run.SetSeed(Reader.GetSeed());
  const bool isDone = Fly(run, *Sensitivity);
  if (!Reader.GetFault().empty()) return Fail(Reader.GetFault());
  const std::string fault = Sensitivity->FindFault();
  if (!fault.empty()) return Fail(fault);
  return isDone && (GetNumberOfExits() > 0 || Fail("no such exit is in its table"));
}

std::int64_t trelReplayRun::GetNumberOfExits() const
{
  return Sensitivity ? Sensitivity->GetNumberOfExits() : 0;
}

bool trelReplayRun::Write(const std::string& name, trelRunRecord& record)
{
  record.Add("seed", Reader.GetSeed());
  record.Add("exits_file", Options.File);
  record.Add("exits", static_cast<std::uint64_t>(GetNumberOfExits()));
  if (Options.Detector > 0) record.Add("detector", static_cast<std::uint64_t>(Options.Detector));
  const std::string fault = WriteSensitivities(
      name, record, Parameter,
      {Sensitivity->GetResult(SensitivityOfLight), Sensitivity->GetResult(SensitivityOfExcitation),
       Sensitivity->GetResult(SensitivityOfEmission)});
  if (!fault.empty()) Report(true, fault);
  return fault.empty();
}
