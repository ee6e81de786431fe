#include "trelWriter.h"

trelWriter::~trelWriter()
{
  DebugMacro("trelWriter", "Destructing trelWriter!");
}
