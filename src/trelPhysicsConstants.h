#ifndef trelPhysicsConstants_h
#define trelPhysicsConstants_h

/**
 * @file trelPhysicsConstants.h
 * The constants of the transport of light, with units and reasons. Results depend on each.
 */

/** Interaction coefficient mua + mus up to which tissue counts as clear, 1/mm; the limit belongs to
 * the clear side. A free path of 10 mm is as long as most models, and a packet that steps over
 * whole tissues would miss their boundaries. */
constexpr double ClearInteraction = 0.1;

/** Length of a step in clear tissue, mm: short enough that the ends of steps, where boundaries are
 * looked for, fall into thin tissues too. */
constexpr double ClearStep = 0.5;

/** Fraction of its first weight below which a packet plays roulette: what is left of it matters
 * less than the time that it takes. */
constexpr double RouletteThreshold = 0.0001;

/** Chance to survive the roulette; the weight of a survivor is divided by it, so that the mean
 * stays the same. */
constexpr double RouletteChance = 0.1;

/** In empty space light travels LightLength, mm, in LightTime, ps: 0.3 mm/ps. */
constexpr double LightLength = 3.0;
constexpr double LightTime = 10.0;

/** Time of flight over @p length mm in matter of this refractive index, ps. The product comes
 * first: results depend on the order of the operations. */
inline double GetTimeOfFlight(double refractiveIndex, double length)
{
  return refractiveIndex * length * LightTime / LightLength;
}

/** The square of a direction's length is taken for 1 if it differs by less: the length is then
 * within 1e-12 (GeometryTolerance) of 1, as is known without its root. */
constexpr double UnitSquareTolerance = 1.9e-12;

#endif
