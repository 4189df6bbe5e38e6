#include <ZELPlatform/Dispatch.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace {

/// Numbers for threads, never used twice, unlike the system's own.
uint64_t currentThreadNumber() {
  static std::atomic<uint64_t> last{0};
  thread_local const uint64_t number = ++last;
  return number;
}

/// The thread that was named the main thread; 0 until then.
std::atomic<uint64_t> mainThreadNumber{0};

}  // namespace

bool DispatchIsMainThread() {
  if (const uint64_t number = mainThreadNumber.load(std::memory_order_acquire)) return number == currentThreadNumber();
  thread_local const bool runsMain = getpid() == gettid();
  return runsMain;
}

void DispatchSetMainThread() { mainThreadNumber.store(currentThreadNumber(), std::memory_order_release); }
