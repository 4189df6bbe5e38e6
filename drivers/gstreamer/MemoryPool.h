#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ZELPlatform {

/// Page-aligned memory for frames, reused: touching new pages for each frame costs as much as filling them. Any thread.
class MemoryPool {
 public:
  MemoryPool();
  ~MemoryPool();

  /// Memory of that many bytes with anything in it; null when there is none to be had. It goes back by itself when the
  /// last reference is dropped, and may outlive the pool. Memory of another size is let go.
  std::shared_ptr<uint8_t> take(size_t bytes);

  MemoryPool(const MemoryPool&) = delete;
  MemoryPool& operator=(const MemoryPool&) = delete;

 private:
  struct Shelf;
  std::shared_ptr<Shelf> shelf_;
};

}  // namespace ZELPlatform
