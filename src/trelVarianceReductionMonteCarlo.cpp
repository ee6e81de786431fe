#include "trelVarianceReductionMonteCarlo.h"

#include <omp.h>

#include <algorithm>
#include <cmath>
#include <new>

#include "trelClock.h"
#include "trelDetectorArrayResult.h"
#include "trelDetectorResult.h"
#include "trelFiberDetector.h"
#include "trelFresnel.h"
#include "trelLightSource.h"
#include "trelList.h"
#include "trelMCTetrahedron.h"
#include "trelMedium.h"
#include "trelMediumResult.h"
#include "trelOpticalParameter.h"
#include "trelPhaseFunction.h"
#include "trelPhoton.h"
#include "trelSimulationParameter.h"
#include "trelSimulationResult.h"
#include "trelSpectrum.h"
#include "trelThreadState.h"
#include "trelThreads.h"
#include "trelTissue.h"

trelVarianceReductionMonteCarlo::~trelVarianceReductionMonteCarlo() = default;

// Set-up and run.

bool trelVarianceReductionMonteCarlo::Initialize()
{
  if (!Input || !Input->GetMedium()) return false;
  Input->PrepareGeometry();
  CachedMedium = Input->GetMedium();
  DomainCW = Input->GetContinuousWave();
  DomainTD = Input->GetTimeDomain();
  DomainFD = Input->GetFrequencyDomain();
  OnlyCW = DomainCW && !DomainTD && !DomainFD;
  Dimension = Input->GetDimension();
  SaveAbsorption = Input->GetSaveAbsorption();
  SaveTransmittance = Input->GetSaveTransmittance();
  SavePhotonFlyTime = Input->GetSavePhotonFlyTime();
  Frequency = Input->GetFrequency();
  StepNumberMax = Input->GetStepNumberMax();
  FlyTimeMax = Input->GetFlyTimeMax();
  AmbientRefractiveIndex = CachedMedium->GetAmbientRefractiveIndex();
  ShapeIsTetrahedron = CachedMedium->GetShapeIsTetrahedron();
  Tetrahedron = CachedMedium->GetTetrahedron();
  OutermostTissue = CachedMedium->GetOutermostTissueIndex();
  if (trelShapeObject* shape = Input->GetOuterShape()) {
    MediumShapeType = static_cast<ShapeType>(shape->GetShapeType());
  }
  CopyTissues();
  CopyFiberShapes();
  return true;
}

void trelVarianceReductionMonteCarlo::CopyTissues()
{
  NumberOfSpectra = Input->GetNumberOfWavelengths();
  Coefficients.clear();
  TissueShapes.clear();
  for (const trelTissue* tissue : CachedMedium->GetTissues()->GetItems<trelTissue>()) {
    TissueShapes.push_back(tissue->GetShape());
    for (int spectrum = 0; spectrum < NumberOfSpectra; ++spectrum) {
      const trelOpticalParameter* optics = tissue->GetOpticalParameter(spectrum);
      trelCoefficients c{};
      if (optics) {
        c.Absorption = optics->GetAbsorption();
        c.Scattering = optics->GetScattering();
        c.Interaction = c.Absorption + c.Scattering;
        c.Anisotropy = optics->GetAnisotropy();
        c.RefractiveIndex = optics->GetRefractiveIndex();
      }
      Coefficients.push_back(c);
    }
  }
  NumberOfTissues = static_cast<std::int32_t>(TissueShapes.size());
  // A mesh that could not be loaded has no regions, but an answer to which region a point is in.
  if (ShapeIsTetrahedron && Tetrahedron) {
    NumberOfTissues = std::min(NumberOfTissues, Tetrahedron->GetNumberOfRegions());
  }
}

