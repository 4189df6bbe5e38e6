#include "drivers/window/WindowPainter.h"

#ifdef ZEL_WITH_VULKAN
#include "drivers/vulkan/SwapchainPainter.h"
#endif

namespace ZELPlatform {

const std::vector<SpecialPainterDescriptor>& specialPainters() {
#ifdef ZEL_WITH_VULKAN
  static const std::vector<SpecialPainterDescriptor> painters{vulkan::SwapchainPainter::descriptor()};
#else
  static const std::vector<SpecialPainterDescriptor> painters;
#endif
  return painters;
}

}  // namespace ZELPlatform
