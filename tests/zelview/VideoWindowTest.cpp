// Videos in the viewer's window, with a clock of the test's own.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "apps/zelview/video/VideoCommands.h"
#include "apps/zelview/video/VideoContent.h"
#include "tests/zelview/Clips.h"
#include "tests/zelview/SteppedViewer.h"

namespace zelview {
namespace {

using testing::HasSubstr;

class VideoWindow : public SteppedViewer {
 protected:
  void SetUp() override {
    if (!canMakeClips()) GTEST_SKIP() << "ffmpeg is not installed";
    SteppedViewer::SetUp();
    makeClip(clip_ = folder_.file("clip.mp4"));
    makeSquareClip(square_ = folder_.file("square.mp4"));
  }

  void TearDown() override {
    if (!clip_.empty()) SteppedViewer::TearDown();
    content_ = nullptr;
  }

  /// Shows them, playing.
  void openVideos(const std::vector<std::string>& films, bool loop = false, double start = 0.0) {
    Options options;
    options.video.inputs = films;
    options.video.loop = loop;
    options.video.start = start;
    options.size = CGSizeMake(640, 360);
    content_ = std::static_pointer_cast<VideoContent>(makeVideoContent(options, true));
    viewer_ = ViewerWindow::create(options, content_, CACurrentMediaTime());
    viewer_->setThumbsticks([] { return GCThumbsticks{}; });
    waitUntilReady();
    content_->didAppear();
    refresh();
  }

  bool waitFor(const std::function<bool()>& condition) { return NSRunLoop::mainRunLoop().runUntil(condition, 30.0); }
  void waitUntilReady() {
    ASSERT_TRUE(waitFor([&] { return content_->isReady() || !content_->failure().empty(); }));
    ASSERT_EQ(content_->failure(), "");
  }
  /// Lets the video come to its end, and what comes then happen.
  bool passTheEnd(const std::function<bool()>& then) {
    return waitFor([&] {
      wait(0.1);
      NSRunLoop::mainRunLoop().wakeUp();
      return then();
    });
  }

  VideoPlayback& playback() { return *content_->playback(); }
  double time() { return playback().time(); }
  std::shared_ptr<ProgressBar> barAt(CGPoint point) {
    return std::dynamic_pointer_cast<ProgressBar>(viewer_->window()->hitTest(point));
  }

  /// On the bar's line.
  static constexpr CGPoint kOnBar = {300, 340};

  std::string clip_;
  std::string square_;
  std::shared_ptr<VideoContent> content_;

 private:
  ScratchFolder folder_;
};

TEST_F(VideoWindow, PlaysPausesAndSeeksByKeys) {
  openVideos({clip_});
  EXPECT_EQ(viewer_->renderView()->contentProjection()->type(), ZELProjectionTypeEquirectangular);
  wait(0.5);
  EXPECT_NEAR(time(), 0.5, 0.05);
  tap("Space");
  const double stood = time();
  wait(0.3);
  EXPECT_EQ(time(), stood);
  tap("Space");
  wait(0.2);
  EXPECT_NEAR(time(), stood + 0.2, 0.05);

  tap(".");
  EXPECT_NEAR(time(), 3.0, 0.1) << "five seconds on are cut to the end";
  viewer_->window()->deliverKey({.name = ",", .shift = true});
  EXPECT_EQ(time(), 0.0);
  EXPECT_FALSE(playback().player()->isMuted());
  tap("a");
  EXPECT_TRUE(playback().player()->isMuted());
}

TEST_F(VideoWindow, TheBarShowsOnMovementAndSeeksWithoutTurningTheCamera) {
  openVideos({clip_});
  wait(4.0);
  EXPECT_EQ(barAt(kOnBar), nullptr);
  touch(UITouchPhase::Moved, 100, 100);
  wait(0.1);
  ASSERT_NE(barAt(kOnBar), nullptr);
  EXPECT_EQ(barAt(CGPointMake(300, 200)), nullptr);

  const GLKMatrix4 before = refresh().matrix;
  touch(UITouchPhase::Began, 100, 340);
  touch(UITouchPhase::Moved, 200, 340);
  touch(UITouchPhase::Moved, 44 + (640 - 44 - 150) * 2.0 / 3, 100);
  wait(0.2);
  EXPECT_NE(barAt(kOnBar), nullptr);
  touch(UITouchPhase::Ended, 44 + (640 - 44 - 150) * 2.0 / 3, 100);
  EXPECT_NEAR(time(), 2.0, 0.05);
  const GLKMatrix4 after = refresh().matrix;
  for (int i = 0; i < 16; ++i) EXPECT_EQ(before.m[i], after.m[i]);

  const bool wasPaused = playback().isPaused();
  click(20, 340);
  EXPECT_NE(playback().isPaused(), wasPaused);
  wait(3.0);
  EXPECT_EQ(barAt(kOnBar), nullptr);
}

TEST_F(VideoWindow, AtTheEndItStandsAndSpaceBeginsAgain) {
  openVideos({clip_}, false, 2.5);
  EXPECT_NEAR(time(), 2.5, 0.05);
  ASSERT_TRUE(passTheEnd([&] { return playback().isPaused(); }));
  EXPECT_NEAR(time(), 3.0, 0.1);
  tap("Space");
  EXPECT_FALSE(playback().isPaused());
  EXPECT_LT(time(), 0.1);
}

TEST_F(VideoWindow, LoopBeginsAgainByItself) {
  openVideos({clip_}, true, 2.5);
  EXPECT_TRUE(passTheEnd([&] { return time() < 2.0; }));
  EXPECT_FALSE(playback().isPaused());
}

TEST_F(VideoWindow, GoesThroughAListAndPassesOverWhatCannotBePlayed) {
  openVideos({clip_, clip_ + ".missing", square_}, false, 2.5);
  EXPECT_EQ(content_->name(), "clip.mp4, 1 of 3");
  ASSERT_TRUE(passTheEnd([&] { return content_->name() == "square.mp4, 3 of 3"; }));
  waitUntilReady();
  EXPECT_EQ(viewer_->renderView()->contentProjection()->type(), ZELProjectionTypeFlat);
  EXPECT_FALSE(playback().isPaused()) << "it plays on";
  tap("n");
  EXPECT_EQ(content_->name(), "square.mp4, 3 of 3");
  tap("b");
  EXPECT_EQ(content_->name(), "clip.mp4.missing, 2 of 3");
  ASSERT_TRUE(waitFor([&] { return content_->isReady(); }));
  EXPECT_EQ(content_->name(), "square.mp4, 3 of 3");
}

TEST_F(VideoWindow, WithNothingToPlayItSaysWhy) {
  Options options;
  options.video.inputs = {clip_ + ".missing", clip_ + ".neither"};
  content_ = std::static_pointer_cast<VideoContent>(makeVideoContent(options, true));
  viewer_ = ViewerWindow::create(options, content_, CACurrentMediaTime());
  ASSERT_TRUE(waitFor([&] { return !content_->failure().empty(); }));
  EXPECT_THAT(content_->failure(), HasSubstr("neither"));
}

}  // namespace
}  // namespace zelview
