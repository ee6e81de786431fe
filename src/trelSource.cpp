#include "trelSource.h"

trelSource::~trelSource()
{
  DebugMacro("trelSource", "Destructing trelSource!");
}
