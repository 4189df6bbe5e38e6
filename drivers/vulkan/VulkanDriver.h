#pragma once

#include "platform/metal/MetalDriver.h"

namespace ZELPlatform::vulkan {

/// The Vulkan driver's entry in the list of Metal drivers.
MetalDriverDescriptor descriptor();

}  // namespace ZELPlatform::vulkan
