#include "trelMonteCarlo.h"

trelMonteCarlo::~trelMonteCarlo() = default;
