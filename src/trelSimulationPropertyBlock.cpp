#include "trelSimulationPropertyBlock.h"

#include <omp.h>

#include <algorithm>
#include <limits>
#include <string>

#include "trelMedium.h"
#include "trelSimulationParameter.h"
#include "trelThreads.h"

static const trelWord<SimulationType> SimulationTypeWords[] = {
    {"BLT", BLT}, {"DOT", DOT}, {"FMT", FMT}};

static const trelWord<SimulationDimension> DimensionWords[] = {{"2d", Dimension2D},
                                                               {"3d", Dimension3D}};

static const trelWord<MediumAlgorithm> MediumAlgorithmWords[] = {{"vrmc", MediumVRMC},
                                                                 {"amc", MediumAMC}};

static const trelWord<FreespaceAlgorithm> FreespaceAlgorithmWords[] = {
    {"vrmc", FreespaceVRMC}, {"hrrt lambert", FreespaceLambert}, {"pinhole", FreespacePinhole}};

/** In the order in which a line is searched for them; absorption has no spherical cells. */
static const trelWord<CoordinateType> CoordinateWords[] = {{"cylindrical", CoordinateCylindrical},
                                                           {"cartesian", CoordinateCartesian},
                                                           {"polar", CoordinatePolar},
                                                           {"spherical", CoordinateSpherical}};

trelSimulationPropertyBlock::trelSimulationPropertyBlock(trelReadState& state,
                                                         trelSimulationParameter& parameter)
    : trelKeywordSection(state, parameter)
{
}

KeywordOutcome trelSimulationPropertyBlock::Handle(const Keyword* row)
{
  return row ? (this->*row->Handler)(*row) : Fail("read simulation property error!\n");
}

bool trelSimulationPropertyBlock::IsThreeDimensional() const
{
  return Parameter.GetDimension() == Dimension3D;
}

int trelSimulationPropertyBlock::GetSwitch(int i) const
{
  if (Text.IsOneOf(i, "1")) return 1;
  return Text.IsOneOf(i, "0") ? 0 : -1;
}

