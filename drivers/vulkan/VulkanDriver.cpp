#include "drivers/vulkan/VulkanDriver.h"

#include "drivers/vulkan/Device.h"
#include "platform/dispatch/ThreadPool.h"

#include <cstdlib>

namespace ZELPlatform::vulkan {
namespace {

std::shared_ptr<MTLDevice> create(std::string* error) {
  auto device = Device::create(Settings{}, error);
  // What Vulkan loaded tears itself down as the process ends, while queues may still draw. What is registered now,
  // after it was loaded, runs before that.
  if (device) std::atexit([] { ThreadPool::shared().finish(); });
  return device;
}

bool isLost(const MTLDevice& device) {
  const auto* own = dynamic_cast<const Device*>(&device);
  return own && own->gpu().isLost();
}

}  // namespace

MetalDriverDescriptor descriptor() { return {"vulkan", create, isLost}; }

}  // namespace ZELPlatform::vulkan
