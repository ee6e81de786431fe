#ifndef trelFluence_h
#define trelFluence_h

#include <vector>

#include "trelGridSet.h"

class trelMedium;

/**
 * @class   trelFluence
 * @brief   absorbed power density into fluence rate: each cell over its absorption coefficient
 *
 * The fluence rate is Phi = A / mu_a, with A the absorbed power density. The tissue of a cell is
 * the one at its midpoint. A cell outside of the medium, or in tissue that does not absorb, stays
 * as it is: an absorption density.
 */
class trelFluence
{
public:
  /** Takes the coefficients of the tissues of @p medium at the wavelength @p spectrumId. */
  trelFluence(trelMedium& medium, std::int32_t spectrumId, const trelGridWindow& window);

  /** Divides the absorption grids of a record, @p grids being its sets by domain. */
  void Convert(const trelGridSet* grids) const;

private:
  void ConvertGrid(trelGridId grid, const trelGridSet* grids) const;
  double GetAbsorption(trelGridId grid, std::int32_t i, std::int32_t j, std::int32_t k) const;

  trelMedium& Medium;
  const trelGridWindow& Window;
  std::vector<double> Absorption;  ///< by tissue, 1/mm; 0 without a coefficient
};

#endif
