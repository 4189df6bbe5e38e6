#include "platform/dispatch/CurrentQueue.h"

namespace ZELPlatform {

namespace {
thread_local const CurrentQueueScope* innermost = nullptr;
}

CurrentQueueScope::CurrentQueueScope(const DispatchQueue* queue) : queue_(queue), outer_(innermost) {
  innermost = this;
}

CurrentQueueScope::~CurrentQueueScope() { innermost = outer_; }

bool CurrentQueueScope::contains(const DispatchQueue* queue) {
  for (const CurrentQueueScope* scope = innermost; scope; scope = scope->outer_) {
    if (scope->queue_ == queue) return true;
  }
  return false;
}

}  // namespace ZELPlatform
