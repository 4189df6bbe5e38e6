#pragma once

#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>
#include <algorithm>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

namespace ZELTest {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
/// Sanitisers keep what is freed for a while, so that resident memory says nothing; they find leaks themselves.
inline constexpr bool kMemoryIsMeasurable = false;
#else
inline constexpr bool kMemoryIsMeasurable = true;
#endif

inline long entriesOf(const char* folder) {
  return static_cast<long>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

/// What the process holds, in KiB: pages in memory, after the allocator gave back what it has in reserve, and the bytes
/// of the heap that are in use.
struct Memory {
  long resident = 0;
  long heap = 0;
  /// Threads and open files of the process at that moment.
  long threads = 0;
  long files = 0;

  static Memory now() {
    malloc_trim(0);
    long total = 0;
    long pages = 0;
    std::ifstream("/proc/self/statm") >> total >> pages;
    const struct mallinfo2 heap = mallinfo2();
    return {pages * sysconf(_SC_PAGESIZE) / 1024, static_cast<long>((heap.uordblks + heap.hblkhd) / 1024),
            entriesOf("/proc/self/task"), entriesOf("/proc/self/fd")};
  }
};

/// Growth that is no leak. Resident: which pages of a fragmented heap are free differs by chance; up to 560 KiB were
/// seen, and no more in five times as many rounds. Heap: tables of the driver and of the queues that grow in steps; up
/// to 77 KiB were seen.
inline constexpr Memory kSlack = {1024, 300, 0, 0};

/// What a thread brings with it, once: the pool starts one more whenever none is free, and the driver keeps state for
/// each that draws. 1050 KiB resident and 245 KiB of heap were seen.
inline constexpr Memory kPerThread = {1300, 300, 1, 0};

/// Reports the growth in one line and expects it within the slack.
inline void expectNoGrowth(const char* what, const Memory& early, const Memory& slack = kSlack) {
  const Memory late = Memory::now();
  const Memory grown = {late.resident - early.resident, late.heap - early.heap, late.threads - early.threads,
                        late.files - early.files};
  std::cout << what << ": resident " << early.resident << " KiB, grown by " << grown.resident << " KiB; heap in use "
            << early.heap << " KiB, grown by " << grown.heap << " KiB; " << grown.threads << " more threads, "
            << grown.files << " more files\n";
  EXPECT_LE(grown.files, 0) << what;
  if (kMemoryIsMeasurable) {
    const long moreThreads = std::max(grown.threads, 0L);
    EXPECT_LE(grown.resident, slack.resident + moreThreads * kPerThread.resident) << what;
    EXPECT_LE(grown.heap, slack.heap + moreThreads * kPerThread.heap) << what;
  }
}

}  // namespace ZELTest
