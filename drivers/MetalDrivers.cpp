#include "platform/metal/MetalDriver.h"

#ifdef ZEL_WITH_VULKAN
#include "drivers/vulkan/VulkanDriver.h"
#endif

namespace ZELPlatform {

const std::vector<MetalDriverDescriptor>& metalDrivers() {
#ifdef ZEL_WITH_VULKAN
  static const std::vector<MetalDriverDescriptor> drivers{vulkan::descriptor()};
#else
  static const std::vector<MetalDriverDescriptor> drivers;
#endif
  return drivers;
}

}  // namespace ZELPlatform
