#include "platform/metal/MetalDriver.h"

namespace ZELPlatform {

const std::vector<MetalDriverDescriptor>& metalDrivers() {
  static const std::vector<MetalDriverDescriptor> drivers;
  return drivers;
}

}  // namespace ZELPlatform
