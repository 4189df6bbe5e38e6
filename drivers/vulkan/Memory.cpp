#include "drivers/vulkan/Memory.h"

#include <utility>

namespace ZELPlatform::vulkan {
namespace {

// Coherent memory needs no flush: what the program wrote before a submission, the GPU sees.
constexpr VkMemoryPropertyFlags kShared = VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;

int chooseType(const Gpu& gpu, uint32_t typeBits, BufferPlace place) {
  switch (place) {
    case BufferPlace::Gpu:
      return gpu.memoryType(typeBits, 0, VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT);
    case BufferPlace::ProgramWrites:
      return gpu.memoryType(typeBits, kShared, kShared);
    case BufferPlace::ProgramReads:
      return gpu.memoryType(typeBits, kShared, kShared | VK_MEMORY_PROPERTY_HOST_CACHED_BIT);
  }
  return -1;
}

}  // namespace

bool BufferMemory::create(Gpu& gpu, size_t bytes, VkBufferUsageFlags usage, BufferPlace place) {
  const DeviceFunctions& vk = gpu.functions();
  VkBufferCreateInfo info{};
  info.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO;
  info.size = bytes;
  info.usage = usage;
  BufferMemory made;
  if (!made.buffer_.create<&DeviceFunctions::vkCreateBuffer>(gpu, info)) return false;
  VkMemoryRequirements needed{};
  vk.vkGetBufferMemoryRequirements(gpu.device(), made.buffer_.get(), &needed);
  const int type = chooseType(gpu, needed.memoryTypeBits, place);
  if (type < 0) return false;
  VkMemoryAllocateInfo memory{};
  memory.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
  memory.allocationSize = needed.size;
  memory.memoryTypeIndex = static_cast<uint32_t>(type);
  if (!made.memory_.create<&DeviceFunctions::vkAllocateMemory>(gpu, memory)) return false;
  if (!gpu.succeeded(vk.vkBindBufferMemory(gpu.device(), made.buffer_.get(), made.memory_.get(), 0))) return false;
  if (place != BufferPlace::Gpu) {
    void* mapped = nullptr;
    if (!gpu.succeeded(vk.vkMapMemory(gpu.device(), made.memory_.get(), 0, VK_WHOLE_SIZE, 0, &mapped))) return false;
    made.bytes_ = static_cast<uint8_t*>(mapped);
  }
  made.size_ = bytes;
  *this = std::move(made);
  return true;
}

}  // namespace ZELPlatform::vulkan
