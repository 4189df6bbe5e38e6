#pragma once

namespace ZELPlatform {

/// Learns from the times that a display asks about how long it shows a picture. One thread.
class RefreshPace {
 public:
  /// The display asks about that host time, in seconds. Asking again about the same time says nothing.
  void note(double hostTime);

  /// Seconds from one picture to the next; 0 until that is known. Refreshes that were left out count little.
  double period() const { return period_; }

 private:
  double last_ = 0.0;
  double period_ = 0.0;
};

}  // namespace ZELPlatform
