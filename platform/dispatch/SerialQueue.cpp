#include <ZELPlatform/Dispatch.h>

#include "platform/dispatch/CurrentQueue.h"
#include "platform/dispatch/ThreadPool.h"

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <utility>

namespace ZELPlatform {
namespace {

/// One place in a serial queue's line is a task for a pool thread, or the ticket of a thread that waits in `sync`.
///
/// Somebody owns the queue while `busy_`: a pool thread that works the line off, or a thread in `sync`. The owner hands
/// the queue on when it meets a ticket or is done with its own, so that no two tasks ever overlap.
class SerialQueue final : public DispatchQueue, public std::enable_shared_from_this<SerialQueue> {
 public:
  explicit SerialQueue(std::string label) : label_(std::move(label)) {}

  const std::string& label() const override { return label_; }
  bool isCurrent() const override { return CurrentQueueScope::contains(this); }
  void async(Task task) override;
  void sync(const Task& task) override;

 private:
  struct Ticket {
    std::condition_variable called;
    bool isCalled = false;
  };
  struct Place {
    Task task;
    Ticket* ticket = nullptr;
  };

  void waitForTurn();
  void passOn();
  void startWorker();
  void workOff();
  bool takeTask(Task* task);

  const std::string label_;
  std::mutex mutex_;
  std::deque<Place> line_;
  bool busy_ = false;
};

void SerialQueue::async(Task task) {
  const std::lock_guard<std::mutex> lock(mutex_);
  line_.push_back({std::move(task), nullptr});
  if (!std::exchange(busy_, true)) startWorker();
}

void SerialQueue::sync(const Task& task) {
  if (isCurrent()) {
    std::fprintf(stderr, "A task of the serial queue \"%s\" calls sync on its own queue and would wait for itself.\n",
                 label_.c_str());
    std::abort();
  }
  const std::shared_ptr<SerialQueue> alive = shared_from_this();
  waitForTurn();
  struct Turn {
    SerialQueue* queue;
    ~Turn() { queue->passOn(); }
  } turn{this};
  const CurrentQueueScope scope(this);
  task();
}

void SerialQueue::waitForTurn() {
  std::unique_lock<std::mutex> lock(mutex_);
  if (!std::exchange(busy_, true)) return;
  Ticket ticket;
  line_.push_back({nullptr, &ticket});
  ticket.called.wait(lock, [&] { return ticket.isCalled; });
}

/// Ends a turn in `sync`: calls the next ticket, or leaves the line to a pool thread.
void SerialQueue::passOn() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (line_.empty()) {
    busy_ = false;
  } else if (Ticket* ticket = line_.front().ticket) {
    line_.pop_front();
    ticket->isCalled = true;
    ticket->called.notify_one();
  } else {
    startWorker();
  }
}

void SerialQueue::startWorker() {
  ThreadPool::shared().run([self = shared_from_this()] { self->workOff(); });
}

void SerialQueue::workOff() {
  nameThread(label_);
  const CurrentQueueScope scope(this);
  for (Task task; takeTask(&task);) {
    task();
    task = nullptr;
  }
}

/// The next task in line; false when the pool thread no longer owns the queue.
bool SerialQueue::takeTask(Task* task) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!line_.empty() && !line_.front().ticket) {
      *task = std::move(line_.front().task);
      line_.pop_front();
      return true;
    }
  }
  passOn();
  return false;
}

}  // namespace
}  // namespace ZELPlatform

std::shared_ptr<DispatchQueue> DispatchQueue::create(std::string label) {
  return std::make_shared<ZELPlatform::SerialQueue>(std::move(label));
}
