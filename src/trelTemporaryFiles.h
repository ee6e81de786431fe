#ifndef trelTemporaryFiles_h
#define trelTemporaryFiles_h

#include <cstdio>
#include <filesystem>

/**
 * @file trelTemporaryFiles.h
 * Files under a name of their own until they are complete, and the list of them.
 *
 * The list has a fixed size and no locks, so that the handler of a signal can remove what is on it.
 * The library installs no handler: that is up to the program.
 */

/** A file that is written under a name of its own until it is complete. */
struct trelTemporaryFile
{
  std::filesystem::path Path;
  /** On the list; -1 for a file that is not on it. */
  int Place = -1;
};

/**
 * Makes a file of a new name in @p folder ("" is the working directory), lists it, and opens it for
 * writing in text mode. On failure null, and errno says why. A file that finds no place on the
 * list, of 32, is made all the same.
 */
std::FILE* CreateTemporaryFile(const std::filesystem::path& folder, trelTemporaryFile& file);

/** A new file in @p folder for writing and reading, which no folder names: the system removes it
 *  when it is closed, however the process ends. On failure null, and errno says why. */
std::FILE* OpenScratchFile(const std::filesystem::path& folder);

/** Takes @p file off the list; the file itself stays. */
void UnlistTemporaryFile(const trelTemporaryFile& file);

/** Removes all files on the list. May be called by the handler of a signal that ends the process.
 */
void RemoveTemporaryFiles();

#endif
