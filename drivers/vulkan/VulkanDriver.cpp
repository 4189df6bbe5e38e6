#include "drivers/vulkan/VulkanDriver.h"

#include "drivers/vulkan/Device.h"
#include "platform/dispatch/ThreadPool.h"

#include <cstdlib>

namespace ZELPlatform::vulkan {
namespace {

/// The device that the process uses, for its end.
std::weak_ptr<Device>& currentDevice() {
  static auto* current = new std::weak_ptr<Device>;
  return *current;
}

void finish() {
  ThreadPool::shared().finish();
  if (const auto device = currentDevice().lock()) device->gpu().waitUntilIdle();
}

std::shared_ptr<MTLDevice> create(bool softwareToo, std::string* error) {
  Settings settings;
  settings.softwareToo = softwareToo;
  auto device = Device::create(settings, error);
  if (!device) return nullptr;
  currentDevice() = device;
  // What Vulkan loaded tears itself down as the process ends, while queues and the GPU may still draw. What is
  // registered now, after it was loaded, runs before that.
  [[maybe_unused]] static const int registered = std::atexit(finish);
  return device;
}

bool isLost(const MTLDevice& device) {
  const auto* own = dynamic_cast<const Device*>(&device);
  return own && own->gpu().isLost();
}

}  // namespace

MetalDriverDescriptor descriptor() { return {"vulkan", create, isLost}; }

}  // namespace ZELPlatform::vulkan
