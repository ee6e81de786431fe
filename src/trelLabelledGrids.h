#ifndef trelLabelledGrids_h
#define trelLabelledGrids_h

#include <string>
#include <vector>

#include "trelBatchProjections.h"
#include "trelNetcdfFile.h"

/**
 * @file trelLabelledGrids.h
 * What a labelled result file calls grids, and in which order it has their cells. All of it follows
 * from the table of grids and the tables of axes and domains.
 */

/** A domain of grids as the file shows it. */
struct trelLabelledDomain
{
  trelGridDomain Domain;
  const char* Suffix;  ///< of the names of variables
  const char* Words;   ///< behind the long name
  bool IsByTime;       ///< has time gates, and is a density over them
  bool HasTotals;
};

inline constexpr trelLabelledDomain LabelledDomains[] = {
    {GridCW, "", "", false, true},
    {GridTD, "_td", " by time of flight", true, true},
    {GridFDReal, "_fd_real", ", real part of the modulation", false, false},
    {GridFDImag, "_fd_imag", ", imaginary part of the modulation", false, false},
    {GridFDAmp, "_fd_amplitude", ", amplitude of the modulation", false, false},
    {GridFDPha, "_fd_phase", ", phase of the modulation", false, false}};

/** Whose grids they are. */
struct trelLabelledOwner
{
  std::string Prefix;       ///< of the names of its variables
  std::string Words;        ///< ahead of the long names
  std::string Axes;         ///< ahead of the names of dimensions: window and all are its own
  bool HasFluence = false;  ///< the grids of absorption hold the fluence rate
  int Detector = trelRecordOwner::Medium;
};

/** The surface that a grid belongs to: "top". */
std::string GetSurfaceWord(trelGridId grid);
/** The names of the variables of a grid without domain, and of its total. */
std::string GetGridName(trelGridId grid, const trelLabelledOwner& owner);
std::string GetTotalName(trelGridId grid, const trelLabelledOwner& owner);
/** What its total is in words. */
std::string GetTotalWords(trelGridId grid, const trelLabelledOwner& owner);

/** The variable of a grid in a domain, behind the wavelength and the time the axes of the grid, the
 *  first one fastest. */
trelNetcdfVariable DescribeGrid(trelGridId grid, const trelLabelledOwner& owner,
                                const trelLabelledDomain& domain);

/** The variable of the sums of a grid onto one of its axes, by its place, over the width of the
 *  slices. */
trelNetcdfVariable DescribeProjection(trelGridId grid, const trelLabelledOwner& owner,
                                      const trelLabelledDomain& domain, int axis);
/** That of the sum of all cells, by gate in the time domain. */
trelNetcdfVariable DescribeSums(trelGridId grid, const trelLabelledOwner& owner,
                                const trelLabelledDomain& domain);

/** Whether a total of the record is the sum of these cells. */
bool HasTotal(trelGridId grid, const trelLabelledOwner& owner, const trelLabelledDomain& domain);
/** The variable of the standard errors of another one. */
trelNetcdfVariable DescribeError(const trelNetcdfVariable& variable);

/** Adds the dimensions of a grid, with coordinates; false if it has no cells along one of them. */
bool AddGridAxes(trelNetcdfFile& file, trelGridId grid, const trelLabelledOwner& owner,
                 const trelGridWindow& window);
/** Adds the dimension of the time gates, if there are any. */
bool AddTimeAxis(trelNetcdfFile& file, const trelGridWindow& window);

/** What cells of a time gate are multiplied with to be a density over it: 1 out of the time domain.
 */
double GetGateFactor(const trelLabelledDomain& domain, const trelGridWindow& window,
                     std::int32_t gate);

/** Writes the cells of a grid to @p variable, whose first indices are @p first. */
void PutGrid(trelNetcdfFile& file, const std::string& variable,
             const std::vector<std::size_t>& first, const trelGridSet& grids, trelGridId grid,
             const trelLabelledDomain& domain, const trelGridWindow& window);

#endif
