#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

class Pipe {
 public:
  Pipe() { EXPECT_EQ(pipe(ends_), 0); }
  ~Pipe() {
    close(ends_[0]);
    close(ends_[1]);
  }
  int readEnd() const { return ends_[0]; }
  void put() { EXPECT_EQ(write(ends_[1], "x", 1), 1); }
  void take() {
    char byte;
    EXPECT_EQ(read(ends_[0], &byte, 1), 1);
  }

 private:
  int ends_[2];
};

class RunLoop : public testing::Test {
 protected:
  NSRunLoop& loop = NSRunLoop::mainRunLoop();

  bool isReadable(int timeoutMilliseconds = 0) {
    pollfd descriptor{loop.fileDescriptor(), POLLIN, 0};
    return poll(&descriptor, 1, timeoutMilliseconds) == 1;
  }
};

TEST_F(RunLoop, RunsOnlyWhatWasThereWhenTheRoundBegan) {
  std::vector<int> order;
  const auto& main = DispatchQueue::mainQueue();
  main->async([&] {
    order.push_back(1);
    main->async([&] { order.push_back(3); });
    loop.addTimer(0, 0, [&] { order.push_back(4); });
  });
  main->async([&] { order.push_back(2); });
  loop.runPending();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  EXPECT_TRUE(isReadable());
  loop.runPending();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
  EXPECT_FALSE(isReadable());
}

TEST_F(RunLoop, ATaskMayDriveTheLoopForTasksThatCameBeforeIt) {
  bool secondRan = false;
  bool sawIt = false;
  const auto& main = DispatchQueue::mainQueue();
  main->async([&] { sawIt = loop.runUntil([&] { return secondRan; }, 5); });
  main->async([&] { secondRan = true; });
  loop.runPending();
  EXPECT_TRUE(sawIt);
}

TEST_F(RunLoop, TimersFireInTimeAndInOrder) {
  const auto start = Clock::now();
  std::vector<int> order;
  double firedAt = 0;
  loop.addTimer(0.04, 0, [&] {
    order.push_back(2);
    firedAt = secondsSince(start);
  });
  loop.addTimer(0.02, 0, [&] { order.push_back(1); });
  const auto removed = loop.addTimer(0.01, 0, [&] { order.push_back(0); });
  loop.remove(removed);
  EXPECT_TRUE(loop.runUntil([&] { return order.size() == 2; }, 10));
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  EXPECT_GE(firedAt, 0.04);
  loop.runFor(0.03);
  EXPECT_EQ(order.size(), 2u) << "a timer without an interval fires once";
}

TEST_F(RunLoop, LateRepeatingTimerSkipsTheRoundsItMissedAndKeepsItsBeat) {
  const auto start = Clock::now();
  std::vector<double> times;
  const auto token = loop.addTimer(0.02, 0.02, [&] { times.push_back(secondsSince(start)); });
  std::this_thread::sleep_for(110ms);
  loop.runPending();
  EXPECT_EQ(times.size(), 1u);
  EXPECT_TRUE(loop.runUntil([&] { return times.size() == 5; }, 10));
  loop.remove(token);
  for (size_t i = 1; i < times.size(); ++i) {
    EXPECT_GT(std::floor(times[i] / 0.02), std::floor(times[i - 1] / 0.02)) << "one round for every beat";
  }
}

TEST_F(RunLoop, TimersAndWatchesMayEndThemselvesAndEachOther) {
  int calls = 0;
  NSRunLoop::Token own = 0;
  own = loop.addTimer(0, 0.001, [&calls, &own, this, kept = std::make_shared<int>(7)] {
    loop.remove(own);
    calls += *kept - 6;  // Still there although its timer is gone.
  });
  Pipe pipe;
  pipe.put();
  NSRunLoop::Token first = 0;
  NSRunLoop::Token second = 0;
  first = loop.addReadableDescriptor(pipe.readEnd(), [&, kept = std::make_shared<int>(7)] {
    loop.remove(second);
    loop.remove(first);
    calls += 10 * (*kept - 6);
  });
  second = loop.addReadableDescriptor(pipe.readEnd(), [&] { calls += 100; });
  loop.runFor(0.02);
  EXPECT_EQ(calls, 11);
  EXPECT_FALSE(isReadable()) << "the descriptor is no longer watched";
}

