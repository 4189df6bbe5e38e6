#include <ZELPlatform/AVFoundation.h>
#include <ZELPlatform/Dispatch.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "platform/FakeMediaDriver.h"

// What players ask of a pipeline, and in which order; films are made up.

namespace ZELTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using ZELPlatform::MediaSeek;

CMTime seconds(double value) { return CMTimeMakeWithSeconds(value, 1'000'000'000); }

class Player : public testing::Test {
 protected:
  void SetUp() override {
    ZELPlatform::setMediaDriver(driver_);
    player_->setWaitsForFrames(false);
  }
  void TearDown() override {
    player_ = nullptr;
    FakeFilm::settle();
    ZELPlatform::setMediaDriver(nullptr);
    HostClock::setCurrent(nullptr);
  }

  const std::shared_ptr<FakeFilm>& film() const { return driver_->film(); }

  /// Puts an item in and has it opened.
  void open() {
    load();
    film()->becomeReady();
    film()->takeOrders();
  }

  void load() {
    player_->replaceCurrentItemWithPlayerItem(item_);
    film()->takeOrders();
  }

  /// Keeps what the completion says.
  AVPlayer::SeekCompletion noteIn(std::optional<bool>* result) {
    return [result](bool finished) { *result = finished; };
  }

  double time() const { return CMTimeGetSeconds(player_->currentTime()); }

  std::shared_ptr<FakeMediaDriver> driver_ = std::make_shared<FakeMediaDriver>();
  std::shared_ptr<AVPlayer> player_ = AVPlayer::create();
  std::shared_ptr<AVPlayerItem> item_ = AVPlayerItem::createWithURL("film.mp4");
};

TEST_F(Player, TellsWhatTheFilmIsOnceItIsOpen) {
  int changes = 0;
  item_->setStatusObserver([&] { ++changes; });
  player_->setVolume(0.5F);
  EXPECT_TRUE(player_->replaceCurrentItemWithPlayerItem(item_));
  EXPECT_EQ(film()->url, "film.mp4");
  EXPECT_THAT(film()->takeOrders(), ElementsAre("volume 0.500000", "unmute"));
  EXPECT_EQ(item_->status(), AVPlayerItemStatusUnknown);
  EXPECT_FALSE(CMTimeIsValid(item_->duration()));
  film()->becomeReady();
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(item_->status(), AVPlayerItemStatusReadyToPlay);
  EXPECT_EQ(CMTimeGetSeconds(item_->duration()), 10.0);
  EXPECT_EQ(item_->tracks().at(0).codec, "made up");
  EXPECT_EQ(item_->presentationSize().width, 4);
  EXPECT_THAT(film()->takeOrders(), IsEmpty()) << "it stands";

  auto other = FakeFilm::description();
  other.presentationSize = {8, 4};
  film()->listener->described(other);
  FakeFilm::settle();
  EXPECT_EQ(changes, 2);
  EXPECT_EQ(item_->presentationSize().width, 8);
}

TEST_F(Player, PlaysAsSoonAsItCanAndSaysSo) {
  int changes = 0;
  player_->setTimeControlStatusObserver([&] { ++changes; });
  load();
  player_->play();
  EXPECT_EQ(player_->timeControlStatus(), AVPlayerTimeControlStatusWaitingToPlayAtSpecifiedRate);
  film()->becomeReady();
  EXPECT_THAT(film()->takeOrders(), ElementsAre("play"));
  EXPECT_EQ(player_->timeControlStatus(), AVPlayerTimeControlStatusPlaying);
  EXPECT_EQ(changes, 2);
  film()->listener->buffered(0.3);
  FakeFilm::settle();
  EXPECT_EQ(item_->bufferedFraction(), 0.3);
  EXPECT_THAT(film()->takeOrders(), ElementsAre("stand"));
  EXPECT_EQ(player_->timeControlStatus(), AVPlayerTimeControlStatusWaitingToPlayAtSpecifiedRate);
  film()->listener->buffered(1.0);
  FakeFilm::settle();
  EXPECT_THAT(film()->takeOrders(), ElementsAre("play"));
  player_->pause();
  EXPECT_THAT(film()->takeOrders(), ElementsAre("stand"));
  EXPECT_EQ(player_->timeControlStatus(), AVPlayerTimeControlStatusPaused);
  for (const float bad : {-1.0F, std::numeric_limits<float>::quiet_NaN()}) {
    player_->setRate(bad);
    EXPECT_EQ(player_->rate(), 0.0F);
  }
  player_->setRate(1000);
  EXPECT_EQ(player_->rate(), 16.0F);
}

TEST_F(Player, AnotherRateGoesThroughASeekToWhereTheFilmIs) {
  open();
  player_->play();
  film()->session->timeline.hold(4.5);
  film()->takeOrders();
  player_->setRate(2);
  EXPECT_THAT(film()->takeOrders(), ElementsAre("seek"));
  EXPECT_EQ(film()->seeks.back().time, 4.5);
  EXPECT_EQ(film()->seeks.back().rate, 2.0);
  EXPECT_EQ(film()->seeks.back().precision, MediaSeek::Precision::Exact);
  film()->arrive();
  player_->pause();
  EXPECT_THAT(film()->takeOrders(), ElementsAre("stand"));
  player_->setRate(2);
  EXPECT_THAT(film()->takeOrders(), ElementsAre("play")) << "the pipeline has that rate already";
}

TEST_F(Player, OfManySeeksTheOneUnderWayAndTheNewestAreDone) {
  open();
  std::vector<std::optional<bool>> results(5);
  for (size_t i = 0; i < results.size(); ++i) {
    player_->seekToTime(seconds(static_cast<double>(i) + 1), noteIn(&results[i]));
    EXPECT_EQ(time(), static_cast<double>(i) + 1) << "where the seek leads";
  }
  FakeFilm::settle();
  EXPECT_THAT(film()->takeOrders(), ElementsAre("seek"));
  EXPECT_EQ(film()->seeks.back().time, 1.0);
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(results[i], false) << i;
  EXPECT_FALSE(results[4].has_value());
  film()->arrive();
  EXPECT_THAT(film()->takeOrders(), ElementsAre("seek"));
  EXPECT_EQ(film()->seeks.back().time, 5.0);
  EXPECT_EQ(time(), 5.0);
  EXPECT_FALSE(results[4].has_value());
  film()->arrive();
  EXPECT_EQ(results[4], true);
  EXPECT_THAT(film()->takeOrders(), IsEmpty());
}

TEST_F(Player, ASeekBeforeTheFilmIsOpenIsKeptAndItsBeginningHidden) {
  const auto output = AVPlayerItemVideoOutput::createWithPixelBufferAttributes();
  item_->addOutput(output);
  load();
  std::optional<bool> result;
  player_->seekToTime(seconds(99), noteIn(&result));
  film()->sequence = film()->session->frames.begin();
  film()->push(0.0);
  EXPECT_FALSE(output->hasNewPixelBufferForItemTime(seconds(99)));
  film()->listener->ready(FakeFilm::description());
  FakeFilm::settle();
  EXPECT_THAT(film()->takeOrders(), ElementsAre("seek"));
  EXPECT_DOUBLE_EQ(film()->seeks.back().time, 9.95) << "the middle of the last frame";
  EXPECT_FALSE(output->hasNewPixelBufferForItemTime(seconds(99)));
  film()->arrive();
  EXPECT_EQ(result, true);
  EXPECT_TRUE(output->hasNewPixelBufferForItemTime(player_->currentTime()));
}

TEST_F(Player, TolerancesSayHowExactASeekHasToBe) {
  open();
  const CMTime any = kCMTimePositiveInfinity;
  const std::vector<std::tuple<CMTime, CMTime, MediaSeek::Precision>> cases = {
      {kCMTimeZero, kCMTimeZero, MediaSeek::Precision::Exact}, {any, any, MediaSeek::Precision::NearestKey},
      {any, kCMTimeZero, MediaSeek::Precision::KeyBefore},     {seconds(3), any, MediaSeek::Precision::KeyAfter},
      {seconds(3), seconds(3), MediaSeek::Precision::Exact},
  };
  for (const auto& [before, after, precision] : cases) {
    player_->seekToTime(seconds(2), before, after);
    EXPECT_EQ(film()->seeks.back().precision, precision);
    film()->arrive();
  }
}

TEST_F(Player, SeeksThatCannotBeComeToNothing) {
  std::optional<bool> result;
  player_->seekToTime(seconds(1), noteIn(&result));
  FakeFilm::settle();
  EXPECT_EQ(result, false) << "there is no item";

  auto live = FakeFilm::description();
  live.seekable = false;
  load();
  player_->seekToTime(seconds(1), noteIn(&(result = std::nullopt)));
  film()->becomeReady(live);
  EXPECT_EQ(result, false);
  EXPECT_EQ(time(), 0.0);
  player_->seekToTime(seconds(1), noteIn(&(result = std::nullopt)));
  FakeFilm::settle();
  EXPECT_EQ(result, false);
  EXPECT_EQ(time(), 0.0);
  EXPECT_THAT(film()->takeOrders(), IsEmpty());

  const auto output = AVPlayerItemVideoOutput::createWithPixelBufferAttributes();
  item_->addOutput(output);
  EXPECT_TRUE(output->hasNewPixelBufferForItemTime(kCMTimeZero)) << "the first frame is no longer hidden";
}

TEST_F(Player, WhereSoundOutlastsThePictureASeekGoesBackUntilThereIsAFrame) {
  open();
  std::optional<bool> result;
  player_->seekToTime(seconds(9), noteIn(&result));
  for (const double before : {0.0, 0.1, 0.2, 0.4}) {
    EXPECT_DOUBLE_EQ(film()->seeks.back().time, 9.0 - before);
    EXPECT_FALSE(result.has_value());
    if (before == 0.4) break;
    film()->session->frames.end(film()->session->frames.begin());
    film()->listener->seekFinished(true);
    FakeFilm::settle();
  }
  film()->arrive();
  EXPECT_EQ(result, true);
}

TEST_F(Player, AtTheEndItStandsOrIsSentBack) {
  open();
  int ends = 0;
  item_->setPlayedToEndObserver([&] { ++ends; });
  player_->play();
  const auto playToTheEnd = [&] {
    const double base = CACurrentMediaTime();
    film()->push(9.9);
    film()->session->timeline.run(base, 9.95, 1.0);
    film()->listener->ended();
    FakeFilm::settle();
    EXPECT_EQ(ends, 0) << "the last frame has not had its time";
    EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return ends > 0; }, 10));
    EXPECT_GE(CACurrentMediaTime(), base + 0.05);
  };
  playToTheEnd();
  EXPECT_EQ(player_->rate(), 0.0F);
  EXPECT_EQ(time(), 10.0);
  EXPECT_THAT(film()->takeOrders(), ElementsAre("play", "stand"));

  player_->setActionAtItemEnd(AVPlayerActionAtItemEndNone);
  item_->setPlayedToEndObserver([&] {
    ++ends;
    player_->seekToTime(kCMTimeZero);
  });
  player_->play();
  EXPECT_EQ(player_->timeControlStatus(), AVPlayerTimeControlStatusWaitingToPlayAtSpecifiedRate) << "it is at the end";
  player_->seekToTime(kCMTimeZero);
  film()->arrive();
  EXPECT_THAT(film()->takeOrders(), ElementsAre("seek", "play"));
  ends = 0;
  playToTheEnd();
  EXPECT_EQ(player_->rate(), 1.0F);
  EXPECT_THAT(film()->takeOrders(), ElementsAre("seek")) << "and plays on from there";
}

