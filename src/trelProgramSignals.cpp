#include "trelProgramSignals.h"

#ifndef _WIN32

#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cstdint>

#include "trelRunControl.h"
#include "trelTemporaryFiles.h"

static pthread_t MainThread;
static std::atomic<trelRunControl*> StoppableRun{nullptr};
/** When the run was asked to stop, ms; 0: it was not. The main thread's alone. */
static std::int64_t StopTime = 0;
/** Shells and batch systems may send the same signal twice. */
static constexpr std::int64_t millisecondsToStop = 2000;

/** Of a clock that is never set; may be asked by the handler of a signal. */
static std::int64_t MillisecondsNow()
{
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000 + 1;
}

/** Lets a run whose packets fly end by itself; false if there is none. */
static bool LetRunEnd(int number)
{
  trelRunControl* run = StoppableRun;
  if (!run || number == SIGHUP) return false;
  if (StopTime == 0 && !run->IsRunning()) return false;
  if (StopTime == 0) {
    StopTime = MillisecondsNow();
    run->RequestStop(number);
  } else if (MillisecondsNow() - StopTime >= millisecondsToStop) {
    RemoveTemporaryFiles();
    _exit(128 + number);
  }
  return true;
}

/** Removes the files that are not complete and ends the process as the signal would have. Only the
 * main thread makes and renames files, and it holds such signals back while it renames. */
static void EndBySignal(int number)
{
  if (!pthread_equal(pthread_self(), MainThread)) {
    pthread_kill(MainThread, number);
    return;
  }
  if (LetRunEnd(number)) return;
  RemoveTemporaryFiles();
  signal(number, SIG_DFL);
  raise(number);
}

/** A signal that was ignored from the start, by nohup for instance, stays so. */
static void RemoveFilesOn(int number)
{
  struct sigaction action;
  if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) return;
  action.sa_handler = EndBySignal;
  action.sa_flags = SA_RESTART;
  sigfillset(&action.sa_mask);
  sigaction(number, &action, nullptr);
}

void PrepareForSignals()
{
  MainThread = pthread_self();
  for (const int number : {SIGINT, SIGTERM, SIGHUP})
    RemoveFilesOn(number);
  // A log that nobody reads any more (| head) and a limit on the size of files fail a write, which
  // shows as a disk without room does, instead of ending the run.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

void StopOnSignals(trelRunControl& run)
{
  StoppableRun = &run;
}

#else

void PrepareForSignals() {}
void StopOnSignals(trelRunControl&) {}

#endif
