#ifndef trelResultFileSet_h
#define trelResultFileSet_h

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "trelTemporaryFiles.h"

/**
 * @class   trelResultFileSet
 * @brief   the result files of one run, which appear together or not at all
 *
 * Each file is written under a temporary name in the folder where it belongs, with the mode and, if
 * the system permits it, the owner of the file that it replaces. When all are complete they are
 * renamed, with SIGINT, SIGTERM and SIGHUP held back and the folder locked against other runs; the
 * files that they replace are kept until the last one is in its place, and restored if one fails. A
 * set that is not committed leaves no file behind and changes none.
 * Committing allocates nothing, so that it cannot stop half way.
 *
 * Links are followed. A target is opened and written as it stands if it is no regular file (a
 * device, a pipe) or cannot be replaced: its folder admits no new file, or it is a file system of
 * its own.
 * @sa trelTemporaryFiles.h
 */
class trelResultFileSet
{
public:
  trelResultFileSet() = default;
  ~trelResultFileSet() { Discard(); }
  trelResultFileSet(const trelResultFileSet&) = delete;
  trelResultFileSet& operator=(const trelResultFileSet&) = delete;

  /** Adds the file @p name; the stream that it is written to in text mode, or null if it cannot be
   *  opened. The caller closes it before the set is committed or ends. */
  std::FILE* Open(const std::string& name);

  /** Whether Open() would give a stream; nothing that is there changes. */
  static bool CanOpen(const std::string& name);

  /** Adds the file @p name, which another library writes: its temporary name as @p path, where an
   *  empty file is. What keeps it from being replaced, or empty: a target is never written as it
   *  stands. */
  std::string Stage(const std::string& name, std::string* path);

  /** Puts all files in their places. If one cannot be put there, false and its name as @p failed;
   *  then all places are as they were. The set is empty afterwards. */
  bool Commit(std::string& failed);

private:
  struct StagedFile
  {
    std::string Name;
    std::filesystem::path Target;
    trelTemporaryFile Temporary;
    /** The second name that what is at the target gets, if anything is. */
    std::filesystem::path Former;
    bool HasFormer = false;
    bool IsInPlace = false;
  };
  std::FILE* OpenTemporary(const std::string& name, const std::filesystem::path& target,
                           const std::filesystem::file_status& status);
  static bool KeepFormer(StagedFile& file);
  static bool PutInPlace(StagedFile& file);
  static void PutBack(StagedFile& file);
  void Discard();

  std::vector<StagedFile> Files;
};

#endif
