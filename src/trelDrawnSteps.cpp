#include "trelDrawnSteps.h"

#include "trelInlining.h"
#include "trelPacketEvents.h"

/** DrawSteps() for a count that the compiler knows. */
template <int count>
static inline void DrawCounted(const double* numbers, double g, trelDrawnSteps& steps)
{
  double azimuth[count], random[count];
  for (int i = 0; i < count; ++i) {
    const double* const step = numbers + i * trelDrawnSteps::NumbersPerStep;
    steps.Depth[i] = SampleDepth(step[0]);
    azimuth[i] = step[1];
    random[i] = step[2];
  }
  for (int i = 0; i < count; ++i) {
    const trelTurn turn = SampleTurn(g, azimuth[i], random[i]);
    steps.CosPhi[i] = turn.CosPhi;
    steps.SinPhi[i] = turn.SinPhi;
    steps.CosTheta[i] = turn.CosTheta;
    steps.SinTheta[i] = turn.SinTheta;
  }
}

TREL_CLONED TREL_FLAT void DrawSteps(const double* numbers, double g, int count,
                                     trelDrawnSteps& steps)
{
  if (count == trelDrawnSteps::Few) {
    DrawCounted<trelDrawnSteps::Few>(numbers, g, steps);
  } else {
    DrawCounted<trelDrawnSteps::Count>(numbers, g, steps);
  }
}
