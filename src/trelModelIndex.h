#ifndef trelModelIndex_h
#define trelModelIndex_h

#include <cstdint>
#include <vector>

class trelLightSource;
class trelOpticalParameter;
class trelSimulationParameter;
class trelSpectrum;
class trelTissue;

/**
 * @class   trelModelIndex
 * @brief   makes the empty sources and tissues of a model and finds them, and their entries, by
 * index
 *
 * The counts stand at the head of a file, so that everything the model section fills exists before
 * it is read. The index finds an item without a walk through the model's lists; it does not
 * own the items.
 */
class trelModelIndex
{
public:
  /** The most objects that are made for one file: sources, tissues and their entries for each
   *  spectrum. They take some 100 to 500 bytes each. */
  static constexpr std::int64_t MaximumOfObjects = 1000000;

  /** How many objects the counts ask for; a count below 0 stands for none. */
  static std::int64_t CountObjects(std::int32_t sources, std::int32_t tissues,
                                   std::int32_t spectra);

  /**
   * Gives @p parameter so many empty sources and tissues, with an entry for each spectrum, and
   * removes those that it had. False, and nothing done, if that makes more than
   * MaximumOfObjects; false as well when memory runs out.
   */
  bool Allocate(trelSimulationParameter& parameter, std::int32_t sources, std::int32_t tissues,
                std::int32_t spectra);

  /** The item at an index from 0; null when out of range. */
  trelLightSource* GetLightSource(int i) const;
  trelTissue* GetTissue(int i) const;
  /** The entry of source or tissue @p i for the spectrum @p j; null when either is out of range. */
  trelSpectrum* GetSpectrum(int i, int j) const;
  trelOpticalParameter* GetOpticalParameter(int i, int j) const;

private:
  void AllocateAll(trelSimulationParameter& parameter, std::int32_t sources, std::int32_t tissues);

  int NumberOfSpectra = 0;
  std::vector<trelLightSource*> LightSources;
  std::vector<trelTissue*> Tissues;
  /** Rows of NumberOfSpectra, a row for each source or tissue. */
  std::vector<trelSpectrum*> Spectra;
  std::vector<trelOpticalParameter*> OpticalParameters;
};

#endif
