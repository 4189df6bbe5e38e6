#pragma once

#include "platform/uikit/DisplayDriver.h"

#include <memory>
#include <string>

namespace ZELPlatform {

/// A screen that exists in memory only, of the size, scale and rate in the options. Its windows take every size and are
/// never minimised; what they show is read with `drawViewHierarchyInRect`. Null, with one sentence in `error`, when the
/// options make no sense.
std::unique_ptr<DisplayDriver> createOffscreenDriver(const UIApplicationOptions& options, std::string* error);

}  // namespace ZELPlatform
