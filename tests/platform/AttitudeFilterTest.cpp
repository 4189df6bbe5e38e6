#include "platform/coremotion/AttitudeFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <numbers>
#include <ostream>
#include <random>
#include <string>

namespace {

using namespace ZELPlatform;

constexpr double kGravity = 9.80665;
constexpr double kDegrees = 180 / std::numbers::pi;

/// A device's way: how it is turned (yaw to the left, pitch up, roll, in radians) and how it is accelerated, as
/// functions of time in seconds; the acceleration in the reference frame, and what comes on top in the device's axes.
struct Track {
  const char* name;
  /// How often the sensors are read.
  double hertz;
  std::function<MotionVector(double)> angles;
  std::function<MotionVector(double)> acceleration;
  /// From the centre of the turns to the sensor, in the device's axes.
  MotionVector arm{};
  /// By how much the gyroscope's readings are too large.
  double scaleError = 0.0;
  /// How far the heading may go astray in ten minutes with an unbiased gyroscope, in degrees.
  double strayHeading = 40.0;
};

void PrintTo(const Track& track, std::ostream* out) { *out << track.name; }

double wave(double t, double hertz, double phase = 0) { return std::sin(2 * std::numbers::pi * hertz * t + phase); }

/// An irregular movement of this root mean square, between two frequencies; another one for each seed.
double irregular(double t, double strength, double fromHertz, double toHertz, double seed) {
  constexpr int kWaves = 12;
  double sum = 0;
  for (int i = 0; i < kWaves; ++i) {
    const double share = (i + 0.5 + 0.3 * std::sin(7 * i + seed)) / kWaves;
    sum += wave(t, fromHertz * std::pow(toHertz / fromHertz, share), 2.4 * i * i + 3.7 * seed * (i + 1));
  }
  return sum * strength * std::sqrt(2.0 / kWaves);
}

CMQuaternion attitudeOf(const Track& track, double t) {
  const MotionVector angles = track.angles(t);
  return rotationAboutZ(angles.x) * rotationByVector({angles.y, 0, 0}) * kUprightScreen *
         rotationByVector({0, 0, angles.z});
}

/// What the sensors of a device on its way read: noise and bias as small sensors have them.
class Sensors {
 public:
  Sensors(const Track& track, double bias) : track_(track), bias_{bias, -bias, bias} {}

  MotionVector rate(double t, double interval) {
    bias_ = bias_ + noise(2e-5 * std::sqrt(interval));
    return turning(t) * (1 + track_.scaleError) + bias_ + noise(0.005);
  }

  MotionVector acceleration(double t) {
    constexpr double kStep = 1e-3;
    const MotionVector rate = turning(t);
    const MotionVector spinUp = (turning(t + kStep) - turning(t - kStep)) * (0.5 / kStep);
    const MotionVector atArm = cross(spinUp, track_.arm) + cross(rate, cross(rate, track_.arm));
    const MotionVector total = track_.acceleration(t) + MotionVector{0, 0, kGravity};
    return rotate(conjugate(attitudeOf(track_, t)), total) + atArm + noise(0.05);
  }

 private:
  MotionVector turning(double t) const {
    constexpr double kStep = 1e-4;
    return vectorOfRotation(conjugate(attitudeOf(track_, t - kStep)) * attitudeOf(track_, t + kStep)) * (0.5 / kStep);
  }

  MotionVector noise(double deviation) {
    const double x = normal_(random_);
    const double y = normal_(random_);
    return MotionVector{x, y, normal_(random_)} * deviation;
  }

