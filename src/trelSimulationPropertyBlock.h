#ifndef trelSimulationPropertyBlock_h
#define trelSimulationPropertyBlock_h

#include "trelKeywordAdvice.h"
#include "trelKeywordSection.h"
#include "trelModelTypes.h"

class trelSimulationParameter;

/**
 * @class   trelSimulationPropertyBlock
 * @brief   the "simulationproperty" block of a parameter file: what is simulated and what is saved
 *
 * Its keywords are the rows of one table. "roi" and "roiseparation" are read by the dimension that
 * was given before them, so that the "dimension" line comes first in a file.
 */
class trelSimulationPropertyBlock final : private trelKeywordSection
{
public:
  /** Reads the file of @p state into @p parameter; both must outlive the block. */
  trelSimulationPropertyBlock(trelReadState& state, trelSimulationParameter& parameter);

  /** Reads up to "endsimulationproperty" or the end of the file; false if the read has to stop. */
  bool Read();

  /** Appends the keywords of the block. */
  static void ListKeywords(std::vector<trelKnownKeyword>& keywords);

private:
  friend class trelKeywordSection;
  using Block = trelSimulationPropertyBlock;
  using Model = trelSimulationParameter;
  using Counts = trelReadState;

  /** A row of the table: words, smallest number of tokens, work, and what is said of a bad value.
   */
  struct Keyword
  {
    const char* Words;
    int Needs;
    KeywordOutcome (trelSimulationPropertyBlock::*Handler)(const Keyword& row);
    const char* Message = nullptr;
  };

  static const Keyword Keywords[];

  KeywordOutcome Handle(const Keyword* row);
  bool IsThreeDimensional() const;
  /** Token @p i as a switch: 1 for "1", 0 for "0", -1 for any other word. */
  int GetSwitch(int i) const;

  KeywordOutcome SetSimulationType(const Keyword& row);
  KeywordOutcome SetDimension(const Keyword& row);
  KeywordOutcome SetMediumAlgorithm(const Keyword& row);
  KeywordOutcome SetFreespaceAlgorithm(const Keyword& row);
  KeywordOutcome SetROI(const Keyword& row);
  KeywordOutcome SetSeparations(const Keyword& row);
  KeywordOutcome SetOutermostTissueIndex(const Keyword& row);
  KeywordOutcome SetAmbientRefractiveIndex(const Keyword& row);
  KeywordOutcome SetDomain(const Keyword& row);
  KeywordOutcome SetShapeIsTetrahedron(const Keyword& row);
  KeywordOutcome SetThreads(const Keyword& row);
  KeywordOutcome SetStepNumberMax(const Keyword& row);
  KeywordOutcome SetFlyTimeMax(const Keyword& row);
  /** A switch and a coordinate word, in either order. */
  template <void (trelSimulationParameter::*SetSave)(bool),
            void (trelSimulationParameter::*SetCoordinate)(CoordinateType), bool hasSpherical>
  KeywordOutcome SetMatrix(const Keyword& row);
  template <void (trelSimulationParameter::*Set)(bool)>
  KeywordOutcome SetSwitch(const Keyword& row);
  template <void (trelReadState::*Set)(std::int32_t)>
  KeywordOutcome SetCount(const Keyword& row);
};

#endif
