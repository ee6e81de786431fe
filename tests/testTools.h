#ifndef testTools_h
#define testTools_h

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

/**
 * @file testTools.h
 * What tests of several subsystems read and write: reports, files and tables of cases.
 */

/** Runs @p action and returns what it reported. */
template <class Action>
std::string ReportsOf(Action action)
{
  testing::internal::CaptureStderr();
  action();
  return testing::internal::GetCapturedStderr();
}

/** The messages of reports, one a line, without prefix, path and address. */
inline std::string MessagesOf(const std::string& reports)
{
  std::istringstream stream(reports);
  std::string line, messages;
  while (std::getline(stream, line)) {
    const std::size_t mark = line.find("): ");
    if (mark != std::string::npos) messages += line.substr(mark + 3) + "\n";
  }
  return messages;
}

inline std::string ReadText(const std::filesystem::path& path)
{
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/** The files in @p directory that are called @p base with an ending, by ending. */
inline std::map<std::string, std::string> ReadFiles(const std::filesystem::path& directory,
                                                    const std::string& base)
{
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(base + ".", 0) == 0) files[name.substr(base.size())] = ReadText(entry.path());
  }
  return files;
}

/** The rows of tests/tables/@p name; a line that starts with # is a comment. */
inline std::vector<std::istringstream> ReadTable(const std::string& name)
{
  std::ifstream stream(TREL_SOURCE_DIR "/tests/tables/" + name);
  std::vector<std::istringstream> rows;
  std::string line;
  while (std::getline(stream, line)) {
    if (!line.empty() && line[0] != '#') rows.emplace_back(line);
  }
  EXPECT_FALSE(rows.empty()) << "no table " << name;
  return rows;
}

/** A directory that goes away. */
class TemporaryDirectory
{
public:
  TemporaryDirectory()
  {
    char name[] = "/tmp/trel-test-XXXXXX";
    Path = mkdtemp(name);
  }
  ~TemporaryDirectory() { std::filesystem::remove_all(Path); }

  std::string PathOf(const std::string& name) const { return (Path / name).string(); }
  /** The number of files in it, hidden ones too. */
  std::ptrdiff_t Count() const
  {
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator(Path), fs::directory_iterator());
  }

  std::filesystem::path Path;
};

#endif
