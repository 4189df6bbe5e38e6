#include "platform/uikit/DisplayDriver.h"

#include "drivers/offscreen/OffscreenDriver.h"
#ifdef ZEL_WITH_WINDOWS
#include "drivers/sdl/SDLDriver.h"
#endif

namespace ZELPlatform {

const std::vector<DisplayDriverDescriptor>& displayDrivers() {
  static const std::vector<DisplayDriverDescriptor> drivers = {
#ifdef ZEL_WITH_WINDOWS
      {"sdl", createSDLDriver},
#endif
      {"offscreen", createOffscreenDriver},
  };
  return drivers;
}

}  // namespace ZELPlatform
