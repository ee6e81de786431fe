#include "trelDataObject.h"

trelDataObject::~trelDataObject()
{
  DebugMacro("trelDataObject", "Destructing trelDataObject!");
}
