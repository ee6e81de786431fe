#include "trelDrawnSteps.h"

#include "trelInlining.h"
#include "trelPacketEvents.h"

TREL_CLONED void DrawSteps(const double* numbers, double g, trelDrawnSteps& steps)
{
  constexpr int count = trelDrawnSteps::Count;
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