void trelVarianceReductionMonteCarlo::CopyFiberShapes()
{
  HasFiberDetectors = Input->CountFiberDetectors() != 0;
  FiberShapes.clear();
  for (int i = 0; i < Input->GetNumberOfDetectors(); ++i) {
    const trelDetector* detector = Input->GetDetector(i);
    const bool isFiber = detector->GetDetectorType() == DetectorFiber;
    FiberShapes.push_back(isFiber ? static_cast<const trelFiberDetector*>(detector)->GetShape()
                                  : nullptr);
  }
}

void trelVarianceReductionMonteCarlo::MakeScoreTables()
{
  ScoreTables.clear();
  FiberScoreTables.assign(static_cast<std::size_t>(NumberOfSpectra), {});
  for (int spectrum = 0; HasFiberDetectors && spectrum < NumberOfSpectra; ++spectrum) {
    const trelDetectorArrayResult* records = Output->GetDetectorArrayResult(spectrum);
    for (int i = 0; const trelDetectorResult* record = records->GetDetectorResult(i); ++i)
      FiberScoreTables[spectrum].push_back(MakeFiberScoreTable(*record));
  }
  for (int spectrum = 0; spectrum < NumberOfSpectra; ++spectrum) {
    ScoreTables.push_back(
        MakeScoreTable(*Output->GetMediumResult(spectrum), *Input, MediumShapeType));
  }
}

/** After how many packets progress is told: a hundredth of the run, but no more than 1000. */
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
      !(ShapeIsTetrahedron ? Tetrahedron != nullptr : CachedMedium->IsGridReady())) {
    ErrorMacro("Initialization of Monte Carlo simulation failed!");
    return false;
  }
  MakeScoreTables();
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

