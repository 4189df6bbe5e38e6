#include <ZELPlatform/UIScreen.h>

#include "platform/uikit/DisplayDriver.h"

#include <ZELPlatform/Dispatch.h>
#include <ZELPlatform/UIApplication.h>

UIScreen& UIScreen::instance() {
  static UIScreen screen;
  return screen;
}

UIScreen& UIScreen::mainScreen() {
  // Only the main thread may open a display; others see the values that there are.
  if (!ZELPlatform::activeDisplayDriver() && DispatchIsMainThread()) {
    UIApplication::start({});
  }
  return instance();
}
