#include "trelReader.h"

trelReader::~trelReader()
{
  DebugMacro("trelReader", "Destructing trelReader!");
}