TEST_F(Player, AFailureIsFinalAndKeepsThePicture) {
  const auto output = AVPlayerItemVideoOutput::createWithPixelBufferAttributes();
  item_->addOutput(output);
  open();
  player_->play();
  std::optional<bool> result;
  player_->seekToTime(seconds(3), noteIn(&result));
  film()->arrive();
  player_->seekToTime(seconds(4), noteIn(&(result = std::nullopt)));
  film()->listener->failed("It broke.");
  film()->listener->failed("It broke again.");
  FakeFilm::settle();
  EXPECT_EQ(item_->status(), AVPlayerItemStatusFailed);
  EXPECT_EQ(item_->error(), "It broke.");
  EXPECT_EQ(result, false);
  EXPECT_EQ(player_->timeControlStatus(), AVPlayerTimeControlStatusWaitingToPlayAtSpecifiedRate);
  EXPECT_NE(output->copyPixelBufferForItemTime(player_->currentTime(), nullptr), nullptr);
  player_->seekToTime(seconds(5), noteIn(&(result = std::nullopt)));
  FakeFilm::settle();
  EXPECT_EQ(result, false);
  film()->takeOrders();
  player_->pause();
  EXPECT_THAT(film()->takeOrders(), IsEmpty());
}

TEST_F(Player, AnotherItemTakesOverAndTheOldOneIsHeardNoMore) {
  open();
  player_->play();
  std::optional<bool> result;
  player_->seekToTime(seconds(3), noteIn(&result));
  const auto first = film();
  const auto second = AVPlayerItem::createWithURL("other.mp4");
  player_->replaceCurrentItemWithPlayerItem(second);
  EXPECT_TRUE(first->closed);
  EXPECT_EQ(player_->currentItem(), second);
  first->listener->failed("Too late.");
  first->push(3.0);
  FakeFilm::settle();
  EXPECT_EQ(result, false);
  EXPECT_EQ(item_->status(), AVPlayerItemStatusReadyToPlay);
  film()->becomeReady();
  EXPECT_EQ(film()->takeOrders().back(), "play") << "a playing player plays on";

  // The first one again: from its beginning.
  player_->replaceCurrentItemWithPlayerItem(item_);
  EXPECT_EQ(item_->status(), AVPlayerItemStatusUnknown);
  EXPECT_EQ(time(), 0.0);
  player_->replaceCurrentItemWithPlayerItem(nullptr);
  EXPECT_EQ(player_->currentItem(), nullptr);
  EXPECT_TRUE(film()->closed);
}

