#ifndef trelModelSection_h
#define trelModelSection_h

#include <cstddef>
#include <string>

#include "trelKeywordTable.h"

class trelObject;
class trelParameterText;
class trelPlaneDetector;
class trelShapeObject;
class trelSimulationParameter;
class trelSimulationParameterReader;
class trelSpectrum;
struct trelShapeTraits;

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
 * The two-dimensional and the three-dimensional section are two tables over the same work: they
 * differ in the number of coordinates, in the shapes and in the wording of the messages.
 */
class trelModelSection
{
public:
  trelModelSection(trelSimulationParameterReader& reader, trelSimulationParameter& parameter);

  /** Reads up to "endtrl" or the end of the file; false if the read has to stop. */
  bool Read2D();
  bool Read3D();

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

  /** A row of a table: words, smallest number of tokens (with a point on the line, one more than
   * its coordinates), what must be selected, work, and what is said of bad values. */
  struct Keyword
  {
    const char* Words;
    int Needs;
    CurrentObject Current;
    KeywordOutcome (trelModelSection::*Handler)(const Keyword& row);
    const char* Message = nullptr;
    /** What is said when nothing is selected; null: the line is passed over. */
    const char* MissingMessage = nullptr;
  };
  /** Does what @p row says for the current line; a null row is a keyword that the section lacks. */
  KeywordOutcome Handle(const Keyword* row);

private:
  using ShapeFilter = bool (*)(const trelShapeTraits&);

  KeywordOutcome Fail(const std::string& text);
  /** The current object @p which, known to be set and an @p Object. */
  template <class Object>
  Object* Get(CurrentObject which) const;
  /** The index behind the keyword, from 0; below 0 or too large if the file is wrong. */
  int GetIndex() const;
  void TakePoint(const Keyword& row, double point[3]) const;
  template <class Owner>
  KeywordOutcome GiveShape(const Keyword& row, ShapeFilter admits, CurrentObject shape);
  template <class Mesh>
  void LoadMesh(Mesh& mesh);

  KeywordOutcome Ignore(const Keyword& row);
  KeywordOutcome End(const Keyword& row);
  KeywordOutcome SetCenter(const Keyword& row);
  KeywordOutcome SetHalfAxes(const Keyword& row);

  KeywordOutcome SelectSource(const Keyword& row);
  KeywordOutcome SetPlanarSourceShape(const Keyword& row);
  KeywordOutcome SetSourceShape(const Keyword& row);
  KeywordOutcome LoadSourceShape(const Keyword& row);
  KeywordOutcome SetSourceProperty(const Keyword& row);
  bool SetLuminousType();
  KeywordOutcome CheckSourcePlace();
  KeywordOutcome SetAzimuthRange(const Keyword& row);
  KeywordOutcome SetDeflectionRange(const Keyword& row);
  KeywordOutcome SetSourceSpectrum2D(const Keyword& row);
  KeywordOutcome SetSourceSpectrum3D(const Keyword& row);
  void SetPacketNumber(trelSpectrum& spectrum);
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

  trelSimulationParameterReader& Reader;
  trelSimulationParameter& Parameter;
  trelParameterText& Text;
  const char* UnknownMessage = nullptr;
  trelObject* Current[NumberOfCurrentObjects] = {};
  /** Indices of the current source and tissue, from 0. */
  int SourceIndex = -1;
  int TissueIndex = -1;
};

#endif
