#include <ZELPlatform/Dispatch.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include "player/Cinema.h"
#include "player/PlayerFixture.h"

namespace ZELTest {
namespace {

class Lifecycle : public PlayerFixture {
 protected:
  static Clip clip() {
    Clip clip;
    clip.sound = 3.0;
    return clip;
  }
};

TEST_F(Lifecycle, APlayerMayGoInEveryState) {
  const std::string path = clipFile(clip());
  const std::vector<std::function<void(Cinema&)>> states = {
      [](Cinema&) {},
      [](Cinema& cinema) {
        NSRunLoop::mainRunLoop().runFor(0.02);
        cinema.player()->play();
      },
      [](Cinema& cinema) { cinema.waitUntilReady(); },
      [](Cinema& cinema) { cinema.waitUntilReady(), cinema.player()->play(); },
      [](Cinema& cinema) { cinema.waitUntilReady(), cinema.player()->play(), cinema.watch(0.2); },
      [](Cinema& cinema) {
        cinema.waitUntilReady(), cinema.player()->play(), cinema.watch(0.1), cinema.player()->pause();
      },
      [](Cinema& cinema) { cinema.waitUntilReady(), cinema.player()->seekToTime(CMTimeMake(2, 1)); },
      [](Cinema& cinema) {
        cinema.waitUntilReady();
        cinema.player()->play();
        cinema.watch(0.1);
        cinema.player()->seekToTime(CMTimeMake(1, 1));
        cinema.player()->seekToTime(CMTimeMake(2, 1));
      },
      [](Cinema& cinema) {
        cinema.waitUntilReady();
        cinema.seek(2.8);
        cinema.player()->play();
        cinema.watch(0.4);
      },
      [](Cinema& cinema) { cinema.load("nowhere.mp4"), cinema.waitUntilFailed(); },
  };
  for (size_t state = 0; state < states.size(); ++state) {
    for (const bool stepped : {false, true}) {
      Cinema cinema(path, stepped);
      states[state](cinema);
    }
  }
}

TEST_F(Lifecycle, AnOpenItemDescribesItself) {
  Clip wide = clip();
  wide.video = "-vf setsar=2 " + wide.video;
  const std::string turned = pathOf("turned.mp4");
  // The metadata turn it to the left.
  const std::string command = "ffmpeg -v error -y -i " + clipFile(wide) + " -c copy -metadata:s:v rotate=90 " + turned;
  ASSERT_EQ(std::system(command.c_str()), 0);
  Cinema cinema(turned);
  const AVPlayerItem& item = *cinema.item();
  EXPECT_FALSE(CMTimeIsValid(item.duration()));
  ASSERT_TRUE(cinema.waitUntilReady()) << item.error();
  EXPECT_EQ(item.error(), "");
  EXPECT_NEAR(CMTimeGetSeconds(item.duration()), 3.0, 0.1);
  EXPECT_EQ(item.presentationSize().width, 640) << "its pixels are twice as wide as high";
  EXPECT_EQ(item.presentationSize().height, 180);
  EXPECT_TRUE(item.canSeek());
  EXPECT_EQ(item.orientation().rotation, 270);
  EXPECT_FALSE(item.orientation().mirrored);
  ASSERT_EQ(item.tracks().size(), 2U);
  for (const AVPlayerItemTrack& track : item.tracks()) {
    const bool isVideo = track.mediaType == AVMediaTypeVideo;
    EXPECT_THAT(track.codec, testing::HasSubstr(isVideo ? "H.264" : "AAC"));
    EXPECT_NEAR(track.nominalFrameRate, isVideo ? 30 : 0, 0.01);
  }
  const auto shown = cinema.look();
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->number, 0);
}

TEST_F(Lifecycle, FramesOutliveTheirPlayer) {
  CVPixelBufferRef frame;
  {
    Cinema cinema(clipFile(clip()));
    ASSERT_TRUE(cinema.waitUntilReady());
    ASSERT_TRUE(cinema.seek(40.5 / 30));
    frame = cinema.output()->copyPixelBufferForItemTime(cinema.player()->currentTime(), nullptr);
  }
  NSRunLoop::mainRunLoop().runFor(0.3);
  EXPECT_EQ(frameNumber(frame), 40);
}

TEST_F(Lifecycle, AnItemIsReplacedInTheMiddle) {
  Clip other = clip();
  other.frames = 60;
  other.sound = 0;
  Cinema cinema(clipFile(clip()));
  ASSERT_TRUE(cinema.waitUntilReady());
  cinema.playTo(1.6);
  const auto first = cinema.item();
  cinema.load(clipFile(other));
  ASSERT_TRUE(cinema.waitUntilReady()) << cinema.item()->error();
  const auto all = cinema.watch(Cinema::kLongest, [&] { return cinema.time() > 0.5; });
  ASSERT_FALSE(all.empty());
  EXPECT_LT(all.front().number, 48) << "from its beginning, not where the other one was";
  EXPECT_EQ(cinema.player()->rate(), 1.0F);
  const auto stopped = first->currentTime().value;
  cinema.watch(0.1);
  EXPECT_EQ(first->currentTime().value, stopped);

  // And the first once more.
  cinema.player()->replaceCurrentItemWithPlayerItem(first);
  EXPECT_TRUE(cinema.wait([&] { return first->status() == AVPlayerItemStatusReadyToPlay; }));
}

TEST_F(Lifecycle, AskedOnOneThreadAndToldOnAnotherNothingTears) {
  Cinema cinema(clipFile(clip()));
  ASSERT_TRUE(cinema.waitUntilReady());
  std::atomic<bool> done{false};
  std::atomic<int> taken{0};
  std::thread display([&] {
    while (!done) {
      const auto item = cinema.player()->currentItem();
      const CMTime time = cinema.output()->itemTimeForHostTime(CACurrentMediaTime());
      if (item && cinema.output()->hasNewPixelBufferForItemTime(time)) {
        const CVPixelBufferRef frame = cinema.output()->copyPixelBufferForItemTime(time, nullptr);
        if (frameNumber(frame) >= 0) ++taken;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  });
  const double giveUp = CACurrentMediaTime() + Cinema::kLongest;
  for (int round = 0; round < 20 || (taken <= 5 && CACurrentMediaTime() < giveUp); ++round) {
    cinema.player()->setRate(round % 3 == 0 ? 0.0F : 1.0F);
    if (round % 4 == 1) cinema.player()->seekToTime(CMTimeMake(round % 3, 1));
    if (round % 5 == 2) cinema.player()->setVolume(0.5F);
    NSRunLoop::mainRunLoop().runFor(0.05);
  }
  done = true;
  display.join();
  EXPECT_GT(taken, 5);
}

}  // namespace
}  // namespace ZELTest
