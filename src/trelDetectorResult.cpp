#include "trelDetectorResult.h"

trelDetectorResult::~trelDetectorResult() = default;
