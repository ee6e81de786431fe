#include "trelTissuePaths.h"

void trelTissuePaths::Clear()
{
  for (const trelTissuePath& path : Paths)
    Index[static_cast<std::size_t>(path.Tissue)] = Nowhere;
  Paths.clear();
}

trelTissuePath& trelTissuePaths::At(std::int32_t tissue)
{
  std::int32_t& index = Index[static_cast<std::size_t>(tissue)];
  if (index == Nowhere) {
    index = static_cast<std::int32_t>(Paths.size());
    Paths.push_back({tissue, 0, 0.0, 0.0});
  }
  return Paths[static_cast<std::size_t>(index)];
}
