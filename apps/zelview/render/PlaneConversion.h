#pragma once

#include <ZELPlatform/CoreGraphics.h>
#include <ZELPlatform/CoreVideo.h>

#include <cstddef>
#include <cstdint>

namespace zelview {

/// Writes the picture as video-range BT.709 (ITU-R BT.709-6, table 3) into the two planes of a buffer of its size,
/// whose sides are even; does nothing to a buffer without planes. A chroma sample is the mean of the four pixels over
/// which it lies.
void writePlanes(const CGImage& picture, const CVPixelBuffer& target);

/// Puts a row of two chroma planes into one, pair by pair.
void interleaveChroma(const uint8_t* u, const uint8_t* v, uint8_t* pairs, size_t count);

}  // namespace zelview
