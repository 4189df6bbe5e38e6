#include <ZELPlatform/Dispatch.h>

#include "platform/dispatch/CurrentQueue.h"
#include "platform/dispatch/ThreadPool.h"

#include <deque>
#include <mutex>
#include <utility>

namespace ZELPlatform {
namespace {

/// Enough for tasks that spend their time waiting, few enough that a flood of tasks does not become a flood of threads.
constexpr size_t maximumWorkers = 64;

class GlobalQueue final : public DispatchQueue {
 public:
  const std::string& label() const override { return label_; }
  bool isCurrent() const override { return CurrentQueueScope::contains(this); }

  void async(Task task) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
    if (workers_ == maximumWorkers) return;
    ++workers_;
    ThreadPool::shared().run([this] { workOff(); });
  }

  void sync(const Task& task) override {
    const CurrentQueueScope scope(this);
    task();
  }

 private:
  void workOff() {
    nameThread(label_);
    const CurrentQueueScope scope(this);
    for (Task task; takeTask(&task);) {
      task();
      task = nullptr;
    }
  }

  bool takeTask(Task* task) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (tasks_.empty()) {
      --workers_;
      return false;
    }
    *task = std::move(tasks_.front());
    tasks_.pop_front();
    return true;
  }

  const std::string label_ = "global queue";
  std::mutex mutex_;
  std::deque<Task> tasks_;
  size_t workers_ = 0;
};

}  // namespace
}  // namespace ZELPlatform

const std::shared_ptr<DispatchQueue>& DispatchQueue::globalQueue() {
  // Never destroyed: tasks may still run while the process ends.
  static const auto& queue = *new std::shared_ptr<DispatchQueue>(std::make_shared<ZELPlatform::GlobalQueue>());
  return queue;
}
