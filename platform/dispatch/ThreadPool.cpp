#include "platform/dispatch/ThreadPool.h"

#include <pthread.h>

#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

namespace ZELPlatform {

ThreadPool& ThreadPool::shared() {
  static ThreadPool& pool = *new ThreadPool;
  return pool;
}

void ThreadPool::run(std::function<void()> job) {
  const std::lock_guard<std::mutex> lock(mutex_);
  jobs_.push_back(std::move(job));
  if (jobs_.size() <= freeThreads_) {
    jobAdded_.notify_one();
    return;
  }
  try {
    std::thread([this] { work(); }).detach();
    ++threads_;
  } catch (const std::system_error&) {
    // At the system's limit the job waits for a thread that is there.
    if (threads_ == 0) throw;
  }
}

void ThreadPool::finish() {
  constexpr std::chrono::seconds kPatience{1};
  std::unique_lock<std::mutex> lock(mutex_);
  becameIdle_.wait_for(lock, kPatience, [this] { return isIdle(); });
}

void ThreadPool::work() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    while (jobs_.empty()) {
      ++freeThreads_;
      if (isIdle()) becameIdle_.notify_all();
      jobAdded_.wait(lock);
      --freeThreads_;
    }
    std::function<void()> job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    job();
    job = nullptr;
    lock.lock();
  }
}

void nameThread(const std::string& name) { pthread_setname_np(pthread_self(), name.substr(0, 15).c_str()); }

}  // namespace ZELPlatform
