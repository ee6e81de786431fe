#ifndef trelModelSection_h
#define trelModelSection_h

#include <cstddef>
#include <string>

#include "trelKeywordAdvice.h"
#include "trelKeywordSection.h"
#include "trelModelTypes.h"
#include "trelShapeLine.h"
#include "trelVector.h"

class trelObject;
class trelPlaneDetector;

/**
 * @class   trelModelSection
 * @brief   the model section of a parameter file: light sources, tissues, detectors and their
 * shapes
 *
 * A line such as "tissue 2 bone" selects an object, and the lines behind it fill the one selected
 * last, the current object. A shape stays current when another source or tissue is selected, until
 * that one gets a shape. Sources, tissues and their entries for each spectrum exist already,
 * detectors are made here.
 *
 * The two-dimensional and the three-dimensional section share one table, whose rows say which of
 * them has the keyword: they differ in the number of coordinates, in the shapes and in the wording
 * of the messages.
 */
class trelModelSection final : private trelKeywordSection
{
public:
  /** The section for models of @p dimension, two or three. */
  trelModelSection(trelReadState& state, trelSimulationParameter& parameter,
                   SimulationDimension dimension);

  /** Reads up to "endtrl" or the end of the file; false if the read has to stop. */
  bool Read();

  /** Appends the keywords that both sections have by @p rules. */
  static void ListKeywords(trelRules rules, std::vector<trelKnownKeyword>& keywords);

private:
  friend class trelKeywordSection;
  using Section = trelModelSection;

  /** In which section a keyword stands. */
  enum SectionDimension
  {
    In2D = 1,
    In3D = 2,
    InBoth = In2D | In3D
  };

  /** What a line can need to have been selected before it. */
  enum CurrentObject
  {
    Nothing,
    Source,
    SourceShape,
    Tissue,
    TissueShape,
    PlaneDetector,
    FiberDetector,
    FiberShape,
    NumberOfCurrentObjects
  };

  /** Needs of a line with a point: the keyword and as many coordinates as the section has. */
  static constexpr int PointLine = 0;

  /** A row of the table: words, the section that has it, smallest number of tokens, what must be
   * selected, work, and what is said of bad values. */
  struct Keyword
  {
    const char* Words;
    SectionDimension Dimension;
    int Needs;
    CurrentObject Current;
    KeywordOutcome (trelModelSection::*Handler)(const Keyword& row);
    const char* Message = nullptr;
    /** What is said when nothing is selected; null: the line is passed over. */
    const char* MissingMessage = nullptr;
    /** The exact rules know all words, the classic ones those of their own. */
    trelRules Rules = RulesClassic;
  };
  static const Keyword Keywords[];

  bool Fits(const Keyword& row) const;
  KeywordOutcome Handle(const Keyword* row);
  int GetNumberOfCoordinates() const;
  /** The current object @p which, known to be set and an @p Object. */
  template <class Object>
  Object* Get(CurrentObject which) const;
  /** The index behind the keyword, from 0; below 0 or too large if the file is wrong. */
  int GetIndex() const;
  /** The point behind the keyword; in two dimensions z is 0. */
  trelVector TakePoint() const;
  /** The keyword whose line selects @p which. */
  static const char* GetSelector(CurrentObject which);
  /** Tells of a line for a shape that the source, tissue or fibre at hand does not have yet. */
  void ExplainStaleShape(const Keyword& row);
  template <class Owner>
  KeywordOutcome GiveShape(const Keyword& row, trelShapeFilter admits, CurrentObject shape);

  KeywordOutcome SetCenter(const Keyword& row);
  KeywordOutcome SetHalfAxes(const Keyword& row);

  KeywordOutcome SelectSource(const Keyword& row);
  KeywordOutcome SetPlanarSourceShape(const Keyword& row);
  KeywordOutcome SetSourceShape(const Keyword& row);
  KeywordOutcome LoadSourceShape(const Keyword& row);
  KeywordOutcome SetSourceProperty(const Keyword& row);
  KeywordOutcome SetAzimuthRange(const Keyword& row);
  KeywordOutcome SetDeflectionRange(const Keyword& row);
  KeywordOutcome SetSourceDirection(const Keyword& row);
  KeywordOutcome SetSourceProfile(const Keyword& row);
  KeywordOutcome SetSourceSpectrum2D(const Keyword& row);
  KeywordOutcome SetSourceSpectrum3D(const Keyword& row);
  KeywordOutcome SetSourceSpectrum(const Keyword& row, int emissionNeeds,
                                   const char* emissionMessage);

  KeywordOutcome LoadTetrahedra(const Keyword& row);
  KeywordOutcome SelectTissue(const Keyword& row);
  KeywordOutcome SetPlanarTissueShape(const Keyword& row);
  KeywordOutcome SetTissueShape(const Keyword& row);
  KeywordOutcome LoadTissueShape(const Keyword& row);
  KeywordOutcome SetTissueSpectrum(const Keyword& row);

  template <class Detector>
  KeywordOutcome AddDetector(const Keyword& row);
  KeywordOutcome SetVerticalPlane(const Keyword& row);
  KeywordOutcome SetDetectorCenter(const Keyword& row);
  KeywordOutcome SetDetectorNormal(const Keyword& row);
  KeywordOutcome SetDetectorSize(const Keyword& row);
  KeywordOutcome SetDetectorResolution(const Keyword& row);
  template <void (trelPlaneDetector::*Set)(double)>
  KeywordOutcome SetLength(const Keyword& row);
  KeywordOutcome SetFiberShape(const Keyword& row);

  const SectionDimension Dimension;
  trelObject* Current[NumberOfCurrentObjects] = {};
  /** Whether the tissue selected last is a region of the medium's mesh, which has no shape. */
  bool IsRegion = false;
  /** A shape that was given to an object selected earlier. */
  bool IsStale[NumberOfCurrentObjects] = {};
  /** Indices of the current source and tissue, from 0. */
  int SourceIndex = -1;
  int TissueIndex = -1;
};

#endif
