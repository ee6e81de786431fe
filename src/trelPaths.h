#ifndef trelPaths_h
#define trelPaths_h

#include <cstdio>
#include <string>

/**
 * @file trelPaths.h
 * How a path in a parameter file finds its file, and how input files are opened. Relative paths
 * start at the directory of the parameter file, not at the working directory. A backslash separates
 * like a slash, so that files written on Windows work.
 */

/** True exactly if the second character is ':', a drive letter. A leading slash does not count. */
bool IsAbsolutePath(const std::string& path);

/** @p path with the separators of this platform: elsewhere than on Windows '/' for a backslash. */
std::string NativePath(std::string path);

/** The absolute, normalised form of @p path; on failure reports "GetFullPathName failed!" and gives
 * "". */
std::string GetFullPath(const std::string& path);

/** Stores the directory of @p file, with its last separator, as ParameterDirectory. */
void SetParameterDirectory(const std::string& file);

/**
 * Makes @p path absolute, against ParameterDirectory if it is relative. An empty path reports "File
 * path is null!" and stays. A path with a leading slash is first looked for below
 * ParameterDirectory; if nothing is there and the path itself names a file, it is taken as it
 * stands.
 */
void ResolvePath(std::string& path);

/**
 * Opens the regular file @p name for reading, in text mode or as @p mode says; null if it cannot be
 * opened or is anything else. A pipe would keep the program waiting for a writer, a device may
 * never end, and of a folder only the first read fails.
 */
std::FILE* OpenRegularFile(const std::string& name, const char* mode = "r");

#endif
