#include "trelTrialProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

/** The copy takes signals as any process does, and no message of the original twice. */
[[noreturn]] static void RunAndLeave(const std::function<void()>& action)
{
  for (const int number : {SIGINT, SIGTERM, SIGHUP})
    signal(number, SIG_DFL);
  const int nowhere = open("/dev/null", O_WRONLY);
  for (const int output : {STDOUT_FILENO, STDERR_FILENO})
    dup2(nowhere, output);
  action();
  _exit(0);
}

bool ComesToItsEnd(const std::function<void()>& action)
{
  const pid_t copy = fork();
  if (copy < 0) return true;
  if (copy == 0) RunAndLeave(action);
  int status = 0;
  while (waitpid(copy, &status, 0) < 0)
    if (errno != EINTR) return true;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}
