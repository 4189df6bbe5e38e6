#include <ZELPlatform/Foundation.h>

#include "platform/dispatch/MainQueue.h"
#include "platform/foundation/LoopTimers.h"
#include "platform/foundation/LoopWatches.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

using ZELPlatform::LoopTimers;

struct NSRunLoop::Implementation {
  LoopTimers timers;
  ZELPlatform::LoopWatches watches;
  Token lastToken = 0;

  /// One `run`, `runFor` or `runUntil` in progress, known to `stop` while it lasts.
  class Run {
   public:
    explicit Run(Implementation* loop) : loop_(loop) {
      const std::lock_guard<std::mutex> lock(loop_->runsMutex);
      loop_->runs.push_back(this);
    }
    ~Run() {
      const std::lock_guard<std::mutex> lock(loop_->runsMutex);
      loop_->runs.pop_back();
    }
    bool isStopped() const {
      const std::lock_guard<std::mutex> lock(loop_->runsMutex);
      return isStopped_;
    }
    /// Called with the lock held.
    void stop() { isStopped_ = true; }

    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

   private:
    Implementation* loop_;
    bool isStopped_ = false;
  };

  std::mutex runsMutex;
  std::vector<Run*> runs;

  /// Waits until there is something to run, or for so many nanoseconds.
  void wait(const std::optional<uint64_t>& nanoseconds) const {
    pollfd descriptor{watches.descriptor(), POLLIN, 0};
    timespec timeout{};
    timeout.tv_sec = static_cast<time_t>(nanoseconds.value_or(0) / 1'000'000'000u);
    timeout.tv_nsec = static_cast<long>(nanoseconds.value_or(0) % 1'000'000'000u);
    ppoll(&descriptor, 1, nanoseconds ? &timeout : nullptr, nullptr);
  }

  /// Goes round until the condition holds, the time is over or the loop is stopped; returns whether the condition
  /// holds. Without a time it has no end; with none left it still goes round once.
  bool drive(NSRunLoop* loop, const std::function<bool()>& condition, const std::optional<uint64_t>& nanoseconds) {
    const Run run(this);
    const uint64_t start = LoopTimers::now();
    for (bool isOver = false;;) {
      if (condition && condition()) return true;
      if (isOver || run.isStopped()) return false;
      std::optional<uint64_t> left;
      if (nanoseconds) {
        left = *nanoseconds - std::min(*nanoseconds, LoopTimers::now() - start);
        isOver = *left == 0;
      }
      wait(left);
      loop->runPending();
    }
  }
};

NSRunLoop::NSRunLoop() : implementation_(std::make_unique<Implementation>()) {
  auto& watches = implementation_->watches;
  if (watches.include(ZELPlatform::mainQueueDescriptor()) && watches.include(implementation_->timers.descriptor()))
    return;
  std::fprintf(stderr, "The main run loop cannot make its descriptors: %s.\n", std::strerror(errno));
  std::abort();
}

NSRunLoop::~NSRunLoop() = default;

NSRunLoop& NSRunLoop::mainRunLoop() {
  // Never destroyed: other threads may wake it while the process ends.
  static NSRunLoop& loop = *new NSRunLoop;
  return loop;
}

int NSRunLoop::fileDescriptor() const { return implementation_->watches.descriptor(); }

void NSRunLoop::runPending() {
  // Found before anything runs, so that a task cannot add work to the round it runs in.
  const std::vector<Token> dueTimers = implementation_->timers.due();
  const std::vector<Token> watches = implementation_->watches.tokens();
  ZELPlatform::drainMainQueue();
  for (const Token token : dueTimers) implementation_->timers.run(token);
  for (const Token token : watches) implementation_->watches.runIfReadable(token);
}

void NSRunLoop::run() { implementation_->drive(this, nullptr, std::nullopt); }

void NSRunLoop::runFor(double seconds) { implementation_->drive(this, nullptr, ZELPlatform::nanosecondsOf(seconds)); }

bool NSRunLoop::runUntil(const std::function<bool()>& condition, double timeoutSeconds) {
  return implementation_->drive(this, condition, ZELPlatform::nanosecondsOf(timeoutSeconds));
}

void NSRunLoop::stop() {
  {
    const std::lock_guard<std::mutex> lock(implementation_->runsMutex);
    if (implementation_->runs.empty()) return;
    implementation_->runs.back()->stop();
  }
  wakeUp();
}

void NSRunLoop::wakeUp() { ZELPlatform::wakeMainQueue(); }

NSRunLoop::Token NSRunLoop::addTimer(double delay, double interval, std::function<void()> task) {
  const Token token = ++implementation_->lastToken;
  implementation_->timers.add(token, delay, interval, std::move(task));
  return token;
}

NSRunLoop::Token NSRunLoop::addReadableDescriptor(int descriptor, std::function<void()> task) {
  const Token token = ++implementation_->lastToken;
  return implementation_->watches.add(token, descriptor, std::move(task)) ? token : 0;
}

void NSRunLoop::remove(Token token) {
  if (!implementation_->timers.remove(token)) implementation_->watches.remove(token);
}
