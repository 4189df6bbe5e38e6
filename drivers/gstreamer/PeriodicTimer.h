#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace ZELPlatform {

/// Calls again and again while it lives, on a thread of its own; no call comes once the destructor has returned, which
/// waits for one under way.
class PeriodicTimer {
 public:
  PeriodicTimer(double seconds, std::function<void()> call);
  ~PeriodicTimer();

  PeriodicTimer(const PeriodicTimer&) = delete;
  PeriodicTimer& operator=(const PeriodicTimer&) = delete;

 private:
  std::mutex mutex_;
  std::condition_variable wake_;
  bool ends_ = false;
  std::thread thread_;
};

}  // namespace ZELPlatform
