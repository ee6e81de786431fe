#ifndef trelResultLabels_h
#define trelResultLabels_h

#include <string>

#include "trelGridTable.h"

/**
 * @file trelResultLabels.h
 * What the result files call things. Labels are made from the table of grids; where one is odd, a
 * function here says so. Programs that read the files depend on every character.
 */

/** A domain of grids that a file shows. */
struct trelShownDomain
{
  trelGridDomain Domain;
  const char* Name; /**< what labels call it */
};

/** All that a file shows of a grid: of the frequency domain two, for they are made together. */
struct trelShownDomains
{
  trelShownDomain Parts[2];
  int Number; /**< of parts in use */

  /** For loops over the parts in use. */
  const trelShownDomain* begin() const { return Parts; }
  const trelShownDomain* end() const { return Parts + Number; }
  const trelShownDomain& operator[](int i) const { return Parts[i]; }
};

/** What the files of each domain show. */
inline constexpr trelShownDomains ShownCW = {{{GridCW, "CW"}}, 1};
inline constexpr trelShownDomains ShownTD = {{{GridTD, "TD"}}, 1};
inline constexpr trelShownDomains ShownFD = {{{GridFDAmp, "FDAmp"}, {GridFDPha, "FDPha"}}, 2};

/** The end of the line of a total of absorption. */
const char* EndOfTotal(trelGridId grid, const trelShownDomain& shown);
/** The line of the counts of a grid up to the first count, in the frequency domain. */
std::string CountsLiteralFD(trelGridId grid);
/** Whether an empty line parts the vertices of a mesh from its faces. */
bool HasLineBeforeFaces(const trelShownDomains& shown, bool isTetraMesh);
/** "3DCWTransmittance". */
std::string GetStem(const trelGridDescription& row, const trelShownDomain& shown);
/** "3DCWTransmittanceSide ". */
std::string GetTotalLabel(trelGridId grid, const trelShownDomain& shown);
/** "3DCWTransmittanceSideAZ" with the end of its line. */
std::string GetGridLabel(trelGridId grid, const trelShownDomain& shown);
/** "TetraMesh" or "Mesh". */
const char* GetMeshName(bool isTetraMesh);

/** How the rules are called, "classic" or "exact". */
const char* GetRulesName(trelRules rules);
/** The last line of a log, without its end: by which rules and @p program the results were made. */
std::string MakeRulesLine(trelRules rules, const std::string& program);

/** "3DTDFiberDetector", in the files that only the exact rules write. */
std::string GetFiberStem(const trelGridDescription& row, const trelShownDomain& shown);

/** What stands around a grid in the block of a fibre. */
struct trelFiberLabel
{
  trelGridId Grid;
  const char* BeforeTotal; /**< an empty line or nothing */
  const char* Label;       /**< where it is odd, it is so on purpose */
};

/** In the order of the file. */
inline constexpr trelFiberLabel FiberLabels[] = {
    {TransmittanceSide, "", "2DCWTransmittanceSideA"},
    {TransmittanceSideAZ, "", "3DCWFiberDetectorSideAZ"},
    {TransmittanceSideDA, "", "3DCWFiberDetectorsideda"},
    {TransmittanceTopRA, "", "3DCWTransmittanceTopRA"},
    {TransmittanceBottomRA, "", "3DCWTransmittanceBottomRA"},
    {TransmittanceTopXY, "\n", "3DCWFiberDetectorTopXY"},
    {TransmittanceBottomXY, "\n", "3DCWFiberDetectorBottomXY"},
    {TransmittanceFrontYZ, "\n", "3DCWFiberDetectorFrontYZ"},
    {TransmittanceBackYZ, "\n", "3DCWFiberDetectorBackYZ"},
    {TransmittanceLeftXZ, "\n", "3DCWFiberDetectorLeftXZ"},
    {TransmittanceRightXZ, "\n", "3DCWFiberDetectorRightXZ"},
};

#endif
