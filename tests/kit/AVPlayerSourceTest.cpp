#include <ZELKit/ZELAVPlayerPixelBufferSource.h>
#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/UIApplication.h>
#include <ZELPlatform/UIScreen.h>
#include <ZELPlatform/UIWindow.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "platform/FakeMediaDriver.h"

namespace ZELTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PlayerSource : public testing::Test {
 protected:
  void SetUp() override {
    UIApplicationOptions options;
    options.displayDriver = "offscreen";
    ASSERT_EQ(UIApplication::start(options), "");
    ZELPlatform::setMediaDriver(driver_);
  }
  void TearDown() override {
    player_ = nullptr;
    FakeFilm::settle();
    ZELPlatform::setMediaDriver(nullptr);
  }

  std::shared_ptr<ZELAVPlayerPixelBufferSource> makeSource() {
    return ZELAVPlayerPixelBufferSource::createWithPlayer(player_);
  }

  std::shared_ptr<AVPlayerItem> open(const char* url) {
    const auto item = AVPlayerItem::createWithURL(url);
    player_->replaceCurrentItemWithPlayerItem(item);
    driver_->film()->becomeReady();
    return item;
  }

  std::shared_ptr<FakeMediaDriver> driver_ = std::make_shared<FakeMediaDriver>();
  std::shared_ptr<AVPlayer> player_ = AVPlayer::create();
};

TEST_F(PlayerSource, WithoutAnItemThereIsNoFrameAndNoOutput) {
  const auto source = makeSource();
  EXPECT_FALSE(source->hasNewPixelBufferForTime(1));
  EXPECT_EQ(source->copyPixelBufferForTime(1), nullptr);
  EXPECT_EQ(source->videoOutput(), nullptr);
  EXPECT_EQ(source->playerItem(), nullptr);

  const auto playerless = ZELAVPlayerPixelBufferSource::createWithPlayer(nullptr);
  EXPECT_FALSE(playerless->hasNewPixelBufferForTime(1));
  EXPECT_EQ(playerless->copyPixelBufferForTime(1), nullptr);
}

TEST_F(PlayerSource, AsksForVideoRangeFramesThatBothBackEndsCanWrap) {
  const auto source = makeSource();
  const auto item = open("film.mp4");
  EXPECT_THAT(item->outputs(), IsEmpty()) << "nothing is attached before a frame is asked for";
  EXPECT_TRUE(source->hasNewPixelBufferForTime(CACurrentMediaTime()));
  const auto output = source->videoOutput();
  EXPECT_THAT(item->outputs(), ElementsAre(output));
  const AVVideoOutputAttributes& attributes = output->pixelBufferAttributes();
  EXPECT_EQ(attributes.pixelFormatType, 0x34323076U);
  EXPECT_TRUE(attributes.pixelBuffer.metalCompatibility && attributes.pixelBuffer.openGLESCompatibility &&
              attributes.pixelBuffer.ioSurfaceProperties);

  const CVPixelBufferRef frame = source->copyPixelBufferForTime(CACurrentMediaTime());
  EXPECT_NE(frame, nullptr);
  EXPECT_FALSE(source->hasNewPixelBufferForTime(CACurrentMediaTime()));
  EXPECT_EQ(source->copyPixelBufferForTime(CACurrentMediaTime()), frame) << "a bare copy gives it again";
  EXPECT_EQ(source->videoOutput(), output) << "one output for all questions";
}

TEST_F(PlayerSource, FramesAreChosenForTheTimeOnTheScreen) {
  const auto source = makeSource();
  open("film.mp4");
  const auto& film = driver_->film();
  source->copyPixelBufferForTime(1);
  film->push(0.1);
  film->push(0.2);
  film->session->timeline.run(1000.0, 0.0, 1.0);
  EXPECT_FALSE(source->hasNewPixelBufferForTime(1000.09));
  EXPECT_TRUE(source->hasNewPixelBufferForTime(1000.15));
  EXPECT_NE(source->copyPixelBufferForTime(1000.15), nullptr);
  EXPECT_FALSE(source->hasNewPixelBufferForTime(1000.16));
  EXPECT_TRUE(source->hasNewPixelBufferForTime(1000.3));
}

TEST_F(PlayerSource, TheOutputFollowsThePlayersItem) {
  const auto source = makeSource();
  const auto first = open("first.mp4");
  source->copyPixelBufferForTime(1);
  const auto firstOutput = source->videoOutput();
  firstOutput->setDelegate({}, DispatchQueue::mainQueue());

  player_->replaceCurrentItemWithPlayerItem(nullptr);
  EXPECT_FALSE(source->hasNewPixelBufferForTime(1));
  EXPECT_THAT(first->outputs(), ElementsAre(firstOutput)) << "it is taken away only for another item";

  const auto second = open("second.mp4");
  EXPECT_THAT(second->outputs(), IsEmpty());
  EXPECT_TRUE(source->hasNewPixelBufferForTime(1));
  EXPECT_THAT(first->outputs(), IsEmpty());
  EXPECT_THAT(second->outputs(), ElementsAre(source->videoOutput()));
  EXPECT_NE(source->videoOutput(), firstOutput);
  EXPECT_EQ(source->playerItem(), second);
}

TEST_F(PlayerSource, AHiddenLayerStandsForThePlayerInTheKeyWindow) {
  const auto window = UIWindow::create(CGRectMake(0, 0, 300, 200));
  window->makeKeyWindow();
  auto source = makeSource();
  const std::shared_ptr<AVPlayerLayer> layer = source->dummyLayer();
  EXPECT_EQ(layer->player(), player_);
  EXPECT_EQ(layer->superlayer(), window->layer());
  EXPECT_TRUE(layer->isHidden());
  EXPECT_EQ(layer->videoGravity(), AVLayerVideoGravityResizeAspectFill);
  EXPECT_EQ(layer->contentsScale(), UIScreen::mainScreen().nativeScale());
  EXPECT_TRUE(CGRectEqualToRect(layer->frame(), UIScreen::mainScreen().bounds()));
  source->notifyDisplaySizeChanged(CGSizeMake(640, 360));
  EXPECT_TRUE(CGRectEqualToRect(layer->frame(), CGRectMake(0, 0, 640, 360)));

  const auto item = open("film.mp4");
  source->copyPixelBufferForTime(1);
  std::thread([&] { source = nullptr; }).join();
  EXPECT_THAT(item->outputs(), IsEmpty());
  EXPECT_EQ(layer->superlayer(), window->layer()) << "the tree belongs to the main thread";
  FakeFilm::settle();
  EXPECT_EQ(layer->superlayer(), nullptr);
  EXPECT_EQ(layer->player(), nullptr);
  window->close();
}

TEST_F(PlayerSource, WithoutAKeyWindowTheLayerStandsAlone) {
  const auto source = makeSource();
  EXPECT_EQ(source->dummyLayer()->superlayer(), nullptr);
  EXPECT_EQ(source->dummyLayer()->player(), player_);
}

}  // namespace
}  // namespace ZELTest
