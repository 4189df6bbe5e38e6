#include <ZELPlatform/Dispatch.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <numeric>

#include "player/Cinema.h"
#include "player/PlayerFixture.h"

// Films in step with a clock: the system's, or one that the test advances.

namespace ZELTest {
namespace {

/// Sanitizers make decoding several times slower, and the machine may be busy: then frames are late, and what is
/// expected is that each one shown is the right one.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kInstrumented = true;
#else
constexpr bool kInstrumented = false;
#endif

class Playback : public PlayerFixture {};

/// Every frame is the one that its number says, and numbers only go up.
void expectInOrder(const std::vector<Shown>& all, double framesPerSecond) {
  for (size_t i = 0; i < all.size(); ++i) {
    EXPECT_NEAR(all[i].frameTime * framesPerSecond, all[i].number, 0.01);
    if (i > 0) {
      EXPECT_GT(all[i].number, all[i - 1].number);
    }
  }
}

struct Rhythm {
  int framesPerSecond;
  float rate;
};

class PlaybackRhythm : public PlayerFixture, public testing::WithParamInterface<Rhythm> {};

TEST_P(PlaybackRhythm, ShowsEachFrameAtTheRefreshNearestToItsTime) {
  const auto [framesPerSecond, rate] = GetParam();
  Clip clip;
  clip.framesPerSecond = framesPerSecond;
  clip.frames = framesPerSecond * 3;
  clip.sound = framesPerSecond == 30 ? 3.0 : 0.0;
  Cinema cinema(clipFile(clip));
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  cinema.player()->setRate(rate);
  const std::vector<Shown> all =
      cinema.watch(20, [&] { return cinema.player()->timeControlStatus() == AVPlayerTimeControlStatusPaused; });
  ASSERT_FALSE(all.empty());
  expectInOrder(all, framesPerSecond);
  EXPECT_EQ(all.back().number, clip.frames - 1) << "the last frame stays";
  EXPECT_NEAR(cinema.time(), 3.0, 0.1);

  const auto onTime = std::count_if(all.begin(), all.end(), [&](const Shown& shown) {
    return std::fabs(shown.itemTime - shown.frameTime) <= rate * (Cinema::kPeriod / 2 + 0.004);
  });
  const uint64_t dropped = cinema.item()->droppedFrameCount();
  std::cout << framesPerSecond << " frames per second at rate " << rate << ": " << all.size() << " shown of "
            << clip.frames << ", " << onTime << " within half a refresh and 4 ms, " << dropped << " dropped\n";
  // Frames beyond what the display can show are dropped, and no others; a machine that stands still for a moment, as a
  // shared one does, loses some more.
  const double wanted = std::min(1.0, 1.0 / (Cinema::kPeriod * framesPerSecond * rate)) * clip.frames;
  EXPECT_EQ(all.size(), cinema.item()->shownFrameCount());
  if (!kInstrumented) {
    EXPECT_GE(static_cast<double>(all.size()), 0.8 * wanted);
    EXPECT_GE(static_cast<double>(onTime), 0.8 * static_cast<double>(all.size()));
  }
}

INSTANTIATE_TEST_SUITE_P(Rates, PlaybackRhythm,
                         testing::Values(Rhythm{30, 1.0F}, Rhythm{60, 1.0F}, Rhythm{24, 1.0F}, Rhythm{30, 2.0F},
                                         Rhythm{30, 0.5F}),
                         [](const auto& info) {
                           return "At" + std::to_string(info.param.framesPerSecond) + "Times" +
                                  std::to_string(static_cast<int>(info.param.rate * 100)) + "Percent";
                         });

TEST_F(Playback, SteppedEveryFrameComesWhateverTheDecoderTakes) {
  Clip clip;
  clip.width = 640;
  clip.height = 360;
  const auto clock = std::make_shared<ManualClock>(1000.0);
  HostClock::setCurrent(clock);
  Cinema cinema(clipFile(clip), true);
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  bool ended = false;
  cinema.item()->setPlayedToEndObserver([&] { ended = true; });
  cinema.player()->play();
  // Sixty refreshes a second, from the first one on: every frame is shown at the second of its two.
  std::vector<int> numbers;
  for (int refresh = 0; refresh < 2 * clip.frames; ++refresh) {
    const auto shown = cinema.look();
    if (shown) numbers.push_back(shown->number);
    clock->advance(Cinema::kPeriod);
  }
  std::vector<int> expected(static_cast<size_t>(clip.frames));
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(numbers, expected);
  EXPECT_EQ(cinema.item()->droppedFrameCount(), 0U);
  cinema.look();
  EXPECT_TRUE(cinema.wait([&] { return ended; }));
  EXPECT_DOUBLE_EQ(cinema.time(), 3.0);

  // Back, and in great steps: every question gets the very frame of its time.
  ASSERT_TRUE(cinema.seek(0.5));
  cinema.player()->play();
  for (int step = 0; step < 4; ++step) {
    clock->advance(0.5);
    const auto shown = cinema.look();
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->number, 15 * (step + 2));
  }
  HostClock::setCurrent(nullptr);
}

TEST_F(Playback, StandsWhereItIsPausedAndGoesOnFromThere) {
  Cinema cinema(clipFile({}));
  ASSERT_TRUE(cinema.waitUntilReady());
  const auto first = cinema.look();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->number, 0) << "before it plays, the first frame is there";
  EXPECT_TRUE(cinema.watch(0.2).empty());
  cinema.player()->play();
  const auto before = cinema.watch(20, [&] { return cinema.time() > 0.7; });
  ASSERT_FALSE(before.empty());
  cinema.player()->pause();
  const auto settled = cinema.watch(0.3);
  const double time = cinema.time();
  EXPECT_TRUE(cinema.watch(0.3).empty());
  EXPECT_EQ(cinema.time(), time);
  const int last = settled.empty() ? before.back().number : settled.back().number;
  // The one of that time, or the one that was due within half a refresh.
  EXPECT_NEAR(last, time * 30, 1.5);
  cinema.player()->play();
  const auto after = cinema.watch(0.5);
  ASSERT_FALSE(after.empty());
  if (!kInstrumented) {
    EXPECT_LE(after.front().number, last + 3);
  }
  EXPECT_GT(after.front().number, last);
  expectInOrder(after, 30);
}

