#include "trelGrid.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <new>
#include <string>

#ifndef _WIN32
#include <sys/mman.h>
#endif

/** Bytes that the grids and tables of this process hold at the moment; they are made on the main
 *  thread only. */
static std::size_t BytesInUse = 0;

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

/** What the machine can give: free memory and caches, cut by the limit of a container if there is
 * one. */
static std::size_t MeasureAvailableBytes()
{
  std::size_t available = ReadMemInfo("/proc/meminfo", "MemAvailable:", 1024);
  if (available == 0) available = std::numeric_limits<std::size_t>::max();
  std::ifstream limit("/sys/fs/cgroup/memory.max"), used("/sys/fs/cgroup/memory.current");
  std::size_t most = 0, current = 0;
  if (!(limit >> most)) return available;
  used >> current;
  // Pages of files that nobody has touched for a while are given back when they are needed.
  current -= std::min(current, ReadMemInfo("/sys/fs/cgroup/memory.stat", "inactive_file", 1));
  return std::min(available, most - std::min(current, most));
}

static std::size_t GetAvailableBytes()
{
  static const std::size_t available = MeasureAvailableBytes();
  return available;
}

/** Whether @p bytes more fit beside what grids and tables hold. */
static bool FitsInMemory(std::size_t bytes)
{
  const std::size_t available = GetAvailableBytes();
  return bytes <= available && BytesInUse <= available - bytes;
}

/** The product of the extents in bytes; false if it is no size of a grid. */
static bool SizeInBytes(const std::vector<std::int32_t>& extents, std::size_t* bytes)
{
  constexpr std::size_t rowLimit = std::numeric_limits<std::uint32_t>::max();
  std::size_t size = sizeof(double);
  for (const std::int32_t extent : extents) {
    if (extent < 0 || static_cast<std::size_t>(extent) > rowLimit / sizeof(double)) return false;
    if (extent > 0 && size > std::numeric_limits<std::size_t>::max() / extent) return false;
    size *= static_cast<std::size_t>(extent);
  }
  *bytes = size;
  return true;
}

trelGrid* trelGrid::Allocate(const std::vector<std::int32_t>& extents)
{
  std::size_t bytes = 0;
  if (!SizeInBytes(extents, &bytes) || !FitsInMemory(bytes)) return nullptr;
  auto* cells = static_cast<double*>(std::calloc(bytes ? bytes : 1, 1));
  if (!cells) return nullptr;
  auto* grid = new (std::nothrow) trelGrid(cells, bytes / sizeof(double), extents);
  if (!grid) {
    std::free(cells);
    return nullptr;
  }
  BytesInUse += bytes;
  return grid;
}

trelGrid::~trelGrid()
{
  BytesInUse -= NumberOfCells * sizeof(double);
  std::free(Cells);
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

void* AllocateTable(std::int64_t rows, std::size_t rowSize)
{
  const auto number = static_cast<std::size_t>(rows);
  if (rows < 0 || number > std::numeric_limits<std::size_t>::max() / rowSize) return nullptr;
  if (!FitsInMemory(number * rowSize)) return nullptr;
  void* table = AllocateUntouchedBlock(number * rowSize);
  if (table) BytesInUse += number * rowSize;
  return table;
}

void FreeTable(void* table, std::int64_t rows, std::size_t rowSize)
{
  if (!table) return;
  const std::size_t bytes = static_cast<std::size_t>(rows) * rowSize;
  BytesInUse -= bytes;
  FreeUntouchedBlock(table, bytes);
}
