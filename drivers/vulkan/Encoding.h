#pragma once

#include "drivers/vulkan/Buffer.h"
#include "drivers/vulkan/CommandBuffer.h"
#include "drivers/vulkan/Image.h"
#include "drivers/vulkan/Layouts.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace ZELPlatform::vulkan {

/// Bytes that a program passes along with a draw.
struct InlineBytes {
  std::array<uint8_t, kInlineBytes> bytes{};
  size_t length = 0;

  /// More bytes than there is room for count as none.
  void set(const void* source, size_t count);

  bool operator==(const InlineBytes&) const = default;
};

/// A buffer from an offset on.
struct BoundBuffer {
  std::shared_ptr<Buffer> buffer;
  size_t offset = 0;

  /// Null objects, buffers of another device and offsets past the end bind nothing.
  void set(const Gpu& gpu, const std::shared_ptr<MTLBuffer>& given, size_t from);
};

/// The texture if it is one of this device, else null.
std::shared_ptr<Texture> ownTexture(const Gpu& gpu, const std::shared_ptr<MTLTexture>& texture);

/// Gathers the resources of one draw or dispatch, and binds them.
class ResourceBinder {
 public:
  ResourceBinder(CommandBuffer& buffer, PipelineKind kind) : buffer_(buffer), kind_(kind) {}

  /// Adds a resource; false when it does not serve.
  bool addSampled(uint32_t binding, const std::shared_ptr<Texture>& texture);
  bool addStorage(uint32_t binding, const std::shared_ptr<Texture>& texture);
  bool addStorage(uint32_t binding, const BoundBuffer& bound);

  /// Binds all of them and passes the bytes; false when the driver refuses.
  bool bind(const InlineBytes& bytes);

 private:
  struct Resource {
    uint32_t binding;
    VkDescriptorType type;
    VkDescriptorImageInfo image;
    VkDescriptorBufferInfo buffer;
  };

  bool bindSet();

  CommandBuffer& buffer_;
  PipelineKind kind_;
  std::array<Resource, kSampledBindings + kStorageTextures + kStorageBuffers> resources_{};
  size_t count_ = 0;
};

}  // namespace ZELPlatform::vulkan
