#include "drivers/gstreamer/MemoryPool.h"

#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

namespace ZELPlatform {
namespace {

constexpr size_t kPage = 4096;

/// As many as are ever free at once: one chosen, one shown, and those that wait.
constexpr size_t kMostKept = 6;

}  // namespace

struct MemoryPool::Shelf {
  std::mutex mutex;
  size_t bytes = 0;
  std::vector<void*> free;

  ~Shelf() { empty(); }

  void empty() {
    for (void* memory : free) std::free(memory);
    free.clear();
  }

  void putBack(void* memory, size_t size) {
    const std::lock_guard lock(mutex);
    if (size == bytes && free.size() < kMostKept) {
      free.push_back(memory);
    } else {
      std::free(memory);
    }
  }
};

MemoryPool::MemoryPool() : shelf_(std::make_shared<Shelf>()) {}

MemoryPool::~MemoryPool() = default;

std::shared_ptr<uint8_t> MemoryPool::take(size_t bytes) {
  const size_t size = (bytes + kPage - 1) / kPage * kPage;
  void* memory = nullptr;
  {
    const std::lock_guard lock(shelf_->mutex);
    if (std::exchange(shelf_->bytes, size) != size) shelf_->empty();
    if (!shelf_->free.empty()) {
      memory = shelf_->free.back();
      shelf_->free.pop_back();
    }
  }
  if (!memory) memory = std::aligned_alloc(kPage, size);
  if (!memory) return nullptr;
  return {static_cast<uint8_t*>(memory), [shelf = std::weak_ptr<Shelf>(shelf_), size](uint8_t* dropped) {
            if (const std::shared_ptr<Shelf> alive = shelf.lock()) {
              alive->putBack(dropped, size);
            } else {
              std::free(dropped);
            }
          }};
}

}  // namespace ZELPlatform
