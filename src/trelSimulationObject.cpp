#include "trelSimulationObject.h"

trelSimulationObject::~trelSimulationObject() = default;
