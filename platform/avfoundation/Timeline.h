#pragma once

#include <mutex>
#include <optional>

namespace ZELPlatform {

/// Where an item is at which host time: it stands still, or runs evenly. Seconds throughout. Any thread.
class Timeline {
 public:
  /// Stands at that item time.
  void hold(double itemTime);

  /// Is at `itemTime` at that host time and goes on from there; before it, it stands.
  void run(double hostTime, double itemTime, double rate);

  /// The end, where it stands when it gets there; none at first.
  void setEnd(std::optional<double> itemTime);

  bool isRunning() const;
  /// 0 while it stands.
  double rate() const;

  double itemTimeAt(double hostTime) const;

  /// When it is to get there; none while it stands.
  std::optional<double> hostTimeOf(double itemTime) const;

 private:
  mutable std::mutex mutex_;
  double hostTime_ = 0.0;
  double itemTime_ = 0.0;
  double rate_ = 0.0;
  std::optional<double> end_;
};

}  // namespace ZELPlatform
