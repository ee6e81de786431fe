#ifndef trelTransportRules_h
#define trelTransportRules_h

/**
 * @file trelTransportRules.h
 * Where the steps of a packet differ between kinds of medium and modes of imaging. A step is a
 * template over such constants; results depend on each of them.
 */

/** Steps in a medium of shapes. */
struct trelClassicRules
{
  /** Whether a faint packet plays roulette also after a step that began in clear tissue. */
  static constexpr bool RouletteInClearTissue = false;
  /** Whether a fibre detector scores the packet also if its surface is not found on the way. The
   *  packet ends there in any case. */
  static constexpr bool ScoresMissedFiber = false;
};

/** Steps in a tetrahedral medium. */
struct trelClassicTetrahedralRules : trelClassicRules
{
  static constexpr bool RouletteInClearTissue = true;
  static constexpr bool ScoresMissedFiber = true;
};

/** Steps of fluorescence, in either kind of medium. */
struct trelClassicFluorescenceRules : trelClassicRules
{
  static constexpr bool RouletteInClearTissue = true;
};

#endif
