#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>
#include <ZELPlatform/QuartzCore.h>
#include <ZELPlatform/UIScreen.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;

class FakeSource final : public DisplayRefresh::Source {
 public:
  void setWanted(bool wanted) override { calls.push_back(wanted); }
  std::vector<bool> calls;
};

class DisplayLink : public testing::Test {
 protected:
  DisplayLink() { refresh.setStepped(true); }

  ~DisplayLink() override {
    for (const auto& link : links_) {
      link->invalidate();
    }
    refresh.setSource(nullptr);
    refresh.setStepped(false);
  }

  std::shared_ptr<CADisplayLink> running(std::function<void()> target) {
    links_.push_back(CADisplayLink::create(std::move(target)));
    links_.back()->addToMainRunLoop();
    return links_.back();
  }

  DisplayRefresh& refresh = DisplayRefresh::shared();

 private:
  std::vector<std::shared_ptr<CADisplayLink>> links_;
};

TEST_F(DisplayLink, SteppedRefreshesFireRunningLinksWithTheirTimes) {
  std::vector<double> times;
  std::shared_ptr<CADisplayLink> link;
  link = running([&] { times.insert(times.end(), {link->timestamp(), link->duration()}); });
  link->addToMainRunLoop();  // Twice is once.
  refresh.refresh(10, 0.25);
  link->setPaused(true);
  refresh.refresh(11, 0.25);
  link->setPaused(false);
  refresh.refresh(12, 0.5);
  EXPECT_THAT(times, ElementsAre(10, 0.25, 12, 0.5));

  auto never = CADisplayLink::create([&] { times.clear(); });
  never.reset();
  refresh.refresh(13, 0.5);
  EXPECT_EQ(times.size(), 6u);
}

TEST_F(DisplayLink, LinksMayChangeTheListFromWithinARefresh) {
  std::vector<std::string> fired;
  std::shared_ptr<CADisplayLink> ended;
  std::shared_ptr<CADisplayLink> paused;
  std::shared_ptr<CADisplayLink> self = running([&] {
    fired.emplace_back("first");
    ended->invalidate();
    paused->setPaused(true);
    running([&] { fired.emplace_back("added"); });
    std::shared_ptr<CADisplayLink> own = std::move(self);
    own->invalidate();
    own->addToMainRunLoop();  // There is no way back.
  });
  ended = running([&] { fired.emplace_back("ended"); });
  paused = running([&] { fired.emplace_back("paused"); });
  refresh.refresh(1, 1);
  EXPECT_THAT(fired, ElementsAre("first"));
  refresh.refresh(2, 1);
  EXPECT_THAT(fired, ElementsAre("first", "added"));
}

TEST_F(DisplayLink, IsHeldWithItsTargetUntilItIsInvalidatedOnAnyThread) {
  auto held = std::make_shared<int>(0);
  auto link = CADisplayLink::create([held] { ++*held; });
  link->addToMainRunLoop();
  const std::weak_ptr<CADisplayLink> weak = link;
  link.reset();
  refresh.refresh(1, 1);
  EXPECT_EQ(*held, 1);
  EXPECT_EQ(held.use_count(), 2);

  std::thread([&] { weak.lock()->invalidate(); }).join();
  EXPECT_EQ(held.use_count(), 1) << "the target goes at once";
  refresh.refresh(2, 1);
  EXPECT_EQ(*held, 1);
  NSRunLoop::mainRunLoop().runPending();
  EXPECT_TRUE(weak.expired());
}

TEST_F(DisplayLink, TheSourceIsAskedForRefreshesOnlyWhileALinkWantsThem) {
  const auto source = std::make_shared<FakeSource>();
  refresh.setSource(source);
  refresh.setStepped(false);
  EXPECT_THAT(source->calls, ElementsAre());
  const auto first = running([] {});
  const auto second = running([] {});
  EXPECT_THAT(source->calls, ElementsAre(true));
  first->setPaused(true);
  second->invalidate();
  EXPECT_THAT(source->calls, ElementsAre(true, false));
  first->setPaused(false);
  refresh.setStepped(true);
  EXPECT_THAT(source->calls, ElementsAre(true, false, true, false));
  refresh.setStepped(false);

  const auto next = std::make_shared<FakeSource>();
  refresh.setSource(next);
  refresh.removeSource(source);  // No longer in charge: nothing happens.
  EXPECT_THAT(source->calls, ElementsAre(true, false, true, false, true, false));
  EXPECT_THAT(next->calls, ElementsAre(true));
  refresh.removeSource(next);
  EXPECT_THAT(next->calls, ElementsAre(true, false));
  EXPECT_EQ(next.use_count(), 1);
}

TEST_F(DisplayLink, TheTimerRunsAtTheScreensRateOnAnEvenGridOfHostTime) {
  const double period = 1.0 / UIScreen::mainScreen().maximumFramesPerSecond();
  std::vector<double> times;
  std::shared_ptr<CADisplayLink> link;
  link = running([&] {
    times.push_back(link->timestamp());
    EXPECT_EQ(link->duration(), period);
    EXPECT_NEAR(link->timestamp(), CACurrentMediaTime(), 0.5);
  });
  refresh.setStepped(false);
  ASSERT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return times.size() >= 10; }, 10));
  // Not more often than the screen; a busy machine may skip some.
  const double elapsed = times.back() - times.front();
  EXPECT_GE(elapsed, 8.5 * period);
  for (size_t index = 1; index < times.size(); ++index) {
    const double periods = (times[index] - times[index - 1]) / period;
    EXPECT_NEAR(periods, std::round(periods), 1e-6);
    EXPECT_GT(periods, 0.5);
  }
  link->setPaused(true);
  const size_t count = times.size();
  NSRunLoop::mainRunLoop().runFor(5 * period);
  EXPECT_EQ(times.size(), count);
}

TEST_F(DisplayLink, TheTimerTellsTheClockServicesTime) {
  const auto clock = std::make_shared<ManualClock>(5000);
  HostClock::setCurrent(clock);
  std::vector<double> times;
  std::shared_ptr<CADisplayLink> link;
  link = running([&] {
    times.push_back(link->timestamp());
    clock->advance(1);
  });
  refresh.setStepped(false);
  EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return times.size() >= 3; }, 10));
  refresh.setStepped(true);
  HostClock::setCurrent(nullptr);
  EXPECT_THAT(times, ElementsAre(testing::DoubleNear(5000, 1e-6), testing::DoubleNear(5001, 1e-6),
                                 testing::DoubleNear(5002, 1e-6)));
}

}  // namespace
