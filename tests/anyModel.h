#ifndef anyModel_h
#define anyModel_h

#include <random>

#include "exactRuns.h"
#include "trelFiberDetector.h"

/**
 * @file anyModel.h
 * Models of everything that there is, drawn at random.
 */

/** A box of 10 mm with bodies in it, two dyes, of which the second takes what the first emits, and
 * a fibre, lit from inside and past its side; what is in it, and how flights are limited, is drawn.
 */
inline void BuildAnything(TestModel& m, std::mt19937& random)
{
  const bool planar = m->GetDimension() == Dimension2D;
  const auto draw = [&](double least, double most) {
    return std::uniform_real_distribution<>(least, most)(random);
  };
  const auto chance = [&](double share) { return draw(0.0, 1.0) < share; };
  const auto body = [&] {
    const ShapeType types[2][3] = {{ShapeCube, ShapeEllipsoid, ShapeCylinder},
                                   {ShapeRectangle, ShapeEllipse, ShapeRectangle}};
    return MakeShape(types[planar][random() % 3],
                     {draw(-5, 5), draw(-5, 5), planar ? 0.0 : draw(-5, 5)},
                     {draw(0.5, 3), draw(0.5, 3), draw(0.5, 3)});
  };
  const bool isGlass = chance(0.2);
  const auto optics = [&] {
    if (isGlass) return Optics{0.0, 0.0, 0.0, 1.5};
    return Optics{chance(0.4) ? 0.0 : draw(0.01, 0.8), chance(0.3) ? 0.0 : draw(0.1, 3.0), 0.7,
                  chance(0.5) ? 1.4 : draw(1.0, 1.6)};
  };
  m->SetWavelengths({500, 600, 700});
  const ShapeType box = planar ? ShapeRectangle : ShapeCube;
  if (!planar && chance(0.3))
    m.AddTissue(BoxMesh({0, 0, 0}, {5, 5, 5}), optics());
  else
    m.AddTissue(MakeShape(box, {0, 0, 0}, {5, 5, 5}), optics());
  for (auto more = random() % 5; more > 0; --more)
    m.AddTissue(body(), optics());
  for (const bool external : {false, true}) {
    trelLightSource* source =
        m.AddSource(MakeShape(box, {external ? -8.0 : 1.0, 0, 0}, {0.5, external ? 6.0 : 1.0, 1}),
                    0, LuminousExcitation);
    source->SetInternal(!external);
    source->SetSpecular(chance(0.5));
    if (external) source->SetAzimuthRange(-60.0, 60.0);
    if (external) source->SetDeflectionRange(90.0, 90.0);
    for (int i = 0; i < 2; ++i)
      source->GetSpectrum(i)->SetPhotonNumber(60);
  }
  for (int i = 0; i < 2 && !isGlass && chance(0.8); ++i) {
    trelSpectrum& line = *m.AddSource(body(), 0, LuminousEmission)->GetSpectrum(i + 1);
    line.SetExcitationWavelength(m->GetWavelength(i));
    line.SetFluorophoreAbsorption(draw(0.05, 1.0));
    line.SetQuantumYield(draw(0.1, 1.0));
    line.SetLifeTime(100.0);
  }
  if (!planar && chance(0.5)) {
    auto* fiber = new trelFiberDetector;
    fiber->SetShape(Ball({2, 2, 5}, 1.5));
    m->AddDetector(fiber);
  }
  if (chance(0.2)) m->GetMedium()->SetAmbientRefractiveIndex(1.5);
  m->SetFlyTimeMax(draw(20.0, 200.0));
  m->SetFlyTimeMaxGiven(chance(0.3));
  m->SetStepNumberMax(100);
  m->SetStepNumberMaxGiven(chance(0.3));
  m->SetSeparations(1, 1, 1, 1, 1, 1);
  m->SetSaveFluenceRate(chance(0.5));
  m->SetThreadNumber(1 + static_cast<int>(random() % 2));
}

#endif
