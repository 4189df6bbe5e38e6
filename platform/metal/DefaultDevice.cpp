#include "platform/metal/MetalDriver.h"

#include <mutex>
#include <utility>

namespace ZELPlatform {
namespace {

/// The process's device and where it comes from. Never destroyed: textures and queues of it may live on to the end of
/// the process.
struct DefaultDevice {
  std::mutex mutex;
  std::function<std::shared_ptr<MTLDevice>()> replacement;
  std::shared_ptr<MTLDevice> device;
  const MetalDriverDescriptor* driver = nullptr;
  std::string reason;

  static DefaultDevice& shared() {
    static auto* instance = new DefaultDevice;
    return *instance;
  }

  void open() {
    reason.clear();
    for (const MetalDriverDescriptor& descriptor : metalDrivers()) {
      std::string why;
      driver = &descriptor;
      device = descriptor.create(&why);
      if (device) return reason.clear();
      reason += (reason.empty() ? "" : " ") + why;
    }
    if (reason.empty()) reason = "No explicit GPU driver is built in.";
  }
};

}  // namespace

void replaceMetalDevice(std::function<std::shared_ptr<MTLDevice>()> create) {
  DefaultDevice& current = DefaultDevice::shared();
  const std::lock_guard lock(current.mutex);
  current.replacement = std::move(create);
}

}  // namespace ZELPlatform

std::shared_ptr<MTLDevice> MTLCreateSystemDefaultDevice() {
  ZELPlatform::DefaultDevice& current = ZELPlatform::DefaultDevice::shared();
  const std::lock_guard lock(current.mutex);
  if (current.replacement) return current.replacement();
  // A lost device goes with what still refers to it; whoever asks now gets a working one.
  if (current.device && current.driver->isLost(*current.device)) current.device.reset();
  if (!current.device) current.open();
  return current.device;
}

std::string MTLUnavailableReason() {
  if (MTLCreateSystemDefaultDevice()) return {};
  ZELPlatform::DefaultDevice& current = ZELPlatform::DefaultDevice::shared();
  const std::lock_guard lock(current.mutex);
  return current.reason.empty() ? "There is no explicit GPU." : current.reason;
}
