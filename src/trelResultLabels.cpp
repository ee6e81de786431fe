#include "trelResultLabels.h"

/** One total of the continuous-wave absorption has a blank behind it. */
const char* EndOfTotal(trelGridId grid, const trelShownDomain& shown)
{
  return shown.Domain == GridCW && grid == AbsorptionXYZ ? " \n" : "\n";
}

/** One amplitude label of absorption is followed by a blank, which starts the first row; all labels
 *  of transmittance in the frequency domain have a blank at the end. */
static const char* EndOfLabel(trelGridId grid, const trelShownDomain& shown)
{
  if (shown.Domain == GridFDAmp && grid == AbsorptionXY) return "\n ";
  const bool isFD = shown.Domain == GridFDAmp || shown.Domain == GridFDPha;
  return isFD && GetGridDescription(grid).Kind == GridTransmittance ? " \n" : "\n";
}

/** In the frequency domain the count along y of the left and the right edge goes by the name of the
 *  count along x. */
std::string CountsLiteralFD(trelGridId grid)
{
  const bool isEdge = grid == TransmittanceLeft || grid == TransmittanceRight;
  return "\n" + (isEdge ? "CountX " : GetGridDescription(grid).GetCountsLiteral());
}

bool HasLineBeforeFaces(const trelShownDomains& shown, bool isTetraMesh)
{
  if (shown[0].Domain == GridCW) return false;
  return shown[0].Domain != GridTD || !isTetraMesh;
}

std::string GetStem(const trelGridDescription& row, const trelShownDomain& shown)
{
  const char* kind = row.Kind == GridAbsorption ? "Absorption" : "Transmittance";
  return std::to_string(row.Dimension) + "D" + shown.Name + kind;
}

std::string GetTotalLabel(trelGridId grid, const trelShownDomain& shown)
{
  const trelGridDescription& row = GetGridDescription(grid);
  return GetStem(row, shown) + row.Surface + " ";
}

std::string GetGridLabel(trelGridId grid, const trelShownDomain& shown)
{
  const trelGridDescription& row = GetGridDescription(grid);
  return GetStem(row, shown) + row.GetSuffix() + EndOfLabel(grid, shown);
}

const char* GetMeshName(bool isTetraMesh)
{
  return isTetraMesh ? "TetraMesh" : "Mesh";
}

const char* GetRulesName(trelRules rules)
{
  return rules == RulesExact ? "exact" : "classic";
}

std::string MakeRulesLine(trelRules rules, const std::string& program)
{
  return std::string("results by the ") + GetRulesName(rules) + " rules of " + program;
}

std::string GetFiberStem(const trelGridDescription& row, const trelShownDomain& shown)
{
  return std::to_string(row.Dimension) + "D" + shown.Name + "FiberDetector";
}
