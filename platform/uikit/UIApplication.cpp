#include <ZELPlatform/UIApplication.h>

#include "platform/uikit/DisplayDriver.h"

#include <ZELPlatform/UIScreen.h>
#include <ZELPlatform/UIWindow.h>

namespace {

using ZELPlatform::DisplayDriver;
using ZELPlatform::DisplayDriverDescriptor;

/// The driver in use lives for the process: windows and GL displays stand on its connection to the very end.
std::atomic<DisplayDriver*> activeDriver{nullptr};
const char* activeDriverName = "";

std::string unknownDriverSentence(const std::string& name) {
  std::string known = "auto";
  for (const DisplayDriverDescriptor& descriptor : ZELPlatform::displayDrivers()) {
    known += std::string(", ") + descriptor.name;
  }
  return "There is no display driver named \"" + name + "\" (there are: " + known + ").";
}

/// Tries the drivers that the name allows, in their order; on failure returns why each of them cannot be used.
std::string openDriver(const UIApplicationOptions& options) {
  std::string reasons;
  for (const DisplayDriverDescriptor& descriptor : ZELPlatform::displayDrivers()) {
    if (options.displayDriver != "auto" && options.displayDriver != descriptor.name) {
      continue;
    }
    std::string reason;
    if (std::unique_ptr<DisplayDriver> driver = descriptor.create(options, &reason)) {
      activeDriverName = descriptor.name;
      activeDriver = driver.release();
      return {};
    }
    reasons += (reasons.empty() ? "" : " ") + reason;
  }
  return reasons.empty() ? unknownDriverSentence(options.displayDriver) : reasons;
}

bool isWide(CGSize size) { return size.width > size.height; }

}  // namespace

namespace ZELPlatform {

DisplayDriver* activeDisplayDriver() { return activeDriver; }

}  // namespace ZELPlatform

UIApplication& UIApplication::sharedApplication() {
  // Never destroyed: render queues may ask it while the process ends.
  static UIApplication& application = *new UIApplication();
  return application;
}

std::string UIApplication::start(const UIApplicationOptions& options) {
  if (activeDriver) {
    return {};
  }
  if (std::string error = openDriver(options); !error.empty()) {
    return error;
  }
  const ZELPlatform::ScreenDescription description = activeDriver.load()->screen();
  UIScreen& screen = UIScreen::instance();
  screen.setBounds({{0, 0}, description.size});
  screen.setNativeScale(description.nativeScale);
  screen.setMaximumFramesPerSecond(description.refreshRate);
  sharedApplication().followKeyWindowShape();
  return {};
}

std::string UIApplication::displayDriverName() const { return activeDriverName; }

std::shared_ptr<UIWindow> UIApplication::keyWindow() const { return keyWindow_.lock(); }

void UIApplication::overrideStatusBarOrientation(UIInterfaceOrientation orientation) {
  orientationOverridden_ = orientation != UIInterfaceOrientationUnknown;
  if (orientationOverridden_) {
    orientation_.store(orientation, std::memory_order_relaxed);
  } else {
    followKeyWindowShape();
  }
}

void UIApplication::keyWindowChanged(const std::shared_ptr<UIWindow>& window) {
  keyWindow_ = window;
  followKeyWindowShape();
}

void UIApplication::followKeyWindowShape() {
  if (orientationOverridden_) {
    return;
  }
  const std::shared_ptr<UIWindow> window = keyWindow_.lock();
  const CGRect shape = window ? window->bounds() : UIScreen::instance().bounds();
  orientation_.store(isWide(shape.size) ? UIInterfaceOrientationLandscapeRight : UIInterfaceOrientationPortrait,
                     std::memory_order_relaxed);
}
