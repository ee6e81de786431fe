#ifndef trelLabelledSensitivity_h
#define trelLabelledSensitivity_h

#include <string>

class trelRunRecord;
class trelSimulationParameter;
class trelSimulationResult;

/**
 * @file trelLabelledSensitivity.h
 * The labelled result file of a run that is flown again for its sensitivities: grids with the axes
 * of the grid of absorption.
 */

/** Grids by what they take, in the order of trelSensitivityKind; null for those that there are not.
 */
struct trelLabelledSensitivities
{
  const trelSimulationResult* Light;
  const trelSimulationResult* Excitation;
  const trelSimulationResult* Emission;
};

/** Writes the file @p name, whole or not at all; what failed, or empty. */
std::string WriteSensitivities(const std::string& name, const trelRunRecord& record,
                               const trelSimulationParameter& parameter,
                               const trelLabelledSensitivities& sensitivities);

#endif
