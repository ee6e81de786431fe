#ifndef trelProcessObject_h
#define trelProcessObject_h

#include <string>

#include "trelObject.h"

/**
 * @class   trelProcessObject
 * @brief   a stage of the pipeline: it makes, changes or stores data when Update() is called
 *
 * Nothing is demand-driven and nothing is cached: each Update() runs Execute(). A stage whose
 * Execute() returned false has shown its report.
 */
class trelProcessObject : public trelObject
{
  trelTypeMacro(trelProcessObject, trelObject)

public:
  ~trelProcessObject() override;

  /** The stage's work; true for success. The base does nothing. */
  virtual bool Execute() { return true; }

  /** Runs Execute() and returns its result. */
  bool Update() { return Execute(); }

  /** Adds the three method pointers, which no code of the program sets. */
  void PrintSelf(std::ostream& stream) const override;

  /** How far the stage has come, 0 to ProgressMaximum (1000). A display value: threads write it
   * without a lock. */
  std::int32_t GetProgress() const { return Progress; }
  const std::string& GetProgressText() const { return ProgressText; }

protected:
  void OnNotify() override { Execute(); }
  /** Stores @p progress and tells the dependents. */
  void ReportProgress(std::int32_t progress);

  std::int32_t Progress = 0;
  std::int32_t ProgressMaximum = 1000;
  std::string ProgressText;
  void* StartMethod = nullptr;
  void* EndMethod = nullptr;
  void* ProgressMethod = nullptr;
};

#endif
