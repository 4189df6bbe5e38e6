#include "drivers/egl/EglDriver.h"

namespace ZELPlatform {

std::shared_ptr<Compositor> EglDriver::createCompositor(const NativeSurface&, double, std::string* error) {
  *error = "Windows cannot be composed yet.";
  return nullptr;
}

}  // namespace ZELPlatform
