#pragma once

#include <ZELPlatform/CoreGraphics.h>

#include <cstddef>
#include <cstdint>

namespace zelview {

/// Three planes of 4:2:0: luma, then two of half its size.
struct PlanesToWrite {
  uint8_t* rows[3];
  size_t bytesPerRow[3];
};

/// Writes the picture as video-range BT.709 (ITU-R BT.709-6, table 3). Its sides are even. A chroma sample is the mean
/// of the four pixels over which it lies.
void writePlanes(const CGImage& picture, const PlanesToWrite& planes);

/// Puts a row of two chroma planes into one, pair by pair.
void interleaveChroma(const uint8_t* u, const uint8_t* v, uint8_t* pairs, size_t count);

}  // namespace zelview
