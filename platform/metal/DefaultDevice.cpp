#include "platform/metal/MetalDriver.h"

#include <ZELPlatform/EAGL.h>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <utility>

namespace ZELPlatform {
namespace {

/// Whether OpenGL ES has a GPU to draw with. Then a processor is the worse choice for the explicit API, however much it
/// is preferred.
bool glDrawsWithGpu() {
  static constexpr const char* kSoftware[] = {"llvmpipe", "softpipe", "swrast", "SwiftShader"};
  const std::string renderer = EAGLContext::rendererDescription();
  return !renderer.empty() && std::none_of(std::begin(kSoftware), std::end(kSoftware), [&renderer](const char* name) {
    return renderer.find(name) != std::string::npos;
  });
}

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
    const bool softwareToo = !glDrawsWithGpu();
    for (const MetalDriverDescriptor& descriptor : metalDrivers()) {
      std::string why;
      driver = &descriptor;
      device = descriptor.create(softwareToo, &why);
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
