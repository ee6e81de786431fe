#ifndef dyedBox_h
#define dyedBox_h

#include <vector>

#include "testModel.h"

/**
 * @file dyedBox.h
 * A box with fluorophores, which the tests of both sets of rules run.
 */

/** A fluorophore in a box about @p At: 1/mm, none, ps. */
struct Dye
{
  double Absorption, Yield, LifeTime;
  trelVector At = {};
};

/** A box of 10 mm, lit at its centre, and a box or a rectangle of half-length @p half for each dye.
 *  Dye k emits at wavelength k + 1, excitation is wavelength 0. */
inline void BuildDyedBox(TestModel& m, const Optics& optics, const std::vector<Dye>& dyes,
                         std::uint32_t packets, double half)
{
  std::vector<std::uint32_t> wavelengths = {500};
  for (std::size_t k = 0; k < dyes.size(); ++k)
    wavelengths.push_back(600 + static_cast<std::uint32_t>(k));
  m->SetWavelengths(wavelengths);
  const ShapeType box = m->GetDimension() == Dimension2D ? ShapeRectangle : ShapeCube;
  m.AddTissue(MakeShape(box, {0, 0, 0}, {5, 5, 5}), optics);
  m.AddSource(MakeShape(box, {0, 0, 0}, {1, 1, 1}), 0, LuminousExcitation)
      ->GetSpectrum(0)
      ->SetPhotonNumber(packets);
  for (std::size_t k = 0; k < dyes.size(); ++k) {
    const trelVector& at = dyes[k].At;
    trelShapeObject* region = MakeShape(box, {at.X, at.Y, at.Z}, {half, half, half});
    trelSpectrum& line =
        *m.AddSource(region, 100, LuminousEmission)->GetSpectrum(static_cast<int>(k) + 1);
    line.SetExcitationWavelength(500);
    line.SetFluorophoreAbsorption(dyes[k].Absorption);
    line.SetQuantumYield(dyes[k].Yield);
    line.SetLifeTime(dyes[k].LifeTime);
  }
}

/** Records the light of a dyed box by gates of 100 ps, and in no cells. */
inline void RecordTimes(TestModel& m)
{
  m->SetTimeDomain(true);
  m->SetTimeRange(0.0, 100000.0, 100.0);
  m->SetSeparations(5, 5, 5, 1, 1, 1);
}

/** Mean time of the light in a record's time gates. */
inline double MeanTime(const trelMediumResult& r)
{
  double weight = 0.0, moment = 0.0;
  for (int t = 0; t < r.GetCountTD(); ++t) {
    const double light = r.GetTDAbsorption3D()[t] + r.GetTDTransmittance3D()[t];
    weight += light;
    moment += light * r.GetWindow().Time.Midpoint(t);
  }
  return moment / weight;
}

#endif
