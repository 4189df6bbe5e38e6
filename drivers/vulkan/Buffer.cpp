#include "drivers/vulkan/Buffer.h"

#include "drivers/vulkan/Transfer.h"

#include <cstring>

namespace ZELPlatform::vulkan {
namespace {

/// Far above what anybody needs; keeps sums of sizes from overflowing.
constexpr size_t kLargestBuffer = size_t{1} << 31;

}  // namespace

std::shared_ptr<Buffer> Buffer::create(const std::shared_ptr<Gpu>& gpu, size_t length, MTLStorageMode storageMode) {
  if (length == 0 || length > kLargestBuffer) return nullptr;
  constexpr VkBufferUsageFlags kUsage = VK_BUFFER_USAGE_VERTEX_BUFFER_BIT | VK_BUFFER_USAGE_INDEX_BUFFER_BIT |
                                        VK_BUFFER_USAGE_STORAGE_BUFFER_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT;
  const bool shared = storageMode == MTLStorageModeShared;
  // Whole words, as buffers are filled by words.
  const size_t bytes = (length + 3) / 4 * 4;
  std::shared_ptr<Buffer> buffer(new Buffer(gpu, length));
  if (!buffer->memory_.create(*gpu, bytes, kUsage, shared ? BufferPlace::ProgramReads : BufferPlace::Gpu)) {
    return nullptr;
  }
  if (!shared) return gpu->transfer().clear(buffer->handle(), bytes) ? buffer : nullptr;
  std::memset(buffer->memory_.bytes(), 0, bytes);
  return buffer;
}

}  // namespace ZELPlatform::vulkan
