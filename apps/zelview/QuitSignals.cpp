#include "apps/zelview/QuitSignals.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace zelview {
namespace {

/// What the handler writes to; it may use little else.
std::atomic<int> signalDescriptor{-1};
/// Monotonic seconds of the first signal; 0 before it.
std::atomic<time_t> firstSignal{0};

void noteSignal(int signal) {
  struct timespec now {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  time_t first = 0;
  const bool isFirst = firstSignal.compare_exchange_strong(first, now.tv_sec);
  // Some tools send a signal to the process and at once to its group too: that is one wish, not two.
  constexpr time_t kPatience = 2;
  if (!isFirst && now.tv_sec - first >= kPatience) {
    constexpr int kStatusOfSignals = 128;
    _exit(kStatusOfSignals + signal);
  }
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(signalDescriptor.load(), &one, sizeof one);
}

void setHandler(void (*handler)(int), int flags) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  for (const int signal : {SIGINT, SIGTERM}) sigaction(signal, &action, nullptr);
}

}  // namespace

QuitSignals::QuitSignals(std::function<void()> quit) : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  if (descriptor_ < 0) return;  // Then the signals end the process at once.
  signalDescriptor = descriptor_;
  setHandler(noteSignal, SA_RESTART);
  token_ = NSRunLoop::mainRunLoop().addReadableDescriptor(descriptor_, [this, quit = std::move(quit)] {
    uint64_t count = 0;
    if (read(descriptor_, &count, sizeof count) == static_cast<ssize_t>(sizeof count)) quit();
  });
}

QuitSignals::~QuitSignals() {
  if (descriptor_ < 0) return;
  setHandler(SIG_DFL, 0);
  NSRunLoop::mainRunLoop().remove(token_);
  close(descriptor_);
}

}  // namespace zelview
