#include "trelVarianceReductionMonteCarlo.h"

#include <omp.h>

#include <new>

#include "trelClock.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMediumResult.h"
#include "trelPacketSteps.h"
#include "trelPhoton.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"
#include "trelSpectrum.h"
#include "trelThreadState.h"
#include "trelThreads.h"

trelVarianceReductionMonteCarlo::~trelVarianceReductionMonteCarlo() = default;

// Set-up and run.

bool trelVarianceReductionMonteCarlo::Initialize()
{
  if (!Input || !Input->GetMedium()) return false;
  Input->PrepareGeometry();
  Model.Resolve(*Input);
  return true;
}

/** After how many packets progress is reported: a hundredth of the run, at most 1000. */
static std::uint64_t ProgressIntervalOf(std::uint64_t total)
{
  if (total >= 100000) return 1000;
  return total / 100 > 1 ? total / 100 : 1;
}

bool trelVarianceReductionMonteCarlo::Execute()
{
  if (!Input) return false;
  const int fiberDetectors = Input->CountFiberDetectors();
  trelSimulationResult* result = GetOutput();
  // Without its grid a medium finds wrong tissues, and would say so at every step of every packet.
  if (!Initialize() || !result->Initialize(Input) ||
      !(Model.ShapeIsTetrahedron ? Model.Tetrahedron != nullptr
                                 : Model.CachedMedium->IsGridReady())) {
    ErrorMacro("Initialization of Monte Carlo simulation failed!");
    return false;
  }
  ScoreTables.Resolve(*result, *Input, Model.MediumShapeType);
  FailedLaunches = 0;
  EndedByLimit = 0;
  std::uint64_t finished = 0;
  trelPhotonTask task{};
  task.TotalNumberOfPackets = Input->ComputeTotalPhotons();
  task.ProgressInterval = ProgressIntervalOf(task.TotalNumberOfPackets);
  task.FinishedPackets = &finished;
  task.Result = result;
  task.Filter = this;
  if (!RunSources(task)) return false;
  if (TrajectoryMode) {
    result->SetTrajectoryStepNum(0);
    NotifyDependents();
  }
  if (finished % task.ProgressInterval != 0) ReportProgress(ProgressMaximum);
  ReportFailedLaunches(finished);
  ReportEndedByLimit();
  result->FinalizeMediumResults(Input, Input->GetSaveFluenceRate());
  if (fiberDetectors != 0 && Input->GetNumberOfDetectors() == fiberDetectors) {
    result->FinalizeDetectorResults(Input);
  }
  return true;
}

bool trelVarianceReductionMonteCarlo::RunSources(trelPhotonTask task)
{
  for (trelLightSource* light : Input->GetLightSources()->GetItems<trelLightSource>()) {
    GetThreadState().CurrentLuminousType = light->GetLuminousType();
    if (RunsSource(*light) && !RunSource(*light, task)) return false;
  }
  return true;
}

bool trelVarianceReductionMonteCarlo::RunSource(trelLightSource& light, trelPhotonTask task)
{
  task.Light = &light;
  OutOfMemory = false;
  const int threads = StartableThreads(Input->GetThreadNumber());
  for (trelSpectrum* spectrum : light.GetSpectra()->GetItems<trelSpectrum>()) {
    task.Spectrum = spectrum;
    task.NumberOfPackets = spectrum->GetPhotonNumber();
#pragma omp parallel num_threads(threads)
    PhotonTask(task);
    if (OutOfMemory) {
      ErrorMacro("Out of memory while starting the threads!");
      return false;
    }
  }
  return true;
}

/** No exception may leave the region: a thread that lacks memory sets OutOfMemory, and then no
 * thread traces a packet. */
void trelVarianceReductionMonteCarlo::PhotonTask(const trelPhotonTask& task)
{
  ThreadState& state = GetThreadState();
  bool outOfMemory = !OpenThread(state, task);
  if (outOfMemory) {
#pragma omp atomic write
    OutOfMemory = true;
  }
#pragma omp barrier
#pragma omp atomic read
  outOfMemory = OutOfMemory;
  if (!outOfMemory) TracePackets(state, task);
#pragma omp barrier
  CloseThread(state);
#pragma omp atomic
  FailedLaunches += state.FailedLaunches;
#pragma omp atomic
  EndedByLimit += state.EndedByLimit;
}

