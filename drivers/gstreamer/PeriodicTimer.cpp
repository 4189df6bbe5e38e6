#include "drivers/gstreamer/PeriodicTimer.h"

#include <chrono>
#include <utility>

namespace ZELPlatform {

PeriodicTimer::PeriodicTimer(double seconds, std::function<void()> call)
    : thread_([this, interval = std::chrono::duration<double>(seconds), call = std::move(call)] {
        std::unique_lock lock(mutex_);
        while (!wake_.wait_for(lock, interval, [this] { return ends_; })) {
          lock.unlock();
          call();
          lock.lock();
        }
      }) {}

PeriodicTimer::~PeriodicTimer() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
    wake_.notify_all();
  }
  thread_.join();
}

}  // namespace ZELPlatform
