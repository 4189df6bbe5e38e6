#pragma once

#include <chrono>

namespace ZELPlatform {

/// Says when a window's refreshes are due: on an even grid of ticks, which follows the display where putting a picture
/// on the window waits for it, and a timer where it does not.
///
/// Whether it waits is measured, since drivers accept a swap interval that they then ignore. A wait is a swap that
/// takes a good part of a period although the picture is finished, and that ends a whole period after the one before.
/// A plain slow copy gives itself away by ending sooner. Plain arithmetic: one thread.
class Pacemaker {
 public:
  using Clock = std::chrono::steady_clock;
  using Time = Clock::time_point;

  Pacemaker(Clock::duration period, Time start) : period_(period), origin_(start) {}

  Clock::duration period() const { return period_; }

  /// The newest tick that is not later than `now`.
  Time tickAtOrBefore(Time now) const;

  /// The first tick later than `now`.
  Time tickAfter(Time now) const { return tickAtOrBefore(now) + period_; }

  bool followsDisplay() const { return followsDisplay_; }

  /// Notes a swap of a finished picture; returns whether its end is a tick.
  bool noteSwap(Time begin, Time end);

 private:
  Clock::duration period_;
  Time origin_;
  Time lastEnd_{};
  bool followsDisplay_ = false;
  int waitsInARow_ = 0;
  int quickInARow_ = 0;
  int slowCopies_ = 0;
};

}  // namespace ZELPlatform