bool trelVarianceReductionMonteCarlo::OpenThread(ThreadState& state, const trelPhotonTask& task)
{
  const std::uint32_t spectrum = task.Spectrum->GetWavelengthIndex();
  SelectRecord(state, spectrum);
  state.SpectrumDetectorResult = task.Result->GetDetectorArrayResult(static_cast<int>(spectrum));
  state.FiberGrids = ScoreTables.GetFibers(spectrum);
  state.CurrentDetector = -1;
  state.OneThread = omp_get_num_threads() == 1;
  state.Master = omp_get_thread_num() == 0;
  state.FailedLaunches = 0;
  state.EndedByLimit = 0;
  state.Photon = new (std::nothrow) trelPhoton;
  const std::int64_t seed = WallClockSeconds() + 113 * omp_get_thread_num();
  const bool opened = state.OpenStream(static_cast<std::uint32_t>(seed));
  return state.Photon && opened && trelVoxelTable::PrepareThread();
}

void trelVarianceReductionMonteCarlo::CloseThread(ThreadState& state)
{
  if (state.Photon) state.Photon->Delete();
  state.Photon = nullptr;
  state.Grids = nullptr;
  state.Trajectory = nullptr;
  state.FiberGrids = nullptr;
  state.SpectrumMediumResult = nullptr;
  state.SpectrumDetectorResult = nullptr;
  state.CloseStream();
}

void trelVarianceReductionMonteCarlo::SelectRecord(trelPacketScores& scores, std::uint32_t spectrum)
{
  scores.Grids = ScoreTables.GetMedium(spectrum);
  scores.SpectrumMediumResult =
      scores.Grids ? Output->GetMediumResult(static_cast<int>(spectrum)) : nullptr;
}

void trelVarianceReductionMonteCarlo::TracePackets(ThreadState& state, const trelPhotonTask& task)
{
  const std::int64_t packets = task.NumberOfPackets;
#pragma omp for schedule(dynamic, 1) nowait
  for (std::int64_t i = 0; i < packets; ++i) {
    state.ReflectPending = false;
    state.TransmitPending = false;
    state.PartialAbsorption = true;
    if (SingleStepMode && TrajectoryMode) {
      task.Result->SetTrajectoryStepNum(0);
      NotifyDependents();
    }
    if (state.Grids && LaunchPhoton(this, state.Photon, task.Spectrum, task.Light) &&
        Model.IsTissue(state.Photon->TissueIndex)) {
      state.SourceWeight = state.Photon->Weight;
      state.Photon->Weight = 1.0;
      trelPacket packet = state.LoadPacket();
      Trace(packet, state);
      state.StorePacket(packet);
    } else {
      ++state.FailedLaunches;
    }
    CountFinishedPacket(task);
  }
}

void trelVarianceReductionMonteCarlo::CountFinishedPacket(const trelPhotonTask& task)
{
  std::uint64_t finished = 0;
#pragma omp atomic capture
  finished = ++*task.FinishedPackets;
  if (!TrajectoryMode && finished % task.ProgressInterval != 0) return;
  const auto part = static_cast<double>(finished) / static_cast<double>(task.TotalNumberOfPackets);
  ReportProgress(static_cast<std::int32_t>(ProgressMaximum * part));
}

void trelVarianceReductionMonteCarlo::ReportFailedLaunches(std::uint64_t packets)
{
  if (FailedLaunches == 0) return;
  WarningMacro(FailedLaunches << " of " << packets
                              << " packets could not be launched: the light source does not lie in "
                                 "the medium, or its light does not meet it");
}

/** Warns of packets that are in no total and no counter. Where surfaces are concave or coincide, a
 *  packet may take steps of length 0 until it reaches the limit. */
void trelVarianceReductionMonteCarlo::ReportEndedByLimit()
{
  if (EndedByLimit == 0 || SingleStepMode) return;
  WarningMacro(EndedByLimit << " packets reached the limit of " << Model.StepNumberMax
                            << " steps (stepnummax): what is left of them is in no result");
}

bool trelVarianceReductionMonteCarlo::LaunchFromAnySource(trelVarianceReductionMonteCarlo* filter,
                                                          trelPhoton* photon,
                                                          trelSpectrum* spectrum,
                                                          trelLightSource* light)
{
  if (!light->LaunchPhoton(filter, photon, spectrum)) return false;
  if (light->IsInternal()) {
    photon->TissueIndex = Model.CachedMedium->GetTissueIndex(photon->GetPosition());
  }
  return photon->TissueIndex != -1;
}