TEST_F(RunLoop, WatchesDescriptors) {
  Pipe pipe;
  int first = 0;
  int second = 0;
  const auto firstToken = loop.addReadableDescriptor(pipe.readEnd(), [&] {
    pipe.take();
    ++first;
  });
  const auto secondToken = loop.addReadableDescriptor(pipe.readEnd(), [&] {
    pipe.take();  // Would wait for ever if the other had left nothing.
    ++second;
  });
  loop.runPending();
  EXPECT_EQ(first + second, 0);
  pipe.put();
  EXPECT_TRUE(isReadable());
  loop.runPending();
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 0);
  loop.remove(firstToken);
  pipe.put();
  loop.runPending();
  EXPECT_EQ(second, 1);
  loop.remove(secondToken);
  EXPECT_EQ(loop.addReadableDescriptor(-1, [] {}), 0u);
}

TEST_F(RunLoop, AForeignLoopCanDriveItByItsDescriptor) {
  EXPECT_FALSE(isReadable());
  bool ran = false;
  std::thread other([&] {
    std::this_thread::sleep_for(20ms);
    DispatchQueue::mainQueue()->async([&] { ran = true; });
  });
  EXPECT_TRUE(isReadable(10000));
  loop.runPending();
  other.join();
  EXPECT_TRUE(ran);
  EXPECT_FALSE(isReadable());

  loop.wakeUp();
  EXPECT_TRUE(isReadable());
  loop.runPending();
  EXPECT_FALSE(isReadable());

  bool fired = false;
  loop.addTimer(0.02, 0, [&] { fired = true; });
  EXPECT_FALSE(isReadable());
  EXPECT_TRUE(isReadable(10000));
  loop.runPending();
  EXPECT_TRUE(fired);
  EXPECT_FALSE(isReadable());
}

TEST_F(RunLoop, StopEndsTheInnermostRun) {
  int rounds = 0;
  DispatchQueue::mainQueue()->async([&] {
    DispatchQueue::mainQueue()->async([&] { loop.stop(); });
    loop.run();
    ++rounds;
  });
  std::thread other;
  loop.addTimer(0.01, 0, [&] {
    other = std::thread([&] {
      std::this_thread::sleep_for(20ms);
      loop.stop();
    });
  });
  loop.run();
  EXPECT_EQ(rounds, 1);
  ASSERT_TRUE(other.joinable());
  other.join();
  loop.stop();  // Nothing runs: the next run must not end by it.
  const auto start = Clock::now();
  loop.runFor(0.05);
  EXPECT_GE(secondsSince(start), 0.05);
  EXPECT_FALSE(loop.runUntil([] { return false; }, 0.01));
}

TEST(HostClock, ManualClockReplacesEveryTime) {
  mach_timebase_info_data_t timebase{};
  mach_timebase_info(&timebase);
  const double before = CACurrentMediaTime();
  const uint64_t ticks = mach_absolute_time();
  EXPECT_GE(static_cast<double>(ticks) * timebase.numer / timebase.denom * 1e-9, before);

  const auto clock = std::make_shared<ManualClock>(50.0);
  HostClock::setCurrent(clock);
  EXPECT_EQ(CACurrentMediaTime(), 50.0);
  const NSDate date = NSDate::date();
  for (int i = 0; i < 60; ++i) clock->advance(1.0 / 60);
  EXPECT_NEAR(CACurrentMediaTime(), 51.0, 60e-9);
  EXPECT_NEAR(date.timeIntervalSinceNow(), -1.0, 60e-9);
  HostClock::setCurrent(nullptr);
  EXPECT_GE(mach_absolute_time(), ticks);
  EXPECT_LT(date.timeIntervalSinceNow(), -1e9) << "back in this century";
}

TEST(NSBundle, FindsResourcesBesideTheBinary) {
  static const int here = 0;
  namespace fs = std::filesystem;
  const fs::path folder = fs::read_symlink("/proc/self/exe").parent_path();
  const auto look = [] { return NSBundle::pathForResource(&here, "bundle-test", "txt"); };
  EXPECT_EQ(look(), "");
  fs::create_directories(folder / "zelkit");
  const fs::path inner = folder / "zelkit" / "bundle-test.txt";
  const fs::path beside = folder / "bundle-test.txt";
  std::ofstream(inner) << "x";
  EXPECT_EQ(look(), inner.string());
  std::ofstream(beside) << "x";
  EXPECT_EQ(look(), beside.string());
  fs::remove(beside);
  fs::remove(inner);
  EXPECT_EQ(NSBundle::pathForResource(nullptr, "bundle-test", "txt"), "");
}

}  // namespace
