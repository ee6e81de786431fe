#include "trelFilter.h"

trelFilter::~trelFilter()
{
  DebugMacro("trelFilter", "Destructing trelFilter!");
}
