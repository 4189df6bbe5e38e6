#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/Foundation.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

/// Keeps a queue from going on until it is opened.
class Gate {
 public:
  void open() { promise_.set_value(); }
  void wait() { opened_.wait(); }

 private:
  std::promise<void> promise_;
  std::shared_future<void> opened_ = promise_.get_future().share();
};

TEST(Dispatch, SerialQueueRunsTasksInOrderOneAtATime) {
  const auto queue = DispatchQueue::create("order");
  std::vector<int> order;  // Not guarded: overlapping tasks would be a data race.
  for (int i = 0; i < 1000; ++i) queue->async([&, i] { order.push_back(i); });
  queue->sync([&] { order.push_back(1000); });
  ASSERT_EQ(order.size(), 1001u);
  for (int i = 0; i <= 1000; ++i) ASSERT_EQ(order[static_cast<size_t>(i)], i);
  EXPECT_EQ(queue->label(), "order");
}

TEST(Dispatch, SyncTakesItsPlaceInLineAndRunsOnTheCaller) {
  const auto queue = DispatchQueue::create("line");
  std::thread::id ran;
  queue->sync([&] { ran = std::this_thread::get_id(); });
  EXPECT_EQ(ran, std::this_thread::get_id()) << "an idle queue";

  Gate gate;
  std::vector<int> order;
  queue->async([&] { gate.wait(); });
  queue->async([&] { order.push_back(1); });
  std::promise<void> begun;
  std::thread waiting([&] {
    begun.set_value();
    queue->sync([&] {
      order.push_back(2);
      EXPECT_EQ(std::this_thread::get_id(), waiting.get_id());
    });
  });
  begun.get_future().wait();
  std::this_thread::sleep_for(100ms);  // Nothing tells from outside that it stands in line.
  queue->async([&] { order.push_back(3); });
  gate.open();
  waiting.join();
  queue->sync([&] { EXPECT_EQ(order, (std::vector<int>{1, 2, 3})); });
}

