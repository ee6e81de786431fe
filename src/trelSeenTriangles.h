#ifndef trelSeenTriangles_h
#define trelSeenTriangles_h

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "trelMemory.h"

/**
 * @class   trelSeenTriangles
 * @brief   the triangles that one question to a mesh has looked at already
 *
 * Each thread has one, with a mark for each triangle: the number of the question that looked at it
 * last. It grows to the largest mesh that the thread has asked and allocates nothing after that.
 */
class trelSeenTriangles
{
public:
  /** The thread's own, ready for a question about @p count triangles; null without memory. */
  static trelSeenTriangles* Begin(std::size_t count)
  {
    static thread_local trelSeenTriangles seen;
    return seen.Start(count) ? &seen : nullptr;
  }

  /** True for the first time in this question. */
  bool Add(std::uint32_t triangle)
  {
    if (Marks[triangle] == Question) return false;
    Marks[triangle] = Question;
    return true;
  }

private:
  bool Start(std::size_t count)
  {
    if (Marks.size() < count && !FitsInMemory([&] { Marks.resize(count, 0); })) return false;
    if (++Question == 0) {
      std::fill(Marks.begin(), Marks.end(), 0u);
      Question = 1;
    }
    return true;
  }

  std::vector<std::uint32_t> Marks;
  std::uint32_t Question = 0;
};

#endif