  const Track& track_;
  std::mt19937 random_{7};
  std::normal_distribution<double> normal_;
  MotionVector bias_;
};

/// How far a filter's estimate is off: in degrees about the camera's level axes, to the right (pitch) and ahead (roll),
/// as root mean squares; and by how much the heading drifted, in degrees.
struct Errors {
  double pitch = 0;
  double roll = 0;
  double heading = 0;
};

Errors follow(const Track& track, Sensors& sensors, double seconds) {
  AttitudeFilter filter;
  Errors errors;
  double twistBefore = 0;
  const int count = static_cast<int>(seconds * track.hertz);
  for (int i = 0; i < count; ++i) {
    const double t = i / track.hertz;
    const MotionVector rate = sensors.rate(t, 1 / track.hertz);
    EXPECT_TRUE(filter.add(t, rate, sensors.acceleration(t)));
    const CMQuaternion truth = attitudeOf(track, t);
    const CMQuaternion error = *filter.attitude() * conjugate(truth);
    const double twist = 2 * std::atan2(error.z, error.w);
    const MotionVector lean =
        rotate(rotationAboutZ(-heading(truth)), vectorOfRotation(error * conjugate(rotationAboutZ(twist))));
    errors.pitch += lean.x * lean.x / count;
    errors.roll += lean.y * lean.y / count;
    if (i > 0) errors.heading += std::remainder(twist - twistBefore, 2 * std::numbers::pi) * kDegrees;
    twistBefore = twist;
  }
  errors.pitch = std::sqrt(errors.pitch) * kDegrees;
  errors.roll = std::sqrt(errors.roll) * kDegrees;
  return errors;
}

const Track kTracks[] = {
    {"Rest", 100,
     [](double) {
       return MotionVector{0, -0.35, 0.1};
     },
     [](double) { return MotionVector{}; }},
    {"SlowPans", 60,
     [](double t) {
       return MotionVector{wave(t, 0.05) + 0.004 * wave(t, 8), 0.45 * wave(t, 0.07) + 0.004 * wave(t, 7),
                           0.1 * wave(t, 0.11) + 0.003 * wave(t, 9)};
     },
     [](double t) {
       return MotionVector{irregular(t, 0.2, 0.1, 5, 1), irregular(t, 0.2, 0.1, 5, 2), irregular(t, 0.2, 0.1, 5, 3)};
     }},
    // Up and sideways in time with each other.
    {"Walk", 60,
     [](double t) {
       return MotionVector{0.1 * t + 0.05 * wave(t, 1), 0.05 * wave(t, 2) - 0.1, 0.05 * wave(t, 1, 1)};
     },
     [](double t) {
       return MotionVector{1.0 * wave(t, 1) + irregular(t, 0.3, 0.1, 3, 1),
                           1.5 * wave(t, 2, 0.5) + irregular(t, 0.3, 0.1, 3, 2), 3 * wave(t, 2) + 1.5 * wave(t, 4, 1)};
     }},
    {"WalkAfterRest", 250,
     [](double t) {
       const double walked = std::max(0.0, t - 10);
       return MotionVector{0.1 * walked + 0.05 * wave(walked, 1), 0.05 * wave(walked, 2) - 0.1, 0.05 * wave(walked, 1)};
     },
     [](double t) {
       return MotionVector{0, 0, t > 10 ? 3 * wave(t, 2) : 0};
     }},
    {"Shake",
     200,
     [](double t) {
       const double strength = std::pow(std::max(0.0, wave(t, 0.05)), 2);
       return MotionVector{0.6 * strength * wave(t, 3), 0.4 * strength * wave(t, 3.7), 0.5 * strength * wave(t, 4.1)};
     },
     [](double t) {
       const double strength = std::pow(std::max(0.0, wave(t, 0.05)), 2);
       return MotionVector{irregular(t, 10 * strength, 0.5, 6, 1), irregular(t, 8 * strength, 0.5, 6, 2),
                           irregular(t, 8 * strength, 0.5, 6, 3)};
     },
     {0.1, 0.2, 0}},
    {"Spins",
     100,
     [](double t) {
       return MotionVector{20 * (1 - std::cos(2 * std::numbers::pi * t / 30)), 0.5 * wave(t, 0.3), 0};
     },
     [](double) { return MotionVector{}; },
     {0, 0, 0.3},
     0.003,
     // Away from the axis of a spin, the pull outwards is a steady one, for as long as the spin lasts.
     400},
    {"Somersaults",
     60,
     [](double t) {
       return MotionVector{0.5 * wave(t, 0.1), 8 * (1 - std::cos(2 * std::numbers::pi * t / 40)), 0.3};
     },
     [](double t) {
       return MotionVector{0.2 * wave(t, 0.9), 0, 0};
     },
     {0, 0.1, 0},
     0.003},
};

class Fusion : public testing::TestWithParam<Track> {};

TEST_P(Fusion, KeepsPitchAndRollForTenMinutes) {
  Sensors sensors(GetParam(), 0.02);
  const Errors errors = follow(GetParam(), sensors, 600);
  RecordProperty("pitch_degrees", std::to_string(errors.pitch));
  RecordProperty("roll_degrees", std::to_string(errors.roll));
  RecordProperty("heading_degrees", std::to_string(errors.heading));
  EXPECT_LT(errors.pitch, 1.0);
  EXPECT_LT(errors.roll, 1.0);
}

TEST_P(Fusion, ShakingTeachesNoFalseBias) {
  // What is left is the noise's random walk, and what movements feign.
  Sensors sensors(GetParam(), 0.0);
  const Errors errors = follow(GetParam(), sensors, 600);
  RecordProperty("heading_degrees", std::to_string(errors.heading));
  EXPECT_LT(std::abs(errors.heading), GetParam().strayHeading);
}

INSTANTIATE_TEST_SUITE_P(Tracks, Fusion, testing::ValuesIn(kTracks),
                         [](const testing::TestParamInfo<Track>& info) { return std::string(info.param.name); });

TEST(AttitudeFilter, BeginsStraightAheadAsGravitySays) {
  for (const double pitch : {-1.5, -0.7, 0.0, 0.3, 1.5}) {
    for (const double roll : {-3.1, -0.4, 0.0, 1.2}) {
      SCOPED_TRACE(testing::Message() << "pitch " << pitch << " roll " << roll);
      const CMQuaternion truth = rotationByVector({pitch, 0, 0}) * kUprightScreen * rotationByVector({0, 0, roll});
      const MotionVector gravity = rotate(conjugate(truth), {0, 0, kGravity});
      AttitudeFilter filter;
      ASSERT_TRUE(filter.add(5, {}, gravity));
      const MotionVector up = rotate(*filter.attitude(), gravity * (1 / kGravity));
      EXPECT_NEAR(up.z, 1, 1e-12);
      // A steep camera that is rolled too has no heading worth the name.
      if (std::abs(pitch) < 1) {
        EXPECT_NEAR(heading(*filter.attitude()), 0, 1e-12);
        EXPECT_LT(length(vectorOfRotation(*filter.attitude() * conjugate(truth))), 1e-9);
      }
    }
  }
}

TEST(AttitudeFilter, NeverJumpsAtTheStartNorAfterAPause) {
  const Track rest = {"Rest", 60,
                      [](double) {
                        return MotionVector{0, -0.35, 0.1};
                      },
                      [](double) { return MotionVector{}; }};
  Sensors sensors(rest, 0.02);
  AttitudeFilter filter;
  std::optional<CMQuaternion> before;
  for (int i = 0; i < 600; ++i) {
    // The machine slept for an hour, and was turned by 20 degrees.
    const double t = i / 60.0 + (i < 300 ? 0 : 3600);
    const MotionVector acceleration =
        rotate(i < 300 ? CMQuaternion{0, 0, 0, 1} : rotationByVector({0.35, 0, 0}), sensors.acceleration(t));
    ASSERT_TRUE(filter.add(t, sensors.rate(t, 1 / 60.0), acceleration));
    const CMQuaternion now = *filter.attitude();
    ASSERT_LT(length(vectorOfRotation(now * conjugate(before.value_or(now)))) * kDegrees, 3) << i;
    before = now;
  }
  const MotionVector up =
      rotate(*before, rotate(rotationByVector({0.35, 0, 0}), rotate(conjugate(attitudeOf(rest, 0)), {0, 0, 1})));
  EXPECT_LT(std::acos(up.z) * kDegrees, 1);
}

TEST(AttitudeFilter, LeavesOutWhatNoSensorCanMean) {
  const double infinity = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  AttitudeFilter filter;
  EXPECT_FALSE(filter.add(0, {}, {0, 0, 0}));
  EXPECT_FALSE(filter.add(nan, {}, {0, kGravity, 0}));
  EXPECT_FALSE(filter.attitude());
  ASSERT_TRUE(filter.add(1, {0.1, 0, 0}, {0, kGravity, 0}));
  ASSERT_TRUE(filter.add(1.01, {0.1, 0, 0}, {0, kGravity, 0}));
  const CMQuaternion before = *filter.attitude();
  for (const double bad : {nan, infinity, -infinity, 1e300, -1e4}) {
    EXPECT_FALSE(filter.add(1.02, {0, bad, 0}, {0, kGravity, 0}));
    EXPECT_FALSE(filter.add(1.02, {}, {0, kGravity, bad}));
  }
  for (const double time : {nan, infinity, -infinity, 1.01, 1.0, -5.0}) {
    EXPECT_FALSE(filter.add(time, {}, {0, kGravity, 0}));
  }
  EXPECT_EQ(std::memcmp(&before, &*filter.attitude(), sizeof before), 0);
}

TEST(AttitudeFilter, StaysARotationWhateverComes) {
  std::mt19937 random(3);
  std::uniform_real_distribution<double> share(-1, 1);
  const auto any = [&](double largest) {
    return MotionVector{share(random), share(random), share(random)} * (largest * std::pow(std::abs(share(random)), 5));
  };
  AttitudeFilter filter;
  double t = 0;
  for (int i = 0; i < 200000; ++i) {
    t += std::pow(10.0, 5 * share(random) - 4);
    filter.add(t, any(250), any(1200));
    if (!filter.attitude()) continue;
    const CMQuaternion& q = *filter.attitude();
    ASSERT_NEAR(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w, 1, 1e-12) << i;
    ASSERT_LT(length(filter.bias()), 0.2);
  }
  // And recovers: left alone, it stands upright again.
  for (int i = 0; i < 6000; ++i) filter.add(t += 0.01, {}, {0, kGravity, 0});
  EXPECT_LT(std::acos(std::min(1.0, rotate(*filter.attitude(), {0, 1, 0}).z)) * kDegrees, 1);
}

}  // namespace
