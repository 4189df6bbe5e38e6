#include "drivers/gstreamer/SoundStep.h"

#include <gtest/gtest.h>

// When sound is moved back into step with the film.

namespace ZELTest {
namespace {

constexpr int64_t kMilli = 1'000'000;

/// An output that is told of every 20 ms, and does what it is told.
class Output {
 public:
  /// Lets the film go on so long, with the output's clock at that share of its pace; the sum of what was corrected.
  int64_t run(int64_t milliseconds, double pace = 1.0) {
    int64_t corrected = 0;
    for (int64_t passed = 0; passed < milliseconds; passed += 20) {
      film_ += 20 * kMilli;
      clock_ += static_cast<int64_t>(20 * pace * kMilli);
      const int64_t correction = step_.correction(film_, clock_);
      clock_ -= correction;
      corrected += correction;
    }
    return corrected;
  }
  int64_t apart() const { return clock_ - film_; }
  void forget() { step_.forget(); }

 private:
  ZELPlatform::SoundStep step_;
  int64_t film_ = 0;
  int64_t clock_ = 0;
};

TEST(SoundStep, FollowsAnOutputThatBeginsLateOnceItRuns) {
  Output output;
  EXPECT_EQ(output.run(700, 0.0), 0) << "while it stands";
  EXPECT_EQ(output.run(160), -700 * kMilli);
  EXPECT_EQ(output.apart(), 0);
  EXPECT_EQ(output.run(5000), 0) << "and never again";
}

TEST(SoundStep, CorrectsDriftOnlyWhenItCanBeNoticed) {
  Output output;
  EXPECT_EQ(output.run(1000, 1.015), 0);
  EXPECT_GT(output.apart(), 10 * kMilli);
  EXPECT_GT(output.run(1000, 1.015), ZELPlatform::SoundStep::kTolerance);
  EXPECT_LE(output.apart(), ZELPlatform::SoundStep::kTolerance);
}

TEST(SoundStep, MakesUpForTheDelayAfterAPause) {
  Output output;
  output.run(500);
  output.forget();
  EXPECT_EQ(output.run(60, 0.0), 0) << "the output starts again";
  EXPECT_EQ(output.run(1000), -60 * kMilli);
}

}  // namespace
}  // namespace ZELTest
