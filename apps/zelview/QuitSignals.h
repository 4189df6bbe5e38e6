#pragma once

#include <ZELPlatform/Foundation.h>

#include <functional>

namespace zelview {

/// Turns SIGINT and SIGTERM into a call on the main thread; another one seconds later ends the process at once, should
/// the main thread not get to it. One at a time; main thread.
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
