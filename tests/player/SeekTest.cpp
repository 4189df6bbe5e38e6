#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <random>
#include <vector>

#include "player/Cinema.h"
#include "player/PlayerFixture.h"

namespace ZELTest {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kRounds = 40;
#else
constexpr int kRounds = 200;
#endif

struct Container {
  const char* name;
  const char* kind;
  const char* video;
  double sound;
  int rounds;
};

/// Long distances between pictures that can be decoded by themselves, and pictures that depend on later ones.
class Seek : public PlayerFixture, public testing::WithParamInterface<Container> {
 protected:
  static Clip clip() {
    Clip clip;
    clip.kind = GetParam().kind;
    clip.video = GetParam().video;
    clip.sound = GetParam().sound;
    return clip;
  }
};

TEST_P(Seek, ShowsTheFrameOfThatTimeEachTime) {
  Cinema cinema(clipFile(clip()));
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  ASSERT_TRUE(cinema.item()->canSeek());
  cinema.look();
  std::mt19937 random(7);
  std::uniform_int_distribution<int> frames(0, 89);
  std::vector<double> latencies;
  int last = 0;
  for (int round = 0; round < GetParam().rounds; ++round) {
    const int wanted = round == 0 ? 89 : round == 1 ? 0 : frames(random);
    // Somewhere in that frame's time, and once in a while past the end.
    const double time = wanted == 89 ? 77.0 : (wanted + 0.5) / 30.0;
    const double begin = CACurrentMediaTime();
    ASSERT_TRUE(cinema.seek(time));
    const auto shown = cinema.look();
    latencies.push_back((CACurrentMediaTime() - begin) * 1000);
    ASSERT_TRUE(shown) << "round " << round;
    EXPECT_EQ(shown->number, wanted) << "round " << round << ", from " << last;
    EXPECT_NEAR(cinema.time(), std::min(time, (wanted + 0.5) / 30.0), 1.0 / 30);
    last = wanted;
  }
  std::sort(latencies.begin(), latencies.end());
  std::cout << GetParam().name << ": seek to frame shown takes " << latencies[latencies.size() / 2] << " ms (median), "
            << latencies.back() << " ms at most\n";
}

INSTANTIATE_TEST_SUITE_P(
    Containers, Seek,
    testing::Values(
        Container{"H264InMp4", "mp4", "-c:v libx264 -preset ultrafast -bf 2 -g 30 -pix_fmt yuv420p", 0.0, kRounds},
        Container{"WithSound", "mp4", "-c:v libx264 -preset ultrafast -bf 2 -g 30 -pix_fmt yuv420p", 3.0, 40},
        Container{"Vp8InMatroska", "mkv", "-c:v libvpx -deadline realtime -cpu-used 8 -b:v 2M -g 30", 0.0, 40},
        Container{"JpegInMatroska", "mkv", "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p", 0.0, 40}),
    [](const auto& info) { return info.param.name; });

class SeekWhile : public PlayerFixture {};

TEST_F(SeekWhile, PlayingItPlaysOnFromThere) {
  Clip clip;
  clip.sound = 3.0;
  Cinema cinema(clipFile(clip));
  ASSERT_TRUE(cinema.waitUntilReady());
  cinema.playTo(0.3);
  for (const int target : {60, 10, 45}) {
    ASSERT_TRUE(cinema.seek((target + 0.5) / 30.0));
    const auto all = cinema.playTo((target + 10) / 30.0);
    ASSERT_FALSE(all.empty());
    EXPECT_GE(all.front().number, target);
    for (const Shown& shown : all) {
      EXPECT_NEAR(shown.number, shown.frameTime * 30, 0.51);
      EXPECT_LE(shown.frameTime, shown.itemTime + Cinema::kPeriod);
    }
  }
}

TEST_F(SeekWhile, AStormEndsAtTheLastPlaceAndShowsFramesOnTheWay) {
  Cinema cinema(clipFile({}));
  ASSERT_TRUE(cinema.waitUntilReady());
  cinema.look();
  int finished = 0;
  int completed = 0;
  std::vector<Shown> onTheWay;
  constexpr int kSeeks = 300;
  for (int i = 0; i < kSeeks; ++i) {
    cinema.player()->seekToTime(CMTimeMakeWithSeconds((i * 7 % 90 + 0.5) / 30.0, 1'000'000'000), [&](bool done) {
      ++completed;
      finished += done ? 1 : 0;
    });
    // As a person drags: about a hundred times a second.
    NSRunLoop::mainRunLoop().runFor(0.01);
    if (const auto shown = cinema.look()) onTheWay.push_back(*shown);
  }
  EXPECT_TRUE(cinema.wait([&] { return completed == kSeeks; }));
  const auto shown = cinema.look();
  const int last = shown ? shown->number : onTheWay.back().number;
  EXPECT_EQ(last, (kSeeks - 1) * 7 % 90);
  EXPECT_GE(finished, 1);
  std::cout << kSeeks << " seeks in " << kSeeks / 100 << " s: " << finished << " finished, " << onTheWay.size()
            << " frames shown on the way\n";
  // A machine that stands still for a moment shows few.
  EXPECT_GT(onTheWay.size(), 0U);
}

TEST_F(SeekWhile, ToleranceGoesToAPictureThatStandsAlone) {
  Cinema cinema(clipFile({}));
  ASSERT_TRUE(cinema.waitUntilReady());
  cinema.look();
  ASSERT_TRUE(cinema.seek(50.5 / 30.0, kCMTimePositiveInfinity, kCMTimePositiveInfinity));
  auto shown = cinema.look();
  ASSERT_TRUE(shown);
  // One in thirty stands alone; which of the two it is, the file's kind decides.
  EXPECT_TRUE(shown->number == 30 || shown->number == 60) << shown->number;
  EXPECT_NEAR(cinema.time(), shown->number / 30.0, 0.001) << "and time is where the picture is";

  ASSERT_TRUE(cinema.seek(20.5 / 30.0, kCMTimeZero, kCMTimePositiveInfinity));
  shown = cinema.look();
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->number, 30);
  ASSERT_TRUE(cinema.seek(80.5 / 30.0, kCMTimePositiveInfinity, kCMTimeZero));
  shown = cinema.look();
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->number, 60);
  EXPECT_NEAR(cinema.time(), 2.0, 0.001);
}

TEST_F(SeekWhile, OpeningNothingOfTheBeginningIsShown) {
  Cinema cinema(clipFile({}));
  EXPECT_TRUE(cinema.seek(60.5 / 30.0));
  const auto shown = cinema.look();
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->number, 60);
}

TEST_F(SeekWhile, SoundOutlastsThePictureTheLastFrameIsFound) {
  Clip clip;
  clip.sound = 4.0;
  Cinema cinema(clipFile(clip));
  ASSERT_TRUE(cinema.waitUntilReady());
  cinema.look();
  ASSERT_NEAR(CMTimeGetSeconds(cinema.item()->duration()), 4.0, 0.1);
  ASSERT_TRUE(cinema.seek(3.5));
  const auto shown = cinema.look();
  ASSERT_TRUE(shown);
  EXPECT_GE(shown->number, 60) << "not further back than the gap is long";
}

}  // namespace
}  // namespace ZELTest
