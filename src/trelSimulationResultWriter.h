#ifndef trelSimulationResultWriter_h
#define trelSimulationResultWriter_h

#include "trelGridTable.h"
#include "trelWriter.h"

class trelDetectorArrayResult;
class trelDetectorResult;
class trelList;
class trelMediumResult;
class trelResultFile;
class trelResultFileSet;
class trelSimulationParameter;
class trelSimulationResult;

/**
 * @class   trelSimulationResultWriter
 * @brief   writes a finished result as text files, one for each quantity and domain
 *
 * A file holds the blocks of every spectrum entry in turn; docs/result-files.md shows them. Labels
 * come from trelResultLabels, the parts of a block from trelResultBlocks.
 */
class trelSimulationResultWriter : public trelWriter
{
  trelTypeMacro(trelSimulationResultWriter, trelWriter)

public:
  ~trelSimulationResultWriter() override;

  /** What to write, and the model that it belongs to; both are held. */
  void SetInput(trelSimulationResult* result, trelSimulationParameter* parameter);

  /** Writes the files of the domains and quantities that are on. The first file name is the base
   *  that a file's ending is appended to. Either all of them are there afterwards or, false after a
   *  report, what was there before. */
  bool Execute() override;

  /** One file each, whole or not at all; false after a report. */
  bool WriteCWAbsorption();
  bool WriteCWTransmittance();
  bool WriteTDAbsorption();
  bool WriteTDTransmittance();
  bool WriteFDAbsorption();
  bool WriteFDTransmittance();
  /** Without detectors no file, and true. */
  bool WriteDetectors();
  /** What fibres collected in the time and the frequency domain: exact rules only. */
  bool WriteTDDetectors();
  bool WriteFDDetectors();

private:
  using trelBlockWriter = void (trelSimulationResultWriter::*)(trelResultFile&,
                                                               const trelMediumResult&);
  bool WriteMediumFile(const char* ending, trelBlockWriter writeBlocks, const char* missingItem);
  bool WriteFiles();
  bool CheckInput(const trelList* results);
  /** Writes a file of the set that is being written, or of a set of its own; @p writeBlocks takes
   *  the file and returns false after a report. */
  template <class Blocks>
  bool WriteFile(const char* ending, const Blocks& writeBlocks);
  bool CommitFiles(trelResultFileSet& files);

  void WriteCWAbsorptionBlocks(trelResultFile& file, const trelMediumResult& result);
  void WriteCWTransmittanceBlocks(trelResultFile& file, const trelMediumResult& result);
  void WriteTDAbsorptionBlocks(trelResultFile& file, const trelMediumResult& result);
  void WriteTDTransmittanceBlocks(trelResultFile& file, const trelMediumResult& result);
  void WriteFDAbsorptionBlocks(trelResultFile& file, const trelMediumResult& result);
  void WriteFDTransmittanceBlocks(trelResultFile& file, const trelMediumResult& result);

  void WriteDetectorBlocks(trelResultFile& file, const trelDetectorArrayResult& results) const;
  bool WriteAllDetectors(bool isExact);
  using trelFiberPrinter = void (*)(trelResultFile&, const trelDetectorResult&, std::int32_t);
  bool WriteFiberFile(const char* ending, trelFiberPrinter print);

  void WriteHeader(trelResultFile& file, const trelMediumResult& result, const char* domain) const;
  void WriteTimeBin(trelResultFile& file, const trelMediumResult& result, std::int32_t bin) const;
  /** Reports how much of a grid is stored: @p done of @p steps. */
  void ReportStoring(std::int32_t done, std::int32_t steps);

  trelSimulationResult* Result = nullptr;
  trelSimulationParameter* Parameter = nullptr;
  /** The files that Execute writes, while it runs. */
  trelResultFileSet* Files = nullptr;
};

#endif
