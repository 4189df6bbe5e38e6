#include <ZELPlatform/Foundation.h>

#include <time.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <utility>

namespace {

class SystemClock final : public HostClock {
 public:
  uint64_t nanoseconds() const override {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000u + static_cast<uint64_t>(now.tv_nsec);
  }

  double wallClockSeconds() const override {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
  }
};

/// Reading takes no lock. Nothing here is destroyed, because other threads may read the clock while the process ends.
struct CurrentClock {
  std::shared_ptr<HostClock> owner;
  std::atomic<const HostClock*> clock;

  void set(std::shared_ptr<HostClock> replacement) {
    static const SystemClock& systemClock = *new SystemClock;
    clock.store(replacement ? replacement.get() : &systemClock, std::memory_order_release);
    owner = std::move(replacement);
  }

  CurrentClock() { set(nullptr); }
};

CurrentClock& currentClock() {
  static CurrentClock& current = *new CurrentClock;
  return current;
}

const HostClock& hostClock() { return *currentClock().clock.load(std::memory_order_acquire); }

}  // namespace

uint64_t mach_absolute_time() { return hostClock().nanoseconds(); }

void mach_timebase_info(mach_timebase_info_data_t* info) { *info = {1, 1}; }

double CACurrentMediaTime() { return static_cast<double>(hostClock().nanoseconds()) * 1e-9; }

void HostClock::setCurrent(std::shared_ptr<HostClock> clock) { currentClock().set(std::move(clock)); }

struct ManualClock::State {
  std::atomic<uint64_t> nanoseconds{0};
};

ManualClock::ManualClock(double startSeconds) : state_(std::make_unique<State>()) { advance(startSeconds); }

ManualClock::~ManualClock() = default;

uint64_t ManualClock::nanoseconds() const { return state_->nanoseconds.load(); }

double ManualClock::wallClockSeconds() const { return static_cast<double>(nanoseconds()) * 1e-9; }

void ManualClock::advance(double seconds) {
  state_->nanoseconds += static_cast<uint64_t>(std::llround(std::max(seconds, 0.0) * 1e9));
}

NSDate NSDate::date() { return NSDate(hostClock().wallClockSeconds()); }

double NSDate::timeIntervalSinceNow() const { return seconds_ - hostClock().wallClockSeconds(); }
