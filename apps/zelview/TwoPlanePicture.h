#pragma once

#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/CoreVideo.h>

namespace zelview {

/// The picture as a frame of video: BT.709 luma, and colour at half the size, both in video range. Its alpha is
/// ignored; null when memory is short.
CVPixelBufferRef makeTwoPlaneFrame(const CGImage& image);

}  // namespace zelview
