#include "trelProcessObject.h"

#include <ostream>

trelProcessObject::~trelProcessObject()
{
  DebugMacro("trelProcessObject", "Destructing trelProcessObject!");
}

void trelProcessObject::PrintSelf(std::ostream& stream) const
{
  trelObject::PrintSelf(stream);
  stream << "Start Method: " << StartMethod << "\n"
         << "End Method: " << EndMethod << "\n"
         << "Progress Method: " << ProgressMethod << "\n";
}

void trelProcessObject::ReportProgress(std::int32_t progress)
{
#pragma omp atomic write
  Progress = progress;
  NotifyDependents();
}
