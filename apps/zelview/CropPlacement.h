#pragma once

#include <ZELPlatform/CoreGraphics.h>

#include <cstddef>
#include <memory>

#include "apps/zelview/Metadata.h"

namespace zelview {

/// The longer side at which to decode a cropped panorama so that the whole sphere's picture is within the limits.
size_t decodeLimitFor(const PanoramaCrop& crop, size_t maximumSide);

/// The whole sphere's picture with the image where the crop says, black around it, no side above `maximumSide`. Null
/// when memory does not allow it.
std::shared_ptr<CGImage> placeCrop(const CGImage& image, const PanoramaCrop& crop, size_t maximumSide);

}  // namespace zelview
