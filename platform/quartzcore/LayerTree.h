#pragma once

#include "platform/quartzcore/Compositor.h"

#include <ZELPlatform/QuartzCore.h>

#include <vector>

namespace ZELPlatform {

/// What a layer and everything below it show, bottom to top: the layers that are not hidden, with their frames in the
/// root's coordinates. Main thread.
std::vector<SceneItem> visibleLayers(const CALayer& root);

}  // namespace ZELPlatform
