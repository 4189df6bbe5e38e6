#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace ZELPlatform {

/// Tasks that wait for descriptors to become readable, behind one descriptor that is readable while any of them is, or
/// while one that was only added to it is. One thread.
class LoopWatches {
 public:
  LoopWatches();
  ~LoopWatches();

  int descriptor() const { return descriptor_; }

  /// Adds a descriptor without a task. Returns whether it can be watched.
  bool include(int descriptor);

  /// Returns whether the descriptor can be watched: a file on a disk cannot.
  bool add(uint64_t token, int descriptor, std::function<void()> task);

  /// Returns whether there was such a watch.
  bool remove(uint64_t token);

  /// All watches, the oldest first.
  std::vector<uint64_t> tokens() const;

  /// Runs the task of a watch if it is still there and its descriptor is readable, or closed at the other end, now:
  /// an earlier task may have read what there was, and the next reader would wait.
  void runIfReadable(uint64_t token);

  LoopWatches(const LoopWatches&) = delete;
  LoopWatches& operator=(const LoopWatches&) = delete;

 private:
  struct Watch {
    int descriptor;
    std::shared_ptr<const std::function<void()>> task;
  };

  bool isWatched(int descriptor) const;

  int descriptor_;
  std::map<uint64_t, Watch> watches_;
};

}  // namespace ZELPlatform
