#include "trelDetector.h"

#include "trelObjectDisplay.h"

static const trelDisplayGroup detectorGroups[trelObjectDisplay::NumberOfGroups] = {
    {1.0f, 1.0f, 1.0f, 0.4f, true, true},
    {1.0f, 1.0f, 1.0f, 0.2f, false, true},
    {1.0f, 1.0f, 1.0f, 0.2f, false, false},
    {1.0f, 1.0f, 1.0f, 0.2f, false, false}};

trelDetector::trelDetector() : Display(new trelObjectDisplay(detectorGroups))
{
  Display->Register();
}

trelDetector::~trelDetector()
{
  ReleaseReference(Display);
}
