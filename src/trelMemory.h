#ifndef trelMemory_h
#define trelMemory_h

#include <cstddef>
#include <new>
#include <type_traits>

/**
 * @file trelMemory.h
 * How memory is taken: actions that may run out of it, the bound on all large tables together, and
 * blocks that cost nothing until they are written.
 */

/**
 * Does @p action, which may allocate by the standard library. False if the memory was not enough:
 * the action broke off where the allocation failed, and what it made by then belongs to its owners.
 * If the action returns a bool, that is the result. Exceptions are caught nowhere else; no
 * operation throws one itself.
 */
template <class Action>
bool FitsInMemory(const Action& action)
{
  try {
    if constexpr (std::is_same_v<decltype(action()), bool>) return action();
    action();
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

/**
 * Takes @p bytes from what the machine can give: free memory and caches, cut by the limit of a
 * container if there is one, measured at the first call. False, and nothing taken, if less is left:
 * so that a run is refused before its first packet and not killed in its last. Main thread only.
 */
bool TakeMemory(std::size_t bytes);
/** What the machine has in all, or the container is allowed; the largest number if that is not
 * known.
 */
std::size_t GetMemoryOfMachine();
/** Gives back what TakeMemory() took. */
void ReturnMemory(std::size_t bytes);

/**
 * A zeroed block of @p bytes whose pages cost no memory until they are written, whatever its size;
 * null if there are not even enough addresses. FreeUntouchedBlock() takes the same size.
 */
void* AllocateUntouchedBlock(std::size_t bytes);
void FreeUntouchedBlock(void* block, std::size_t bytes);

#endif
