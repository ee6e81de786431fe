#include "trelSpectrumLine.h"

#include <algorithm>
#include <limits>
#include <sstream>

#include "trelSpectrum.h"

void ReadLaunchedSpectrum(trelReadState& state, int source, trelSpectrum& spectrum)
{
  const trelParameterText& line = state.GetText();
  spectrum.SetEnergy(line.GetReal(2));
  spectrum.SetPhotonNumber(line.GetTruncated(3));
  const double given = line.GetReal(3);
  if (line.HasNumber(3) && given >= 0.0 && given < line.LargestTruncated + 1.0) return;
  std::ostringstream text;
  text << "lightsource " << source + 1 << ", lightsourcespectrumindex "
       << std::max(line.GetInteger(1), 0) << ": got \"" << line.GetToken(3)
       << "\", expected a number of packets from 0 to " << std::numeric_limits<std::uint32_t>::max()
       << "; taken as " << spectrum.GetPhotonNumber() << "\n";
  state.ShowWarning(text.str());
  if (!line.HasNumber(3)) return;
  state.Explain(
      FindingMistake, 3,
      "the number of packets is taken as " + std::to_string(spectrum.GetPhotonNumber()),
      "write a number from 0 to " + std::to_string(std::numeric_limits<std::uint32_t>::max()));
}

bool ReadEmittedSpectrum(trelReadState& state, int needs, trelSpectrum& spectrum)
{
  const trelParameterText& line = state.GetText();
  if (line.GetNumberOfTokens() < needs) {
    state.Explain(FindingError, 0, "too few values of a fluorophore",
                  "write lightsourcespectrumindex INDEX EXCITATION YIELD ABSORPTION LIFETIME");
    return false;
  }
  spectrum.SetExcitationWavelength(line.GetTruncated(2));
  spectrum.SetQuantumYield(line.GetReal(3));
  spectrum.SetFluorophoreAbsorption(line.GetReal(4));
  if (line.GetNumberOfTokens() > 5) spectrum.SetLifeTime(line.GetReal(5));
  return true;
}
