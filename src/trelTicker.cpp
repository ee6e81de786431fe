#include "trelTicker.h"

#include <system_error>

#include "trelMemory.h"

bool trelTicker::Start(std::chrono::milliseconds interval, const std::function<void()>& tick)
{
  IsStopped = false;
  try {
    return FitsInMemory([&] { Thread = std::thread([=] { Run(interval, tick); }); });
  } catch (const std::system_error&) {
    return false;
  }
}

void trelTicker::Run(std::chrono::milliseconds interval, const std::function<void()>& tick)
{
  std::unique_lock<std::mutex> lock(Mutex);
  while (!Stopped.wait_for(lock, interval, [this] { return IsStopped; })) {
    lock.unlock();
    FitsInMemory([&] { tick(); });
    lock.lock();
  }
}

void trelTicker::Stop()
{
  if (!Thread.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(Mutex);
    IsStopped = true;
  }
  Stopped.notify_one();
  Thread.join();
}
