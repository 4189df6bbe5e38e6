#pragma once

#include <gst/gst.h>

#include <functional>

namespace ZELPlatform {

/// Calls again and again while it lives, on a thread of GStreamer's; a call may still come while it is destroyed.
class PeriodicTimer {
 public:
  PeriodicTimer(double seconds, std::function<void()> call);
  ~PeriodicTimer();

  PeriodicTimer(const PeriodicTimer&) = delete;
  PeriodicTimer& operator=(const PeriodicTimer&) = delete;

 private:
  GstClockID id_ = nullptr;
};

}  // namespace ZELPlatform