TEST_F(Playback, LoopsFromItsEnd) {
  Clip clip;
  clip.frames = 30;
  clip.sound = 1.0;
  Cinema cinema(clipFile(clip));
  ASSERT_TRUE(cinema.waitUntilReady());
  int rounds = 0;
  cinema.player()->setActionAtItemEnd(AVPlayerActionAtItemEndNone);
  cinema.item()->setPlayedToEndObserver([&] {
    ++rounds;
    cinema.player()->seekToTime(kCMTimeZero);
  });
  cinema.player()->play();
  const auto all = cinema.watch(30, [&] { return rounds == 3; });
  EXPECT_EQ(rounds, 3);
  EXPECT_EQ(std::count_if(all.begin(), all.end(), [](const Shown& shown) { return shown.number == 29; }), 3);
  EXPECT_EQ(cinema.player()->rate(), 1.0F);
}

TEST_F(Playback, DecodesOnlyAFewFramesAhead) {
  Clip clip;
  clip.frames = 300;
  Cinema cinema(clipFile(clip), true);
  ASSERT_TRUE(cinema.waitUntilReady());
  NSRunLoop::mainRunLoop().runFor(0.3);
  const auto first = cinema.look();
  ASSERT_TRUE(first);
  EXPECT_EQ(first->number, 0) << "with nobody asking, the decoder stood still";
  EXPECT_LE(cinema.item()->playback()->session()->frames.waitingCount(), ZELPlatform::FrameQueue::kFramesAhead);
}

TEST_F(Playback, GoesOnWithoutADisplay) {
  Clip clip;
  clip.frames = 60;
  clip.sound = 2.0;
  Cinema cinema(clipFile(clip));
  ASSERT_TRUE(cinema.waitUntilReady());
  bool ended = false;
  cinema.item()->setPlayedToEndObserver([&] { ended = true; });
  cinema.item()->removeOutput(cinema.output());
  cinema.player()->play();
  EXPECT_TRUE(cinema.wait([&] { return ended; }));
  EXPECT_EQ(cinema.item()->droppedFrameCount(), 0U) << "nobody wanted them";
  cinema.item()->addOutput(cinema.output());
  const auto shown = cinema.look();
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->number, 59);
}

TEST_F(Playback, ASizeThatChangesOnTheWayIsFollowed) {
  // Two sizes one after the other in a stream that may change them.
  const std::string ending = " -c:v libx264 -preset ultrafast -bf 0 -pix_fmt yuv420p";
  Clip small;
  small.frames = 20;
  small.video = ending;
  small.kind = "ts";
  Clip large = small;
  large.width = 482;
  large.height = 270;
  const std::string path = fileWith("sizes.ts", contentOf(clipFile(small)) + contentOf(clipFile(large)));
  Cinema cinema(path);
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  EXPECT_EQ(cinema.item()->presentationSize().width, 320);
  cinema.player()->play();
  const auto all = cinema.watch(20, [&] { return cinema.item()->presentationSize().width == 482; });
  EXPECT_EQ(cinema.item()->presentationSize().height, 270);
}

}  // namespace
}  // namespace ZELTest
