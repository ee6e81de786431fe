#ifndef trelDrawnSteps_h
#define trelDrawnSteps_h

#include "trelPhaseFunction.h"
#include "trelTransportModel.h"

/**
 * What the next steps of a packet draw, if each does nothing but interact: their lengths and turns.
 * They depend on no packet, only on the numbers and the tissue, so that several steps are computed
 * side by side. Out of line, and not a part of the loop over steps: the compiler does so here only.
 */
struct trelDrawnSteps
{
  static constexpr int Count = 8;
  /** As many as are drawn right after an event, since another one may be near: what is drawn for
   *  steps behind it is lost. */
  static constexpr int Few = 4;
  /** The numbers of a step, in their order: depth, azimuth, scattering angle. */
  static constexpr int NumbersPerStep = 3;

  /** Length of each step, mm, and its time of flight, ps; infinite if its number is 0, which no
   *  step may use. */
  double Length[Count], FlyTime[Count];
  double CosPhi[Count], SinPhi[Count], CosTheta[Count], SinTheta[Count];

  trelTurn GetTurn(int i) const { return {CosPhi[i], SinPhi[i], CosTheta[i], SinTheta[i]}; }
};

/** Draws the first @p count of @p steps, Few or Count, from as many numbers as they take, in tissue
 * that interacts and whose anisotropy lies between -1 and 1. */
void DrawSteps(const double* numbers, const trelCoefficients& here, int count,
               trelDrawnSteps& steps);

#endif
