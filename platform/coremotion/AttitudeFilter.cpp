#include "platform/coremotion/AttitudeFilter.h"

#include <algorithm>
#include <cmath>

namespace ZELPlatform {

namespace {

constexpr double kGravity = 9.80665;

/// Readings beyond these are no sensor's; squares of what is below stay far from the end of doubles.
constexpr double kLargestRate = 200.0;
constexpr double kLargestAcceleration = 1000.0;

/// After a longer pause nobody knows how the device was turned meanwhile.
constexpr double kLongestStep = 0.25;
/// What is read then counts for this many seconds.
constexpr double kPauseStep = 0.01;

/// Deviations at the beginning and after a pause: of the lean in radians, of the bias in radians per second.
constexpr double kFirstLean = 0.1;
constexpr double kFirstBias = 0.02;

/// The gyroscope's noise: rad^2/s, and the share of its rate by which its scale may be off.
constexpr double kRateDensity = 1e-6;
constexpr double kScaleError = 0.005;
/// How long a turn goes on in one direction, in seconds.
constexpr double kTurnLength = 0.5;

/// How fast the bias walks: (rad/s)^2/s.
constexpr double kBiasDensity = 4e-9;
/// No gyroscope that is worth its name is further off, in radians per second.
constexpr double kLargestBias = 0.15;

/// The accelerometer as a plumb line: rad^2 s. Movements of the hand are far above the sensor's own noise, and last.
constexpr double kPlumbDensity = 1e-3;
/// How much of the disturbance's square, (m/s^2)^2, is added to it.
constexpr double kDisturbanceWeight = 1e-3;
/// The same for the pull of a turn on a sensor this far, in metres, from its centre; it lasts as long as the turn.
constexpr double kPullWeight = 0.1;
constexpr double kArm = 0.2;
/// How long a disturbance or a turn is remembered: shakes pass through rest on their way.
constexpr double kMemorySeconds = 0.5;

/// Above this rate, in radians per second, nothing is learnt of the bias: what turns fast pulls at the accelerometer,
/// and at the gyroscope's scale, in time with its turns, which looks like one.
constexpr double kLargestLearningRate = 1.0;

/// Rest: no reading has strayed from its mean by more than this, the mean being that of a bias, for this long.
constexpr double kRestRate = 0.012;
constexpr double kRestAcceleration = 0.12;
constexpr double kRestMeanRate = 0.05;
constexpr double kRestWindow = 0.5;
constexpr double kRestSeconds = 1.5;
/// The gyroscope at rest as a measure of its bias: (rad/s)^2 s. It outweighs the first deviation in a fifth of a
/// second.
constexpr double kRestDensity = kFirstBias * kFirstBias * 0.2;

double square(double x) { return x * x; }

bool isPlausible(MotionVector v, double largest) { return isFinite(v) && length(v) <= largest; }

/// How far the estimate leans, as rotations about the reference frame's X and Y, when this is what the accelerometer
/// reads in that frame.
///
/// Linear wherever it can be: the direction of a vector is not, and would make a steady lean of shakes up and sideways
/// that keep time with each other, as those of a walk do.
std::array<double, 2> leanOf(MotionVector plumb) {
  const double level = std::hypot(plumb.x, plumb.y);
  const double angle = std::atan2(level, plumb.z);
  const double scale = angle < 1.0 ? 1 / kGravity : angle / level;
  return {plumb.y * scale, -plumb.x * scale};
}

}  // namespace

bool AttitudeFilter::add(double time, MotionVector rate, MotionVector acceleration) {
  if (!std::isfinite(time) || !isPlausible(rate, kLargestRate) || !isPlausible(acceleration, kLargestAcceleration)) {
    return false;
  }
  if (!attitude_) {
    if (length(acceleration) < kGravity / 2) {
      // Thrown, or not awake yet: there is no up in it.
      return false;
    }
    begin(acceleration);
  } else if (time <= time_) {
    return false;
  } else if (time - time_ > kLongestStep) {
    covariance_[0][0] += square(kFirstLean);
    covariance_[1][1] += square(kFirstLean);
    restSeconds_ = 0.0;
    level(kPauseStep, length(rate - bias_), acceleration);
  } else {
    const double seconds = time - time_;
    // The turn between two readings is that of their mean.
    const MotionVector mean = (rate + rate_) * 0.5 - bias_;
    turn(seconds, mean);
    predict(seconds, length(mean));
    level(seconds, length(mean), acceleration);
    observeRest(seconds, rate, acceleration);
  }
  time_ = time;
  rate_ = rate;
  return true;
}

void AttitudeFilter::begin(MotionVector acceleration) {
  const MotionVector up = acceleration * (1 / length(acceleration));
  const CMQuaternion upright = kUprightScreen * rotationBetween(up, {0, 1, 0});
  attitude_ = rotationAboutZ(-heading(upright)) * upright;
  covariance_ = {};
  for (int state = 0; state < kStates; ++state) {
    covariance_[state][state] = square(state < 2 ? kFirstLean : kFirstBias);
  }
  meanAcceleration_ = acceleration;
}

void AttitudeFilter::turn(double seconds, MotionVector rate) {
  attitude_ = normalized(*attitude_ * rotationByVector(rate * seconds));
}

void AttitudeFilter::predict(double seconds, double rate) {
  // The bias leans the estimate: the level rows of the rotation into the reference frame.
  std::array<std::array<double, 3>, 2> lean{};
  const MotionVector columns[3] = {rotate(*attitude_, {1, 0, 0}), rotate(*attitude_, {0, 1, 0}),
                                   rotate(*attitude_, {0, 0, 1})};
  for (int axis = 0; axis < 3; ++axis) {
    lean[0][axis] = -columns[axis].x * seconds;
    lean[1][axis] = -columns[axis].y * seconds;
  }
  // F P F' for F = [1 lean; 0 1].
  std::array<Row, kStates> moved = covariance_;
  for (int row = 0; row < 2; ++row) {
    for (int column = 0; column < kStates; ++column) {
      for (int axis = 0; axis < 3; ++axis) {
        moved[row][column] += lean[row][axis] * covariance_[2 + axis][column];
      }
    }
  }
  covariance_ = moved;
  for (int row = 0; row < kStates; ++row) {
    for (int column = 0; column < 2; ++column) {
      for (int axis = 0; axis < 3; ++axis) {
        covariance_[row][column] += lean[column][axis] * moved[row][2 + axis];
      }
    }
  }
  const double turned = kRateDensity + square(kScaleError * rate) * kTurnLength;
  for (int state = 0; state < kStates; ++state) {
    covariance_[state][state] += seconds * (state < 2 ? turned : kBiasDensity);
  }
}

void AttitudeFilter::level(double seconds, double rate, MotionVector acceleration) {
  const double size = length(acceleration);
  const double remembered = std::exp(-seconds / kMemorySeconds);
  disturbance_ = std::max(std::abs(size - kGravity), disturbance_ * remembered);
  spin_ = std::max(rate, spin_ * remembered);
  if (size < kGravity / 4) {
    return;
  }
  const auto [leanX, leanY] = leanOf(rotate(*attitude_, acceleration));

  const double density =
      kPlumbDensity + kDisturbanceWeight * square(disturbance_) + kPullWeight * square(kArm * square(spin_));
  const double noise = density / seconds;
  // The gain: the covariance's first two columns times the inverse of the two by two of what is seen.
  const double a = covariance_[0][0] + noise;
  const double b = covariance_[0][1];
  const double d = covariance_[1][1] + noise;
  const double determinant = a * d - b * b;
  std::array<std::array<double, 2>, kStates> gain{};
  Row correction{};
  for (int state = 0; state < kStates; ++state) {
    const double first = covariance_[state][0];
    const double second = covariance_[state][1];
    gain[state] = {(first * d - second * b) / determinant, (second * a - first * b) / determinant};
    correction[state] = gain[state][0] * leanX + gain[state][1] * leanY;
  }
  const bool learns = spin_ <= kLargestLearningRate;
  const std::array<Row, kStates> before = covariance_;
  for (int row = 0; row < kStates; ++row) {
    for (int column = 0; column < kStates; ++column) {
      if (row >= 2 && column >= 2 && !learns) continue;
      covariance_[row][column] -= gain[row][0] * before[0][column] + gain[row][1] * before[1][column];
    }
  }
  attitude_ = normalized(rotationByVector({correction[0], correction[1], 0}) * *attitude_);
  if (!learns) return;
  bias_ = bias_ + MotionVector{correction[2], correction[3], correction[4]};
  if (const double off = length(bias_); off > kLargestBias) {
    bias_ = bias_ * (kLargestBias / off);
  }
}

void AttitudeFilter::observeRest(double seconds, MotionVector rate, MotionVector acceleration) {
  const double share = 1 - std::exp(-seconds / kRestWindow);
  const MotionVector strayRate = rate - meanRate_;
  const MotionVector strayAcceleration = acceleration - meanAcceleration_;
  meanRate_ = meanRate_ + strayRate * share;
  meanAcceleration_ = meanAcceleration_ + strayAcceleration * share;
  rateDeviation_ += (dot(strayRate, strayRate) - rateDeviation_) * share;
  accelerationDeviation_ += (dot(strayAcceleration, strayAcceleration) - accelerationDeviation_) * share;

  const bool still = rateDeviation_ < square(kRestRate) && accelerationDeviation_ < square(kRestAcceleration) &&
                     length(meanRate_) < kRestMeanRate;
  restSeconds_ = still ? restSeconds_ + seconds : 0.0;
  if (restSeconds_ > kRestSeconds) {
    learnBias(seconds, rate);
  }
}

void AttitudeFilter::learnBias(double seconds, MotionVector rate) {
  const double noise = kRestDensity / seconds;
  const std::array<double, 3> read = {rate.x, rate.y, rate.z};
  // One axis after the other, each a measurement of one number.
  for (int axis = 0; axis < 3; ++axis) {
    const int measured = 2 + axis;
    const std::array<double, 3> bias = {bias_.x, bias_.y, bias_.z};
    const double off = read[axis] - bias[axis];
    const Row seen = covariance_[measured];
    const double total = seen[measured] + noise;
    attitude_ = normalized(rotationByVector({seen[0] * off / total, seen[1] * off / total, 0}) * *attitude_);
    bias_ = bias_ + MotionVector{seen[2], seen[3], seen[4]} * (off / total);
    for (int row = 0; row < kStates; ++row) {
      for (int column = 0; column < kStates; ++column) {
        covariance_[row][column] -= seen[row] * seen[column] / total;
      }
    }
  }
}

}  // namespace ZELPlatform
