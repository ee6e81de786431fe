#ifndef trelLabelledResultWriter_h
#define trelLabelledResultWriter_h

#include <functional>

#include "trelLabelledBatches.h"
#include "trelRunRecord.h"
#include "trelWriter.h"

class trelExitTable;
class trelSimulationParameter;
class trelSimulationResult;

/**
 * @class   trelLabelledResultWriter
 * @brief   writes a finished result as one NetCDF file, whose numbers have axes, units and names
 *
 * docs/result-files.md describes the file. It holds what the text files hold; what a text file has
 * by gate is a density over time here, and amplitude and phase are real and imaginary part.
 * Wavelengths stand along the first dimension, from the shortest on.
 *
 * A second result of the same shape may hold standard errors: each variable then has one beside it,
 * which its ancillary_variables name.
 * @sa trelNetcdfFile trelSimulationResultWriter
 */
class trelLabelledResultWriter final : public trelWriter
{
  trelTypeMacro(trelLabelledResultWriter, trelWriter)

public:
  ~trelLabelledResultWriter() override;

  /** What to write, and the model that it belongs to; both are held. */
  void SetInput(trelSimulationResult* result, trelSimulationParameter* parameter);
  /** Standard errors of all numbers of the result, of the same shape; held. Default none. */
  void SetErrors(trelSimulationResult* errors);
  /** What the batches of the run have, if it flew in some. Default nothing. */
  void SetBatches(const trelLabelledBatches::Input& batches) { Batches = batches; }
  /** What the file says of the run. Default nothing. */
  void SetRecord(const trelRunRecord& record) { Record = record; }

  /** Writes the rest of a file that was begun with the first file name. Default: begins it. */
  void SetFile(trelNetcdfFile* file) { File = file; }
  /** The exits of the run; outlives the writer. Default none. */
  void SetExits(trelExitTable* exits) { Exits = exits; }

  /** Writes the first file name. Either all of it is there afterwards or, false after a report,
   *  what was there before. */
  bool Execute() override;

private:
  /** The first indices of a variable: of the wavelength, and ahead of it, if there is one, of the
   *  batch. */
  using trelFirst = std::vector<std::size_t>;
  /** Puts the numbers of record @p k of a result at @p first of a variable. */
  using trelPutRecord = std::function<void(const std::string& variable, const trelFirst& first,
                                           const trelSimulationResult& result, int k)>;
  /** The grids of record @p k of a result. */
  using trelFindGrids =
      std::function<const trelGridSet&(const trelSimulationResult& result, int k)>;
  /** A number of record @p k of a result, at a time gate. */
  using trelFindNumber =
      std::function<double(const trelSimulationResult& result, int k, std::int32_t gate)>;

  bool CheckShape() const;
  void WriteFile();
  void WriteRecord();
  void WriteWavelengths();
  void WriteVariable(const trelNetcdfVariable& variable, const trelPutRecord& put,
                     bool hasErrors = true);
  trelNetcdfVariable WriteNumbers(const trelNetcdfVariable& variable,
                                  const trelLabelledDomain& domain, const trelGridWindow& window,
                                  const trelFindNumber& find, bool hasErrors = true);
  void WriteGrid(trelGridId grid, const trelLabelledOwner& owner, const trelLabelledDomain& domain,
                 const trelGridWindow& window, const trelFindGrids& find);
  void WriteCells(const trelNetcdfVariable& variable, const trelPutRecord& put);
  void WriteCoefficients();
  template <class FindRecord>
  void WriteTotal(trelGridTotal total, const std::string& name, const std::string& words,
                  const trelLabelledOwner& owner, const FindRecord& find);
  template <class FindRecord>
  void WriteGrids(const trelLabelledOwner& owner, const FindRecord& find);
  void WriteMedium();
  void WritePackets();
  void WriteFlyTimes();
  void WriteExitTable();
  void WriteMesh();
  void WriteElements();
  void WriteDetectors();
  void WriteCamera(int detector);
  void WriteFiber(int detector);

  trelSimulationResult* Result = nullptr;
  trelSimulationResult* Errors = nullptr;
  trelSimulationParameter* Parameter = nullptr;
  trelRunRecord Record;
  trelLabelledBatches::Input Batches;
  trelExitTable* Exits = nullptr;
  trelNetcdfFile* File = nullptr;
  std::vector<int>
      Order;  ///< while Execute() runs, numbers of the records from the shortest wavelength on
};

#endif
