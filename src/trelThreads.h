#ifndef trelThreads_h
#define trelThreads_h

/** More worker threads than this are not started. */
constexpr int MaximumNumberOfThreads = 1024;

/**
 * How many of @p wanted threads, the calling one among them, can run at once: 1 to
 * MaximumNumberOfThreads. The OpenMP run-time ends the process when it cannot start a thread, so
 * every parallel region asks here first. The first call for so many threads tries to start
 * them; the answer is kept, and a lower one gives one warning. Only from the main thread, outside
 * of parallel regions.
 */
int StartableThreads(int wanted);

#endif