TEST(Dispatch, ManyThreadsMixSyncAndAsyncWithoutLossOrOverlap) {
  const auto queue = DispatchQueue::create("load");
  constexpr int threads = 8;
  constexpr int rounds = 500;
  int count = 0;
  std::vector<std::thread> callers;
  callers.reserve(threads);
  for (int t = 0; t < threads; ++t) {
    callers.emplace_back([&] {
      for (int i = 0; i < rounds; ++i) {
        bool asyncHasRun = false;
        queue->async([&] { asyncHasRun = ++count > 0; });
        queue->sync([&] {
          ++count;
          EXPECT_TRUE(asyncHasRun);
        });
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  queue->sync([&] { EXPECT_EQ(count, 2 * threads * rounds); });
}

TEST(Dispatch, BlockedSyncsNeverStarveTheQueueTheyWaitFor) {
  // More tasks than a fixed pool has threads, each of which waits for one queue, which waits for one more task.
  const auto last = DispatchQueue::create("last");
  Gate gate;
  last->async([&] { gate.wait(); });
  int finished = 0;
  std::promise<void> allFinished;
  std::vector<std::shared_ptr<DispatchQueue>> queues;
  for (int i = 0; i < 100; ++i) {
    queues.push_back(DispatchQueue::create("waiting"));
    const auto waitAndCount = [&] {
      last->sync([&] {
        if (++finished == 200) allFinished.set_value();
      });
    };
    queues.back()->async(waitAndCount);
    DispatchQueue::globalQueue()->async(waitAndCount);
  }
  DispatchQueue::create("opens")->async([&] { gate.open(); });
  EXPECT_EQ(allFinished.get_future().wait_for(20s), std::future_status::ready);
  for (const auto& queue : queues) queue->sync([] {});
}

TEST(Dispatch, KnowsTheQueuesItRunsIn) {
  const auto outer = DispatchQueue::create("outer");
  const auto inner = DispatchQueue::create("inner");
  EXPECT_FALSE(outer->isCurrent());
  outer->sync([&] {
    EXPECT_TRUE(outer->isCurrent());
    EXPECT_FALSE(inner->isCurrent());
    inner->sync([&] { EXPECT_TRUE(outer->isCurrent() && inner->isCurrent()); });
    EXPECT_FALSE(inner->isCurrent());
  });
  std::promise<bool> onPool;
  outer->async([&] { onPool.set_value(outer->isCurrent() && !DispatchQueue::globalQueue()->isCurrent()); });
  EXPECT_TRUE(onPool.get_future().get());
  std::promise<bool> onGlobal;
  DispatchQueue::globalQueue()->async(
      [&] { onGlobal.set_value(DispatchQueue::globalQueue()->isCurrent() && !outer->isCurrent()); });
  EXPECT_TRUE(onGlobal.get_future().get());
}

TEST(Dispatch, GlobalQueueRunsTasksAtTheSameTime) {
  std::promise<void> first;
  std::promise<void> second;
  std::promise<void> done;
  DispatchQueue::globalQueue()->async([&] {
    first.set_value();
    second.get_future().wait();
    done.set_value();
  });
  DispatchQueue::globalQueue()->async([&] {
    first.get_future().wait();
    second.set_value();
  });
  EXPECT_EQ(done.get_future().wait_for(10s), std::future_status::ready);
}

TEST(Dispatch, DroppedQueueStillRunsItsTasksAndDestroysThemWhereTheyRan) {
  std::promise<std::thread::id> destroyed;
  std::promise<std::thread::id> ran;
  struct Captured {
    explicit Captured(std::promise<std::thread::id>* promise) : destroyed(promise) {}
    std::promise<std::thread::id>* destroyed;
    ~Captured() { destroyed->set_value(std::this_thread::get_id()); }
  };
  Gate gate;
  auto queue = DispatchQueue::create("dropped");
  queue->async([&] { gate.wait(); });
  queue->async([&, captured = std::make_shared<Captured>(&destroyed)] { ran.set_value(std::this_thread::get_id()); });
  const std::weak_ptr<DispatchQueue> weak = queue;
  queue = nullptr;
  gate.open();
  EXPECT_EQ(ran.get_future().get(), destroyed.get_future().get());
}

TEST(Dispatch, SyncPassesOnWhatTheTaskThrows) {
  const auto queue = DispatchQueue::create("throws");
  EXPECT_THROW(queue->sync([] { throw 1; }), int);
  bool goesOn = false;
  queue->sync([&] { goesOn = true; });
  EXPECT_TRUE(goesOn);
}

TEST(DispatchDeathTest, SyncOnItsOwnQueueAborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto a = DispatchQueue::create("first");
  const auto b = DispatchQueue::create("second");
  EXPECT_DEATH(a->sync([&] { b->sync([&] { a->sync([] {}); }); }), "\"first\" calls sync on its own queue");
}

TEST(Dispatch, MainQueueRunsOnTheMainThreadWhenTheLoopIsDriven) {
  ASSERT_TRUE(DispatchIsMainThread());
  const auto& main = DispatchQueue::mainQueue();
  std::vector<int> order;
  bool inlineRan = false;
  main->async([&] { order.push_back(1); });
  main->sync([&] { inlineRan = true; });
  EXPECT_TRUE(inlineRan && order.empty());

  std::thread other([&] {
    EXPECT_FALSE(DispatchIsMainThread());
    EXPECT_FALSE(main->isCurrent());
    main->sync([&] {
      EXPECT_TRUE(DispatchIsMainThread() && main->isCurrent());
      order.push_back(2);
    });
    EXPECT_THROW(main->sync([] { throw 1; }), int);
    main->async([&] { order.push_back(3); });
  });
  EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return order.size() == 3; }, 10));
  other.join();
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(Dispatch, AnotherThreadCanBeNamedTheMainThread) {
  std::thread([] {
    DispatchSetMainThread();
    EXPECT_TRUE(DispatchIsMainThread());
  }).join();
  EXPECT_FALSE(DispatchIsMainThread());
  DispatchSetMainThread();
  EXPECT_TRUE(DispatchIsMainThread());
}

}  // namespace
