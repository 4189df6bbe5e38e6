#pragma once

#include <ZELPlatform/MTLDevice.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ZELPlatform {

/// One entry of the list of Metal drivers.
struct MetalDriverDescriptor {
  const char* name;
  /// Null, with one sentence in `error`, when it cannot work here; a processor that draws is taken only if
  /// `softwareToo`.
  std::shared_ptr<MTLDevice> (*create)(bool softwareToo, std::string* error);
  /// Whether a device that this driver made was lost and can do nothing any more.
  bool (*isLost)(const MTLDevice& device);
};

/// The Metal drivers that were built in, in the order in which they are tried.
const std::vector<MetalDriverDescriptor>& metalDrivers();

/// Puts a maker of devices in place of the drivers, null to bring them back: for tests that want another device, a
/// failing one, or none. Call it while nothing else asks for a device.
ZELPLATFORM_EXPORT void replaceMetalDevice(std::function<std::shared_ptr<MTLDevice>()> create);

}  // namespace ZELPlatform
