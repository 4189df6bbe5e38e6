#include "drivers/iio/IIODriver.h"
#include "platform/coremotion/MotionDriver.h"
#ifdef ZEL_WITH_WINDOWS
#include "drivers/sdl/SDLControllers.h"
#include "drivers/sdl/SDLMotionDriver.h"
#endif

#include <ZELPlatform/GameController.h>

namespace ZELPlatform {

const std::vector<MotionDriverDescriptor>& motionDrivers() {
  static const std::vector<MotionDriverDescriptor> drivers = {
      {"iio", [] { return createIIODriver(); }},
#ifdef ZEL_WITH_WINDOWS
      {"sdl machine", [] { return createSDLMachineDriver(); }},
      {"sdl controllers", [] { return createSDLControllerDriver(); }},
#endif
  };
  return drivers;
}

}  // namespace ZELPlatform

GCThumbsticks GCThumbsticksCurrent() {
#ifdef ZEL_WITH_WINDOWS
  ZELPlatform::SDLControllers& controllers = ZELPlatform::SDLControllers::shared();
  controllers.update();
  return controllers.thumbsticks();
#else
  return {};
#endif
}
