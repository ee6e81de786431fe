#include "trelObject.h"

#include <cstdio>
#include <ostream>
#include <sstream>

#include "trelList.h"

#ifdef _WIN32
#include <windows.h>
#endif

const char* const trelLongName = "Trel Photon Simulation Workbench";
const char* const trelVersion = "2.2 built at 08:15:17, Jul 18 2021";

static trelReportTaker ReportTaker = nullptr;

void SetReportTaker(trelReportTaker take)
{
  ReportTaker = take;
}

void DisplayText(const std::string& text)
{
  if (ReportTaker) {
    ReportTaker(text.c_str());
    return;
  }
#ifdef _WIN32
  MessageBoxA(nullptr, text.c_str(), "Information", 0);
#else
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
#endif
}

void DisplayLiteral(const char* text)
{
  if (ReportTaker) {
    ReportTaker(text);
    return;
  }
#ifdef _WIN32
  MessageBoxA(nullptr, text, "Information", 0);
#else
  std::fputs(text, stderr);
  std::fflush(stderr);
#endif
}

void DisplayReport(const std::ostringstream& report)
{
  DisplayText(report.str());
  if (!report) DisplayLiteral(" ... (out of memory for the rest of the report)\n\n");
}

void BreakOnError() {}

std::string ReportPath(const char* file)
{
  const std::string path(file);
  const std::size_t slash = path.find_last_of("/\\");
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  return "..\\..\\src\\" + name.substr(0, name.find('.'));
}

trelObject::~trelObject()
{
  DebugMacro("trelObject", "Destructing trelObject!");
  ReleaseDependents();
}

bool trelObject::IsA(const char* name) const
{
  return name && std::strcmp(name, "trelObject") == 0;
}

void trelObject::PrintSelf(std::ostream& stream) const
{
  stream << "Debug: " << (Debug ? "On\n" : "Off\n");
}

void trelObject::UnRegister()
{
  if (--ReferenceCount < 1) delete this;
}

void trelObject::Delete()
{
  if (ReferenceCount < 1) delete this;
}

void trelObject::AddDependent(trelObject* dependent)
{
  if (!dependent) return;
  if (!Dependents) Dependents = new trelList;
  dependent->Register();
  Dependents->Append(dependent);
}

void trelObject::NotifyDependents()
{
  if (!Dependents) return;
  // By index and not by the list's cursor, which the threads of a run would move under each other.
  for (int i = 0; i < Dependents->GetNumberOfItems(); ++i)
    Dependents->GetItem<trelObject>(i)->OnNotify();
}

void trelObject::ReleaseDependents()
{
  if (!Dependents) return;
  for (int i = 0; i < Dependents->GetNumberOfItems(); ++i) {
    Dependents->GetItem<trelObject>(i)->UnRegister();
  }
  delete Dependents;
  Dependents = nullptr;
}
