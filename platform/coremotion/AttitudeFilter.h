#pragma once

#include "platform/coremotion/Attitude.h"

#include <array>
#include <optional>

namespace ZELPlatform {

/// Joins a gyroscope and an accelerometer into an attitude whose Z is vertical.
///
/// A Kalman filter of the error, with five states: how far the estimate leans, as two rotations about level axes of the
/// reference frame, and the bias of the gyroscope. In the reference frame the heading, about which gravity says
/// nothing, has no part in what is seen of the others, so it is left out whole: the gyroscope alone turns it, and no
/// shaking can (the choice of frame is that of S. Bonnabel, P. Martin and E. Salaun, "Invariant Extended Kalman
/// Filter", 2009). Of the bias about the vertical a held device learns nothing but by leaning; one that lies still
/// measures it.
///
/// Densities rather than variances describe the noise, so that the rate of the samples makes no difference. Pure
/// arithmetic; one thread at a time.
class AttitudeFilter {
 public:
  /// One more pair of readings in the device's axes: what it turns by (radians per second), and its acceleration
  /// (metres per second squared, pointing up at rest). Returns false for one that is left out: not finite, beyond what
  /// a sensor can mean, or not later than the one before.
  bool add(double time, MotionVector rate, MotionVector acceleration);

  /// The rotation that takes the reference frame to the device's; none before the first readings. Its heading begins
  /// with the camera looking along the reference frame's Y.
  const std::optional<CMQuaternion>& attitude() const { return attitude_; }

  /// What the gyroscope is taken to read at rest, in radians per second.
  MotionVector bias() const { return bias_; }

 private:
  static constexpr int kStates = 5;
  using Row = std::array<double, kStates>;

  void begin(MotionVector acceleration);
  void turn(double seconds, MotionVector rate);
  void predict(double seconds, double rate);
  void level(double seconds, double rate, MotionVector acceleration);
  void observeRest(double seconds, MotionVector rate, MotionVector acceleration);
  void learnBias(double seconds, MotionVector rate);

  double time_ = 0.0;
  MotionVector rate_;
  std::optional<CMQuaternion> attitude_;
  MotionVector bias_;
  /// Covariance: two of lean, three of bias.
  std::array<Row, kStates> covariance_{};
  /// How far the accelerometer's magnitude was from gravity lately, in metres per second squared.
  double disturbance_ = 0.0;
  /// How fast it turned lately, in radians per second.
  double spin_ = 0.0;
  /// Slow means and mean squares of deviations, from which rest is seen.
  MotionVector meanRate_;
  MotionVector meanAcceleration_;
  double rateDeviation_ = 0.0;
  double accelerationDeviation_ = 0.0;
  double restSeconds_ = 0.0;
};

}  // namespace ZELPlatform