TEST_F(Player, OnePlayerAtATimeHasAnItem) {
  open();
  const auto other = AVPlayer::create();
  EXPECT_FALSE(other->replaceCurrentItemWithPlayerItem(item_));
  EXPECT_EQ(other->currentItem(), nullptr);
  player_->replaceCurrentItemWithPlayerItem(nullptr);
  EXPECT_TRUE(other->replaceCurrentItemWithPlayerItem(item_));
}

TEST_F(Player, MayBeDroppedAnywhereAndByItsOwnObservers) {
  open();
  std::thread([&] { player_ = nullptr; }).join();
  EXPECT_FALSE(film()->closed) << "pipelines belong to the main thread";
  FakeFilm::settle();
  EXPECT_TRUE(film()->closed);

  player_ = AVPlayer::createWithPlayerItem(item_);
  player_->setTimeControlStatusObserver([&] { player_->replaceCurrentItemWithPlayerItem(nullptr); });
  item_->setStatusObserver([&] { player_->replaceCurrentItemWithPlayerItem(nullptr); });
  player_->play();
  EXPECT_EQ(player_->currentItem(), nullptr);
  player_->setTimeControlStatusObserver({});
  player_->replaceCurrentItemWithPlayerItem(item_);
  film()->becomeReady();
  EXPECT_EQ(player_->currentItem(), nullptr);
}

