#ifndef trelEmissionPilot_h
#define trelEmissionPilot_h

#include <cstdint>
#include <vector>

struct trelExactModel;

/**
 * @class   trelEmissionPilot
 * @brief   what a pilot tells of conversions, and the weight of emission packets that follows
 *
 * Each emission spectrum gets one constant. Whatever it is, the expectation is the same: it decides
 * how many emission packets start, hence cost and noise. About one starts for each packet of the
 * sources, but not more than four, in the mean, for one that converts: they would all come from the
 * same few places. Where no conversion was seen, the greatest that one interaction can make starts
 * a hundred packets, so that the rare light is not lost.
 */
class trelEmissionPilot
{
public:
  /** Of a model whose coefficients and dyes are known. */
  explicit trelEmissionPilot(const trelExactModel& model);

  /** Takes an entry that will launch @p packets with @p energy together. */
  void AddEntry(std::int32_t wavelength, std::int32_t wavelengthIndex, double energy,
                std::int64_t packets);
  /** Takes what a packet of such an entry converted, by dye. Of all entries alike many. */
  void AddPacket(const std::vector<double>& converted, std::int64_t packets);
  /** Whether enough conversions were seen of each spectrum that has any. */
  bool IsEnough() const;
  /** The constant of a spectrum, after @p flown packets of each entry. */
  double FindWeight(std::int32_t wavelengthIndex, std::int64_t flown) const;

private:
  /** The conversions into one spectrum. Sums are over packets, with the weight of an entry's. */
  struct Conversions
  {
    bool IsPossible = false;
    double Greatest = 0.0;  ///< that one interaction can make
    std::int64_t Seen = 0;  ///< packets that convert
    double Packets = 0.0;   ///< that convert of the packets launched, times those flown
    double Energy = 0.0;    ///< that is converted, times the packets flown
    double Squares = 0.0;   ///< of the energy
  };
  double FindGreatestShare(std::size_t dye, std::int32_t wavelengthIndex) const;

  const trelExactModel& Model;
  std::vector<Conversions> Spectra;  ///< by wavelength index
  std::vector<double> Sums;          ///< of a packet, by wavelength index
  double Packets = 0.0;              ///< launched by all entries
};

#endif
