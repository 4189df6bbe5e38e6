#include "platform/avfoundation/Timeline.h"

#include <algorithm>

namespace ZELPlatform {

void Timeline::hold(double itemTime) {
  const std::lock_guard lock(mutex_);
  itemTime_ = itemTime;
  rate_ = 0.0;
}

void Timeline::run(double hostTime, double itemTime, double rate) {
  const std::lock_guard lock(mutex_);
  hostTime_ = hostTime;
  itemTime_ = itemTime;
  rate_ = rate;
}

void Timeline::setEnd(std::optional<double> itemTime) {
  const std::lock_guard lock(mutex_);
  end_ = itemTime;
}

bool Timeline::isRunning() const { return rate() != 0.0; }

double Timeline::rate() const {
  const std::lock_guard lock(mutex_);
  return rate_;
}

double Timeline::itemTimeAt(double hostTime) const {
  const std::lock_guard lock(mutex_);
  const double itemTime = itemTime_ + rate_ * std::max(0.0, hostTime - hostTime_);
  return end_ ? std::min(itemTime, *end_) : itemTime;
}

std::optional<double> Timeline::hostTimeOf(double itemTime) const {
  const std::lock_guard lock(mutex_);
  if (rate_ == 0.0) return std::nullopt;
  return hostTime_ + (itemTime - itemTime_) / rate_;
}

}  // namespace ZELPlatform
