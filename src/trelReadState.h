#ifndef trelReadState_h
#define trelReadState_h

#include <cstdint>
#include <string>
#include <vector>

#include "trelModelIndex.h"
#include "trelObjectMacros.h"
#include "trelParameterText.h"

/** Receives what is wrong without stopping a read. The reader is one, and reports at once under its
 *  own name. */
struct trelReadReports
{
  virtual void ShowError(const std::string& text) = 0;
  virtual void ShowWarning(const std::string& text) = 0;

protected:
  ~trelReadReports() = default;
};

/**
 * @class   trelReadState
 * @brief   how far the read of a parameter file is: the file at its line, the counts and
 * wavelengths read, the objects made for them, and what is wrong so far
 *
 * The reader has it and shares it with its sections.
 */
class trelReadState
{
public:
  /** @p reports must outlive the state. */
  explicit trelReadState(trelReadReports& reports) : Reports(reports) {}

  /** Resets counts, wavelengths and ReaderErrorText for a new read. */
  void Begin();

  /** The file, at its current line. */
  trelParameterText& GetText() { return Text; }
  /** The objects that the counts ask for. */
  trelModelIndex& GetModelIndex() { return ModelIndex; }

  /** The counts at the head of the file, 0 by default. */
  trelSetGetMacro(std::int32_t, SpectrumNum)
  trelSetGetMacro(std::int32_t, LightSourceNum)
  trelSetGetMacro(std::int32_t, TissueNum)
  trelSetGetMacro(std::int32_t, DetectorNum)

  /** The wavelengths read so far, a whole number for each spectrum, in nm as a rule. */
  std::vector<std::uint32_t>& GetWavelengthList() { return WavelengthList; }

  /** What is wrong with the file so far; empty by default. */
  const std::string& GetReaderErrorText() const { return ReaderErrorText; }
  /** Appends @p text to it. */
  void Record(const std::string& text) { ReaderErrorText += text; }
  /** Reports what does not stop the read. */
  void ShowError(const std::string& text) { Reports.ShowError(text); }
  void ShowWarning(const std::string& text) { Reports.ShowWarning(text); }

private:
  trelReadReports& Reports;
  trelParameterText Text;
  trelModelIndex ModelIndex;
  std::int32_t SpectrumNum = 0;
  std::int32_t LightSourceNum = 0;
  std::int32_t TissueNum = 0;
  std::int32_t DetectorNum = 0;
  std::vector<std::uint32_t> WavelengthList;
  std::string ReaderErrorText;
};

#endif
