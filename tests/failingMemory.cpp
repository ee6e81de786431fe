// To be loaded ahead of a program (LD_PRELOAD): lets allocations fail and stands the clock still.
//
//   TREL_FAIL_AT=K     allocation K fails, from 1, once the libraries have started
//   TREL_FAIL_FROM=K   all from K on fail
//   TREL_COUNT=FILE    their number is written to FILE at the end
//
// operator new of the C++ library calls malloc. Blocks of the C library's own are not seen.

#include <sys/types.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}

static std::atomic<long> Allocations{0};
static std::atomic<bool> Started{false};
static long FailAt = 0, FailFrom = LONG_MAX;

static long ReadNumber(const char* name, long otherwise)
{
  const char* text = std::getenv(name);
  return text ? std::atol(text) : otherwise;
}

__attribute__((constructor)) static void Start()
{
  FailAt = ReadNumber("TREL_FAIL_AT", 0);
  FailFrom = ReadNumber("TREL_FAIL_FROM", LONG_MAX);
  Started = true;
}

__attribute__((destructor)) static void WriteCount()
{
  const long count = Allocations;
  Started = false;
  const char* name = std::getenv("TREL_COUNT");
  std::FILE* file = name ? std::fopen(name, "w") : nullptr;
  if (!file) return;
  std::fprintf(file, "%ld\n", count);
  std::fclose(file);
}

static bool Fails()
{
  if (!Started) return false;
  const long k = ++Allocations;
  if (k != FailAt && k < FailFrom) return false;
  errno = ENOMEM;
  return true;
}

extern "C" {
void* malloc(std::size_t size)
{
  return Fails() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size)
{
  return Fails() ? nullptr : __libc_calloc(number, size);
}

void* realloc(void* block, std::size_t size)
{
  return Fails() ? nullptr : __libc_realloc(block, size);
}

std::time_t time(std::time_t* now)
{
  constexpr std::time_t frozen = 1767225600;
  if (now) *now = frozen;
  return frozen;
}
}
