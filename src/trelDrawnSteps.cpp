#include "trelDrawnSteps.h"

#include "trelInlining.h"
#include "trelPacketEvents.h"

/** DrawSteps() for a count that the compiler knows. */
template <int count>
static inline void DrawCounted(const double* numbers, const trelCoefficients& here,
                               trelDrawnSteps& steps)
{
  double depth[count], azimuth[count], random[count];
  for (int i = 0; i < count; ++i) {
    const double* const step = numbers + i * trelDrawnSteps::NumbersPerStep;
    depth[i] = SampleDepth(step[0]);
    azimuth[i] = step[1];
    random[i] = step[2];
  }
  const double interaction = here.Interaction, g = here.Anisotropy, n = here.RefractiveIndex;
  for (int i = 0; i < count; ++i) {
    const double length = depth[i] / interaction;
    steps.Length[i] = length;
    steps.FlyTime[i] = GetTimeOfFlight(n, length);
    const trelTurn turn = SampleTurn(g, azimuth[i], random[i]);
    steps.CosPhi[i] = turn.CosPhi;
    steps.SinPhi[i] = turn.SinPhi;
    steps.CosTheta[i] = turn.CosTheta;
    steps.SinTheta[i] = turn.SinTheta;
  }
}

TREL_CLONED TREL_FLAT void DrawSteps(const double* numbers, const trelCoefficients& here, int count,
                                     trelDrawnSteps& steps)
{
  if (count == trelDrawnSteps::Few) {
    DrawCounted<trelDrawnSteps::Few>(numbers, here, steps);
  } else {
    DrawCounted<trelDrawnSteps::Count>(numbers, here, steps);
  }
}
