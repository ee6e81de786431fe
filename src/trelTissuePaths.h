#ifndef trelTissuePaths_h
#define trelTissuePaths_h

#include <vector>

#include "trelExitTable.h"

/**
 * @class   trelTissuePaths
 * @brief   the ways of a packet by tissue, those that it has been to
 */
class trelTissuePaths
{
public:
  void Resize(std::int32_t tissues) { Index.assign(static_cast<std::size_t>(tissues), Nowhere); }
  /** Forgets all, at a cost of what there is. */
  void Clear();
  trelTissuePath& At(std::int32_t tissue);
  const std::vector<trelTissuePath>& List() const { return Paths; }

private:
  static constexpr std::int32_t Nowhere = -1;
  std::vector<std::int32_t> Index;  ///< in Paths, by tissue
  std::vector<trelTissuePath> Paths;
};

#endif
