#ifndef trelReadState_h
#define trelReadState_h

#include <cstdint>
#include <string>
#include <vector>

#include "trelModelFindings.h"
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
  /** Appends @p text to it, and is a finding of the line if nothing was explained of it. */
  void Record(const std::string& text);

  /** Where findings go, held as long as the state; null, the default, for nowhere: then the
   *  operations below do nothing. */
  void SetFindings(trelModelFindings* findings);
  trelModelFindings* GetFindings() const { return Findings; }

  /** Notes where the setting of the current line stands. */
  void NoteLine();
  /** The line that was noted last, which may lie ahead of empty ones at the end. */
  int GetLastLine() const { return LastLine; }
  /** Tells of a word of the current line, from 0. */
  void Explain(trelFindingKind kind, int word, const std::string& text,
               const std::string& remedy = "");
  /** Tells that the index on the current line is not within the count @p count that the setting
   *  @p keyword gave. */
  void ExplainIndex(const char* keyword, std::int32_t count);
  /** Tells that word @p i is none of @p words. */
  void ExplainWord(int i, const std::vector<std::string>& words,
                   trelFindingKind kind = FindingError);
  /** Tells that the current line needs a line @p keyword ahead of it. */
  void ExplainOrder(trelFindingKind kind, const std::string& keyword);
  /** Tells of what was not read of the current line, unless something of it has been told: words
   *  that look like a unit or one number too many are a mistake. */
  void ExplainRest();
  /** The keyword of the current line is not known where it stands, or its line is too short. */
  trelSetGetMacro(bool, KeywordUnknown)
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
  trelModelFindings* Findings = nullptr;
  /** Whose settings the lines are, "tissue 2", and the line that was explained last. */
  std::string Owner;
  int ExplainedLine = 0;
  int LastLine = 0;
  bool KeywordUnknown = false;

  void ExplainNumber(int token, trelNumberKind kind);
};

#endif