TEST_F(Player, SteppedItFollowsTheHostsClock) {
  const auto clock = std::make_shared<ManualClock>(50.0);
  HostClock::setCurrent(clock);
  player_->setWaitsForFrames(true);
  const auto output = AVPlayerItemVideoOutput::createWithPixelBufferAttributes();
  item_->addOutput(output);
  int ends = 0;
  item_->setPlayedToEndObserver([&] { ++ends; });
  open();
  EXPECT_THAT(film()->takeOrders(), IsEmpty());
  player_->setRate(2);
  EXPECT_THAT(film()->takeOrders(), IsEmpty()) << "the pipeline runs already, as far as there is room";
  clock->advance(0.25);
  EXPECT_EQ(time(), 0.5);
  player_->pause();
  clock->advance(0.25);
  EXPECT_EQ(time(), 0.5);
  player_->play();
  film()->push(0.5);
  film()->push(0.6);
  EXPECT_TRUE(output->hasNewPixelBufferForItemTime(output->itemTimeForHostTime(CACurrentMediaTime())));
  film()->session->frames.end(film()->sequence);
  film()->listener->ended();
  FakeFilm::settle();
  EXPECT_EQ(ends, 0);
  clock->advance(0.25);
  output->hasNewPixelBufferForItemTime(output->itemTimeForHostTime(CACurrentMediaTime()));
  FakeFilm::settle();
  EXPECT_EQ(ends, 1) << "asking beyond the end is how the end is noticed";
  EXPECT_EQ(player_->rate(), 0.0F);
}

