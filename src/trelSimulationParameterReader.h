#ifndef trelSimulationParameterReader_h
#define trelSimulationParameterReader_h

#include <cstdint>
#include <string>
#include <vector>

#include "trelKeywordTable.h"
#include "trelModelIndex.h"
#include "trelParameterText.h"
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
class trelSimulationParameterReader final : public trelReader
{
  trelTypeMacro(trelSimulationParameterReader, trelReader)

public:
  ~trelSimulationParameterReader() override;

  /** Reads the first file added and validates the model; on failure shows a report. */
  bool Execute() override;

  /** The model read, owned by the reader, made at the first call; replaced when Execute() runs
   * again. */
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

  /** What is wrong with the file so far; empty by default. */
  const std::string& GetReaderErrorText() const { return ReaderErrorText; }
  /** Appends @p text to it. */
  void Record(const std::string& text) { ReaderErrorText += text; }
  /** Shows a report of something that does not stop the read. */
  void ShowError(const std::string& text);
  void ShowWarning(const std::string& text);

  /** Version of the file: "2.0" (the default), "2.1" or "2.2"; they do not differ. */
  const std::string& GetVersion() const { return Version; }
  /** 0 for "ascii", the default, 1 for any other word; the file is read as text either way. */
  std::int32_t GetFormat() const { return Format; }

  /** The counts at the head of the file, 0 by default. */
  trelSetGetMacro(std::int32_t, SpectrumNum)
  trelSetGetMacro(std::int32_t, LightSourceNum)
  trelSetGetMacro(std::int32_t, TissueNum)
  trelSetGetMacro(std::int32_t, DetectorNum)

  /** The wavelengths read so far, a whole number for each spectrum, in nm as a rule. */
  const std::vector<std::uint32_t>& GetWavelengthList() const { return WavelengthList; }
  /** The objects that AllocateModel() made. */
  const trelModelIndex& GetModelIndex() const { return ModelIndex; }
  /** The file, at its current line. */
  trelParameterText& GetText() { return Text; }

private:
  /** Forgets the read before this one. */
  void BeginRead();
  bool ReadFile(const char* name);
  bool ReadModel(trelSimulationParameter* parameter);
  KeywordOutcome ReadHeaderLine();
  /** Warns of analytic tissues without extent: no packet finds its way into them or out of them. */
  void WarnOfFlatTissues();
  /** Records @p text; always false. */
  bool Fail(const std::string& text);
  /** True if a stage may start: nothing was recorded and a file is open. */
  bool IsReady();

  trelParameterText Text;
  std::string ReaderErrorText;
  std::string Version = "2.0";
  std::int32_t SpectrumNum = 0;
  std::int32_t LightSourceNum = 0;
  std::int32_t TissueNum = 0;
  std::int32_t DetectorNum = 0;
  std::int32_t Format = 0;
  std::vector<std::uint32_t> WavelengthList;
  trelModelIndex ModelIndex;
  trelSimulationParameter* Output = nullptr;
  bool OutputFilled = false;
};

#endif
