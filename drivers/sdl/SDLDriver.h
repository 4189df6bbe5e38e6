#pragma once

#include "platform/uikit/DisplayDriver.h"

#include <memory>
#include <string>

namespace ZELPlatform {

/// The windows of the desktop, X11 or Wayland, through SDL. Takes all of SDL's events in this process. Null, with one
/// sentence in `error` that gives SDL's reason, when no display can be opened. Main thread.
std::unique_ptr<DisplayDriver> createSDLDriver(const UIApplicationOptions& options, std::string* error);

}  // namespace ZELPlatform
