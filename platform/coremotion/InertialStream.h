#pragma once

#include "platform/coremotion/AttitudeFilter.h"

#include <cstdint>
#include <vector>

namespace ZELPlatform {

/// Brings what a gyroscope and an accelerometer send, each in its own time, to an attitude filter. One thread at a
/// time.
class InertialStream {
 public:
  /// Readings as they arrive, in radians and metres per second (squared); the time is that of the device's own clock in
  /// microseconds, 0 when it has none.
  void addRate(MotionVector rate, uint64_t deviceMicroseconds);
  void addAcceleration(MotionVector acceleration) { acceleration_ = acceleration; }

  /// Filters what has arrived since the last call; of a device without a clock, as if it had come evenly.
  void filter(double hostTime);

  /// None before the first readings of both.
  const std::optional<CMQuaternion>& attitude() const { return filter_.attitude(); }

 private:
  struct Rate {
    MotionVector rate;
    uint64_t deviceMicroseconds;
  };

  std::vector<Rate> arrived_;
  MotionVector acceleration_{};
  AttitudeFilter filter_;
  /// Counts from the first reading on, in seconds.
  double time_ = 0.0;
  double hostTime_ = 0.0;
  uint64_t deviceMicroseconds_ = 0;
};

}  // namespace ZELPlatform
