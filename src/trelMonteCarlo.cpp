#include "trelMonteCarlo.h"

#include "trelLightSource.h"
#include "trelSimulationParameter.h"

trelMonteCarlo::~trelMonteCarlo() = default;

bool trelMonteCarlo::RunsSource(const trelLightSource& light) const
{
  const LuminousType type = light.GetLuminousType();
  switch (Input->GetSimulationType()) {
    case BLT:
      return type == LuminousBioluminescence;
    case DOT:
      return type == LuminousDiffuse;
    case FMT:
      return type == LuminousExcitation;
  }
  return true;
}
