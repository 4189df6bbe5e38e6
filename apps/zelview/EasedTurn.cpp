#include "apps/zelview/EasedTurn.h"

#include <algorithm>
#include <cmath>

namespace zelview {
namespace {

/// In which the velocity comes nearer to its target by a factor of e, in seconds.
constexpr double kTimeConstant = 0.1;

/// Radians: a hundredth of a pixel in a view of 4000 pixels.
constexpr double kSmallestWay = 1e-6;

/// What a tap is worth in seconds: 5 degrees at 60 degrees per second.
constexpr double kTap = 1.0 / 12.0;

}  // namespace

double EasedTurn::velocityAt(double time) const {
  return target_ + (velocity_ - target_) * std::exp(-std::max(time - since_, 0.0) / kTimeConstant);
}

double EasedTurn::angleAt(double time) const {
  const double elapsed = std::max(time - since_, 0.0);
  const double left = std::exp(-elapsed / kTimeConstant);
  const double way = (velocity_ - target_) * kTimeConstant;
  const bool rests = target_ == 0.0 && std::abs(way) * left < kSmallestWay;
  return angle_ + target_ * elapsed + (rests ? way : way * (1.0 - left));
}

void EasedTurn::setVelocity(double velocity, double time) {
  if (velocity == target_) return;
  const double angle = angleAt(time);
  velocity_ = velocityAt(time);
  angle_ = angle;
  since_ = std::max(time, since_);
  target_ = velocity;
}

void KeyTurn::settle(double time) {
  if (!turning_ || held_ || time < until_) return;
  turn_.setVelocity(0.0, until_);
  turning_ = false;
}

void KeyTurn::press(double time) {
  if (held_) return;
  settle(time);
  until_ = std::max(until_, time) + kTap;
  held_ = true;
  turning_ = true;
  turn_.setVelocity(rate_, time);
}

void KeyTurn::release(double time) {
  if (!held_) return;
  held_ = false;
  until_ = std::max(until_, time);
  settle(time);
}

void KeyTurn::setRate(double rate, double time) {
  settle(time);
  rate_ = rate;
  if (turning_) turn_.setVelocity(rate, time);
}

double KeyTurn::angleAt(double time) const {
  KeyTurn then = *this;
  then.settle(time);
  return then.turn_.angleAt(time);
}

}  // namespace zelview
