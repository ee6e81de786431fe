#include "trelProgramSignals.h"

#ifndef _WIN32

#include <pthread.h>
#include <signal.h>

#include "trelTemporaryFiles.h"

static pthread_t MainThread;

/** Removes the files that are not complete and ends the process as the signal would have. Only the
 * main thread makes and renames files, and it holds such signals back while it renames. */
static void EndBySignal(int number)
{
  if (!pthread_equal(pthread_self(), MainThread)) {
    pthread_kill(MainThread, number);
    return;
  }
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

#else

void PrepareForSignals() {}

#endif
