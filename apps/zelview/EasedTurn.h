#pragma once

namespace zelview {

/// An angle that turns with a velocity which eases from one value to the next, as a function of time and so the same at
/// any frame rate. Radians and seconds.
class EasedTurn {
 public:
  /// Eases to that velocity from this time on, which may not lie before the change before.
  void setVelocity(double velocity, double time);

  double velocity() const { return target_; }

  /// The angle at a time after the newest change; it comes to rest for good once the way left is too small to be seen.
  double angleAt(double time) const;

 private:
  double velocityAt(double time) const;

  double since_ = 0.0;
  double angle_ = 0.0;
  double velocity_ = 0.0;
  double target_ = 0.0;
};

/// A turn at an even rate while a key is held. A tap, however short, turns by what a twelfth of a second is worth, and
/// taps in quick succession add up.
class KeyTurn {
 public:
  /// The key went down, or up; presses of a key that is down, and releases of one that is up, do nothing.
  void press(double time);
  void release(double time);

  /// Radians per second, 0 at first.
  void setRate(double rate, double time);

  double angleAt(double time) const;

 private:
  void settle(double time);

  EasedTurn turn_;
  double rate_ = 0.0;
  double until_ = 0.0;
  bool held_ = false;
  bool turning_ = false;
};

}  // namespace zelview