bool trelVarianceReductionMonteCarlo::RunsSource(const trelLightSource& light) const
{
  const LuminousType type = light.GetLuminousType();
  switch (Input->GetSimulationType()) {
    case BLT:
      return type == LuminousBioluminescence;
    case DOT:
      return type == LuminousDiffuse;
    case FMT:
      return type == LuminousExcitation;
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

/** No exception may leave the region: what cannot be made is told by OutOfMemory, and then no
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
  SelectRecord(state, task.Spectrum->GetWavelengthIndex());
  state.SpectrumDetectorResult =
      task.Result->GetDetectorArrayResult(static_cast<int>(task.Spectrum->GetWavelengthIndex()));
  const std::size_t spectrum = task.Spectrum->GetWavelengthIndex();
  state.FiberScores =
      spectrum < FiberScoreTables.size() ? FiberScoreTables[spectrum].data() : nullptr;
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
  state.Scores = nullptr;
  state.FiberScores = nullptr;
  state.SpectrumMediumResult = nullptr;
  state.SpectrumDetectorResult = nullptr;
  state.CloseStream();
}

void trelVarianceReductionMonteCarlo::SelectRecord(ThreadState& state, std::uint32_t spectrum)
{
  const bool exists = spectrum < ScoreTables.size();
  state.SpectrumMediumResult =
      exists ? Output->GetMediumResult(static_cast<int>(spectrum)) : nullptr;
  state.Scores = exists ? &ScoreTables[spectrum] : nullptr;
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
    if (state.Scores && LaunchPhoton(this, state.Photon, task.Spectrum, task.Light) &&
        IsTissue(state.Photon->TissueIndex)) {
      state.SourceWeight = state.Photon->Weight;
      state.Photon->Weight = 1.0;
      if (ShapeIsTetrahedron) {
        TraceTetrahedral(state);
      } else {
        TraceAnalytic(state);
      }
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

/** They are in no total and no counter. On concave surfaces and flush ones a packet can be held
 *  where it is, in steps of no length. */
void trelVarianceReductionMonteCarlo::ReportEndedByLimit()
{
  if (EndedByLimit == 0 || SingleStepMode) return;
  WarningMacro(EndedByLimit << " packets reached the limit of " << StepNumberMax
                            << " steps (stepnummax): what is left of them is in no result");
}

bool trelVarianceReductionMonteCarlo::LaunchFromAnySource(trelVarianceReductionMonteCarlo* filter,
                                                          trelPhoton* photon,
                                                          trelSpectrum* spectrum,
                                                          trelLightSource* light)
{
  if (!light->LaunchPhoton(filter, photon, spectrum)) return false;
  if (light->IsInternal()) {
    photon->TissueIndex =
        CachedMedium->GetTissueIndex(photon->PositionX, photon->PositionY, photon->PositionZ);
  }
  return photon->TissueIndex != -1;
}

double trelVarianceReductionMonteCarlo::NextRandom()
{
  return GetThreadState().NextRandom();
}

// Scoring.

/** Adds to a cell that all threads of the team share. */
static inline void AddToCell(const ThreadState& state, double* cell, double value)
{
  if (state.OneThread) {
    *cell += value;
    return;
  }
#pragma omp atomic
  *cell += value;
}

/** The cell of the packet's position, or of the mesh face that it crossed. */
static inline bool LocateScoreCell(const ThreadState& state, const trelScoreTarget& target,
                                   std::size_t* cell)
{
  if (!target.Locate) {
    *cell = static_cast<std::size_t>(state.BoundaryFace);
    return *cell < target.NumberOfCells;
  }
  const trelPhoton& photon = *state.Photon;
  const double position[3] = {photon.PositionX, photon.PositionY, photon.PositionZ};
  return target.Locate(state.Scores->Window, position, cell);
}

static inline void ScoreCW(const ThreadState& state, const trelScoreTarget& target, double value)
{
  std::size_t cell = 0;
  if (target.CW && LocateScoreCell(state, target, &cell)) AddToCell(state, target.CW + cell, value);
}

static inline void ScoreTD(const ThreadState& state, const trelScoreTarget& target, double value)
{
  std::int32_t bin = 0;
  std::size_t cell = 0;
  if (target.TD && state.Scores->Window.Time.Locate(state.Photon->FlyTime, &bin) &&
      LocateScoreCell(state, target, &cell)) {
    AddToCell(state, target.TD + bin * target.NumberOfCells + cell, value);
  }
}

static inline void ScoreFD(const ThreadState& state, const trelScoreTarget& target, double value,
                           double phase)
{
  std::size_t cell = 0;
  if (!(target.FDReal || target.FDImag) || !LocateScoreCell(state, target, &cell)) return;
  if (target.FDReal) AddToCell(state, target.FDReal + cell, std::cos(phase) * value);
  if (target.FDImag) AddToCell(state, target.FDImag + cell, std::sin(phase) * value);
}

// The trace of a packet.

void trelVarianceReductionMonteCarlo::TraceAnalytic(ThreadState& state)
{
  state.Photon->Dead = SingleStepMode;
  if (HasOwnSteps()) {
    do {
      StepAnalytic(&state);
    } while (EndStep(state));
  } else {
    TakeAnalyticSteps(state);
  }
  KeepTrajectoryLength(state);
}

void trelVarianceReductionMonteCarlo::TraceTetrahedral(ThreadState& state)
{
  state.Photon->Dead = SingleStepMode;
  if (HasOwnSteps()) {
    do {
      StepTetrahedral(&state);
    } while (EndStep(state));
  } else {
    TakeTetrahedralSteps(state);
  }
  KeepTrajectoryLength(state);
}

inline bool trelVarianceReductionMonteCarlo::EndStep(ThreadState& state)
{
  trelPhoton& photon = *state.Photon;
  if (TrajectoryMode && state.Master) {
    KeepTrajectoryPoint(photon);
  }
  ++photon.StepCount;
  if (static_cast<std::int64_t>(photon.StepCount) > StepNumberMax) {
    if (!photon.Dead) ++state.EndedByLimit;
    photon.Dead = true;
  }
  if (photon.FlyTime > FlyTimeMax) photon.Dead = true;
  return !photon.Dead;
}

void trelVarianceReductionMonteCarlo::KeepTrajectoryPoint(const trelPhoton& photon)
{
  if (photon.StepCount >= Output->GetTrajectorySize()) return;
  trelTrajectoryRow& row = Output->GetTrajectory()[photon.StepCount];
  row[0] = photon.PositionX;
  row[1] = photon.PositionY;
  row[2] = photon.PositionZ;
}

void trelVarianceReductionMonteCarlo::KeepTrajectoryLength(const ThreadState& state)
{
  if (TrajectoryMode && state.Master) {
    Output->SetTrajectoryStepNum(static_cast<int>(state.Photon->StepCount));
  }
}

const trelCoefficients& trelVarianceReductionMonteCarlo::CoefficientsOf(
    std::int32_t tissue, const trelPhoton& photon) const
{
  return Coefficients[static_cast<std::size_t>(tissue) * NumberOfSpectra + photon.WavelengthIndex];
}

void trelVarianceReductionMonteCarlo::StepAnalytic(ThreadState* state)
{
  TakeAnalyticStep(*state, false);
}

void trelVarianceReductionMonteCarlo::TakeAnalyticSteps(ThreadState& state)
{
  do {
    TakeStep<false>(state, false, false);
  } while (EndStep(state));
}

void trelVarianceReductionMonteCarlo::StepTetrahedral(ThreadState* state)
{
  TakeTetrahedralStep(*state, true);
}

void trelVarianceReductionMonteCarlo::TakeTetrahedralSteps(ThreadState& state)
{
  do {
    TakeStep<true>(state, true, true);
  } while (EndStep(state));
}

/** Where the packet's step ends. */
static inline void FindEnd(const trelPhoton& photon, double end[3])
{
  end[0] = photon.PositionX + photon.StepSize * photon.DirectionX;
  end[1] = photon.PositionY + photon.StepSize * photon.DirectionY;
  end[2] = photon.PositionZ + photon.StepSize * photon.DirectionZ;
}

template <bool tetrahedral>
inline void trelVarianceReductionMonteCarlo::TakeStep(ThreadState& state,
                                                      bool rouletteInClearTissue,
                                                      bool scoresMissedFiber)
{
  const trelCoefficients& start = CoefficientsOf(state.Photon->TissueIndex, *state.Photon);
  const trelCoefficients* here = &start;
  NewStep(state, start);
  if (HasFiberDetectors && EndAtFiberDetector(state, scoresMissedFiber)) return;
  double end[3];
  FindEnd(*state.Photon, end);
  if (tetrahedral ? CrossesBoundaryTetrahedral(state, end) : CrossesBoundaryAnalytic(state, end)) {
    if (tetrahedral ? MoveToBoundaryTetrahedral(state, start)
                    : MoveToBoundaryAnalytic(state, start)) {
      ResolveBoundary(state, start);
      FindEnd(*state.Photon, end);
    } else {
      if (!ChangeTissue(state, tetrahedral ? FindTissueAt(end) : state.NextTissue)) return;
      here = &CoefficientsOf(state.Photon->TissueIndex, *state.Photon);
    }
  }
  Hop(state, *here, end);
  UpdateDirection(state, *here);
  if (start.IsNonInteracting() && !rouletteInClearTissue) {
    state.PartialAbsorption = true;  // no roulette where nothing is absorbed
  } else {
    Roulette(state);
  }
}

void trelVarianceReductionMonteCarlo::TakeAnalyticStep(ThreadState& state,
                                                       bool rouletteInClearTissue)
{
  TakeStep<false>(state, rouletteInClearTissue, false);
}

void trelVarianceReductionMonteCarlo::TakeTetrahedralStep(ThreadState& state,
                                                          bool scoresMissedFiber)
{
  TakeStep<true>(state, true, scoresMissedFiber);
}

/** The packet finds itself in another tissue without a boundary on its way. False if that is
 * outside: the packet ends, counted as transmitted and scored nowhere. */
bool trelVarianceReductionMonteCarlo::ChangeTissue(ThreadState& state, std::int32_t tissue)
{
  state.Photon->TissueIndex = tissue;
  if (tissue != -1) return true;
  state.Photon->Dead = true;
  state.SpectrumMediumResult->IncrementTransmitPhotonNum();
  return false;
}

void trelVarianceReductionMonteCarlo::NewStep(ThreadState& state, const trelCoefficients& here)
{
  trelPhoton& photon = *state.Photon;
  if (here.IsNonInteracting()) {
    photon.StepSize = 0.5;  // mm: short enough that the boundary tests see thin tissues
    photon.StepLeft = 0.0;
  } else if (photon.StepLeft != 0.0) {
    photon.StepSize = photon.StepLeft / here.Interaction;
    photon.StepLeft = 0.0;
  } else {
    photon.StepSize = -std::log(state.NextPositiveRandom()) / here.Interaction;
  }
}

void trelVarianceReductionMonteCarlo::Hop(ThreadState& state, const trelCoefficients& here,
                                          const double end[3])
{
  trelPhoton& photon = *state.Photon;
  const double step = photon.StepSize;
  photon.PositionX = end[0];
  photon.PositionY = end[1];
  photon.PositionZ = end[2];
  photon.PathLength += step;
  // 10 / 3 ps/mm is the reciprocal of the speed of light; the index is that of the tissue being
  // left.
  photon.FlyTime += here.RefractiveIndex * step * 10.0 / 3.0;
}

/** Brings a direction that rounding has stretched back to unit length; leaves a null vector alone.
 */
static inline void RenormalizeDirection(trelPhoton& photon)
{
  const double square = photon.DirectionX * photon.DirectionX +
                        photon.DirectionY * photon.DirectionY +
                        photon.DirectionZ * photon.DirectionZ;
  // |square - 1| < 1.9e-12 says that the length is within 1e-12 of 1, without its root.
  if (std::fabs(square - 1.0) < 1.9e-12) return;
  const double length = std::sqrt(square);
  if (std::fabs(length) < GeometryTolerance || std::fabs(length - 1.0) < GeometryTolerance) return;
  photon.DirectionX /= length;
  photon.DirectionY /= length;
  photon.DirectionZ /= length;
}

void trelVarianceReductionMonteCarlo::UpdateDirection(ThreadState& state,
                                                      const trelCoefficients& here)
{
  if (state.TransmitPending) {
    Transmit(state);
  } else if (state.ReflectPending) {
    Reflect(state);
    state.ReflectPending = false;
  } else {
    Scatter(state, here);
    Deposit(state, here);
  }
  RenormalizeDirection(*state.Photon);
}

void trelVarianceReductionMonteCarlo::Scatter(ThreadState& state, const trelCoefficients& here)
{
  if (Dimension == Dimension2D) {
    Scatter2D(state);  // in non-interacting tissue too
  } else if (!here.IsNonInteracting()) {
    Scatter3D(state, here.Anisotropy);
  }
}

void trelVarianceReductionMonteCarlo::Deposit(ThreadState& state, const trelCoefficients& here)
{
  trelPhoton& photon = *state.Photon;
  double deposited = photon.Weight;
  if (state.PartialAbsorption) {
    if (std::fabs(photon.StepSize) < GeometryTolerance || here.IsNonInteracting()) return;
    deposited = here.Absorption * photon.Weight / here.Interaction;
  }
  photon.Weight -= deposited;
  state.PartialAbsorption = true;
  if (!SaveAbsorption) return;
  const double value = state.SourceWeight * deposited;
  if (OnlyCW) {
    ScoreCW(state, state.Scores->Absorption, value);
  } else {
    ScoreInDomains(state, state.Scores->Absorption, value);
  }
}

void trelVarianceReductionMonteCarlo::Roulette(ThreadState& state)
{
  trelPhoton& photon = *state.Photon;
  if (photon.Weight < 0.0001 && !photon.Dead) PlayRoulette(state);
}

void trelVarianceReductionMonteCarlo::PlayRoulette(ThreadState& state)
{
  trelPhoton& photon = *state.Photon;
  if (state.NextRandom() < 0.1) {
    photon.Weight /= 0.1;
    state.PartialAbsorption = true;
    return;
  }
  state.PartialAbsorption = false;
  photon.Dead = true;
  Deposit(state, CoefficientsOf(photon.TissueIndex, photon));
  state.SpectrumMediumResult->IncrementAbsorpPhotonNum();
}

// Boundaries.

bool trelVarianceReductionMonteCarlo::CrossesBoundaryAnalytic(ThreadState& state,
                                                              const double end[3])
{
  const trelPhoton& photon = *state.Photon;
  if (photon.TissueIndex == OutermostTissue) {
    state.NextTissue = CachedMedium->GetTissueIndex(end[0], end[1], end[2]);
  } else {
    const bool leaves =
        TissueShapes[photon.TissueIndex]->LocatePoint(end[0], end[1], end[2]) == PointOutside;
    state.NextTissue = leaves ? OutermostTissue : photon.TissueIndex;
  }
  return state.NextTissue != photon.TissueIndex;
}

bool trelVarianceReductionMonteCarlo::MoveToBoundaryAnalytic(ThreadState& state,
                                                             const trelCoefficients& here)
{
  trelPhoton& photon = *state.Photon;
  const bool entersInner = photon.TissueIndex == OutermostTissue && state.NextTissue != -1;
  const trelShapeObject* shape = TissueShapes[entersInner ? state.NextTissue : photon.TissueIndex];
  double distance = photon.StepSize;
  if (!shape->IntersectRay(photon.PositionX, photon.PositionY, photon.PositionZ, photon.DirectionX,
                           photon.DirectionY, photon.DirectionZ, &distance, &state.BoundaryFace,
                           &state.NormalX, &state.NormalY, &state.NormalZ,
                           entersInner ? RayEnters : RayLeaves)) {
    return false;
  }
  CutStep(state, here, distance);
  return true;
}

bool trelVarianceReductionMonteCarlo::CrossesBoundaryTetrahedral(ThreadState& state,
                                                                 const double end[3])
{
  const trelPhoton& photon = *state.Photon;
  if (Tetrahedron->LocatePointInRegion(end[0], end[1], end[2], photon.TissueIndex) ==
      PointOutside) {
    return true;
  }
  state.NextTissue = photon.TissueIndex;
  return false;
}

bool trelVarianceReductionMonteCarlo::MoveToBoundaryTetrahedral(ThreadState& state,
                                                                const trelCoefficients& here)
{
  const trelPhoton& photon = *state.Photon;
  double distance = photon.StepSize;
  if (!Tetrahedron->IntersectRayInRegion(
          photon.PositionX, photon.PositionY, photon.PositionZ, photon.DirectionX,
          photon.DirectionY, photon.DirectionZ, photon.TissueIndex, &distance, &state.BoundaryFace,
          &state.NormalX, &state.NormalY, &state.NormalZ, &state.NextTissue)) {
    return false;
  }
  if (!IsTissue(state.NextTissue)) state.NextTissue = -1;
  CutStep(state, here, distance);
  return true;
}

/** The tissue at @p end in a tetrahedral medium, -1 for outside. */
std::int32_t trelVarianceReductionMonteCarlo::FindTissueAt(const double end[3]) const
{
  const std::int32_t region = Tetrahedron->FindRegion(end[0], end[1], end[2]);
  return IsTissue(region) ? region : -1;
}

/** Ends the step at @p distance and keeps the rest of it, as an optical depth; turns the normal
 *  along the travel. */
void trelVarianceReductionMonteCarlo::CutStep(ThreadState& state, const trelCoefficients& here,
                                              double distance)
{
  trelPhoton& photon = *state.Photon;
  if (NormalDotDirection(state) < 0.0) {
    state.NormalX = -state.NormalX;
    state.NormalY = -state.NormalY;
    state.NormalZ = -state.NormalZ;
  }
  photon.StepLeft = (photon.StepSize - distance) * here.Interaction;
  photon.StepSize = distance;
}

void trelVarianceReductionMonteCarlo::ResolveBoundary(ThreadState& state,
                                                      const trelCoefficients& here)
{
  const trelPhoton& photon = *state.Photon;
  state.IndexHere = here.RefractiveIndex;
  state.IndexNext = state.NextTissue == -1
                        ? AmbientRefractiveIndex
                        : CoefficientsOf(state.NextTissue, photon).RefractiveIndex;
  if (state.IndexHere == state.IndexNext) {
    state.TransmitPending = true;
    return;
  }
  const double cosIncidence = CosIncidence(state);
  double reflectance = 1.0;
  double cosTransmit = 0.0;
  if (CriticalCosine(state.IndexHere, state.IndexNext) < cosIncidence) {
    reflectance = FresnelReflectance(state.IndexHere, state.IndexNext, cosIncidence, &cosTransmit);
  }
  // Drawn at total reflection too: the order of the draws is part of the stream.
  const double random = state.NextRandom();
  if (random <= reflectance || reflectance == 1.0) {
    state.ReflectPending = true;
    return;
  }
  state.TransmitAngle = std::acos(cosTransmit);
  state.TransmitPending = true;
}

/** Carries the packet over the boundary. In a medium of shapes a packet that leaves an inner tissue
 *  always enters the outermost one, even where another inner tissue lies. */
void trelVarianceReductionMonteCarlo::Transmit(ThreadState& state)
{
  trelPhoton& photon = *state.Photon;
  Refract(state);
  state.TransmitPending = false;
  const bool leavesInner = !ShapeIsTetrahedron && photon.TissueIndex != OutermostTissue;
  photon.TissueIndex = leavesInner ? OutermostTissue : state.NextTissue;
  if (photon.TissueIndex == -1) Escape(state);
}

void trelVarianceReductionMonteCarlo::Escape(ThreadState& state)
{
  trelPhoton& photon = *state.Photon;
  photon.Dead = true;
  trelMediumResult& result = *state.SpectrumMediumResult;
  const std::int64_t row = result.IncrementTransmitPhotonNum();
  if (SavePhotonFlyTime) {
    result.RecordFlyTime(row, photon.PositionX, photon.PositionY, photon.PositionZ, photon.FlyTime);
  }
  if (!SaveTransmittance) return;
  if (const trelScoreTarget* target = TransmittanceTarget(state)) {
    ScoreInDomains(state, *target, state.SourceWeight * photon.Weight);
  }
}

bool trelVarianceReductionMonteCarlo::EndAtFiberDetector(ThreadState& state, bool scoresMissedFiber)
{
  if (!CrossesFiberDetector(state)) return false;
  if (IntersectFiberDetector(state) || scoresMissedFiber) {
    ScoreFiberDetector(state, state.Photon->Weight, state.CurrentDetector);
  }
  state.Photon->Dead = true;
  return true;
}

bool trelVarianceReductionMonteCarlo::CrossesFiberDetector(ThreadState& state) const
{
  const trelPhoton& photon = *state.Photon;
  const double x = photon.PositionX + photon.StepSize * photon.DirectionX;
  const double y = photon.PositionY + photon.StepSize * photon.DirectionY;
  const double z = photon.PositionZ + photon.StepSize * photon.DirectionZ;
  for (std::size_t i = 0; i < FiberShapes.size(); ++i) {
    const trelShapeObject* shape = FiberShapes[i];
    if (!shape || shape->LocatePoint(photon.PositionX, photon.PositionY, photon.PositionZ) ==
                      shape->LocatePoint(x, y, z)) {
      continue;
    }
    state.CurrentDetector = static_cast<std::int32_t>(i);
    return true;
  }
  return false;
}

/** The ray is asked as one that enters, also from inside: an ellipsoid around the source is then
 *  never hit, a cylinder is. The packet is not moved, nor its step cut. */
bool trelVarianceReductionMonteCarlo::IntersectFiberDetector(ThreadState& state) const
{
  const trelPhoton& photon = *state.Photon;
  double distance = photon.StepSize;
  return FiberShapes[static_cast<std::size_t>(state.CurrentDetector)]->IntersectRay(
      photon.PositionX, photon.PositionY, photon.PositionZ, photon.DirectionX, photon.DirectionY,
      photon.DirectionZ, &distance, &state.BoundaryFace, &state.NormalX, &state.NormalY,
      &state.NormalZ, RayEnters);
}

void trelVarianceReductionMonteCarlo::ScoreFiberDetector(const ThreadState& state, double weight,
                                                         std::int32_t detector) const
{
  if (!state.FiberScores) return;
  const trelPhoton& photon = *state.Photon;
  const trelScoreTable& scores = state.FiberScores[detector];
  const int face = scores.FaceSelects ? state.BoundaryFace : 0;
  if (face < 0 || face >= MaximumNumberOfFaces || !scores.Transmittance[face].CW) return;
  const trelScoreTarget& target = scores.Transmittance[face];
  const double position[3] = {photon.PositionX, photon.PositionY, photon.PositionZ};
  std::size_t cell = 0;
  if (target.Locate(scores.Window, position, &cell)) {
    AddToCell(state, target.CW + cell, state.SourceWeight * weight);
  }
}

const trelScoreTarget* trelVarianceReductionMonteCarlo::AbsorptionTarget(
    const ThreadState& state) const
{
  return state.Scores && state.Photon ? &state.Scores->Absorption : nullptr;
}

const trelScoreTarget* trelVarianceReductionMonteCarlo::TransmittanceTarget(
    const ThreadState& state) const
{
  if (!state.Scores || !state.Photon) return nullptr;
  const int face = state.Scores->FaceSelects ? state.BoundaryFace : 0;
  return face >= 0 && face < MaximumNumberOfFaces ? &state.Scores->Transmittance[face] : nullptr;
}

double trelVarianceReductionMonteCarlo::GetPhase(const ThreadState& state) const
{
  // 2 pi f t with f in MHz and t in ps.
  const double time = state.Photon->FlyTime;
  return (time + time) * Pi * Frequency / 1000000.0;
}

void trelVarianceReductionMonteCarlo::ScoreInDomains(ThreadState& state,
                                                     const trelScoreTarget& target,
                                                     double value) const
{
  if (DomainTD) ScoreTD(state, target, value);
  if (DomainCW) ScoreCW(state, target, value);
  if (DomainFD) ScoreFD(state, target, value, GetPhase(state));
}

// The entries by name. A grid of the other dimension is not in the score table, so that the two
// forms of an entry are one.

#define TREL_SCORE_ENTRIES(Kind, dimension)                                                    \
  void trelVarianceReductionMonteCarlo::Score##Kind##CW##dimension(double value)               \
  {                                                                                            \
    const ThreadState& state = GetThreadState();                                               \
    if (const auto* target = Kind##Target(state)) ScoreCW(state, *target, value);              \
  }                                                                                            \
  void trelVarianceReductionMonteCarlo::Score##Kind##TD##dimension(double value)               \
  {                                                                                            \
    const ThreadState& state = GetThreadState();                                               \
    if (const auto* target = Kind##Target(state)) ScoreTD(state, *target, value);              \
  }                                                                                            \
  void trelVarianceReductionMonteCarlo::Score##Kind##FD##dimension(double value, double phase) \
  {                                                                                            \
    const ThreadState& state = GetThreadState();                                               \
    if (const auto* target = Kind##Target(state)) ScoreFD(state, *target, value, phase);       \
  }

TREL_SCORE_ENTRIES(Absorption, 2D)
TREL_SCORE_ENTRIES(Absorption, 3D)
TREL_SCORE_ENTRIES(Transmittance, 2D)
TREL_SCORE_ENTRIES(Transmittance, 3D)
#undef TREL_SCORE_ENTRIES
