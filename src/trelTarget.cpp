#include "trelTarget.h"

trelTarget::~trelTarget()
{
  DebugMacro("trelTarget", "Destructing trelTarget!");
}
