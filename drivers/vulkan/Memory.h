#pragma once

#include "drivers/vulkan/Handle.h"

#include <cstddef>
#include <cstdint>

namespace ZELPlatform::vulkan {

/// Who touches a buffer's memory, for the choice of its kind.
enum class BufferPlace { Gpu, ProgramWrites, ProgramReads };

/// A buffer with its own memory, mapped unless it is the GPU's alone. Every owner has few of them, made once, so they
/// are not cut out of larger pieces.
class BufferMemory {
 public:
  /// Undefined contents; false when memory is short.
  bool create(Gpu& gpu, size_t bytes, VkBufferUsageFlags usage, BufferPlace place);

  VkBuffer buffer() const { return buffer_.get(); }
  size_t size() const { return size_; }
  /// Null for `BufferPlace::Gpu`.
  uint8_t* bytes() const { return bytes_; }

 private:
  MemoryHandle memory_;
  BufferHandle buffer_;
  size_t size_ = 0;
  uint8_t* bytes_ = nullptr;
};

}  // namespace ZELPlatform::vulkan