/// Counts the sequences that were broken off.
class FlushCounter final : public AVPlayerItemOutputPullDelegate {
 public:
  void outputSequenceWasFlushed(const std::shared_ptr<AVPlayerItemVideoOutput>&) override { ++count; }
  int count = 0;
};

TEST_F(Player, OutputsBelongToOneItemAndTellOfSeeks) {
  const auto output = AVPlayerItemVideoOutput::createWithPixelBufferAttributes();
  AVVideoOutputAttributes attributes;
  attributes.pixelFormatType = kCVPixelFormatType_32BGRA;
  EXPECT_EQ(AVPlayerItemVideoOutput::createWithPixelBufferAttributes(attributes), nullptr);
  const auto other = AVPlayerItem::createWithURL("other.mp4");
  item_->addOutput(output);
  item_->addOutput(output);
  other->addOutput(output);
  other->removeOutput(output);
  EXPECT_THAT(item_->outputs(), ElementsAre(output));
  EXPECT_THAT(other->outputs(), IsEmpty());
  EXPECT_EQ(output->copyPixelBufferForItemTime(kCMTimeZero, nullptr), nullptr);

  const auto counter = std::make_shared<FlushCounter>();
  output->setDelegate(counter, DispatchQueue::mainQueue());
  open();
  player_->seekToTime(seconds(1));
  film()->arrive();
  EXPECT_EQ(counter->count, 1);
  output->setDelegate({}, nullptr);
  player_->seekToTime(seconds(1));
  film()->arrive();
  EXPECT_EQ(counter->count, 1);

  const CVPixelBufferRef frame = output->copyPixelBufferForItemTime(player_->currentTime(), nullptr);
  EXPECT_NE(frame, nullptr);
  EXPECT_FALSE(output->hasNewPixelBufferForItemTime(player_->currentTime()));
  EXPECT_EQ(output->copyPixelBufferForItemTime(player_->currentTime(), nullptr), frame) << "as often as asked";
  item_->removeOutput(output);
  EXPECT_EQ(output->copyPixelBufferForItemTime(player_->currentTime(), nullptr), nullptr);
  EXPECT_FALSE(CMTimeGetSeconds(output->itemTimeForHostTime(CACurrentMediaTime())) > 0.0);
}

}  // namespace
}  // namespace ZELTest
