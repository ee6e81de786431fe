#include "trelEmissionPilot.h"

#include <algorithm>

#include "trelExactModel.h"

/** Emission packets for a packet that converts, in the mean and at most. */
static constexpr double mostForOne = 4.0;
/** Those that the greatest conversion starts where none was seen. */
static constexpr double mostUnseen = 100.0;
/** Packets that convert, and how many of equal weight they must be worth, (sum w)^2 / sum w^2. */
static constexpr std::int64_t enoughSeen = 100;
static constexpr double enoughWorth = 20.0;

trelEmissionPilot::trelEmissionPilot(const trelExactModel& model)
    : Model(model),
      Spectra(static_cast<std::size_t>(model.NumberOfSpectra)),
      Sums(static_cast<std::size_t>(model.NumberOfSpectra))
{
}

/** The share that the dye takes at an interaction, in the tissue where it is the greatest. */
double trelEmissionPilot::FindGreatestShare(std::size_t dye, std::int32_t wavelengthIndex) const
{
  const double absorption = Model.Dyes[dye].Absorption;
  double share = 0.0;
  for (std::int32_t tissue = 0; tissue < Model.NumberOfTissues && absorption > 0.0; ++tissue) {
    const double rest = Model.GetCoefficients(tissue, wavelengthIndex).Interaction;
    share = std::max(share, absorption / (rest + absorption));
  }
  return share;
}

void trelEmissionPilot::AddEntry(std::int32_t wavelength, std::int32_t wavelengthIndex,
                                 double energy, std::int64_t packets)
{
  Packets += static_cast<double>(packets);
  for (std::size_t i = 0; i < Model.Dyes.size(); ++i) {
    const trelDye& dye = Model.Dyes[i];
    if (dye.ExcitationWavelength != wavelength) continue;
    Conversions& spectrum = Spectra[static_cast<std::size_t>(dye.WavelengthIndex)];
    const double greatest = energy / static_cast<double>(packets) * dye.QuantumYield *
                            FindGreatestShare(i, wavelengthIndex);
    spectrum.Greatest = std::max(spectrum.Greatest, greatest);
    spectrum.IsPossible = spectrum.Greatest > 0.0;
  }
}

void trelEmissionPilot::AddPacket(const std::vector<double>& converted, std::int64_t packets)
{
  std::fill(Sums.begin(), Sums.end(), 0.0);
  for (std::size_t i = 0; i < converted.size(); ++i)
    Sums[static_cast<std::size_t>(Model.Dyes[i].WavelengthIndex)] += converted[i];
  for (std::size_t i = 0; i < Sums.size(); ++i) {
    if (!(Sums[i] > 0.0)) continue;
    const double energy = Sums[i] * static_cast<double>(packets);
    ++Spectra[i].Seen;
    Spectra[i].Packets += static_cast<double>(packets);
    Spectra[i].Energy += energy;
    Spectra[i].Squares += energy * energy;
  }
}

bool trelEmissionPilot::IsEnough() const
{
  return std::all_of(Spectra.begin(), Spectra.end(), [](const Conversions& s) {
    if (!s.IsPossible) return true;
    return s.Seen >= enoughSeen && s.Energy * s.Energy >= enoughWorth * s.Squares;
  });
}

double trelEmissionPilot::FindWeight(std::int32_t wavelengthIndex, std::int64_t flown) const
{
  const Conversions& spectrum = Spectra[static_cast<std::size_t>(wavelengthIndex)];
  if (spectrum.Seen == 0) return spectrum.Greatest / mostUnseen;
  const auto all = static_cast<double>(flown);
  return spectrum.Energy / all / std::min(Packets, mostForOne * spectrum.Packets / all);
}
