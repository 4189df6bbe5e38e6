#include "tests/platform/MotionSupport.h"

#include <gmock/gmock.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace {

using testing::HasSubstr;

bool sameBits(const CMDeviceMotion& a, const CMDeviceMotion& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

/// Yields the next of its samples each time.
class ListSource final : public CMMotionSource {
 public:
  std::string description() const override { return "a list"; }
  void setActive(bool /*active*/) override {}
  std::optional<CMDeviceMotion> sampleAtTime(double /*hostTime*/) override { return samples.at(next++); }

  std::vector<CMDeviceMotion> samples;
  size_t next = 0;
};

class Recording : public MotionTest {
 protected:
  /// Records what the list yields, and whatever else is in the way.
  void record(const std::vector<CMDeviceMotion>& samples) const {
    const auto list = std::make_shared<ListSource>();
    list->samples = samples;
    std::string error;
    const auto recorder = CMMotionSource::recording(list, path, &error);
    ASSERT_TRUE(recorder) << error;
    for (const CMDeviceMotion& sample : samples) {
      EXPECT_TRUE(sameBits(*recorder->sampleAtTime(0), sample));
      EXPECT_FALSE(std::filesystem::exists(path));
    }
  }

  TemporaryFolder folder;
  std::string path = folder / "motion.txt";
};

TEST_F(Recording, ReplaysTheSameSamplesBitForBitAtTheSameTimes) {
  std::mt19937_64 random(1);
  std::vector<CMDeviceMotion> samples;
  // At 60 Hz by a clock of whole nanoseconds, with every kind of double.
  for (int i = 0; i < 2000; ++i) {
    CMDeviceMotion sample;
    for (double* number : {&sample.attitude.x, &sample.attitude.y, &sample.attitude.z, &sample.attitude.w}) {
      do {
        *number = std::bit_cast<double>(random());
      } while (!std::isfinite(*number));
    }
    if (i % 3 == 0) sample.attitude = {-0.0, 5e-324, std::numeric_limits<double>::max(), 1.0 / 3};
    sample.timestamp = CACurrentMediaTime();
    samples.push_back(sample);
    clock->advance(1 / 60.0);
  }
  record(samples);
  std::string error;
  const auto replay = CMMotionSource::replay(path, &error);
  ASSERT_TRUE(replay) << error;
  clock->advance(0.123456789);
  for (const CMDeviceMotion& sample : samples) {
    ASSERT_TRUE(sameBits(*replay->sampleAtTime(CACurrentMediaTime()), sample));
    clock->advance(1 / 60.0);
  }
}

TEST_F(Recording, LeavesOutWhatAReplayWouldRefuseAndWhatItHas) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const CMDeviceMotion good[] = {{{0, 0, 0, 1}, 1}, {{0, 0, 1, 0}, 1}, {{0, 1, 0, 0}, 2}};
  record({{{0, nan, 0, 1}, 0},
          good[0],
          good[0],
          good[1],
          {{0, 0, 0, 0}, 1.5},
          good[2],
          {{1, 0, 0, 0}, 1.5},
          {{1, 0, 0, 0}, nan}});
  std::string error;
  const auto replay = CMMotionSource::replay(path, &error);
  ASSERT_TRUE(replay) << error;
  // Two of the same time: the later one holds.
  EXPECT_TRUE(sameBits(*replay->sampleAtTime(100), good[1]));
  EXPECT_TRUE(sameBits(*replay->sampleAtTime(200), good[2]));
}

TEST_F(Recording, ASampleHoldsUntilTheNextIsDue) {
  folder.write("motion.txt", "# by hand\n\n10 0 0 0 1 # first\r\n  10.5\t1 0 0 0\n11 0 1 0 0");
  const auto replay = CMMotionSource::replay(path, nullptr);
  ASSERT_TRUE(replay);
  const std::pair<double, double> due[] = {{70, 10}, {70.49, 10}, {70.5, 10.5}, {70.9, 10.5}, {71, 11}, {9000, 11}};
  for (const auto& [hostTime, timestamp] : due) EXPECT_EQ(replay->sampleAtTime(hostTime)->timestamp, timestamp);
}

struct BadLine {
  const char* name;
  const char* contents;
  const char* where;
  const char* why;
};

class BadRecording : public Recording, public testing::WithParamInterface<BadLine> {};

TEST_P(BadRecording, IsRefusedWithFileAndLine) {
  folder.write("motion.txt", GetParam().contents);
  std::string error;
  EXPECT_FALSE(CMMotionSource::replay(path, &error));
  EXPECT_THAT(error, testing::StartsWith(path + GetParam().where));
  EXPECT_THAT(error, HasSubstr(GetParam().why));
  EXPECT_THAT(error, testing::EndsWith("."));
  EXPECT_FALSE(CMMotionSource::replay(path, nullptr));
}

INSTANTIATE_TEST_SUITE_P(
    Lines, BadRecording,
    testing::Values(BadLine{"Word", "0 0 0 0 1\n1 0 zero 0 1\n", ":2: ", "\"zero\" is not a finite number"},
                    BadLine{"NotANumber", "0 0 nan 0 1\n", ":1: ", "\"nan\" is not a finite number"},
                    BadLine{"Infinite", "0 0 0 0 1\n\n# x\ninf 0 0 0 1\n", ":4: ", "\"inf\" is not a finite number"},
                    BadLine{"TooLarge", "0 0 1e999 0 1\n", ":1: ", "\"1e999\" is not a finite number"},
                    BadLine{"Tail", "0 0 0 0 1x\n", ":1: ", "\"1x\" is not a finite number"},
                    BadLine{"Short", "0 0 0 1\n", ":1: ", "there is less than SECONDS X Y Z W"},
                    BadLine{"Long", "0 0 0 0 1 1\n", ":1: ", "there is more than SECONDS X Y Z W"},
                    BadLine{"Zero", "0 0 0 0 1\n1 0 -0 0 0", ":2: ", "the rotation is zero"},
                    BadLine{"Falling", "0 0 0 0 1\n2 0 0 0 1\n1.9 0 0 0 1\n", ":3: ", "the time is before"}),
    [](const testing::TestParamInfo<BadLine>& info) { return std::string(info.param.name); });

TEST_F(Recording, SaysWhyAFileCannotBeReadOrWritten) {
  std::string error;
  EXPECT_FALSE(CMMotionSource::replay(folder / "none", &error));
  EXPECT_THAT(error, testing::AllOf(HasSubstr(folder / "none"), HasSubstr("it does not exist")));
  EXPECT_FALSE(CMMotionSource::replay(folder / "", &error));
  EXPECT_THAT(error, HasSubstr("cannot be read"));
  folder.write("motion.txt", "# nothing\n");
  EXPECT_FALSE(CMMotionSource::replay(path, &error));
  EXPECT_THAT(error, HasSubstr("holds no sample"));
  folder.write("motion.txt", "0 0 0 0 1\n" + std::string(100'000'000, '1'));
  EXPECT_FALSE(CMMotionSource::replay(path, &error));
  EXPECT_EQ(error, path + ":2: the line is too long.");
  EXPECT_FALSE(CMMotionSource::recording(CMMotionSource::still(), folder / "no/motion.txt", &error));
  EXPECT_THAT(error, HasSubstr("its folder does not exist"));
}

}  // namespace
