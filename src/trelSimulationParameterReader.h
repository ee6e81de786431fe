#ifndef trelSimulationParameterReader_h
#define trelSimulationParameterReader_h

#include <cstdint>
#include <string>

#include "trelKeywordAdvice.h"
#include "trelKeywordSection.h"
#include "trelReadState.h"
#include "trelReader.h"

class trelSimulationParameter;

/**
 * @class   trelSimulationParameterReader
 * @brief   reads a parameter file (.trl) into a trelSimulationParameter
 *
 * A file is a header, the "simulationproperty" block, the wavelengths, and the model. Each has an
 * operation here; the keywords stand in the tables of trelSimulationPropertyBlock and
 * trelModelSection.
 *
 * What is wrong in a file is appended to ReaderErrorText. A stage that fails ends the read; a fault
 * that is only recorded lets its stage go on and stops the next one, so that one report shows both.
 *
 * docs/parameter-file.md describes the file to its users.
 */
class trelSimulationParameterReader final : public trelReader, private trelReadReports
{
  trelTypeMacro(trelSimulationParameterReader, trelReader)

public:
  ~trelSimulationParameterReader() override;

  /** Reads the first file added and validates the model; on failure shows a report. */
  bool Execute() override;

  /** Where to tell, beside the reports, of what is wrong, with lines and remedies; held as long as
   *  the reader. Null, the default: nowhere. */
  void SetFindings(trelModelFindings* findings) { State.SetFindings(findings); }

  /** The model read, owned by the reader, made at the first call; replaced when Execute() runs
   * again, which then reads by the same rules. */
  trelSimulationParameter* GetOutput();

  /**
   * The stages of a read, in order. Each but the first and the third fails when something was
   * recorded before or no file is open.
   */
  bool ReadHeader();
  bool ReadSimulationProperty(trelSimulationParameter* parameter);
  /** Makes the sources, tissues and their entries that the counts ask for, all empty. */
  bool AllocateModel(trelSimulationParameter* parameter);
  bool ReadSpectrumData(trelSimulationParameter* parameter);
  bool ReadModel2D(trelSimulationParameter* parameter);
  bool ReadModel3D(trelSimulationParameter* parameter);

  /** The line that the read is at. */
  int GetLineNumber() const { return Text.GetLineNumber(); }

private:
  void ShowError(const std::string& text) override;
  void ShowWarning(const std::string& text) override;

  /** Forgets the read before this one. */
  void BeginRead();
  bool ReadFile(const char* name);
  bool ReadModel(trelSimulationParameter* parameter);
  bool CheckModel(trelSimulationParameter* parameter);
  KeywordOutcome ReadHeaderLine();
  /** Warns of analytic tissues without extent: no packet finds its way into them or out of them. */
  void WarnOfFlatTissues();
  /** Tells of a keyword that @p part does not know, if the read stopped at one; passes @p done on.
   */
  bool ExplainStop(bool done, trelFilePart part);
  /** Tells of an end that is missing, which the read itself does not mind. */
  void ExplainEnd();
  void ExplainDimension();
  void ExplainWavelength();
  /** Records @p text; always false. */
  bool Fail(const std::string& text);
  /** True if a stage may start: nothing was recorded and a file is open. */
  bool IsReady();

  trelReadState State{*this};
  trelParameterText& Text = State.GetText();
  /** Version of the file: "2.0", "2.1" or "2.2"; they do not differ. */
  std::string Version = "2.0";
  /** 0 for "ascii", 1 for any other word; the file is read as text either way. */
  std::int32_t Format = 0;
  trelSimulationParameter* Output = nullptr;
  bool OutputFilled = false;
};

#endif
