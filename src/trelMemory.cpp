#include "trelMemory.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>

#ifndef _WIN32
#include <sys/mman.h>
#endif

/** Bytes that are taken at the moment. */
static std::size_t BytesTaken = 0;

/** The number behind @p key in a file of lines "key number", times @p unit; 0 if there is none. */
static std::size_t ReadMemInfo(const char* file, const std::string& key, std::size_t unit)
{
  std::ifstream stream(file);
  std::string word;
  while (stream >> word) {
    std::size_t number = 0;
    if (word == key && stream >> number) return number * unit;
  }
  return 0;
}

static std::size_t MeasureAvailableBytes()
{
  std::size_t available = ReadMemInfo("/proc/meminfo", "MemAvailable:", 1024);
  if (available == 0) available = std::numeric_limits<std::size_t>::max();
  std::ifstream limit("/sys/fs/cgroup/memory.max"), used("/sys/fs/cgroup/memory.current");
  std::size_t most = 0, current = 0;
  if (!(limit >> most)) return available;
  used >> current;
  // The system frees inactive pages of files when memory is needed.
  current -= std::min(current, ReadMemInfo("/sys/fs/cgroup/memory.stat", "inactive_file", 1));
  return std::min(available, most - std::min(current, most));
}

std::size_t GetMemoryOfMachine()
{
  std::size_t all = ReadMemInfo("/proc/meminfo", "MemTotal:", 1024);
  if (all == 0) all = std::numeric_limits<std::size_t>::max();
  std::ifstream limit("/sys/fs/cgroup/memory.max");
  std::size_t most = 0;
  return limit >> most ? std::min(all, most) : all;
}

static std::size_t GetAvailableBytes()
{
  static const std::size_t available = MeasureAvailableBytes();
  return available;
}

bool TakeMemory(std::size_t bytes)
{
  const std::size_t available = GetAvailableBytes();
  if (bytes > available || BytesTaken > available - bytes) return false;
  BytesTaken += bytes;
  return true;
}

void ReturnMemory(std::size_t bytes)
{
  BytesTaken -= bytes;
}

void* AllocateUntouchedBlock(std::size_t bytes)
{
#ifdef _WIN32
  return std::calloc(bytes ? bytes : 1, 1);
#else
  void* block = mmap(nullptr, bytes ? bytes : 1, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  return block == MAP_FAILED ? nullptr : block;
#endif
}

void FreeUntouchedBlock(void* block, std::size_t bytes)
{
  if (!block) return;
#ifdef _WIN32
  static_cast<void>(bytes);
  std::free(block);
#else
  munmap(block, bytes ? bytes : 1);
#endif
}
