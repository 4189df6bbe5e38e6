#pragma once

#include "drivers/egl/EglDisplay.h"

#include <memory>

namespace ZELPlatform {

/// A point in one context's commands that other contexts and threads can wait for. Any thread.
class Fence {
 public:
  /// Puts a fence after everything that the current context was told, and flushes it. Null, after waiting for all of
  /// that, when the driver refuses: nothing is left to be waited for then.
  static std::shared_ptr<Fence> insert(const EglDisplay& display);
  ~Fence();

  /// Holds back what the current context is told from now on; waits on the processor only where the GPU cannot.
  void holdBackCurrentContext() const;

  /// Waits on the processor.
  void wait() const;

  Fence(const Fence&) = delete;
  Fence& operator=(const Fence&) = delete;

 private:
  Fence(const EglDisplay& display, EGLSyncKHR sync) : display_(display), sync_(sync) {}

  const EglDisplay& display_;
  EGLSyncKHR sync_;
};

}  // namespace ZELPlatform
