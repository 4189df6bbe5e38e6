#include "platform/foundation/LoopTimers.h"

#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace ZELPlatform {

namespace {
constexpr uint64_t nanosecondsPerSecond = 1'000'000'000;
}

LoopTimers::LoopTimers() : descriptor_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {}

LoopTimers::~LoopTimers() { close(descriptor_); }

void LoopTimers::add(uint64_t token, double delay, double interval, std::function<void()> task) {
  const uint64_t period = interval > 0 ? std::max<uint64_t>(nanosecondsOf(interval), 1) : 0;
  timers_[token] = {now() + nanosecondsOf(delay), period,
                    std::make_shared<const std::function<void()>>(std::move(task))};
  arm();
}

bool LoopTimers::remove(uint64_t token) {
  if (timers_.erase(token) == 0) return false;
  arm();
  return true;
}

std::vector<uint64_t> LoopTimers::due() const {
  const uint64_t time = now();
  std::vector<std::pair<uint64_t, uint64_t>> found;
  for (const auto& [token, timer] : timers_) {
    if (timer.deadline <= time) found.emplace_back(timer.deadline, token);
  }
  std::sort(found.begin(), found.end());
  std::vector<uint64_t> tokens;
  tokens.reserve(found.size());
  for (const auto& entry : found) tokens.push_back(entry.second);
  return tokens;
}

void LoopTimers::run(uint64_t token) {
  const auto found = timers_.find(token);
  const uint64_t time = now();
  if (found == timers_.end() || found->second.deadline > time) return;
  const auto task = found->second.task;
  if (const uint64_t interval = found->second.interval) {
    uint64_t& deadline = found->second.deadline;
    deadline += ((time - deadline) / interval + 1) * interval;
  } else {
    timers_.erase(found);
  }
  arm();
  (*task)();
}

/// Sets the descriptor to the earliest deadline; setting it also ends its being readable.
void LoopTimers::arm() {
  uint64_t earliest = 0;
  for (const auto& entry : timers_) {
    if (earliest == 0 || entry.second.deadline < earliest) earliest = entry.second.deadline;
  }
  if (earliest == std::exchange(armedDeadline_, earliest)) return;
  itimerspec setting{};
  setting.it_value.tv_sec = static_cast<time_t>(earliest / nanosecondsPerSecond);
  setting.it_value.tv_nsec = static_cast<long>(earliest % nanosecondsPerSecond);
  timerfd_settime(descriptor_, TFD_TIMER_ABSTIME, &setting, nullptr);
}

uint64_t LoopTimers::now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<uint64_t>(time.tv_sec) * nanosecondsPerSecond + static_cast<uint64_t>(time.tv_nsec);
}

uint64_t nanosecondsOf(double seconds) {
  constexpr double longest = 1e9;
  return seconds > 0 ? static_cast<uint64_t>(std::llround(std::min(seconds, longest) * 1e9)) : 0;
}

}  // namespace ZELPlatform
