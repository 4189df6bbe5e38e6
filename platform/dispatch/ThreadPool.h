#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>

namespace ZELPlatform {

/// Threads that run the tasks of the dispatch queues: one more is started whenever none is free, so that a task that
/// waits for another never keeps it from running. Threads are kept for the next task. Any thread.
class ThreadPool {
 public:
  /// The process's pool. It is never destroyed, because its threads may still run while the process ends.
  static ThreadPool& shared();

  /// Runs a job on one of the pool's threads.
  void run(std::function<void()> job);

  /// Waits until no job is queued or running, at most a second: for a process that ends, before the libraries that jobs
  /// call are torn down.
  void finish();

 private:
  ThreadPool() = default;
  void work();
  bool isIdle() const { return jobs_.empty() && freeThreads_ == threads_; }

  std::mutex mutex_;
  std::condition_variable jobAdded_;
  std::condition_variable becameIdle_;
  std::deque<std::function<void()>> jobs_;
  size_t threads_ = 0;
  size_t freeThreads_ = 0;
};

/// Gives the calling pool thread a name for debuggers, which show its first 15 bytes.
void nameThread(const std::string& name);

}  // namespace ZELPlatform
