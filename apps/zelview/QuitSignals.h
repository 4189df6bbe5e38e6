#pragma once

#include <ZELPlatform/Foundation.h>

#include <functional>

namespace zelview {

/// Turns the first SIGINT or SIGTERM into a call on the main thread; the second one ends the process as usual. One at a
/// time; main thread.
class QuitSignals {
 public:
  explicit QuitSignals(std::function<void()> quit);
  ~QuitSignals();

  QuitSignals(const QuitSignals&) = delete;
  QuitSignals& operator=(const QuitSignals&) = delete;

 private:
  int descriptor_;
  NSRunLoop::Token token_ = 0;
};

}  // namespace zelview
