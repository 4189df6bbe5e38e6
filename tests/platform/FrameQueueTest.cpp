#include "platform/avfoundation/FrameQueue.h"

#include <ZELPlatform/CoreMedia.h>
#include <ZELPlatform/Foundation.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include "platform/avfoundation/RefreshPace.h"

namespace ZELPlatform {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

MediaFrame frameAt(double time) {
  return {CVPixelBuffer::create(2, 2, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange), time, 0.1};
}

class Frames : public testing::Test {
 protected:
  void push(std::initializer_list<double> times) {
    for (const double time : times) ASSERT_TRUE(queue_.push(sequence_, frameAt(time)));
  }

  double shownAt(double time) {
    const FrameQueue::Choice choice = queue_.choose(time);
    if (choice.number != 0) queue_.noteShown(choice.number);
    return choice.number == 0 ? kNan : choice.frame.time;
  }

  FrameQueue queue_;
  uint64_t sequence_ = queue_.begin();
};

TEST_F(Frames, TheNewestDueFrameIsChosenAndWhatItOvertakesIsCounted) {
  queue_.setWatched(true);
  EXPECT_TRUE(std::isnan(shownAt(5)));
  push({1.0, 1.1, 1.2, 1.3, 1.4});
  EXPECT_EQ(shownAt(0.2), 1.0) << "the first of a sequence does not wait for its time";
  EXPECT_EQ(shownAt(1.0999), 1.0);
  EXPECT_EQ(shownAt(1.1), 1.1);
  EXPECT_EQ(queue_.droppedCount(), 0U);
  EXPECT_EQ(shownAt(1.35), 1.3);
  EXPECT_EQ(queue_.droppedCount(), 1U) << "1.2 was never shown";
  EXPECT_EQ(shownAt(1.0), 1.3) << "time that goes back brings no frame back";
  EXPECT_EQ(shownAt(99), 1.4) << "the last one stays";
  EXPECT_EQ(queue_.droppedCount(), 1U);
  EXPECT_EQ(queue_.shownCount(), 4U) << "showing a frame again does not count";
}

TEST_F(Frames, NobodyMissesFramesThatNobodyWants) {
  push({1.0, 1.1, 1.2});
  queue_.choose(5);
  EXPECT_EQ(queue_.droppedCount(), 0U);
}

TEST_F(Frames, BrokenTimesFollowTheFrameBefore) {
  push({1.0, 0.3, kNan, 1.5});
  EXPECT_EQ(shownAt(1.0), 1.0);
  EXPECT_EQ(queue_.waitingCount(), 1U) << "those without a time of their own are due with the one before";
  EXPECT_EQ(shownAt(1.5), 1.5);
}

TEST_F(Frames, ASeekRefusesWhatIsLateOfTheSequenceBefore) {
  push({1.0, 1.1});
  EXPECT_EQ(shownAt(1.0), 1.0);
  const uint64_t old = sequence_;
  queue_.discard();
  EXPECT_FALSE(queue_.push(old, frameAt(1.2)));
  EXPECT_EQ(shownAt(7), 1.0) << "the picture stays until there is another";
  sequence_ = queue_.begin();
  EXPECT_FALSE(queue_.push(old, frameAt(1.2)));
  queue_.end(old);
  EXPECT_FALSE(queue_.isEnded());
  EXPECT_FALSE(queue_.hasFrames());
  push({0.5});
  EXPECT_EQ(shownAt(0.1), 0.5);
  EXPECT_EQ(queue_.lastFrameEnd(), 0.6);
}

TEST_F(Frames, WhatASeekFoundIsShownAlthoughTheNextOneHasBegun) {
  push({1.0});
  EXPECT_EQ(shownAt(1.0), 1.0);
  sequence_ = queue_.begin();
  push({3.0, 3.1});
  queue_.discard();
  EXPECT_EQ(shownAt(8.0), 3.0);
}

TEST_F(Frames, HiddenFramesNeverFlashUp) {
  push({0.0});
  queue_.setHidden(true);
  EXPECT_TRUE(std::isnan(shownAt(4)));
  queue_.discard();
  queue_.setHidden(false);
  EXPECT_TRUE(std::isnan(shownAt(4)));
  sequence_ = queue_.begin();
  push({4.0});
  EXPECT_EQ(shownAt(4), 4.0);
}

TEST_F(Frames, LetsBuffersGoOutsideItsLock) {
  int released = 0;
  std::vector<uint8_t> memory(16);
  FrameQueue queue;
  // Asked while a buffer goes, it would wait for itself for ever; not asked while it goes itself.
  FrameQueue* asked = &queue;
  const auto borrowed = [&](double time) {
    return MediaFrame{CVPixelBuffer::createWithBytes(2, 2, kCVPixelFormatType_32BGRA, memory.data(), 8,
                                                     [&] { released += !asked || asked->waitingCount() < 9 ? 1 : 0; }),
                      time, 0.1};
  };
  const uint64_t sequence = queue.begin();
  for (const double time : {1.0, 1.1, 1.2}) queue.push(sequence, borrowed(time));
  queue.choose(1.1);
  EXPECT_EQ(released, 1);
  queue.discard();
  EXPECT_EQ(released, 2);
  queue.push(queue.begin(), borrowed(2.0));
  queue.choose(2.0);
  EXPECT_EQ(released, 3);
  queue.close();
  EXPECT_EQ(released, 3) << "what is chosen stays";
  asked = nullptr;
}

TEST_F(Frames, TheDecoderWaitsForRoomAndIsLetGoAtTheEnd) {
  std::atomic<int> pushed{0};
  std::thread decoder([&] {
    while (queue_.waitForRoom(nullptr)) queue_.push(sequence_, frameAt(0.1 * pushed++));
  });
  const auto eventually = [](const auto& condition) {
    for (int i = 0; i < 5000 && !condition(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return condition();
  };
  EXPECT_TRUE(eventually([&] { return queue_.waitingCount() == FrameQueue::kFramesAhead; }));
  for (int i = 0; i < 50; ++i) {
    const FrameQueue::Choice choice = queue_.chooseWaiting(0.1 * i + 0.05, false, 10);
    EXPECT_DOUBLE_EQ(choice.frame.time, 0.1 * i);
    EXPECT_LE(queue_.waitingCount(), FrameQueue::kFramesAhead);
  }
  queue_.close();
  decoder.join();
  EXPECT_LE(pushed, 50 + static_cast<int>(FrameQueue::kFramesAhead) + 1);
  EXPECT_FALSE(queue_.push(sequence_, frameAt(9)));
}

TEST_F(Frames, OverdueFramesMakeRoomWhileNobodyLooks) {
  const auto clock = std::make_shared<ManualClock>(100.0);
  HostClock::setCurrent(clock);
  Timeline timeline;
  timeline.run(100.0, 1.0, 1.0);
  push({1.0, 1.1, 1.2});
  // The first two are overdue by more than the display is waited for, the third is not.
  clock->advance(0.1 + FrameQueue::kPatience + 0.05);
  EXPECT_TRUE(queue_.waitForRoom(&timeline));
  EXPECT_EQ(queue_.waitingCount(), 1U);
  EXPECT_EQ(shownAt(1.0), 1.1) << "a display that is late still gets the newest of those that were due";
  HostClock::setCurrent(nullptr);
}

TEST_F(Frames, WaitingForAFrameEndsWhenItIsKnownOrNoneComes) {
  push({1.0});
  EXPECT_EQ(queue_.chooseWaiting(2.0, true, 10).frame.time, 1.0) << "the first will do";
  EXPECT_EQ(queue_.chooseWaiting(2.0, false, 0.01).frame.time, 1.0) << "time is over";
  std::thread decoder([&] { push({1.5, 2.0, 2.5}); });
  EXPECT_EQ(queue_.chooseWaiting(2.1, false, 10).frame.time, 2.0);
  decoder.join();
  queue_.end(sequence_);
  EXPECT_EQ(queue_.chooseWaiting(9.0, false, 10).frame.time, 2.5);
  queue_.discard();
  std::thread closer([&] { queue_.close(); });
  EXPECT_EQ(queue_.chooseWaiting(9.0, false, 10).frame.time, 2.5);
  closer.join();
}

TEST(TimelineTest, StandsAndRunsEvenlyUpToItsEnd) {
  Timeline timeline;
  EXPECT_EQ(timeline.itemTimeAt(1e6), 0.0);
  EXPECT_FALSE(timeline.hostTimeOf(3.0));
  timeline.run(100.0, 4.0, 2.0);
  EXPECT_EQ(timeline.itemTimeAt(99.0), 4.0) << "the clock has not started";
  EXPECT_EQ(timeline.itemTimeAt(101.5), 7.0);
  EXPECT_EQ(timeline.hostTimeOf(7.0), 101.5);
  timeline.setEnd(6.0);
  EXPECT_EQ(timeline.itemTimeAt(101.5), 6.0);
  timeline.hold(5.0);
  EXPECT_EQ(timeline.itemTimeAt(200.0), 5.0);
  EXPECT_FALSE(timeline.isRunning());
}

TEST(RefreshPaceTest, FindsThePeriodAmongLostRefreshes) {
  RefreshPace pace;
  double time = 50.0;
  pace.note(time);
  EXPECT_EQ(pace.period(), 0.0);
  for (int i = 1; i < 100; ++i) {
    time += (i % 7 == 0 ? 2 : 1) / 60.0;
    pace.note(time);
    pace.note(time);
  }
  EXPECT_NEAR(pace.period(), 1 / 60.0, 0.1 / 60.0);
  pace.note(time + 30.0);
  EXPECT_NEAR(pace.period(), 1 / 60.0, 0.1 / 60.0) << "a pause is no refresh";
}

TEST(MediaTimeTest, SecondsAreRoundedToTicks) {
  EXPECT_EQ(CMTimeMakeWithSeconds(1.25, 600).value, 750);
  EXPECT_EQ(CMTimeMakeWithSeconds(-1.2499, 2).value, -2);
  for (const double bad : {kNan, 1e300, -1e300}) EXPECT_FALSE(CMTimeIsValid(CMTimeMakeWithSeconds(bad, 600)));
  EXPECT_FALSE(CMTimeIsValid(CMTimeMakeWithSeconds(1.0, 0)));
  EXPECT_TRUE(CMTimeIsValid(kCMTimeZero));
  EXPECT_TRUE(CMTimeIsPositiveInfinity(kCMTimePositiveInfinity));
  EXPECT_FALSE(CMTimeIsPositiveInfinity(CMTimeMake(5, 1)));
}

}  // namespace
}  // namespace ZELPlatform
