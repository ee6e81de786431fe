#ifndef trelLabelledGrids_h
#define trelLabelledGrids_h

#include <string>
#include <vector>

#include "trelGridSet.h"
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
  bool HasErrors;  ///< standard errors are computed of it
};

inline constexpr trelLabelledDomain LabelledDomains[] = {
    {GridCW, "", "", false, true, true},
    {GridTD, "_td", " by time of flight", true, true, true},
    {GridFDReal, "_fd_real", ", real part of the modulation", false, false, false},
    {GridFDImag, "_fd_imag", ", imaginary part of the modulation", false, false, false}};

/** Whose grids they are. */
struct trelLabelledOwner
{
  std::string Prefix;       ///< of the names of its variables
  std::string Words;        ///< ahead of the long names
  std::string Axes;         ///< ahead of the names of dimensions: window and all are its own
  bool HasFluence = false;  ///< the grids of absorption hold the fluence rate
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

/** Adds the dimensions of a grid, with coordinates; false if it has no cells along one of them. */
bool AddGridAxes(trelNetcdfFile& file, trelGridId grid, const trelLabelledOwner& owner,
                 const trelGridWindow& window);
/** Adds the dimension of the time gates, if there are any. */
bool AddTimeAxis(trelNetcdfFile& file, const trelGridWindow& window);

/** What cells of a time gate are multiplied with to be a density over it: 1 out of the time domain.
 */
double GetGateFactor(const trelLabelledDomain& domain, const trelGridWindow& window,
                     std::int32_t gate);

/** Writes the cells of a grid to @p variable at index @p wavelength of its first dimension. */
void PutGrid(trelNetcdfFile& file, const std::string& variable, std::size_t wavelength,
             const trelGridSet& grids, trelGridId grid, const trelLabelledDomain& domain,
             const trelGridWindow& window);

#endif
