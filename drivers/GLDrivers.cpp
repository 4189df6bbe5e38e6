#include "drivers/egl/EglDriver.h"
#include "platform/eagl/GLDriver.h"

namespace ZELPlatform {

const std::vector<GLDriverDescriptor>& glDrivers() {
  static const std::vector<GLDriverDescriptor> drivers{{"egl", EglDriver::create}};
  return drivers;
}

}  // namespace ZELPlatform
