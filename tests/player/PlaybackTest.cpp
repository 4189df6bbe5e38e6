#include <ZELPlatform/Dispatch.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <numeric>

#include "player/Cinema.h"
#include "player/PlayerFixture.h"

// Films in step with a clock: the system's, or one that the test advances.

namespace ZELTest {
namespace {

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
  // Another rate than 1 is a seek, after which the first frame comes once more.
  ASSERT_TRUE(cinema.wait([&] { return cinema.player()->timeControlStatus() == AVPlayerTimeControlStatusPlaying; }));
  const std::vector<Shown> all =
      cinema.watch(20, [&] { return cinema.player()->timeControlStatus() == AVPlayerTimeControlStatusPaused; });
  ASSERT_FALSE(all.empty());
  expectInOrder(all, framesPerSecond);
  EXPECT_EQ(all.back().number, clip.frames - 1) << "the last frame stays";
  EXPECT_NEAR(cinema.time(), 3.0, 0.1);

  // How busy the machine is makes refreshes rare and decoders late, but a frame never comes more than half a refresh
  // early; and where the decoder was ahead, the refresh before was too early for the frame, so that it is late by less
  // than the time between the two.
  int judged = 0;
  for (const Shown& shown : all) {
    const double late = shown.itemTime - shown.frameTime;
    // Half a refresh as the player knows it: it takes longer ones for the exception, and may have met only such.
    if (shown.number == 0) continue;
    EXPECT_GE(late, -0.75 * rate * std::max(Cinema::kPeriod, shown.gap)) << shown.number;
    if (!shown.wasAhead) continue;
    ++judged;
    EXPECT_LE(late, rate * shown.gap + 1e-6) << shown.number;
  }
  const auto onTime = std::count_if(all.begin(), all.end(), [&](const Shown& shown) {
    return std::fabs(shown.itemTime - shown.frameTime) <= rate * (Cinema::kPeriod / 2 + 0.004);
  });
  const uint64_t dropped = cinema.item()->droppedFrameCount();
  std::cout << framesPerSecond << " frames per second at rate " << rate << ": " << all.size() << " shown of "
            << clip.frames << ", " << onTime << " within half a refresh and 4 ms, " << dropped << " dropped, " << judged
            << " judged\n";
  EXPECT_GT(judged, 5) << "the decoder was hardly ever ahead";
  EXPECT_EQ(all.size(), cinema.item()->shownFrameCount());
  EXPECT_LE(all.size() + dropped, static_cast<size_t>(clip.frames) + 1) << "each frame is shown or dropped, once";
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
  const auto before = cinema.playTo(0.7);
  ASSERT_FALSE(before.empty());
  ASSERT_TRUE(cinema.pause());
  const auto settled = cinema.watch(0.3);
  const double time = cinema.time();
  EXPECT_TRUE(cinema.watch(0.3).empty());
  EXPECT_EQ(cinema.time(), time);
  const int last = settled.empty() ? before.back().number : settled.back().number;
  // The one of that time, or the one that was due within half a refresh.
  EXPECT_NEAR(last, time * 30, 1.5);
  const auto after = cinema.playTo(time + 0.3);
  ASSERT_FALSE(after.empty());
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
  // A refresh that is late may miss the very last frame of a round.
  int restarts = 0;
  for (size_t i = 1; i < all.size(); ++i) restarts += all[i].number < all[i - 1].number ? 1 : 0;
  EXPECT_GE(restarts, 2);
  EXPECT_LE(restarts, 3);
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
  // Two sizes one after the other, the second one odd: each picture brings its own.
  Clip small;
  small.frames = 20;
  small.video = "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p";
  small.kind = "mjpeg";
  Clip large = small;
  large.width = 483;
  large.height = 271;
  const std::string both = fileWith("sizes.mjpeg", contentOf(clipFile(small)) + contentOf(clipFile(large)));
  const std::string path = pathOf("sizes.mkv");
  const std::string command = "ffmpeg -v error -y -f mjpeg -framerate 30 -i " + both + " -c copy " + path;
  ASSERT_EQ(std::system(command.c_str()), 0);
  Cinema cinema(path);
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  EXPECT_EQ(cinema.item()->presentationSize().width, 320);
  cinema.player()->play();
  const auto all =
      cinema.watch(20, [&] { return cinema.player()->timeControlStatus() == AVPlayerTimeControlStatusPaused; });
  EXPECT_EQ(cinema.item()->presentationSize().width, 483);
  EXPECT_EQ(cinema.item()->presentationSize().height, 271);
  ASSERT_FALSE(all.empty());
  EXPECT_EQ(all.back().number, 19) << "the last one of the larger size";
  for (const Shown& shown : all) EXPECT_EQ(shown.number, static_cast<int>(std::lround(shown.frameTime * 30)) % 20);
}

}  // namespace
}  // namespace ZELTest
