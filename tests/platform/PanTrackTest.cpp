#include "platform/uikit/PanTrack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <string>
#include <vector>

namespace {

using ZELPlatform::PanTrack;

struct Sample {
  double time;
  double x;
};

struct VelocityCase {
  std::string name;
  /// Press, moves, release.
  std::vector<Sample> samples;
  double velocity;
};

void PrintTo(const VelocityCase& value, std::ostream* out) { *out << value.name; }

/// Even motion with `rate` events in a second, at 300 points per second from `start` seconds on, for 0.2 s.
std::vector<Sample> evenMotion(double rate, double start = 0, double secondsAtRestAfterwards = 0) {
  std::vector<Sample> samples = {{0, 0}};
  const int events = static_cast<int>(std::lround(0.2 * rate));
  for (int event = 1; event <= events; ++event) {
    samples.push_back({start + event / rate, 300 * event / rate});
  }
  samples.push_back({samples.back().time + secondsAtRestAfterwards, samples.back().x});
  return samples;
}

std::vector<Sample> atTimes(const std::vector<double>& times) {
  std::vector<Sample> samples(times.size());
  for (size_t index = 0; index < times.size(); ++index) {
    samples[index] = {times[index], 10.0 * static_cast<double>(index)};
  }
  return samples;
}

class PanVelocity : public testing::TestWithParam<VelocityCase> {};

TEST_P(PanVelocity, IsTheMeanOfTheLastTenthOfASecond) {
  const auto place = [](const Sample& sample) { return CGPointMake(120 + sample.x, 200 - sample.x / 2); };
  PanTrack track;
  track.begin(place(GetParam().samples.front()), GetParam().samples.front().time);
  CGPoint velocity = track.velocity();
  for (const Sample& sample : GetParam().samples) {
    track.follow(place(sample), sample.time);
    velocity = track.velocity();
    ASSERT_TRUE(std::isfinite(velocity.x) && std::isfinite(velocity.y));
  }
  // The places are sums of hundreds of differences.
  const double tolerance = 1e-6 * (1 + std::fabs(GetParam().velocity));
  EXPECT_NEAR(velocity.x, GetParam().velocity, tolerance);
  EXPECT_NEAR(velocity.y, GetParam().velocity / -2, tolerance);
}

INSTANTIATE_TEST_SUITE_P(
    Motions, PanVelocity,
    testing::Values(
        VelocityCase{"OfATouchScreen", evenMotion(60), 300}, VelocityCase{"OfAFastMouse", evenMotion(8000), 300},
        VelocityCase{"OfASlowMachine", evenMotion(15), 300},
        VelocityCase{"AfterATenthOfASecondAtRest", evenMotion(60, 0, 0.1), 0},
        VelocityCase{"AfterALongRest", evenMotion(60, 0, 2), 0},
        VelocityCase{"AfterHalfATenthAtRest", evenMotion(60, 0, 0.05), 150},
        VelocityCase{"AfterHoldingStillFirst", evenMotion(60, 3), 300},
        VelocityCase{"OfAFlickOutOfRest", {{0, 0}, {1, 10}, {1.02, 20}, {1.04, 30}, {1.04, 30}}, 500},
        VelocityCase{"OfADragThatTurnedBack", {{0, 0}, {0.05, 50}, {0.1, 90}, {0.15, 50}, {0.2, 30}, {0.2, 30}}, -600},
        VelocityCase{"OfEventsThatWaitedInAQueue", atTimes({5, 5.00001, 5.00002, 5.00003}), 30 * 60.0},
        VelocityCase{"WhenTimeStandsStill", atTimes({5, 5, 5, 5, 5}), 0},
        VelocityCase{"WhenTimeRunsBackwards", atTimes({5, 4, 3, 2}), 0},
        VelocityCase{"WhenTimeFallsBackInBetween", atTimes({5, 5.05, 4, 5.1}), 300},
        VelocityCase{"WhenTimeIsBeyondAllMeasure", atTimes({0, 1e300, 5, 1.7e308}), 0}),
    [](const auto& info) { return info.param.name; });

}  // namespace
