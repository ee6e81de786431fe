#include "trelThreads.h"

#include <algorithm>

#include "trelObjectMacros.h"

#ifdef _WIN32

/** Windows has no limit on threads but memory. */
static int TryThreads(int wanted)
{
  return wanted;
}

#else

#include <pthread.h>
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

/** Reads the environment as the OpenMP run-time does: a number of kB, or of the unit B, K, M or
 *  G behind it. False for text that the run-time rejects too. */
static bool ReadStackSize(const char* variable, std::size_t* bytes)
{
  static const char blanks[] = " \t\n\v\f\r";
  static const char units[] = "bkmg";
  const char* text = std::getenv(variable);
  if (!text) return false;
  errno = 0;
  char* end = nullptr;
  const std::size_t number = std::strtoul(text, &end, 10);
  if (errno != 0 || end == text) return false;
  end += std::strspn(end, blanks);
  const char* unit = units + 1;
  if (*end != '\0') {
    unit = std::strchr(units, std::tolower(static_cast<unsigned char>(*end++)));
    end += std::strspn(end, blanks);
    if (!unit || *end != '\0') return false;
  }
  const auto shift = 10 * (unit - units);
  *bytes = number << shift;
  return *bytes >> shift == number;
}

/** The number of threads of this process plus a constant; always 0 on systems without /proc. */
static std::size_t CountTasks()
{
  struct stat folder = {};
  return stat("/proc/self/task", &folder) == 0 ? static_cast<std::size_t>(folder.st_nlink) : 0;
}

/** A thread that has been joined counts against the limits until the system has removed it. */
static void WaitForTasks(std::size_t tasks)
{
  for (int i = 0; i < 1000 && CountTasks() > tasks; ++i)
    std::this_thread::sleep_for(std::chrono::microseconds(100));
}

static void* WaitAtGate(void* gate)
{
  auto* mutex = static_cast<pthread_mutex_t*>(gate);
  pthread_mutex_lock(mutex);
  pthread_mutex_unlock(mutex);
  return nullptr;
}

/** Starts up to @p wanted threads with stacks of the configured size, all at once, and ends them;
 *  how many could be started, the calling one included. Allocates nothing. */
static int TryThreads(int wanted)
{
  const std::size_t tasks = CountTasks();
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  std::size_t stack = 0;
  if (ReadStackSize("OMP_STACKSIZE", &stack) || ReadStackSize("GOMP_STACKSIZE", &stack)) {
    pthread_attr_setstacksize(&attributes,
                              stack);  // on failure the default stays, as in the run-time
  }
  pthread_mutex_t gate = PTHREAD_MUTEX_INITIALIZER;
  pthread_mutex_lock(&gate);
  pthread_t threads[MaximumNumberOfThreads];
  int started = 1;
  while (started < wanted &&
         pthread_create(&threads[started], &attributes, WaitAtGate, &gate) == 0) {
    ++started;
  }
  pthread_mutex_unlock(&gate);
  for (int i = 1; i < started; ++i)
    pthread_join(threads[i], nullptr);
  pthread_attr_destroy(&attributes);
  WaitForTasks(tasks);
  return started;
}

#endif

static void WarnOfFewer(int wanted, int startable)
{
  DisplayText("Warning: In " + ReportPath(__FILE__) + ", line " + std::to_string(__LINE__) +
              "\ntrelThreads: threadnum: got " + std::to_string(wanted) +
              " threads, of which the system starts " + std::to_string(startable) +
              "; so many are taken (see the limits on processes and memory, and OMP_STACKSIZE)"
              "\n\n");
}

int StartableThreads(int wanted)
{
  static int most = MaximumNumberOfThreads;  // lower once that many could not be started
  static int tried = 1;
  wanted = std::clamp(wanted, 1, MaximumNumberOfThreads);
  if (wanted > tried && tried < most) {
    tried = TryThreads(wanted);
    if (tried < wanted) {
      most = tried;
      WarnOfFewer(wanted, most);
    }
  }
  return std::min(wanted, most);
}
