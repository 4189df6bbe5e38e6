#include "platform/coremotion/InertialStream.h"

namespace ZELPlatform {

namespace {

/// What a fast gyroscope sends in a second. Nobody asked for longer: the oldest are of no use any more.
constexpr size_t kMostArrived = 1024;

/// A device's clock that goes on by more has begun anew, or is not one.
constexpr uint64_t kLongestMicroseconds = 1'000'000;

}  // namespace

void InertialStream::addRate(MotionVector rate, uint64_t deviceMicroseconds) {
  if (arrived_.size() == kMostArrived) {
    arrived_.erase(arrived_.begin(), arrived_.begin() + kMostArrived / 2);
  }
  arrived_.push_back({rate, deviceMicroseconds});
}

void InertialStream::filter(double hostTime) {
  const double share = arrived_.empty() ? 0.0 : (hostTime - hostTime_) / static_cast<double>(arrived_.size());
  for (const Rate& rate : arrived_) {
    const uint64_t passed = rate.deviceMicroseconds - deviceMicroseconds_;
    const bool hasClock =
        deviceMicroseconds_ != 0 && rate.deviceMicroseconds > deviceMicroseconds_ && passed <= kLongestMicroseconds;
    time_ += hasClock ? static_cast<double>(passed) * 1e-6 : share;
    deviceMicroseconds_ = rate.deviceMicroseconds;
    filter_.add(time_, rate.rate, acceleration_);
  }
  arrived_.clear();
  hostTime_ = hostTime;
}

}  // namespace ZELPlatform
