#ifndef trelTicker_h
#define trelTicker_h

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

/**
 * @class   trelTicker
 * @brief   a thread that does something short every so often while the others work
 *
 * So that what has to happen by the clock, such as a look at a run, costs the packets nothing.
 */
class trelTicker
{
public:
  trelTicker() = default;
  /** As Stop(). */
  ~trelTicker() { Stop(); }
  trelTicker(const trelTicker&) = delete;
  trelTicker& operator=(const trelTicker&) = delete;

  /** Does @p tick after each @p interval from now on; one that runs out of memory breaks off. False
   *  if the system starts no thread. Once between two calls of Stop(). */
  bool Start(std::chrono::milliseconds interval, const std::function<void()>& tick);
  /** Returns when the last tick is over. Without a start it does nothing. */
  void Stop();

private:
  void Run(std::chrono::milliseconds interval, const std::function<void()>& tick);

  std::thread Thread;
  std::mutex Mutex;
  std::condition_variable Stopped;
  bool IsStopped = false;
};

#endif
