#include "trelTemporaryFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>

#ifdef _WIN32
#include <io.h>
#include <process.h>
#else
#include <unistd.h>
#endif

/** A place on the list. The path is written while the state is Taken, and read while it is Listed.
 */
struct trelListedFile
{
  enum States
  {
    Free,
    Taken,
    Listed
  };
  static constexpr std::size_t LongestPath = 4096;
  std::atomic<int> State{Free};
  char Path[LongestPath];
};
static_assert(std::atomic<int>::is_always_lock_free, "a handler must not wait for a lock");

static constexpr int NumberOfPlaces = 32;
static trelListedFile ListedFiles[NumberOfPlaces];

/** The place that @p path got on the list, or -1. */
static int ListTemporaryFile(const std::string& path)
{
  if (path.size() >= trelListedFile::LongestPath) return -1;
  for (int place = 0; place < NumberOfPlaces; ++place) {
    trelListedFile& listed = ListedFiles[place];
    int state = trelListedFile::Free;
    if (!listed.State.compare_exchange_strong(state, trelListedFile::Taken)) continue;
    std::copy_n(path.c_str(), path.size() + 1, listed.Path);
    listed.State = trelListedFile::Listed;
    return place;
  }
  return -1;
}

void UnlistTemporaryFile(const trelTemporaryFile& file)
{
  if (file.Place >= 0) ListedFiles[file.Place].State = trelListedFile::Free;
}

void RemoveTemporaryFiles()
{
  for (const trelListedFile& listed : ListedFiles) {
    if (listed.State == trelListedFile::Listed) unlink(listed.Path);
  }
}

/** A name that no other run and no other file of this one has: process, time, number. */
static std::string MakeTemporaryName()
{
  static std::atomic<int> number{0};
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  return ".trel-" + std::to_string(getpid()) + "-" + std::to_string(now) + "-" +
         std::to_string(++number);
}

/** A new file @p path, of the mode that the mask of the process leaves of 0666; -1 if that fails.
 */
static int CreateFile(const std::string& path)
{
#ifdef _WIN32
  return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_TEXT, S_IREAD | S_IWRITE);
#else
  return open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
#endif
}

std::FILE* CreateTemporaryFile(const std::filesystem::path& folder, trelTemporaryFile& file)
{
  file.Path = folder / MakeTemporaryName();
  const std::string path = file.Path.string();
  // Listed first: a signal between the two steps would leave the file behind.
  file.Place = ListTemporaryFile(path);
  const int descriptor = CreateFile(path);
  std::FILE* stream = descriptor < 0 ? nullptr : fdopen(descriptor, "w");
  if (stream) return stream;
  const int reason = errno;
  if (descriptor >= 0) {
    close(descriptor);
    unlink(path.c_str());
  }
  UnlistTemporaryFile(file);
  errno = reason;
  return nullptr;
}

#ifdef _WIN32
static int CreateScratchFile(const std::string& path)
{
  return open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_BINARY | _O_TEMPORARY,
              S_IREAD | S_IWRITE);
}
#else
static int CreateScratchFile(const std::string& path)
{
  // Listed while it has a name, for signals.
  const trelTemporaryFile file = {path, ListTemporaryFile(path)};
  const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  const int reason = errno;
  if (descriptor >= 0) unlink(path.c_str());
  UnlistTemporaryFile(file);
  errno = reason;
  return descriptor;
}
#endif

std::FILE* OpenScratchFile(const std::filesystem::path& folder)
{
  const int descriptor = CreateScratchFile((folder / MakeTemporaryName()).string());
  std::FILE* stream = descriptor < 0 ? nullptr : fdopen(descriptor, "w+b");
  if (!stream && descriptor >= 0) close(descriptor);
  return stream;
}
