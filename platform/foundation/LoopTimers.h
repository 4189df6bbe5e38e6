#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace ZELPlatform {

/// The timers of a run loop behind one descriptor, which is readable while a timer is due. One thread.
class LoopTimers {
 public:
  LoopTimers();
  ~LoopTimers();

  int descriptor() const { return descriptor_; }

  void add(uint64_t token, double delay, double interval, std::function<void()> task);

  /// Returns whether there was such a timer.
  bool remove(uint64_t token);

  /// The timers that are due now, the one that has waited longest first.
  std::vector<uint64_t> due() const;

  /// Runs the task of a timer that was due, unless it was removed or run since. Its next round is set before.
  void run(uint64_t token);

  /// Monotonic nanoseconds of the system, whatever the host clock is.
  static uint64_t now();

  LoopTimers(const LoopTimers&) = delete;
  LoopTimers& operator=(const LoopTimers&) = delete;

 private:
  struct Timer {
    uint64_t deadline;
    /// 0: only once.
    uint64_t interval;
    std::shared_ptr<const std::function<void()>> task;
  };

  void arm();

  int descriptor_;
  std::map<uint64_t, Timer> timers_;
  /// What the descriptor was last set to; 0: nothing.
  uint64_t armedDeadline_ = 0;
};

/// Seconds in whole nanoseconds: 0 for what is not above 0, thirty years for what is longer.
uint64_t nanosecondsOf(double seconds);

}  // namespace ZELPlatform
