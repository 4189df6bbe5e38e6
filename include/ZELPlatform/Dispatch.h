#pragma once

#include <ZELPlatform/Export.h>

#include <functional>
#include <memory>
#include <string>

/// A queue of tasks: serial, global concurrent, or the main queue.
///
/// Tasks of a serial queue run one at a time, in the order in which they were handed over, on pool threads. Tasks of
/// the main queue run on the main thread when the main run loop is driven (see `NSRunLoop`). Every member may be called
/// from any thread. Destroying the last reference to a queue with tasks left in it is safe: they still run.
class ZELPLATFORM_EXPORT DispatchQueue {
 public:
  using Task = std::function<void()>;

  virtual ~DispatchQueue() = default;

  /// Creates a serial queue. The label appears in debuggers and is returned by `label`.
  static std::shared_ptr<DispatchQueue> create(std::string label);

  /// The queue that the main run loop drains.
  static const std::shared_ptr<DispatchQueue>& mainQueue();

  /// The process-wide concurrent queue; its tasks may run at the same time and in any order.
  static const std::shared_ptr<DispatchQueue>& globalQueue();

  virtual const std::string& label() const = 0;

  /// Hands over a task and returns at once. The task is destroyed on the thread that ran it.
  virtual void async(Task task) = 0;

  /// Runs a task in the queue's order and returns when it has finished.
  ///
  /// On a serial or the global queue the task runs on the calling thread as soon as its turn comes, so that waiting
  /// never needs a free pool thread. On the main queue it runs on the main thread. A sync from a task of the same
  /// serial queue can never come to its turn: that is a programming error, and the process is aborted with a sentence
  /// on standard error.
  virtual void sync(const Task& task) = 0;

  /// Whether the calling code runs in a task of this queue; for the main queue, whether it is on the main thread.
  virtual bool isCurrent() const = 0;
};

/// Whether the caller is on the main thread: the one that runs `main`, or that was named with `DispatchSetMainThread`.
ZELPLATFORM_EXPORT bool DispatchIsMainThread();

/// Makes the calling thread the main thread. Call it first thing on a program's UI thread where that is not the thread
/// that runs `main` (the default).
ZELPLATFORM_EXPORT void DispatchSetMainThread();
