#include "platform/dispatch/MainQueue.h"

#include <ZELPlatform/Dispatch.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

namespace ZELPlatform {
namespace {

class MainQueue final : public DispatchQueue {
 public:
  /// Never destroyed: other threads may still add tasks while the process ends.
  static const std::shared_ptr<MainQueue>& shared() {
    static const auto& queue = *new std::shared_ptr<MainQueue>(std::make_shared<MainQueue>());
    return queue;
  }

  MainQueue() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ >= 0) return;
    std::fprintf(stderr, "The main queue cannot make its event descriptor: %s.\n", std::strerror(errno));
    std::abort();
  }

  const std::string& label() const override { return label_; }
  bool isCurrent() const override { return DispatchIsMainThread(); }
  void async(Task task) override;
  void sync(const Task& task) override;

  int descriptor() const { return descriptor_; }
  void wake();
  void drain();

 private:
  void signal();

  const std::string label_ = "main queue";
  const int descriptor_;
  std::mutex mutex_;
  std::deque<Task> tasks_;
  /// How many tasks were ever taken from the front.
  uint64_t taken_ = 0;
  bool woken_ = false;
  bool readable_ = false;
};

void MainQueue::async(Task task) {
  const std::lock_guard<std::mutex> lock(mutex_);
  tasks_.push_back(std::move(task));
  signal();
}

void MainQueue::sync(const Task& task) {
  if (DispatchIsMainThread()) return task();
  std::mutex mutex;
  std::condition_variable finished;
  bool isFinished = false;
  std::exception_ptr exception;
  async([&] {
    try {
      task();
    } catch (...) {
      exception = std::current_exception();
    }
    const std::lock_guard<std::mutex> lock(mutex);
    isFinished = true;
    finished.notify_one();
  });
  std::unique_lock<std::mutex> lock(mutex);
  finished.wait(lock, [&] { return isFinished; });
  if (exception) std::rethrow_exception(exception);
}

void MainQueue::wake() {
  const std::lock_guard<std::mutex> lock(mutex_);
  woken_ = true;
  signal();
}

/// Makes the descriptor readable, with one write however many tasks come; called with the lock held.
void MainQueue::signal() {
  if (std::exchange(readable_, true)) return;
  const uint64_t one = 1;
  // Cannot fail: the counter is far from its end.
  [[maybe_unused]] const ssize_t written = write(descriptor_, &one, sizeof one);
}

/// A task may drive a loop itself, this one or a foreign one: so the descriptor stays readable while tasks are left,
/// and what ran there counts as taken here.
void MainQueue::drain() {
  std::unique_lock<std::mutex> lock(mutex_);
  woken_ = false;
  for (const uint64_t end = taken_ + tasks_.size(); taken_ < end;) {
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    ++taken_;
    lock.unlock();
    task();
    task = nullptr;
    lock.lock();
  }
  if (!tasks_.empty() || woken_ || !std::exchange(readable_, false)) return;
  uint64_t count = 0;
  [[maybe_unused]] const ssize_t got = read(descriptor_, &count, sizeof count);
}

}  // namespace

int mainQueueDescriptor() { return MainQueue::shared()->descriptor(); }

void wakeMainQueue() { MainQueue::shared()->wake(); }

void drainMainQueue() { MainQueue::shared()->drain(); }

}  // namespace ZELPlatform

const std::shared_ptr<DispatchQueue>& DispatchQueue::mainQueue() {
  static const auto& queue = *new std::shared_ptr<DispatchQueue>(ZELPlatform::MainQueue::shared());
  return queue;
}
