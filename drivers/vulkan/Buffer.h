#pragma once

#include "drivers/vulkan/Memory.h"

#include <ZELPlatform/MTLResource.h>

#include <memory>

namespace ZELPlatform::vulkan {

/// The service's buffer: vertices, indices, or what compute functions read and write.
class Buffer final : public MTLBuffer {
 public:
  /// A zero-filled buffer; null for no length, or when memory is short.
  static std::shared_ptr<Buffer> create(const std::shared_ptr<Gpu>& gpu, size_t length, MTLStorageMode storageMode);

  size_t length() const override { return length_; }
  void* contents() override { return memory_.bytes(); }

  VkBuffer handle() const { return memory_.buffer(); }
  const Gpu& gpu() const { return *gpu_; }

 private:
  Buffer(std::shared_ptr<Gpu> gpu, size_t length) : gpu_(std::move(gpu)), length_(length) {}

  std::shared_ptr<Gpu> gpu_;
  const size_t length_;
  BufferMemory memory_;
};

}  // namespace ZELPlatform::vulkan