KeywordOutcome trelSimulationPropertyBlock::SetSimulationType(const Keyword& row)
{
  if (Text.GetNumberOfTokens() < 2) return KeywordDone;
  const SimulationType* type = FindWord(Text, 1, SimulationTypeWords);
  if (!type) {
    ExplainWord(1, SimulationTypeWords);
    return Record(row.Message);
  }
  Parameter.SetSimulationType(*type);
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetDimension(const Keyword& row)
{
  if (Text.GetNumberOfTokens() < 2) return KeywordDone;
  const SimulationDimension* dimension = FindWord(Text, 1, DimensionWords);
  if (!dimension) {
    ExplainWord(1, DimensionWords);
    return Record(row.Message);
  }
  Parameter.SetDimension(*dimension);
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetMediumAlgorithm(const Keyword& row)
{
  const MediumAlgorithm* algorithm = FindWord(Text, 1, MediumAlgorithmWords);
  if (!algorithm) {
    ExplainWord(1, MediumAlgorithmWords);
    return Fail(row.Message);
  }
  Parameter.SetMediumAlgorithm(*algorithm);
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetFreespaceAlgorithm(const Keyword& row)
{
  const FreespaceAlgorithm* algorithm = FindWord(Text, 1, FreespaceAlgorithmWords);
  if (!algorithm) {
    ExplainWord(1, FreespaceAlgorithmWords);
    return Fail(row.Message);
  }
  Parameter.SetFreespaceAlgorithm(*algorithm);
  return KeywordDone;
}

template <void (trelSimulationParameter::*SetSave)(bool),
          void (trelSimulationParameter::*SetCoordinate)(CoordinateType), bool hasSpherical>
KeywordOutcome trelSimulationPropertyBlock::SetMatrix(const Keyword& row)
{
  const int save = std::max(GetSwitch(1), GetSwitch(2));
  if (save >= 0) (Parameter.*SetSave)(save == 1);
  std::vector<std::string> words;
  for (const trelWord<CoordinateType>& word : CoordinateWords) {
    if (word.Meaning == CoordinateSpherical && !hasSpherical) continue;
    words.emplace_back(word.Words);
    if (!Text.IsOneOf(1, word.Words) && !Text.IsOneOf(2, word.Words)) continue;
    (Parameter.*SetCoordinate)(word.Meaning);
    return KeywordDone;
  }
  State.ExplainWord(save >= 0 && Text.IsOneOf(1, "0 1") ? 2 : 1, words);
  return Fail(row.Message);
}

template <void (trelSimulationParameter::*Set)(bool)>
KeywordOutcome trelSimulationPropertyBlock::SetSwitch(const Keyword&)
{
  const int value = GetSwitch(1);
  if (value >= 0) (Parameter.*Set)(value == 1);
  return KeywordDone;
}

template <void (trelReadState::*Set)(std::int32_t)>
KeywordOutcome trelSimulationPropertyBlock::SetCount(const Keyword&)
{
  (State.*Set)(Text.GetInteger(1));
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetROI(const Keyword&)
{
  double roi[2 * NumberOfAxes] = {};
  roi[2 * AxisAzimuth + 1] = 360.0;
  roi[2 * AxisDeflection + 1] = 180.0;
  if (IsThreeDimensional()) {
    const int given = TakeNumbers(roi, 12);
    Parameter.SetROI(roi, given);
    return KeywordDone;
  }
  // In the plane the line has no z: x, y, radial and azimuth follow each other, and the defaults
  // above stand where no number reaches. Files depend on it: the largest azimuth of a short line is
  // 0.
  const int given = TakeNumbers(roi, 8);
  const double planar[2 * NumberOfAxes] = {roi[0], roi[1], roi[2], roi[3], 0.0, 0.0,
                                           roi[4], roi[5], roi[6], roi[7], 0.0, 0.0};
  Parameter.SetROI(planar, given > 4 ? given + 2 : given);
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetSeparations(const Keyword&)
{
  double s[NumberOfAxes] = {1.0, 1.0, 1.0, 1.0, 1.0, 1.0};
  if (IsThreeDimensional()) {
    TakeNumbers(s, 6);
    Parameter.SetSeparations(s[0], s[1], s[2], s[3], s[4], s[5]);
    return KeywordDone;
  }
  TakeNumbers(s, 4);
  Parameter.SetSeparations(s[0], s[1], 0.0, s[2], s[3], 0.0);
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetOutermostTissueIndex(const Keyword&)
{
  const std::int32_t smallest = std::numeric_limits<std::int32_t>::min() + 1;
  Parameter.GetMedium()->SetOutermostTissueIndex(std::max(Text.GetInteger(1), smallest) - 1);
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetAmbientRefractiveIndex(const Keyword&)
{
  Parameter.GetMedium()->SetAmbientRefractiveIndex(Text.GetReal(1));
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetStepNumberMax(const Keyword&)
{
  Parameter.SetStepNumberMax(Text.GetInteger(1));
  Parameter.SetStepNumberMaxGiven(true);
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetFlyTimeMax(const Keyword&)
{
  Parameter.SetFlyTimeMax(Text.GetReal(1));
  Parameter.SetFlyTimeMaxGiven(true);
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetDomain(const Keyword& row)
{
  if (Text.IsOneOf(1, "cw 0")) {
    Parameter.SetContinuousWave(true);
  } else if (Text.IsOneOf(1, "td 1") && Text.GetNumberOfTokens() >= 5) {
    Parameter.SetTimeRange(Text.GetReal(2), Text.GetReal(3), Text.GetReal(4));
    Parameter.SetTimeDomain(true);
  } else if (Text.IsOneOf(1, "fd 2") && Text.GetNumberOfTokens() >= 3) {
    Parameter.SetFrequencyDomain(true);
    Parameter.SetFrequency(Text.GetReal(2));
  } else {
    State.Explain(FindingError, 0, "domain: got no domain, or too few numbers behind it",
                  "write domain cw, domain td START END STEP (ps) or domain fd FREQUENCY (MHz)");
    return Record(row.Message);
  }
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetShapeIsTetrahedron(const Keyword&)
{
  const int value = GetSwitch(1);
  if (value >= 0) Parameter.GetMedium()->SetShapeIsTetrahedron(value == 1);
  return KeywordDone;
}

KeywordOutcome trelSimulationPropertyBlock::SetThreads(const Keyword&)
{
  if (Text.GetNumberOfTokens() < 2) return KeywordDone;
  const std::int32_t threads = Text.GetInteger(1);
  Parameter.SetThreadNumber(std::clamp(threads, 1, MaximumNumberOfThreads));
  if (threads > MaximumNumberOfThreads) {
    State.ShowWarning("threadnum: got " + std::to_string(threads) + ", expected 1 to " +
                      std::to_string(MaximumNumberOfThreads) + "; the largest number is taken\n");
  }
  const int seeds = std::min(threads, Text.GetNumberOfTokens() - 2);
  for (int i = 0; i < seeds; ++i)
    Parameter.AddThreadSeed(Text.GetInteger(i + 2));
  return KeywordDone;
}

const trelSimulationPropertyBlock::Keyword trelSimulationPropertyBlock::Keywords[] = {
    {"simulationproperty", 1, &Block::Ignore<Keyword>},
    {"simulationtype", 1, &Block::SetSimulationType, "Simulation type is error!\n"},
    {"environment dimension", 1, &Block::SetDimension, "Simulation dimension is error!\n"},
    {"spectrumnum", 2, &Block::SetCount<&Counts::SetSpectrumNum>},
    {"lightsourcenum", 2, &Block::SetCount<&Counts::SetLightSourceNum>},
    {"tissuenum", 2, &Block::SetCount<&Counts::SetTissueNum>},
    {"detectorlensnum detectornum", 2, &Block::SetCount<&Counts::SetDetectorNum>},
    {"mediumalgorithm phantomalgorithm", 2, &Block::SetMediumAlgorithm,
     "Medium algorithm error!\n"},
    {"freespacealgorithm", 2, &Block::SetFreespaceAlgorithm, "Freespace algorithm error!\n"},
    {"absorptionmatrix", 2,
     &Block::SetMatrix<&Model::SetSaveAbsorption, &Model::SetAbsorptionCoordinate, false>,
     "The coordinate type for saving absorption is error!\n"},
    {"transmittancematrix", 2,
     &Block::SetMatrix<&Model::SetSaveTransmittance, &Model::SetTransmittanceCoordinate, true>,
     "The coordinate type for saving transmittance is error!\n"},
    {"fluencerate", 2, &Block::SetSwitch<&Model::SetSaveFluenceRate>},
    {"photonflytime", 2, &Block::SetSwitch<&Model::SetSavePhotonFlyTime>},
    {"roi", 1, &Block::SetROI},
    {"roiseparation mediumseparation", 1, &Block::SetSeparations},
    {"outermosttissueindex", 2, &Block::SetOutermostTissueIndex},
    {"ambientmediumr", 2, &Block::SetAmbientRefractiveIndex},
    {"stepnummax", 2, &Block::SetStepNumberMax},
    {"flytimemax", 2, &Block::SetFlyTimeMax},
    {"domain", 1, &Block::SetDomain, "domain is error!\n"},
    {"mediumshapetetratype", 2, &Block::SetShapeIsTetrahedron},
    {"threadnum", 1, &Block::SetThreads},
    {"endsimulationproperty", 1, &Block::End<Keyword>}};

void trelSimulationPropertyBlock::ListKeywords(std::vector<trelKnownKeyword>& keywords)
{
  for (const Keyword& row : Keywords)
    AppendKeywords(row.Words, PartProperties, row.Needs, keywords);
}

bool trelSimulationPropertyBlock::Read()
{
  const bool complete = ReadLines(*this, Keywords);
  // As many threads prepare the meshes that the model names as trace packets in it.
  omp_set_num_threads(Parameter.GetThreadNumber());
  return complete;
}
