#ifndef trelFileNames_h
#define trelFileNames_h

#include <string>
#include <vector>

/** The file names that a reader or a writer works on, in the order in which they were added. */
class trelFileNames
{
public:
  /** Adds @p name at the end; null is an empty name. */
  void AddFileName(const char* name) { FileNames.emplace_back(name ? name : ""); }
  /** Makes @p name the only one. */
  void SetFileName(const char* name) { FileNames.assign(1, name ? name : ""); }
  int GetNumberOfFileNames() const { return static_cast<int>(FileNames.size()); }
  int GetNumberOfFiles() const { return GetNumberOfFileNames(); }
  /** The text of entry @p i, from 0; null when out of range. */
  const char* GetFileName(int i) const
  {
    return i < 0 || i >= GetNumberOfFileNames() ? nullptr : FileNames[i].c_str();
  }

protected:
  ~trelFileNames() = default;

  std::vector<std::string> FileNames;
};

#endif
