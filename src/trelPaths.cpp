#include "trelPaths.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "trelObjectMacros.h"

#ifndef _WIN32
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

static std::string ParameterDirectory;

std::string NativePath(std::string path)
{
#ifndef _WIN32
  std::replace(path.begin(), path.end(), '\\', '/');
#endif
  return path;
}

bool IsAbsolutePath(const std::string& path)
{
  return path.size() > 1 && path[1] == ':';
}

std::string GetFullPath(const std::string& path)
{
  std::error_code error;
  const std::filesystem::path full = std::filesystem::absolute(NativePath(path), error);
  if (error || path.empty()) {
    DisplayText("GetFullPathName failed!");
    return "";
  }
  return full.lexically_normal().string();
}

void SetParameterDirectory(const std::string& file)
{
  const std::string full = IsAbsolutePath(file) ? file : GetFullPath(file);
  const std::size_t slash = full.find_last_of("/\\");
  ParameterDirectory = slash == std::string::npos ? "" : full.substr(0, slash + 1);
}

void ResolvePath(std::string& path)
{
  if (path.empty()) {
    DisplayText("File path is null!");
    return;
  }
  if (IsAbsolutePath(path)) return;
  const std::string below = GetFullPath(ParameterDirectory + path);
  const std::string asItStands = NativePath(path);
  std::error_code error;
  const bool takeAsItStands = asItStands[0] == '/' && !std::filesystem::exists(below, error) &&
                              std::filesystem::exists(asItStands, error);
  path = takeAsItStands ? GetFullPath(asItStands) : below;
}

#ifdef _WIN32

std::FILE* OpenRegularFile(const std::string& name, const char* mode)
{
  std::error_code error;
  return std::filesystem::is_regular_file(name, error) ? std::fopen(name.c_str(), mode) : nullptr;
}

#else

std::FILE* OpenRegularFile(const std::string& name, const char* mode)
{
  // Opened first and checked then: the name cannot come to mean another file in between.
  const int descriptor = open(name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  struct stat status;
  const bool isRegular = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  std::FILE* file = isRegular ? fdopen(descriptor, mode) : nullptr;
  if (!file) close(descriptor);
  return file;
}

#endif
