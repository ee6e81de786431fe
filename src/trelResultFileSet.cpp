#include "trelResultFileSet.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>
#include <thread>

#include "trelPaths.h"
#include "trelTemporaryFiles.h"

#ifndef _WIN32
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace fs = std::filesystem;

/** "." for the folder of a bare file name. */
static fs::path GetFolder(const fs::path& path)
{
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

#ifdef _WIN32

struct trelRenaming
{
  explicit trelRenaming(const fs::path&) {}
};

static bool CanBeReplaced(const fs::path&)
{
  return true;
}

static void CopyOwner(const fs::path&, const fs::path&) {}

#else

/**
 * While it lives, other runs do not rename files in the folder, and this thread receives no signal
 * to end. Waiting for the lock ends after two seconds: it only separates runs that end at the
 * same moment, and a script may hold it while it waits for this run.
 */
class trelRenaming
{
public:
  explicit trelRenaming(const fs::path& folder) : Folder(open(folder.c_str(), O_RDONLY | O_CLOEXEC))
  {
    constexpr int mostTries = 2000;
    for (int k = 0; k < mostTries && flock(Folder, LOCK_EX | LOCK_NB) != 0; ++k) {
      if (errno != EWOULDBLOCK) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
      sigaddset(&ending, signal);
    pthread_sigmask(SIG_BLOCK, &ending, &Before);
  }
  ~trelRenaming()
  {
    if (Folder >= 0) close(Folder);
    pthread_sigmask(SIG_SETMASK, &Before, nullptr);
  }
  trelRenaming(const trelRenaming&) = delete;
  trelRenaming& operator=(const trelRenaming&) = delete;

private:
  int Folder;
  sigset_t Before;
};

/** False for a file that is mounted by itself, and in a folder where only the owner of a file may
 * rename it (like /tmp) for the file of somebody else. */
static bool CanBeReplaced(const fs::path& target)
{
  struct stat file, folder;
  if (stat(target.c_str(), &file) != 0 || stat(GetFolder(target).c_str(), &folder) != 0)
    return false;
  const uid_t user = geteuid();
  const bool isOwned = user == 0 || user == file.st_uid || user == folder.st_uid;
  return file.st_dev == folder.st_dev && (isOwned || !(folder.st_mode & S_ISVTX));
}

/** Without the right to do so, the new file stays with the user of this run. */
static void CopyOwner(const fs::path& from, const fs::path& to)
{
  struct stat file;
  if (stat(from.c_str(), &file) != 0) return;
  [[maybe_unused]] const bool isGiven = chown(to.c_str(), file.st_uid, file.st_gid) == 0;
}

#endif

/** Where the links from @p path on lead, also if nothing is there; "" if they lead nowhere. */
static fs::path FollowLinks(fs::path path)
{
  constexpr int mostLinks = 40;
  std::error_code error;
  for (int k = 0; k < mostLinks; ++k) {
    if (!fs::is_symlink(path, error)) return path;
    const fs::path next = fs::read_symlink(path, error);
    if (error) return {};
    path = path.parent_path() / next;
  }
  return {};
}

static std::FILE* OpenAsItStands(const fs::path& path)
{
  return std::fopen(path.string().c_str(), "w");
}

/** Whether the file could be opened for writing; nothing in it changes. */
static bool IsWritable(const fs::path& path)
{
  std::FILE* file = std::fopen(path.string().c_str(), "a");
  return file && std::fclose(file) == 0;
}

static bool RefusesNewFiles(int reason)
{
  return reason == EACCES || reason == EPERM || reason == EROFS;
}

bool trelResultFileSet::CanOpen(const std::string& name)
{
  std::error_code error;
  const fs::path given = NativePath(name);
  const fs::file_status status = fs::status(given, error);
  if (status.type() == fs::file_type::none || fs::is_directory(status)) return false;
  if (fs::exists(status)) return !fs::is_regular_file(status) || IsWritable(given);
  trelTemporaryFile temporary;
  std::FILE* file = CreateTemporaryFile(FollowLinks(given).parent_path(), temporary);
  if (!file) return false;
  std::fclose(file);
  fs::remove(temporary.Path, error);
  UnlistTemporaryFile(temporary);
  return true;
}

std::FILE* trelResultFileSet::Open(const std::string& name)
{
  std::error_code error;
  const fs::path given = NativePath(name);
  const fs::file_status status = fs::status(given, error);
  if (status.type() == fs::file_type::none) return nullptr;
  const bool isThere = fs::exists(status);
  if (isThere && !fs::is_regular_file(status)) return OpenAsItStands(given);
  if (isThere && !IsWritable(given)) return nullptr;
  const fs::path target = FollowLinks(given);
  // What /proc shows as a link need not lead to a name.
  if (isThere && !(fs::equivalent(given, target, error) && CanBeReplaced(target)))
    return OpenAsItStands(given);
  if (target.empty()) return nullptr;
  std::FILE* stream = OpenTemporary(name, target, status);
  return !stream && isThere && RefusesNewFiles(errno) ? OpenAsItStands(given) : stream;
}

/** A stream to a new file beside @p target, whose @p status is given; null, and errno says why. */
std::FILE* trelResultFileSet::OpenTemporary(const std::string& name, const fs::path& target,
                                            const fs::file_status& status)
{
  StagedFile& file = Files.emplace_back();
  std::FILE* stream = CreateTemporaryFile(target.parent_path(), file.Temporary);
  if (!stream) {
    Files.pop_back();
    return nullptr;
  }
  file.Name = name;
  file.Target = target;
  file.Former = file.Temporary.Path;
  file.Former += "-former";
  if (fs::exists(status)) {
    std::error_code error;
    CopyOwner(target, file.Temporary.Path);
    fs::permissions(file.Temporary.Path, status.permissions(), error);
  }
  return stream;
}

std::string trelResultFileSet::Stage(const std::string& name, std::string* path)
{
  std::error_code error;
  const fs::path given = NativePath(name);
  const fs::file_status status = fs::status(given, error);
  if (status.type() == fs::file_type::none) return error.message();
  const bool isThere = fs::exists(status);
  if (isThere && !fs::is_regular_file(status)) return "it is no regular file";
  if (isThere && !IsWritable(given)) return std::strerror(errno);
  const fs::path target = FollowLinks(given);
  if (target.empty()) return "it is a link that leads nowhere";
  if (isThere && !(fs::equivalent(given, target, error) && CanBeReplaced(target)))
    return "it cannot be replaced";
  std::FILE* stream = OpenTemporary(name, target, status);
  if (!stream) return std::strerror(errno);
  std::fclose(stream);
  *path = Files.back().Temporary.Path.string();
  return "";
}

/** By a second link, so that the file is never missing; where the file system has none, by another
 * name. */
bool trelResultFileSet::KeepFormer(StagedFile& file)
{
  std::error_code error;
  const fs::file_status status = fs::status(file.Target, error);
  if (status.type() == fs::file_type::not_found) return true;
  if (!fs::is_regular_file(status)) return false;
  fs::create_hard_link(file.Target, file.Former, error);
  if (error) fs::rename(file.Target, file.Former, error);
  file.HasFormer = !error;
  return file.HasFormer;
}

bool trelResultFileSet::PutInPlace(StagedFile& file)
{
  std::error_code error;
  if (!KeepFormer(file)) return false;
  fs::rename(file.Temporary.Path, file.Target, error);
  file.IsInPlace = !error;
  return file.IsInPlace;
}

void trelResultFileSet::PutBack(StagedFile& file)
{
  std::error_code error;
  if (file.HasFormer) {
    fs::rename(file.Former, file.Target, error);
    // What cannot be put back is better kept under its second name than lost.
    file.HasFormer = !error;
  } else if (file.IsInPlace) {
    fs::remove(file.Target, error);
  }
}

bool trelResultFileSet::Commit(std::string& failed)
{
  if (Files.empty()) return true;
  const trelRenaming renaming(GetFolder(NativePath(Files[0].Name)));
  std::size_t next = 0;
  while (next < Files.size() && PutInPlace(Files[next]))
    ++next;
  const bool complete = next == Files.size();
  if (!complete) {
    for (auto file = Files.rbegin(); file != Files.rend(); ++file)
      PutBack(*file);
    failed.swap(Files[next].Name);
  }
  Discard();
  return complete;
}

void trelResultFileSet::Discard()
{
  std::error_code error;
  for (const StagedFile& file : Files) {
    fs::remove(file.Temporary.Path, error);
    if (file.HasFormer) fs::remove(file.Former, error);
    UnlistTemporaryFile(file.Temporary);
  }
  Files.clear();
}