double trelVarianceReductionMonteCarlo::NextRandom()
{
  return GetThreadState().NextRandom();
}

// The trace of a packet.

TREL_CLONED TREL_FLAT static void TraceThroughShapes(trelPacket& packet, trelRandomNumbers& numbers,
                                                     const trelTransportModel& model,
                                                     trelPacketScores& scores)
{
  TakeSteps<trelShapeGeometry, trelClassicRules>(packet, numbers, model, scores);
}

TREL_CLONED TREL_FLAT static void TraceThroughTetrahedra(trelPacket& packet,
                                                         trelRandomNumbers& numbers,
                                                         const trelTransportModel& model,
                                                         trelPacketScores& scores)
{
  TakeSteps<trelTetrahedralGeometry, trelClassicTetrahedralRules>(packet, numbers, model, scores);
}

void trelVarianceReductionMonteCarlo::Trace(trelPacket& packet, ThreadState& state)
{
  state.Trajectory = TrajectoryMode && state.Master ? Output : nullptr;
  packet.Dead = SingleStepMode;
  Model.PlaceIn(packet.TissueIndex, packet);
  if (Model.ShapeIsTetrahedron) {
    TraceTetrahedral(packet, state);
  } else {
    TraceAnalytic(packet, state);
  }
  KeepTrajectoryLength(packet, state);
}

void trelVarianceReductionMonteCarlo::TraceAnalytic(trelPacket& packet, ThreadState& state)
{
  TraceThroughShapes(packet, state, Model, state);
}

void trelVarianceReductionMonteCarlo::TraceTetrahedral(trelPacket& packet, ThreadState& state)
{
  TraceThroughTetrahedra(packet, state, Model, state);
}

// The operations by name read and write the state of the calling thread.

void trelVarianceReductionMonteCarlo::StepAnalytic(ThreadState* state)
{
  trelPacket packet = state->LoadPacket();
  Model.PlaceIn(packet.TissueIndex, packet);
  TakeStep<trelShapeGeometry, trelClassicRules>(packet, *state, Model, *state);
  state->StorePacket(packet);
}

void trelVarianceReductionMonteCarlo::StepTetrahedral(ThreadState* state)
{
  trelPacket packet = state->LoadPacket();
  Model.PlaceIn(packet.TissueIndex, packet);
  TakeStep<trelTetrahedralGeometry, trelClassicTetrahedralRules>(packet, *state, Model, *state);
  state->StorePacket(packet);
}

/** Calls @p score with the thread's packet and the target of its absorption or transmittance. */
template <class Score>
static void ScoreThreadsPacket(trelGridKind kind, Score score)
{
  const ThreadState& state = GetThreadState();
  if (!state.Grids || !state.Photon) return;
  const trelPacket packet = state.LoadPacket();
  const trelScoreTarget* target = kind == GridAbsorption
                                      ? &state.Grids->Absorption
                                      : FindTransmittanceTarget(packet, *state.Grids);
  if (target) score(packet, state, *target);
}

// The 2D and the 3D form do the same: the score table has only grids of the model's dimension.

#define TREL_SCORE_ENTRY(Kind, Domain, dimension)                                                  \
  void trelVarianceReductionMonteCarlo::Score##Kind##Domain##dimension(double value)               \
  {                                                                                                \
    ScoreThreadsPacket(Grid##Kind, [&](const auto&... where) { Score##Domain(where..., value); }); \
  }
#define TREL_SCORE_ENTRIES(Kind, dimension)                                                    \
  TREL_SCORE_ENTRY(Kind, CW, dimension)                                                        \
  TREL_SCORE_ENTRY(Kind, TD, dimension)                                                        \
  void trelVarianceReductionMonteCarlo::Score##Kind##FD##dimension(double value, double phase) \
  {                                                                                            \
    ScoreThreadsPacket(Grid##Kind,                                                             \
                       [&](const auto&... where) { ScoreFD(where..., value, phase); });        \
  }

TREL_SCORE_ENTRIES(Absorption, 2D)
TREL_SCORE_ENTRIES(Absorption, 3D)
TREL_SCORE_ENTRIES(Transmittance, 2D)
TREL_SCORE_ENTRIES(Transmittance, 3D)
#undef TREL_SCORE_ENTRIES
#undef TREL_SCORE_ENTRY
