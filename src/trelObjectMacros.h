#ifndef trelObjectMacros_h
#define trelObjectMacros_h

#include <cstring>
#include <sstream>
#include <string>

/**
 * @file trelObjectMacros.h
 * What every class of the tree states once: its name and base, and the form of a report.
 *
 * A report is one text of two lines and an empty one:
 *
 *     ERROR: In ..\..\src\trelMedium, line 42
 *     trelMedium (0x55d0c0a3e2b0): initial model error!
 *
 * The path is that of the reporting source file, with backslashes and without an extension; scripts
 * that watch the error stream match it.
 */

/** Shows @p text to the user and returns when it has been shown: on the error stream, flushed; on
 *  Windows in a modal box titled "Information". Every report goes through here. */
void DisplayText(const std::string& text);

/** Hands all texts to @p take in the place of the display; null, the default, shows them. Main
 * thread only, outside of parallel regions. */
using trelReportTaker = void (*)(const char* text);
void SetReportTaker(trelReportTaker take);

/** Shows a text that stands in the program: needs no memory, so that it can report its
 * lack. */
void DisplayLiteral(const char* text);

/** Shows the text of @p report, with a note if the stream lacked the memory for all of it. */
void DisplayReport(const std::ostringstream& report);

/** Does nothing. Called after every error report, so that a debugger has a place to stop. */
void BreakOnError();

/** "..\..\src\NAME" for the source file @p file, whatever directory the compiler was run in. */
std::string ReportPath(const char* file);

/** Declares the run-time name of a class and its type test. */
#define trelTypeMacro(thisClass, baseClass)                                      \
public:                                                                          \
  const char* GetClassName() const override                                      \
  {                                                                              \
    return #thisClass;                                                           \
  }                                                                              \
  bool IsA(const char* name) const override                                      \
  {                                                                              \
    return (name && std::strcmp(name, #thisClass) == 0) || baseClass::IsA(name); \
  }

/** Plain Set and Get of the field @p name; the comment above the macro says meaning, unit and
 * range. */
#define trelSetGetMacro(type, name) \
  void Set##name(type value)        \
  {                                 \
    name = value;                   \
  }                                 \
  type Get##name() const            \
  {                                 \
    return name;                    \
  }

/** The form of a report, for ErrorMacro and WarningMacro: what it is, the source, the object and
 * @p message, which may be a chain of `<<`. */
#define trelReportMacro(prefix, className, message)                                            \
  do {                                                                                         \
    std::ostringstream trelReport;                                                             \
    trelReport << (prefix) << ": In " << ReportPath(__FILE__) << ", line " << __LINE__ << "\n" \
               << (className) << " (" << static_cast<const void*>(this) << "): " << message    \
               << "\n\n";                                                                      \
    DisplayReport(trelReport);                                                                 \
  } while (false)

/** Reports an error; @p message may be a chain of `<<`. The caller decides what to return. */
#define ErrorMacro(message)                            \
  do {                                                 \
    trelReportMacro("ERROR", GetClassName(), message); \
    BreakOnError();                                    \
  } while (false)

/**
 * Defines, in the source of @p thisClass, the operation by which the code of a base reports: a
 * report names the source of the concrete class, as scripts expect.
 */
#define trelReportErrorMacro(thisClass)                         \
  void thisClass::ReportError(const std::string& message) const \
  {                                                             \
    ErrorMacro(message);                                        \
  }

/** Reports a warning; the run goes on. */
#define WarningMacro(message) trelReportMacro("Warning", GetClassName(), message)

/**
 * The debug line of a destructor. The class name is a literal here, since the object's dynamic type
 * has been cut back by the time a base's destructor runs.
 */
#define DebugMacro(className, message)                            \
  do {                                                            \
    if (GetDebug()) trelReportMacro("Debug", className, message); \
  } while (false)

#endif
