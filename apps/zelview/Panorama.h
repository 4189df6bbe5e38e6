#pragma once

#include <ZELKit/ZELProjectionType.h>
#include <ZELPlatform/CoreGraphics.h>

#include <cstdint>
#include <memory>

namespace zelview {

/// The built-in panorama in a projection's layout: 4096x2048 pixels, or cube faces of 1024. Blocks for some tenths of a
/// second; any thread.
std::shared_ptr<CGImage> makePanorama(ZELProjectionType projection, int64_t padding);

/// The same in any size.
std::shared_ptr<CGImage> makePanorama(ZELProjectionType projection, int64_t padding, size_t width, size_t height);

}  // namespace zelview
