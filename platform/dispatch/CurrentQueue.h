#pragma once

#include <ZELPlatform/Dispatch.h>

namespace ZELPlatform {

/// Marks the calling thread as running a task of a queue for the scope's life. Scopes nest: a task that waits in
/// another queue's `sync` runs within both.
class CurrentQueueScope {
 public:
  explicit CurrentQueueScope(const DispatchQueue* queue);
  ~CurrentQueueScope();

  static bool contains(const DispatchQueue* queue);

  CurrentQueueScope(const CurrentQueueScope&) = delete;
  CurrentQueueScope& operator=(const CurrentQueueScope&) = delete;

 private:
  const DispatchQueue* queue_;
  const CurrentQueueScope* outer_;
};

}  // namespace ZELPlatform
